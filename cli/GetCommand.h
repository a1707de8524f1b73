#ifndef CLI_GETCOMMAND_H
#define CLI_GETCOMMAND_H

#include "FileCommand.h"
#include "TransferProgress.h"

#include <QDir>
#include <QJsonObject>

// get CAMERA FILE... [-o DIR|PATH]: downloads device files. Each file is written as
// NAME.partial and renamed when complete; nothing local is replaced without --force.
class GetCommand : public FileCommand
{
public:
    using FileCommand::FileCommand;
    ExitCode Run() override;

private:
    // One file; false after printing why. result gets the file's JSON entry.
    bool _fetch(const QString& name, const QString& localPath, QJsonObject& result);
    bool _refuse(QJsonObject& result, const QString& message);

    QVector<PXDeviceFiles::Entry> m_listed;
    bool m_listedKnown = false;
    bool m_cameraGone = false;
    TransferProgress* m_progress = nullptr;
};

#endif
