// Moves a 16 MiB file through PXCamera over Aravis to and from a virtual camera, GigE
// Vision on loopback or USB3 Vision on the virtual USB bus, and sets each direction
// beside two bounds made of plain arv_device_read_memory / arv_device_write_memory
// calls, with no GenICam engine between:
//   - the same file moved by the same device operations per chunk (RawFileProtocol);
//   - the same bytes as bare chunk reads and writes of the camera's FileAccessBuffer.
// Runs in a loopback-only network namespace of its own, and says why when none can be
// made. For USB3 Vision it starts itself again with the libusb stand-in preloaded.
//
//   bench_virtual_camera [gige|usb3] [ROUNDS]    (10 unless given: the best round of many)

// Before any Qt header: Qt's "signals" keyword breaks GLib's headers.
#include <arv.h>

#include "CameraProcess.h"
#include "NetworkNamespace.h"
#include "RawFileProtocol.h"
#include "TransferFigures.h"

#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbSystem.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr long kFileSize = 16L * 1024 * 1024;
constexpr unsigned kChunk = 65536;
const char* const kAddress = "127.0.0.2";
const char* const kGigEId = "GEV::Zorvan Technologies-Bench-BENCH1";
const char* const kDescription = "camera id=BENCH model=Bench serial=BENCH1 transport=%1 capacity=67108864\n"
                                 "file selector=Userfile name=big.bin size=16777216 seed=9\n";

bool g_usb = false;

// One round of the bounds, with control taken directly through Aravis.
bool rawRound(const RawFileProtocol& protocol, const std::string& local, TransferFigures& figures)
{
    GError* error = nullptr;
    ArvDevice* device = nullptr;
    if (g_usb)
        device = arv_uv_device_new("Zorvan Technologies", "Bench", "BENCH1", &error);
    else
    {
        GInetAddress* address = g_inet_address_new_from_string(kAddress);
        device = arv_gv_device_new(address, address, &error);
        g_object_unref(address);
    }
    bool ok = device && !error && (g_usb || arv_gv_device_is_controller(ARV_GV_DEVICE(device)));
    const RawFileProtocol::Read read = [&](uint64_t at, void* data, size_t size) {
        return !error && arv_device_read_memory(device, at, guint32(size), data, &error);
    };
    const RawFileProtocol::Write write = [&](uint64_t at, const void* data, size_t size) {
        return !error && arv_device_write_memory(device, at, guint32(size), const_cast<void*>(data), &error);
    };
    std::vector<uint8_t> chunk(kChunk, 0x5A);
    const uint64_t buffer = protocol.Address("FileAccessBuffer");
    auto move = [&](bool reading) {
        for (long done = 0; done < kFileSize; done += kChunk)
            if (!(reading ? read(buffer, chunk.data(), kChunk) : write(buffer, chunk.data(), kChunk)))
                return false;
        return true;
    };
    ok = ok &&
         figures.Time(TransferFigures::FileDownload,
                      [&] { return protocol.MoveFile(read, write, true, "big.bin", local, kFileSize); }) &&
         figures.Time(TransferFigures::FileUpload,
                      [&] { return protocol.MoveFile(read, write, false, "copy.bin", local, kFileSize); }) &&
         figures.Time(TransferFigures::BufferRead, [&] { return move(true); }) &&
         figures.Time(TransferFigures::BufferWrite, [&] { return move(false); });
    if (error)
    {
        std::fprintf(stderr, "raw transfer failed: %s\n", error->message);
        g_error_free(error);
    }
    if (device)
        g_object_unref(device);
    return ok;
}

