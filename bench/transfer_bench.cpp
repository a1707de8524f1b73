// Moves a 256 MiB device file through PXCamera on the simulator, both ways, and sets
// each direction beside a baseline that moves the same bytes between memory and a
// local file in 64 KiB pieces. Each direction runs in a child process of its own, so
// its peak resident memory can be told apart from the other's.
//
//   bench_transfer              runs everything and prints the figures
//   bench_transfer --child DIRECTION WORKDIR    one direction (used by the above)

#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbSystem.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr long kFileSize = 256L * 1024 * 1024;
constexpr size_t kPiece = 64 * 1024;
constexpr int kRounds = 5;
constexpr double kMiB = 1024.0 * 1024.0;
const char* const kCameraId = "SIM-U3V::BENCH";

double megabytesPerSecond(double seconds)
{
    return kFileSize / seconds / 1e6;
}

// VmRSS or VmHWM of this process in KiB, or -1.
long statusKiB(const char* field)
{
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return -1;
    char line[256];
    long value = -1;
    const size_t length = std::strlen(field);
    while (std::fgets(line, sizeof(line), status))
        if (std::strncmp(line, field, length) == 0 && line[length] == ':')
            value = std::strtol(line + length + 1, nullptr, 10);
    std::fclose(status);
    return value;
}

// Starts the peak resident size afresh (Linux 4.0 and later).
bool resetPeak()
{
    std::FILE* refs = std::fopen("/proc/self/clear_refs", "w");
    if (!refs)
        return false;
    const bool ok = std::fputs("5", refs) >= 0;
    return std::fclose(refs) == 0 && ok;
}

