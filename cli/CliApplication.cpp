#include "CliApplication.h"

#include "CliInterruption.h"
#include "FirmwareCommand.h"
#include "GetCommand.h"
#include "InfoCommand.h"
#include "ListCommand.h"
#include "LsCommand.h"
#include "PutCommand.h"
#include "RmCommand.h"
#include "sdk/ProductVersion.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextCodec>

#include <memory>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

int terminalWidth()
{
    for (int fd : {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO})
    {
        winsize size{};
        if (ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
            return size.ws_col;
    }
    bool ok = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &ok);
    return ok ? columns : 80;
}

} // namespace

CliApplication::CliApplication(CliConsole& console)
    : m_console(console)
{
}

int CliApplication::Main(int argc, char* argv[])
{
    CliInterruption::Install();
    // Camera texts, file names and arguments are UTF-8, also where the locale says
    // nothing (LANG unset, as under cron or in a service).
    if (QTextCodec::codecForLocale()->mibEnum() != 106)
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("pellix-fa"));
    QCoreApplication::setOrganizationName(QStringLiteral("Zorvan Technologies"));
    QCoreApplication::setApplicationVersion(VersionText());

    QFile out;
    QFile err;
    QFile in;
    out.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered);
    err.open(STDERR_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered);
    in.open(STDIN_FILENO, QIODevice::ReadOnly);
    CliConsole console(&out, &err, &in);
    console.SetTerminal(isatty(STDERR_FILENO) == 1, isatty(STDIN_FILENO) == 1, terminalWidth(),
                        isatty(STDOUT_FILENO) == 1);
    const int code = CliApplication(console).Run(QCoreApplication::arguments().mid(1));
    CliInterruption::Finished();
    return CliInterruption::Signal() ? 128 + CliInterruption::Signal() : code;
}

QString CliApplication::VersionText()
{
    return ProductVersionText();
}

int CliApplication::Run(const QStringList& arguments)
{
    CliOptions options;
    QString error;
    if (!options.Parse(arguments, error))
    {
        m_console.Error(error + QStringLiteral(" (see pellix-fa --help)"));
        if (options.json)
            m_console.Raw(QString::fromUtf8(
                QJsonDocument(QJsonObject{{QStringLiteral("ok"), false},
                                          {QStringLiteral("exitCode"), static_cast<int>(ExitCode::Usage)},
                                          {QStringLiteral("error"), error}})
                    .toJson(QJsonDocument::Indented)));
        return static_cast<int>(ExitCode::Usage);
    }
    if (options.help)
    {
        m_console.Raw(HelpText());
        return static_cast<int>(ExitCode::Success);
    }
    if (options.version)
    {
        m_console.Result(QStringLiteral("pellix-fa %1").arg(VersionText()));
        return static_cast<int>(ExitCode::Success);
    }

    m_console.SetQuiet(options.quiet);
    m_console.SetJson(options.json);
    CliSession session;
    if (!session.Start(options.simulate ? options.simulation : QString(), error))
    {
        // A description the simulator cannot read is the user's to correct.
        const ExitCode code = options.simulate ? ExitCode::Usage : ExitCode::Failed;
        m_console.Error(error);
        if (options.json)
            m_console.Raw(QString::fromUtf8(
                QJsonDocument(QJsonObject{{QStringLiteral("ok"), false},
                                          {QStringLiteral("exitCode"), static_cast<int>(code)},
                                          {QStringLiteral("error"), error}})
                    .toJson(QJsonDocument::Indented)));
        return static_cast<int>(code);
    }
    // A transport layer that loaded only in part (a GenTL producer that did not) is worth
    // a line: its cameras would otherwise just be missing.
    const QString startup = session.Controller()->GetStartupMessage();
    if (!startup.isEmpty())
        m_console.Warning(QStringLiteral("camera SDK start-up: %1").arg(startup));
    const ExitCode code = RunCommand(session, options);
    session.Stop();
    return static_cast<int>(code);
}