// The extended id of the one camera with that serial number, once discovery lists it.
QString extendedIdOf(ApiController& controller, const QString& serial)
{
    for (const auto& camera : controller.UpdateCamerasList())
    {
        const CameraInfoMap record = controller.GetCameraInfo(camera);
        if (record.value(QStringLiteral("Serial No.")).toString() == serial)
            return record.value(QStringLiteral("Extended ID")).toString();
    }
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    int first = 1;
    if (argc > 1 && (std::strcmp(argv[1], "gige") == 0 || std::strcmp(argv[1], "usb3") == 0))
    {
        g_usb = std::strcmp(argv[1], "usb3") == 0;
        first = 2;
    }
    const char* preloaded = std::getenv("LD_PRELOAD");
    if (g_usb && !(preloaded && std::strstr(preloaded, "libpellix-virtual-usb")))
    {
        // Aravis must find the virtual bus, not the real one.
        setenv("LD_PRELOAD", PELLIX_VIRTUAL_USB_PRELOAD, 1);
        execv("/proc/self/exe", argv);
        std::perror("cannot start again with the libusb stand-in");
        return 1;
    }
    QString reason;
    if (!NetworkNamespace::Enter({QString::fromLatin1(kAddress)}, reason))
    {
        std::printf("skipped: %s\n", qPrintable(reason));
        return 0;
    }
    // Client and camera on one processor, the camera a child inheriting it: every
    // request is a wake-up of the other side, which across processors costs a varying
    // multiple of the work itself on small machines, on both sides of the comparison.
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu() >= 0 ? sched_getcpu() : 0, &one);
    sched_setaffinity(0, sizeof one, &one);

    QCoreApplication app(argc, argv);
    const int rounds = argc > first ? std::max(1, std::atoi(argv[first])) : 10;
    QTemporaryDir dir;
    const QString description = dir.filePath(QStringLiteral("bench.txt"));
    QFile file(description);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QString::fromLatin1(kDescription).arg(g_usb ? "usb3" : "gige").toLatin1()) < 0)
        return 1;
    file.close();

    const QString bus = dir.filePath(QStringLiteral("bus"));
    qputenv("PELLIX_VIRTUAL_USB_DIR", bus.toLocal8Bit());
    QStringList arguments{QStringLiteral("--serial"), QStringLiteral("BENCH1"), QStringLiteral("--description"),
                          description, QStringLiteral("--lifetime"), QStringLiteral("600")};
    if (!g_usb)
        arguments << QStringLiteral("--address") << QString::fromLatin1(kAddress);
    CameraProcess camera(ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments),
                         g_usb ? bus + QStringLiteral("/BENCH1.usb") : QString::fromLatin1(kAddress));
    QString error;
    if (!camera.Start(error))
    {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }

    qunsetenv("GRB_SIMULATOR");
    if (GrbCPP::GrbSystem::GetInstance().Startup() != GrbErrorSuccess)
        return 1;
    const QByteArray text = QString::fromLatin1(kDescription).arg(g_usb ? "usb3" : "gige").toLatin1();
    const RawFileProtocol protocol(text.toStdString(), g_usb ? vcam::ByteOrder::Little : vcam::ByteOrder::Big);
    TransferFigures figures(kFileSize);
    bool ok = protocol.Ok();
    {
        auto controller = std::make_shared<ApiController>();
        controller->enableAutomaticDiscovery(true);
        PXCameraManager manager(controller);
        QString id = g_usb ? QString() : QString::fromLatin1(kGigEId);
        const QString local = dir.filePath(QStringLiteral("big.bin"));
        // The two sides take turns, so that both meet the same load on the machine and
        // the same discovery traffic of the running SDK.
        for (int round = 0; round < rounds && ok; ++round)
        {
            std::unique_ptr<PXCamera> opened;
            QElapsedTimer waited;
            waited.start();
            // The first time, until discovery has seen the camera.
            for (;;)
            {
                if (id.isEmpty())
                    id = extendedIdOf(*controller, QStringLiteral("BENCH1"));
                opened.reset(id.isEmpty() ? nullptr : manager.Open(id));
                if (opened || waited.elapsed() > 15000)
                    break;
                QThread::msleep(200);
            }
            if (!opened)
            {
                std::fprintf(stderr, "the virtual camera did not open\n");
                return 1;
            }
            ok = figures.TimeCamera(*opened, local.toStdString());
            opened.reset();
            manager.Close(id);
            ok = ok && rawRound(protocol, local.toStdString(), figures);
        }
        controller->enableAutomaticDiscovery(false);
    }
    GrbCPP::GrbSystem::GetInstance().Shutdown();
    if (!ok)
    {
        std::fprintf(stderr, "a transfer failed\n");
        return 1;
    }
    figures.Print(std::string("16 MiB over ") +
                      (g_usb ? "USB3 Vision on the virtual USB bus" : "GigE Vision on loopback") +
                      ", client and camera on one processor, best of " + std::to_string(rounds) + " rounds",
                  "raw memory");
    return 0;
}
