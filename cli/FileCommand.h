#ifndef CLI_FILECOMMAND_H
#define CLI_FILECOMMAND_H

#include "CliCommand.h"
#include "device/PXDeviceFiles.h"
#include "OpenedCamera.h"

#include <QJsonObject>

#include <memory>

// The common start of the commands that work on a camera's files: find and open the
// camera, make sure it has file access, and select the file selector entry.
class FileCommand : public CliCommand
{
public:
    using CliCommand::CliCommand;

protected:
    // Success, or the exit code after the error has been printed.
    ExitCode _prepare();
    // The files a command names, or, for a single-file slot named without files, the
    // slot's content. False after printing a usage error.
    bool _namedFiles(const QStringList& given, QStringList& files);
    // After a failed transfer: whether the camera still answers. If not, the rest of a
    // batch is not attempted.
    bool _cameraAnswers() const;
    QJsonObject _cameraJson() const;
    // Tells of a device file that an earlier client left open and the transfer closed.
    void _noteRecovery(const PXTransferReport& report, QJsonObject& result);
    QString _cameraText() const;

    std::unique_ptr<OpenedCamera> m_camera;
    std::unique_ptr<PXDeviceFiles> m_files;
    QString m_selector;
};

#endif
