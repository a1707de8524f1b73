#ifndef CLI_FIRMWARECOMMAND_H
#define CLI_FIRMWARECOMMAND_H

#include "CliCommand.h"

#include <QVector>

// firmware CAMERA... IMAGE.ge3 | firmware --all-compatible IMAGE.ge3 [--jobs N]:
// updates several cameras at once, each on its own thread, and sums up the outcome.
// One camera failing never stops the others.
class FirmwareCommand : public CliCommand
{
public:
    using CliCommand::CliCommand;
    ExitCode Run() override;

private:
    bool _checkImage(const QString& path, ExitCode& code, QString& error) const;
    ExitCode _cameras(QVector<CameraInfoMap>& cameras);

    // Compatible cameras that --all-compatible passed over: held by another application.
    QVector<CameraInfoMap> m_skipped;
};

#endif
