// Drives the File Access Control features of an open camera the way a client does:
// select, name, open mode, Open, offset/length/buffer chunks, Close. Each call stops
// at the first feature access that fails and remembers which one it was.
#ifndef TESTS_GRB_FILEACCESSCLIENT_H
#define TESTS_GRB_FILEACCESSCLIENT_H

#include <GrbCPP/GrbCPP.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

class FileAccessClient
{
public:
    static constexpr int kChunk = 65536;

    explicit FileAccessClient(GrbCPP::CameraPtr camera);

    // Writes FileSelector, and Filename when a name is given.
    GrbErrorType Select(const QString& selector, const QString& name = QString());
    GrbErrorType Open(const QString& mode);
    GrbErrorType Close();
    GrbErrorType Delete();
    GrbErrorType Write(qint64 offset, const QByteArray& bytes);
    // bytes: what the device reports it read (FileOperationResult) from the buffer.
    GrbErrorType Read(qint64 offset, qint64 length, QByteArray& bytes);

    GrbErrorType Upload(const QString& selector, const QString& name, const QByteArray& data, int chunk = kChunk);
    GrbErrorType Download(const QString& selector, const QString& name, QByteArray& data, int chunk = kChunk);

    // FilenameCount, then FilenameIndex and Filename for each.
    GrbErrorType List(const QString& selector, QStringList& names);
    GrbErrorType FileSize(const QString& selector, const QString& name, qint64& size);
    GrbErrorType FreeSpace(qint64& bytes);
    // FileOperationStatus as text; empty when it cannot be read.
    QString Status() const;

    // The feature whose access failed in the last call; empty after a success.
    QString FailedStep() const { return m_failedStep; }

private:
    GrbErrorType _Execute(const char* operation);
    GrbErrorType _Step(const char* feature, GrbErrorType err);
    GrbErrorType _SetInt(const char* feature, qint64 value);
    GrbErrorType _SetText(const char* feature, const QString& value);
    GrbErrorType _GetInt(const char* feature, qint64& value);
    GrbErrorType _SetLength(qint64 length);

    GrbCPP::CameraPtr m_camera;
    QString m_failedStep;
};

#endif
