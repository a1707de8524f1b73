#ifndef CLI_CLIAPPLICATION_H
#define CLI_CLIAPPLICATION_H

#include "CliConsole.h"
#include "CliOptions.h"
#include "CliSession.h"
#include "ExitCode.h"

#include <QString>
#include <QStringList>

// The program: parses the command line, starts the camera SDK, runs one command and
// shuts the SDK down again.
class CliApplication
{
public:
    explicit CliApplication(CliConsole& console);

    // The whole program on the process's standard streams.
    static int Main(int argc, char* argv[]);

    // arguments without the program name.
    int Run(const QStringList& arguments);
    // One parsed command on a session the caller started.
    ExitCode RunCommand(CliSession& session, const CliOptions& options);

    // The version text the window shows.
    static QString VersionText();
    static QString HelpText();

private:
    CliConsole& m_console;
};

#endif
