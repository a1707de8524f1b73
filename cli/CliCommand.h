#ifndef CLI_CLICOMMAND_H
#define CLI_CLICOMMAND_H

#include "CameraResolver.h"
#include "CliConsole.h"
#include "CliOptions.h"
#include "CliSession.h"
#include "ExitCode.h"

#include "sdk/CameraInfoMap.h"

#include <QJsonObject>
#include <QString>
#include <QVector>

// One command of the program, run once on a started session.
class CliCommand
{
public:
    CliCommand(CliSession& session, const CliOptions& options, CliConsole& console);
    virtual ~CliCommand();
    CliCommand(const CliCommand&) = delete;
    CliCommand& operator=(const CliCommand&) = delete;

    virtual ExitCode Run() = 0;

protected:
    // Finds the camera the user named; prints the error and the candidates otherwise.
    ExitCode _resolve(const QString& name, CameraInfoMap& camera);
    // Prints why name found no single camera, with the candidates; returns the line.
    QString _reportUnresolved(const QString& name, CameraResolver::Outcome outcome,
                              const QVector<CameraInfoMap>& candidates);
    // An error that ends the command before it has results: one line on standard
    // error and, with --json, a small document on standard output.
    ExitCode _fail(ExitCode code, const QString& message);
    void _printJson(const QJsonObject& document);
    // The command's end: with --json its document, completed by "ok" and "exitCode".
    ExitCode _finish(ExitCode code, QJsonObject document);
    // The exit code of a batch from its counts.
    static ExitCode _batchCode(int succeeded, int failed);

    CliSession& m_session;
    const CliOptions& m_options;
    CliConsole& m_console;
};

#endif
