// Transfers with a camera that needs 5 ms to carry out each FileOperationExecute, beside
// the same transfers without the delay: on the simulator and on the virtual camera over
// GigE Vision, through PXCamera, and as a user sees it in a whole `pellix-fa put` of
// 64 KiB through a 4 KiB buffer. Runs in a loopback-only network namespace of its own;
// the virtual camera part says why it is skipped when none can be made.
//
//   bench_slow_commands

#include "CameraProcess.h"
#include "NetworkNamespace.h"

#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbSystem.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <chrono>
#include <cstdio>
#include <memory>

namespace {

constexpr int kDelayMs = 5;
const char* const kAddress = "127.0.0.2";

struct Setup
{
    const char* label;
    int buffer;
    long size;
};

const Setup kSetups[] = {{"1 MiB, 64 KiB buffer", 65536, 1L << 20}, {"64 KiB, 4 KiB buffer", 4096, 64L << 10}};

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Seconds of one upload and one download of the setup's file, or a negative number.
double roundTrip(PXCamera& camera, const Setup& setup, const QString& dir)
{
    const QString local = dir + QStringLiteral("/local.bin");
    if (!writeFile(local, QByteArray(int(setup.size), 'b')))
        return -1;
    long written = 0;
    const auto start = std::chrono::steady_clock::now();
    const bool ok = camera.UploadLocalFile("bench.bin", qPrintable(local), "Userfile", &written) &&
                    written == setup.size &&
                    camera.DownloadDeviceFile(qPrintable(dir + QStringLiteral("/back.bin")), "bench.bin",
                                              "Userfile", &written) &&
                    written == setup.size;
    return ok ? std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() : -1;
}

// Opens the camera (waiting for discovery to see it) and times a round trip.
double timedOnCamera(const QString& extendedId, const Setup& setup, const QString& dir)
{
    auto controller = std::make_shared<ApiController>();
    controller->enableAutomaticDiscovery(true);
    PXCameraManager manager(controller);
    std::unique_ptr<PXCamera> camera;
    QElapsedTimer waited;
    waited.start();
    while (!(camera.reset(manager.Open(extendedId)), camera) && waited.elapsed() < 15000)
        QThread::msleep(200);
    const double seconds = camera ? roundTrip(*camera, setup, dir) : -1;
    camera.reset();
    manager.Close(extendedId);
    controller->enableAutomaticDiscovery(false);
    return seconds;
}

double timedCommand(const QStringList& arguments, const QString& dir)
{
    QProcess process;
    process.setWorkingDirectory(dir);
    const auto start = std::chrono::steady_clock::now();
    ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), arguments).Start(process);
    if (!process.waitForFinished(120000) || process.exitCode() != 0)
        return -1;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// commands: the FileOperationExecute runs of the transfer, each of which takes the delay.
void row(const char* where, const char* what, double fast, double slow, int commands)
{
    if (fast <= 0 || slow <= 0)
    {
        std::printf("%-16s %-28s failed\n", where, what);
        return;
    }
    const double beyondMs = ((slow - fast) * 1000 - commands * kDelayMs) / commands;
    std::printf("%-16s %-28s %10.1f %10.1f %7.2f %9d %9.2f\n", where, what, fast * 1000, slow * 1000, fast / slow,
                commands, beyondMs);
}

// Open, one run per chunk, Close.
int commandsOf(const Setup& setup)
{
    return int((setup.size + setup.buffer - 1) / setup.buffer) + 2;
}

QString description(int buffer, bool slow)
{
    return QStringLiteral("camera id=%1 model=qda640MXGE serial=%1 transport=gige buffer=%2 capacity=16777216\n%3")
        .arg(slow ? QStringLiteral("SLOW") : QStringLiteral("FAST"))
        .arg(buffer)
        .arg(slow ? QStringLiteral("fault feature=FileOperationExecute delay=%1\n").arg(kDelayMs) : QString());
}

} // namespace

