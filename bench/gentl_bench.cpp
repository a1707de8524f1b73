// Moves a 16 MiB file through PXCamera over the GenTL layer, to and from a camera of
// the simulator's GenTL producer, and sets each direction beside two bounds made of
// plain GCReadPort / GCWritePort calls straight into the producer, with nothing of the
// SDK between:
//   - the same file moved by the same device operations per chunk (RawFileProtocol);
//   - the same bytes as bare chunk reads and writes of the camera's FileAccessBuffer,
//     which in a producer in the same process cost a memory copy.
// The sides take turns, each with the producer loaded afresh. The SDK's other layers
// run too, so this runs in a loopback-only network namespace of its own, and says why
// when none can be made.
//
//   bench_gentl [ROUNDS]    (10 unless given: the best round of many, on a shared machine)

#include "NetworkNamespace.h"

#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include "RawFileProtocol.h"
#include "TransferFigures.h"

#include <GrbCPP/GrbSystem.h>
#include <gentl/GenTLApi.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <dlfcn.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr long kFileSize = 16L * 1024 * 1024;
constexpr size_t kChunk = 65536;
const char* const kExtendedId = "GenTL:pellix-gentl.cti:sim-eth0:BENCH";
const char* const kDescription = "camera id=BENCH model=Bench serial=BENCH1 transport=gige capacity=67108864\n"
                                 "file selector=Userfile name=big.bin size=16777216 seed=9\n";

// The producer loaded and driven directly, the camera opened exclusively.
class RawCamera
{
public:
    RawCamera(const char* producer, const RawFileProtocol& protocol)
        : m_protocol(protocol)
    {
        m_library = dlopen(producer, RTLD_NOW | RTLD_LOCAL);
        if (!m_library)
            return;
#define RESOLVE(name) name = reinterpret_cast<P##name>(dlsym(m_library, #name))
        RESOLVE(GCInitLib);
        RESOLVE(GCCloseLib);
        RESOLVE(TLOpen);
        RESOLVE(TLClose);
        RESOLVE(TLUpdateInterfaceList);
        RESOLVE(TLOpenInterface);
        RESOLVE(IFUpdateDeviceList);
        RESOLVE(IFOpenDevice);
        RESOLVE(DevGetPort);
        RESOLVE(DevClose);
        RESOLVE(GCReadPort);
        RESOLVE(GCWritePort);
#undef RESOLVE
        bool8_t changed = 0;
        m_ok = GCInitLib() == GC_ERR_SUCCESS && TLOpen(&m_system) == GC_ERR_SUCCESS &&
               TLUpdateInterfaceList(m_system, &changed, 1000) == GC_ERR_SUCCESS &&
               TLOpenInterface(m_system, "sim-eth0", &m_interface) == GC_ERR_SUCCESS &&
               IFUpdateDeviceList(m_interface, &changed, 1000) == GC_ERR_SUCCESS &&
               IFOpenDevice(m_interface, "BENCH", DEVICE_ACCESS_EXCLUSIVE, &m_device) == GC_ERR_SUCCESS &&
               DevGetPort(m_device, &m_port) == GC_ERR_SUCCESS;
    }
    ~RawCamera()
    {
        if (!m_library)
            return;
        if (m_device)
            DevClose(m_device);
        if (m_system)
            TLClose(m_system);
        GCCloseLib();
        dlclose(m_library);
    }

    bool Ok() const { return m_ok; }

    bool Read(uint64_t address, void* data, size_t size)
    {
        return m_ok && GCReadPort(m_port, address, data, &size) == GC_ERR_SUCCESS;
    }
    bool Write(uint64_t address, const void* data, size_t size)
    {
        return m_ok && GCWritePort(m_port, address, data, &size) == GC_ERR_SUCCESS;
    }
    // The file big.bin to a local file or back, chunk by chunk, as PXCamera does it.
    bool MoveFile(bool download, const std::string& local)
    {
        return m_protocol.MoveFile([this](uint64_t at, void* data, size_t size) { return Read(at, data, size); },
                                   [this](uint64_t at, const void* data, size_t size) { return Write(at, data, size); },
                                   download, download ? "big.bin" : "copy.bin", local, kFileSize);
    }