template <class F>
double seconds(F&& run)
{
    const auto start = std::chrono::steady_clock::now();
    if (!run())
        return -1.0;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

// Memory to file and file to memory, the way a transfer without a camera would go.
bool baselineToFile(const std::vector<unsigned char>& memory, const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    bool ok = true;
    for (size_t offset = 0; ok && offset < memory.size(); offset += kPiece)
        ok = std::fwrite(memory.data() + offset, 1, kPiece, file) == kPiece;
    return std::fclose(file) == 0 && ok;
}

// Reads into memory allocated for the file, as any program that loads a file does.
bool baselineFromFile(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return false;
    std::unique_ptr<unsigned char[]> memory(new unsigned char[static_cast<size_t>(kFileSize)]);
    bool ok = true;
    for (size_t offset = 0; ok && offset < static_cast<size_t>(kFileSize); offset += kPiece)
        ok = std::fread(memory.get() + offset, 1, kPiece, file) == kPiece;
    std::fclose(file);
    return ok;
}

int child(const QString& direction, const QString& workDir)
{
    const std::string dir = workDir.toStdString();
    qputenv("GRB_SIMULATOR", QFile::encodeName(workDir + "/cameras.txt"));
    if (GrbCPP::GrbSystem::GetInstance().Startup() != GrbErrorSuccess)
    {
        std::fprintf(stderr, "the simulator did not start\n");
        return 1;
    }
    auto api = std::make_shared<ApiController>();
    PXCameraManager manager(api);
    std::unique_ptr<PXCamera> camera(manager.Open(kCameraId));
    if (!camera)
    {
        std::fprintf(stderr, "the camera did not open\n");
        return 1;
    }
    const std::string downloaded = dir + "/downloaded.bin";
    std::remove(downloaded.c_str());
    const long idle = statusKiB("VmRSS");
    const bool peakReset = resetPeak();
    long written = 0;
    const auto start = std::chrono::steady_clock::now();
    const bool ok = direction == "download"
                        ? camera->DownloadDeviceFile(downloaded.c_str(), "bench.bin", "Userfile", &written)
                        : camera->UploadLocalFile("bench.bin", (dir + "/local.bin").c_str(), "Userfile", &written);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const double seconds = ok && written == kFileSize ? elapsed.count() : -1.0;
    const long peak = statusKiB("VmHWM");
    camera.reset();
    manager.Close(kCameraId);
    api.reset();
    GrbCPP::GrbSystem::GetInstance().Shutdown();
    if (seconds < 0)
    {
        std::fprintf(stderr, "the %s failed\n", qPrintable(direction));
        return 1;
    }
    std::printf("%f %ld %ld %d\n", seconds, idle, peak, peakReset ? 1 : 0);
    return 0;
}

struct Figures
{
    double seconds = 1e30;
    double idleMiB = 0.0;
    double aboveIdleMiB = 0.0;
    bool peakReset = true;
};

bool runChild(const QString& direction, const QString& workDir, Figures& figures)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), {"--child", direction, workDir});
    if (!process.waitForFinished(600000) || process.exitCode() != 0)
        return false;
    const QStringList fields = QString::fromLatin1(process.readAllStandardOutput()).simplified().split(' ');
    if (fields.size() != 4)
        return false;
    if (fields[0].toDouble() <= 0)
        return false;
    // Best time, largest peak over the rounds.
    figures.seconds = std::min(figures.seconds, fields[0].toDouble());
    figures.idleMiB = fields[1].toDouble() / 1024.0;
    figures.aboveIdleMiB = std::max(figures.aboveIdleMiB, (fields[2].toDouble() - fields[1].toDouble()) / 1024.0);
    figures.peakReset = figures.peakReset && fields[3] == "1";
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 4 && args[1] == "--child")
        return child(args[2], args[3]);

    QTemporaryDir work;
    if (!work.isValid())
        return 1;
    const std::string dir = work.path().toStdString();
    QFile description(work.filePath("cameras.txt"));
    if (!description.open(QIODevice::WriteOnly))
        return 1;
    description.write(QStringLiteral("camera id=BENCH model=Bench transport=usb3 capacity=%1\n"
                                     "file selector=Userfile name=bench.bin size=%2 seed=5\n")
                          .arg(3 * kFileSize)
                          .arg(kFileSize)
                          .toUtf8());
    description.close();

    // Baseline and transfer take turns, so that a busy machine slows both alike.
    std::vector<unsigned char> memory(static_cast<size_t>(kFileSize));
    for (size_t i = 0; i < memory.size(); ++i)
        memory[i] = static_cast<unsigned char>(i * 2654435761u >> 24);
    const std::string local = dir + "/local.bin";
    const std::string written = dir + "/baseline.bin";
    if (!baselineToFile(memory, local))
        return 1;
    double toFile = 1e30, fromFile = 1e30;
    Figures download, upload;
    for (int round = 0; round < kRounds; ++round)
    {
        std::remove(written.c_str());
        const double write = seconds([&] { return baselineToFile(memory, written); });
        const double read = seconds([&] { return baselineFromFile(local); });
        if (write < 0 || read < 0)
        {
            std::fprintf(stderr, "the baseline failed\n");
            return 1;
        }
        toFile = std::min(toFile, write);
        fromFile = std::min(fromFile, read);
        if (!runChild("download", work.path(), download) || !runChild("upload", work.path(), upload))
        {
            std::fprintf(stderr, "a transfer failed\n");
            return 1;
        }
    }

    const double fileMiB = kFileSize / kMiB;
    std::printf("Device file of %.0f MiB through PXCamera on the simulator, best of %d rounds. Baseline: the same\n"
                "bytes in 64 KiB pieces from memory to a new file (download), and from a file into memory\n"
                "allocated for it (upload).\n\n",
                fileMiB, kRounds);
    std::printf("%-9s %10s %14s %7s %7s %13s %13s %12s\n", "direction", "MB/s", "baseline MB/s", "ratio", "target",
                "idle RSS MiB", "peak - idle", "limit MiB");
    auto row = [&](const char* name, const Figures& f, double baseline, double target, double limit) {
        std::printf("%-9s %10.1f %14.1f %7.2f %7.2f %13.1f %13.1f %12.0f\n", name, megabytesPerSecond(f.seconds),
                    megabytesPerSecond(baseline), baseline / f.seconds, target, f.idleMiB, f.aboveIdleMiB, limit);
    };
    row("download", download, toFile, 0.6, 16.0);
    row("upload", upload, fromFile, 0.5, 2 * fileMiB + 40);
    if (!download.peakReset || !upload.peakReset)
        std::printf("\nThe peak could not be reset after start-up; peak - idle includes the simulator's start.\n");
    std::printf("\nIdle: the SDK started and the camera open; the simulator itself holds the device file.\n");
    return 0;
}