int main(int argc, char** argv)
{
    QString reason;
    const bool isolated = NetworkNamespace::Enter({QString::fromLatin1(kAddress)}, reason);
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    std::printf("Transfers without and with a %d ms delay of each FileOperationExecute: upload and download\n"
                "of one file through PXCamera, and the whole `pellix-fa put` a user runs. ratio = time\n"
                "without / time with; runs = the FileOperationExecute runs, each of which takes the delay\n"
                "whatever the software does; beyond = ms waited per run beyond the delay itself.\n\n",
                kDelayMs);
    std::printf("%-16s %-28s %10s %10s %7s %9s %9s\n", "camera", "transfer", "ms without", "ms with", "ratio", "runs",
                "beyond");

    for (const Setup& setup : kSetups)
    {
        double seconds[2] = {-1, -1};
        double command[2] = {-1, -1};
        for (bool slow : {false, true})
        {
            const QString cameras = dir.filePath(QStringLiteral("sim.txt"));
            writeFile(cameras, description(setup.buffer, slow).toUtf8());
            qputenv("GRB_SIMULATOR", QFile::encodeName(cameras));
            GrbCPP::GrbSystem::GetInstance().Startup();
            seconds[slow] = timedOnCamera(slow ? "SIM-GEV::SLOW" : "SIM-GEV::FAST", setup, dir.path());
            GrbCPP::GrbSystem::GetInstance().Shutdown();
            if (setup.buffer == 4096)
                command[slow] = timedCommand({QStringLiteral("--simulate=") + cameras, QStringLiteral("put"),
                                              slow ? QStringLiteral("SLOW") : QStringLiteral("FAST"), QStringLiteral("local.bin"),
                                              QStringLiteral("--quiet")},
                                             dir.path());
        }
        row("simulator", setup.label, seconds[0], seconds[1], 2 * commandsOf(setup));
        if (setup.buffer == 4096)
            row("simulator", "pellix-fa put, 64 KiB, 4 KiB", command[0], command[1], commandsOf(setup));
    }
    qunsetenv("GRB_SIMULATOR");

    if (!isolated)
    {
        std::printf("virtual camera   skipped: %s\n", qPrintable(reason));
        return 0;
    }
    const QString served = dir.filePath(QStringLiteral("served.txt"));
    for (const Setup& setup : kSetups)
    {
        double seconds[2] = {-1, -1};
        double command[2] = {-1, -1};
        for (bool slow : {false, true})
        {
            writeFile(served, description(setup.buffer, false).toUtf8());
            QStringList options{QStringLiteral("--address"), QString::fromLatin1(kAddress), QStringLiteral("--serial"),
                                QStringLiteral("FAST"), QStringLiteral("--description"), served,
                                QStringLiteral("--lifetime"), QStringLiteral("300")};
            if (slow)
                options << QStringLiteral("--command-delay") << QStringLiteral("FileOperationExecute=%1").arg(kDelayMs);
            CameraProcess camera(ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA), options),
                                 QString::fromLatin1(kAddress));
            QString error;
            if (!camera.Start(error))
            {
                std::fprintf(stderr, "%s\n", qPrintable(error));
                return 1;
            }
            GrbCPP::GrbSystem::GetInstance().Startup();
            seconds[slow] = timedOnCamera(QStringLiteral("GEV::Zorvan Technologies-qda640MXGE-FAST"), setup,
                                          dir.path());
            GrbCPP::GrbSystem::GetInstance().Shutdown();
            if (setup.buffer == 4096)
                command[slow] = timedCommand({QStringLiteral("put"), QStringLiteral("FAST"), QStringLiteral("local.bin"),
                                              QStringLiteral("--as"), QStringLiteral("cmd.bin"), QStringLiteral("--quiet")},
                                             dir.path());
            camera.Stop();
        }
        row("virtual camera", setup.label, seconds[0], seconds[1], 2 * commandsOf(setup));
        if (setup.buffer == 4096)
            row("virtual camera", "pellix-fa put, 64 KiB, 4 KiB", command[0], command[1], commandsOf(setup));
    }
    return 0;
}