    PGCInitLib GCInitLib = nullptr;
    PGCCloseLib GCCloseLib = nullptr;
    PTLOpen TLOpen = nullptr;
    PTLClose TLClose = nullptr;
    PTLUpdateInterfaceList TLUpdateInterfaceList = nullptr;
    PTLOpenInterface TLOpenInterface = nullptr;
    PIFUpdateDeviceList IFUpdateDeviceList = nullptr;
    PIFOpenDevice IFOpenDevice = nullptr;
    PDevGetPort DevGetPort = nullptr;
    PDevClose DevClose = nullptr;
    PGCReadPort GCReadPort = nullptr;
    PGCWritePort GCWritePort = nullptr;

private:
    const RawFileProtocol& m_protocol;
    void* m_library = nullptr;
    bool m_ok = false;
    TL_HANDLE m_system = nullptr;
    IF_HANDLE m_interface = nullptr;
    DEV_HANDLE m_device = nullptr;
    PORT_HANDLE m_port = nullptr;
};

// One round of the bounds.
bool rawRound(const RawFileProtocol& protocol, const std::string& local, TransferFigures& figures)
{
    RawCamera camera(PELLIX_GENTL_PRODUCER, protocol);
    if (!camera.Ok())
        return false;
    std::vector<uint8_t> chunk(kChunk, 0x5A);
    const uint64_t buffer = protocol.Address("FileAccessBuffer");
    auto move = [&](bool read) {
        for (long done = 0; done < kFileSize; done += long(kChunk))
            if (!(read ? camera.Read(buffer, chunk.data(), kChunk) : camera.Write(buffer, chunk.data(), kChunk)))
                return false;
        return true;
    };
    return figures.Time(TransferFigures::FileDownload, [&] { return camera.MoveFile(true, local); }) &&
           figures.Time(TransferFigures::FileUpload, [&] { return camera.MoveFile(false, local); }) &&
           figures.Time(TransferFigures::BufferRead, [&] { return move(true); }) &&
           figures.Time(TransferFigures::BufferWrite, [&] { return move(false); });
}

} // namespace

int main(int argc, char** argv)
{
    QString reason;
    if (!NetworkNamespace::Enter({}, reason))
    {
        std::printf("skipped: %s\n", qPrintable(reason));
        return 0;
    }
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    QTemporaryDir dir;
    const QString description = dir.filePath(QStringLiteral("bench.txt"));
    QFile file(description);
    if (!file.open(QIODevice::WriteOnly) || file.write(kDescription) < 0)
        return 1;
    file.close();
    qunsetenv("GRB_SIMULATOR");
    qunsetenv("GENICAM_GENTL64_PATH");
    qputenv("GRB_GENTL_PRODUCER", PELLIX_GENTL_PRODUCER);
    qputenv("PELLIX_GENTL_DESCRIPTION", QFile::encodeName(description));
    const RawFileProtocol protocol(kDescription, vcam::ByteOrder::Big);
    TransferFigures figures(kFileSize);
    bool ok = protocol.Ok();
    const QString id = QString::fromLatin1(kExtendedId);
    const QString local = dir.filePath(QStringLiteral("big.bin"));
    for (int round = 0; round < rounds && ok; ++round)
    {
        if (GrbCPP::GrbSystem::GetInstance().Startup() != GrbErrorSuccess)
            return 1;
        {
            auto controller = std::make_shared<ApiController>();
            PXCameraManager manager(controller);
            std::unique_ptr<PXCamera> opened(manager.Open(id));
            if (!opened)
            {
                std::fprintf(stderr, "the producer's camera did not open\n");
                return 1;
            }
            ok = figures.TimeCamera(*opened, local.toStdString());
            opened.reset();
            manager.Close(id);
        }
        GrbCPP::GrbSystem::GetInstance().Shutdown();
        ok = ok && rawRound(protocol, local.toStdString(), figures);
    }
    if (!ok)
    {
        std::fprintf(stderr, "a transfer failed\n");
        return 1;
    }
    figures.Print("16 MiB through the GenTL layer and the simulator's producer, best of " + std::to_string(rounds) +
                      " rounds",
                  "raw port");
    return 0;
}
