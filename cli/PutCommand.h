#ifndef CLI_PUTCOMMAND_H
#define CLI_PUTCOMMAND_H

#include "FileCommand.h"
#include "TransferProgress.h"

#include <QJsonObject>

// put CAMERA LOCAL... [--as NAME]: uploads local files. Every local file is checked
// before the camera is touched; --verify reads each file back and compares it.
class PutCommand : public FileCommand
{
public:
    using FileCommand::FileCommand;
    ExitCode Run() override;

private:
    bool _checkLocal(const QString& path, QString& error) const;
    bool _upload(const QString& localPath, const QString& name, QJsonObject& result);
    bool _readBack(const QString& localPath, const QString& name, qint64 size, QString& error);
    // After an upload that did not complete: takes what it left off the camera; the text
    // that says so, to add to the error.
    QString _removeIncomplete(const QString& name, const PXTransferReport& report, QJsonObject& result);
    bool _refuse(QJsonObject& result, const QString& message);

    bool m_cameraGone = false;
    TransferProgress* m_progress = nullptr;
};

#endif
