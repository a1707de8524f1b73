#ifndef TESTS_DEVICE_LOCALFILES_H
#define TESTS_DEVICE_LOCALFILES_H

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

// Whether this process still holds the file open (some transfer failures leave it so).
inline bool IsOpenInThisProcess(const QString& path)
{
    const QString target = QFileInfo(path).canonicalFilePath();
    const QDir fds(QStringLiteral("/proc/self/fd"));
    for (const QString& fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        if (!target.isEmpty() && QFileInfo(fds.filePath(fd)).symLinkTarget() == target)
            return true;
    return false;
}

inline QByteArray ReadLocal(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool WriteLocal(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

#endif