ExitCode CliApplication::RunCommand(CliSession& session, const CliOptions& options)
{
    m_console.SetQuiet(options.quiet);
    m_console.SetJson(options.json);
    std::unique_ptr<CliCommand> command;
    const QString& name = options.command;
    if (name == QLatin1String("list"))
        command = std::make_unique<ListCommand>(session, options, m_console);
    else if (name == QLatin1String("info"))
        command = std::make_unique<InfoCommand>(session, options, m_console);
    else if (name == QLatin1String("ls"))
        command = std::make_unique<LsCommand>(session, options, m_console);
    else if (name == QLatin1String("get"))
        command = std::make_unique<GetCommand>(session, options, m_console);
    else if (name == QLatin1String("put"))
        command = std::make_unique<PutCommand>(session, options, m_console);
    else if (name == QLatin1String("rm"))
        command = std::make_unique<RmCommand>(session, options, m_console);
    else if (name == QLatin1String("firmware"))
        command = std::make_unique<FirmwareCommand>(session, options, m_console);
    if (!command)
    {
        m_console.Error(QStringLiteral("unknown command '%1'").arg(name));
        return ExitCode::Usage;
    }
    return command->Run();
}

QString CliApplication::HelpText()
{
    return QStringLiteral(R"(Usage: pellix-fa [OPTIONS] COMMAND [ARGUMENTS]

Lists Zorvan Pellix cameras and manages the files they keep in their own storage.

Commands:
  list                          cameras by transport layer and interface, as the
                                window shows them: label, name, access, compatible
                                (compatible models only; --all lists every camera)
  info CAMERA                   name, firmware, file selector entries, file count and
                                free space
  ls CAMERA                     the files of a file selector entry
  get CAMERA FILE... [-o DIR|PATH]
                                download device files (into the current directory,
                                DIR, or for one file PATH); written as NAME.partial and
                                renamed when complete
  put CAMERA LOCAL... [--as NAME]
                                upload local files (--as names the one file on the
                                camera)
  rm CAMERA FILE...             delete device files; asks first, and without a
                                terminal refuses unless --yes is given
  firmware CAMERA... IMAGE.ge3
  firmware --all-compatible IMAGE.ge3
                                update the firmware: upload the image, reset the
                                camera and wait for it to come back; several cameras
                                are updated at the same time (--jobs), cameras in use
                                by another application are skipped with
                                --all-compatible, and a summary table follows

  FILE may be left out for a single-file slot (--selector SLOT): it is the slot's
  content. CAMERA is an extended id, a plain id, a serial number, the label the
  window shows, MODEL-SERIAL(ID), or the camera's name; a name that matches no
  camera or several is an error that lists the candidates.

Options:
  --simulate[=FILE]     use the camera simulator: the built-in demo cameras, or the
                        cameras of a description FILE (sets GRB_SIMULATOR)
  --json                machine-readable output on standard output, for every command
  --quiet               no progress and no messages besides errors
  --selector S          file selector entry for ls, get, put and rm (default Userfile)
  -o, --output DIR|PATH where get writes (default: the current directory)
  --as NAME             put: the device file name for the one local file
  --force               replace existing local files (get) or device files (put)
  --verify              put: read every file back and compare it byte for byte;
                        get: check every file's size against the camera's FileSize
  --yes                 rm: delete without asking
  --all                 list: include models the compatibility table rejects
  --all-compatible      firmware: every compatible camera present
  --jobs N              firmware: cameras updated at a time (default 4)
  --reset-timeout SEC   firmware: how long to wait for a camera to restart and come
                        back after its reset (default 180)
  -h, --help            this text
  --version             the version

Without --simulate (or GRB_SIMULATOR) the real transport layers search the network
and the USB buses for cameras.

On a terminal, tables fit its width: long labels, names and messages are shortened
with an ellipsis (--json has them whole).

Progress goes to standard error: a bar when it is a terminal (a narrow one gives up
the bar first, then the time left and the byte counts, and keeps the rate), plain
lines otherwise.

Exit codes:
  0  success
  1  operation failed (camera refused, transfer or verification failed, bad local
     file, camera without file access)
  2  usage error (unknown command or option, missing or extra arguments, unknown
     file selector entry, a device file name that cannot be used, an output
     directory that does not exist, rm without --yes when not on a terminal, a
     simulator description with an error)
  3  camera not found or ambiguous
  4  batch partly failed: some files or cameras succeeded, others failed
  130, 143  interrupted (Ctrl-C, SIGTERM): a transfer in flight is ended first and
     its device file closed; a partial download is removed, and an incomplete
     upload is deleted from the camera
)");
}
