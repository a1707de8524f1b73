// Whole file transfers through the tool's camera object over Aravis against the virtual
// cameras, inside a loopback-only network namespace: GigE Vision cameras on loopback and
// a USB3 Vision camera on the virtual USB bus (CTest preloads the libusb stand-in).
// Records, byte order, both kinds of camera buffer, a second client, a slow command,
// single images, a camera that stops, clients that are interrupted and a firmware update
// from the command line. What every transport shares is the contract suite's.
#include "CameraHolder.h"
#include "CameraProcess.h"
#include "ChildCommand.h"
#include "FakeCamera.h"
#include "GrbTestSupport.h"
#include "NamespacedTestMain.h"
#include "VirtualUsb.h"

#include "device/PXCamera.h"
#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <sim/SimDescription.h>

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <csignal>

#include <memory>

namespace {

constexpr int kPatienceMs = 15000;

const char* const kDescription = R"(
camera id=VA model=VirtualA serial=VA1 name="Virtual A" transport=gige capacity=67108864
file selector=Userfile name=f8388608 size=8388608 seed=8
file selector=Userfile name=f0 size=0
file selector=Userfile name=f1 size=1 seed=1
file selector=Userfile name=f65536 size=65536 seed=2
file selector=Userfile name=f65537 size=65537 seed=3
file selector=Userfile name=f1048576 size=1048576 seed=4
camera id=VB model=VirtualB serial=VB1 transport=gige capacity=67108864
feature name=Width type=int value=320 min=16 max=4096 inc=16
feature name=Height type=int value=240 min=8 max=3072 inc=2
file selector=Userfile name=f0 size=0
file selector=Userfile name=f1 size=1 seed=1
file selector=Userfile name=f65536 size=65536 seed=2
file selector=Userfile name=f65537 size=65537 seed=3
file selector=Userfile name=f1048576 size=1048576 seed=4
camera id=VC model=VirtualC serial=VC1 transport=gige firmware="Firmware 1.0"
file selector=Userfile name=f1048576 size=1048576 seed=4
camera id=VU model=VirtualU serial=VU1 name="Virtual U" transport=usb3 capacity=67108864 firmware="Firmware 1.0"
file selector=Userfile name=f8388608 size=8388608 seed=8
file selector=Userfile name=f1048576 size=1048576 seed=4
)";

struct Virtual
{
    QString serial;
    QString model;
    // A GigE Vision camera's loopback address, a USB3 Vision camera's socket on the bus.
    QString address;
    QStringList options;
    std::unique_ptr<CameraProcess> process;
    // A USB3 Vision camera's ids, as discovery found them (Aravis's carries its GUID).
    QString usbId;
    QString usbExtendedId;

    bool Usb() const { return address.startsWith('/'); }
    QString ExtendedId() const
    {
        return Usb() ? usbExtendedId : QStringLiteral("GEV::Zorvan Technologies-%1-%2").arg(model, serial);
    }
};

QByteArray pattern(int size, int seed)
{
    const std::vector<uint8_t> bytes = grb::sim::SimDescription::Pattern(uint64_t(size), uint32_t(seed));
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
}

QByteArray readLocal(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
}

CameraInfoMap recordOf(const std::vector<GrbCPP::CameraPtr>& cameras, ApiController& controller, const QString& key,
                       const QString& value)
{
    for (const auto& camera : cameras)
    {
        const CameraInfoMap record = controller.GetCameraInfo(camera);
        if (record.value(key).toString() == value)
            return record;
    }
    return {};
}

bool listed(const std::vector<GrbCPP::CameraPtr>& cameras, ApiController& controller, const QString& extendedId)
{
    return !recordOf(cameras, controller, QStringLiteral("Extended ID"), extendedId).isEmpty();
}

} // namespace

class TestVirtualCamera : public QObject
{
    Q_OBJECT

public:
    explicit TestVirtualCamera(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void discovered_data();
    void discovered();
    void byteOrderAndPacketSize_data();
    void byteOrderAndPacketSize();
    void roundTrips_data();
    void roundTrips();
    void slowCommandIsAcknowledgedWhenDone_data();
    void slowCommandIsAcknowledgedWhenDone();
    void secondClientIsRefused_data();
    void secondClientIsRefused();
    void singleImage_data();
    void singleImage();
    void cameraStoppedDuringTransfer_data();
    void cameraStoppedDuringTransfer();
    void fullChunksAfterOneByte();
    void interruptedClient_data();
    void interruptedClient();
    void firmwareFromTheCommandLine();

private:
    PXCamera* _Open(const Virtual& camera);
    void _Close(PXCamera* camera);
    Virtual& _Camera(const QString& letter);

    QString m_skipReason;
    QTemporaryDir m_dir;
    // A's buffer is as long as FileAccessLength says, as on many cameras; B's is fixed.
    Virtual m_a{QStringLiteral("VA1"),
                QStringLiteral("VirtualA"),
                QStringLiteral("127.0.0.2"),
                {QStringLiteral("--buffer-length"), QStringLiteral("follows")},
                {}, {}, {}};
    Virtual m_b{QStringLiteral("VB1"), QStringLiteral("VirtualB"), QStringLiteral("127.0.0.3"),
                {QStringLiteral("--buffer"), QStringLiteral("4096")}, {}, {}, {}};
    Virtual m_c{QStringLiteral("VC1"), QStringLiteral("VirtualC"), QStringLiteral("127.0.0.4"),
                {QStringLiteral("--command-delay"), QStringLiteral("UserSetLoad=3000"), QStringLiteral("--reset-delay"),
                 QStringLiteral("4000")},
                {}, {}, {}};
    Virtual m_u{QStringLiteral("VU1"),
                QStringLiteral("VirtualU"),
                m_dir.filePath(QStringLiteral("bus/VU1.usb")),
                {QStringLiteral("--command-delay"), QStringLiteral("UserSetLoad=3000"), QStringLiteral("--reset-delay"),
                 QStringLiteral("2500")},
                {}, {}, {}};
    std::unique_ptr<FakeCamera> m_fake;
    std::shared_ptr<ApiController> m_controller;
    std::unique_ptr<PXCameraManager> m_manager;
    std::vector<std::pair<QString, PXCamera*>> m_opened;
};

PXCamera* TestVirtualCamera::_Open(const Virtual& camera)
{
    PXCamera* opened = m_manager->Open(camera.ExtendedId());
    if (opened)
        m_opened.emplace_back(camera.ExtendedId(), opened);
    return opened;
}

Virtual& TestVirtualCamera::_Camera(const QString& letter)
{
    return letter == "A" ? m_a : letter == "B" ? m_b : letter == "C" ? m_c : m_u;
}

void TestVirtualCamera::_Close(PXCamera* camera)
{
    for (auto it = m_opened.begin(); it != m_opened.end(); ++it)
        if (it->second == camera)
        {
            delete camera;
            m_manager->Close(it->first);
            m_opened.erase(it);
            return;
        }
}

void TestVirtualCamera::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    QVERIFY2(VirtualUsbLoaded(), "the libusb stand-in is not preloaded: this test would reach the real USB bus");
    qunsetenv("GRB_SIMULATOR");
    qputenv("PELLIX_VIRTUAL_USB_DIR", m_dir.filePath(QStringLiteral("bus")).toLocal8Bit());
    const QString description = m_dir.filePath(QStringLiteral("cameras.txt"));
    QFile file(description);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) > 0);
    file.close();
    for (Virtual* v : {&m_a, &m_b, &m_c, &m_u})
    {
        // Ends by itself should the test be stopped in a way that leaves it behind.
        QStringList arguments = QStringList{QStringLiteral("--serial"), v->serial, QStringLiteral("--description"),
                                            description, QStringLiteral("--lifetime"), QStringLiteral("600")} +
                                v->options;
        if (!v->Usb())
            arguments << QStringLiteral("--address") << v->address;
        v->process = std::make_unique<CameraProcess>(ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments),
                                                       v->address);
        QString error;
        QVERIFY2(v->process->Start(error), qPrintable(error));
    }
    if (!FakeCamera::Program().isEmpty())
    {
        m_fake = std::make_unique<FakeCamera>(QStringLiteral("127.0.0.1"), QStringLiteral("PXF"));
        QString error;
        QVERIFY2(m_fake->Start(error), qPrintable(error));
    }
    QCOMPARE(GrbCPP::GrbSystem::GetInstance().Startup(), GrbErrorSuccess);
    m_controller = std::make_shared<ApiController>();
    QCOMPARE(m_controller->enableAutomaticDiscovery(true), GrbErrorSuccess);
    m_manager = std::make_unique<PXCameraManager>(m_controller);
    for (const Virtual* v : {&m_a, &m_b, &m_c})
        QTRY_VERIFY_WITH_TIMEOUT(listed(m_controller->UpdateCamerasList(), *m_controller, v->ExtendedId()),
                                 kPatienceMs);
    CameraInfoMap usb;
    QTRY_VERIFY_WITH_TIMEOUT(
        !(usb = recordOf(m_controller->UpdateCamerasList(), *m_controller, QStringLiteral("Serial No."), m_u.serial))
             .isEmpty(),
        kPatienceMs);
    m_u.usbId = usb.value(QStringLiteral("Camera ID")).toString();
    m_u.usbExtendedId = usb.value(QStringLiteral("Extended ID")).toString();
}

void TestVirtualCamera::cleanupTestCase()
{
    cleanup();
    m_manager.reset();
    if (m_controller)
        m_controller->enableAutomaticDiscovery(false);
    m_controller.reset();
    GrbCPP::GrbSystem::GetInstance().Shutdown();
    m_fake.reset();
    for (Virtual* v : {&m_a, &m_b, &m_c, &m_u})
        v->process.reset();
}

void TestVirtualCamera::cleanup()
{
    while (!m_opened.empty())
        _Close(m_opened.back().second);
}

void TestVirtualCamera::discovered_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("transportLayer");
    QTest::addColumn<QString>("interface");
    QTest::addColumn<QString>("idPrefix");

    QTest::newRow("GigE Vision") << "A" << "Virtual A" << "GigE Vision TL" << "lo" << "GEV::";
    // A USB3 Vision camera's user-defined name cannot be read without opening it: its
    // model stands in.
    QTest::newRow("USB3 Vision") << "U" << "VirtualU" << "USB3 Vision TL" << "usb" << "U3V::";
}

// Beside Aravis's own fake camera, when it is installed.
void TestVirtualCamera::discovered()
{
    QFETCH(QString, camera);
    QFETCH(QString, name);
    QFETCH(QString, transportLayer);
    QFETCH(QString, interface);
    QFETCH(QString, idPrefix);
    const Virtual& v = _Camera(camera);
    const std::vector<GrbCPP::CameraPtr> cameras = m_controller->UpdateCamerasList();
    if (m_fake)
        QVERIFY(listed(cameras, *m_controller, m_fake->ExtendedId()));
    const CameraInfoMap record = recordOf(cameras, *m_controller, QStringLiteral("Extended ID"), v.ExtendedId());
    QVERIFY2(!record.isEmpty(), "the virtual camera is not listed");
    QCOMPARE(record.value(QStringLiteral("Extended ID")).toString(),
             idPrefix + record.value(QStringLiteral("Camera ID")).toString());
    QVERIFY(record.value(QStringLiteral("Camera ID")).toString().endsWith("-" + v.serial));
    QCOMPARE(record.value(QStringLiteral("Camera Name")).toString(), name);
    QCOMPARE(record.value(QStringLiteral("Model Name")).toString(), v.model);
    QCOMPARE(record.value(QStringLiteral("Serial No.")).toString(), v.serial);
    QCOMPARE(record.value(QStringLiteral("Interface")).toString(), interface);
    QCOMPARE(record.value(QStringLiteral("Transport Layer")).toString(), transportLayer);
    QVERIFY(record.value(QStringLiteral("TL Path")).toString().contains(QLatin1String("libaravis")));
    QVERIFY(record.value(QStringLiteral("Full Access")).toBool());
}

void TestVirtualCamera::byteOrderAndPacketSize_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<bool>("bigEndian");
    QTest::addColumn<uint>("address");
    QTest::addColumn<uint>("value");
    QTest::addColumn<QByteArray>("written");

    // The bootstrap version register; the address of the technology specific registers.
    QTest::newRow("GigE Vision") << "A" << true << 0x0000u << 0x00010002u << QByteArray("\x11\x22\x33\x44", 4);
    QTest::newRow("USB3 Vision") << "U" << false << 0x01D8u << 0x0500u << QByteArray("\x44\x33\x22\x11", 4);
}

void TestVirtualCamera::byteOrderAndPacketSize()
{
    QFETCH(QString, camera);
    QFETCH(bool, bigEndian);
    QFETCH(uint, address);
    QFETCH(uint, value);
    QFETCH(QByteArray, written);
    PXCamera* opened = _Open(_Camera(camera));
    QVERIFY(opened);
    QCOMPARE(opened->IsBigEndian(), bigEndian);
    unsigned int read = 0;
    QVERIFY(opened->ReadRegister(address, &read));
    QCOMPARE(read, value);
    QVERIFY(opened->WriteRegister(0x1400, 0x11223344u));
    QByteArray raw(4, '\0');
    unsigned int size = 4;
    QVERIFY(opened->Read(0x1400, raw.data(), &size));
    QCOMPARE(raw, written);

    // A USB3 Vision stream has no packet size to adjust.
    if (bigEndian)
        return;
    GrbCPP::CameraPtr sdk = m_controller->GetCameraPtr(_Camera(camera).ExtendedId());
    QVERIFY(sdk);
    GrbCPP::StreamPtr stream = GrbTest::FirstStream(*sdk);
    QVERIFY(stream);
    GrbCPP::FeaturePtr adjust;
    QCOMPARE(stream->GetFeatureByName("GVSPAdjustPacketSize", adjust), GrbErrorNotFound);
}

void TestVirtualCamera::roundTrips_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<int>("size");

    // Chunk boundaries are the contract suite's; here, whole chunks of both buffer kinds.
    for (const char* camera : {"A", "B", "U"})
        for (int size : {1, 65537, 1048576})
            QTest::addRow("%s, %d bytes",
                          camera[0] == 'A'   ? "buffer following the length"
                          : camera[0] == 'B' ? "4 KiB buffer"
                                             : "USB3 Vision",
                          size)
                << QString::fromLatin1(camera) << size;
}

void TestVirtualCamera::roundTrips()
{
    QFETCH(QString, camera);
    QFETCH(int, size);
    const int seed = size;
    PXCamera* opened = _Open(_Camera(camera));
    QVERIFY(opened);
    const QByteArray content = pattern(size, seed + 100);
    const QString local = m_dir.filePath(QStringLiteral("upload.bin"));
    QFile file(local);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == size);
    file.close();
    const QByteArray name = "up" + QByteArray::number(size);
    long written = -1;
    const QString back = m_dir.filePath(QStringLiteral("back.bin"));
    QVERIFY(opened->UploadLocalFile(name.constData(), qPrintable(local), "Userfile", &written));
    QCOMPARE(written, long(size));
    QVERIFY(opened->DownloadDeviceFile(qPrintable(back), name.constData(), "Userfile", &written));
    QCOMPARE(readLocal(back), content);
}

void TestVirtualCamera::slowCommandIsAcknowledgedWhenDone_data()
{
    QTest::addColumn<QString>("camera");
    QTest::newRow("GigE Vision") << "C";
    QTest::newRow("USB3 Vision") << "U";
}

void TestVirtualCamera::slowCommandIsAcknowledgedWhenDone()
{
    QFETCH(QString, camera);
    // Three seconds is longer than Aravis waits for an acknowledge, retries included:
    // the command succeeds only because the camera says it is still working on it.
    PXCamera* opened = _Open(_Camera(camera));
    QVERIFY(opened);
    QVERIFY(opened->cameraFeature->SetCommand("UserSetLoad", 0));
}

void TestVirtualCamera::secondClientIsRefused_data()
{
    QTest::addColumn<QString>("camera");
    QTest::newRow("GigE Vision") << "A";
    QTest::newRow("USB3 Vision") << "U";
}

void TestVirtualCamera::secondClientIsRefused()
{
    QFETCH(QString, camera);
    const Virtual& v = _Camera(camera);
    // The other process names a GigE Vision camera by its address, a USB3 Vision one by its id.
    const QString held = v.Usb() ? v.usbId : v.address;
    QSignalSpy errors(m_controller.get(), &ApiController::ApiError);
    PXCamera* opened = _Open(v);
    QVERIFY(opened);
    CameraHolder holder;
    QString error;
    QVERIFY(!holder.Hold(held, error));
    QVERIFY2(error.contains(QStringLiteral("no control")), qPrintable(error));
    _Close(opened);

    // Our side of the link is torn down by Aravis's own threads after the close returns,
    // which under emulation can outlast the first try.
    QDeadlineTimer patience(kPatienceMs);
    bool holding = false;
    while (!(holding = holder.Hold(held, error)) && !patience.hasExpired())
        QTest::qWait(200);
    QVERIFY2(holding, qPrintable(error));
    QVERIFY(!_Open(v));
    QVERIFY(!errors.isEmpty());
    QCOMPARE(errors.last().at(0).toString(),
             QStringLiteral("Failed to open camera %1 (error: Invalid access.)").arg(v.ExtendedId()));
    // A holder that dies without letting go loses control when its heartbeat stops (GigE
    // Vision), or at once when its claims go with it (USB3 Vision).
    holder.Kill();
    PXCamera* reopened = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(reopened || (reopened = _Open(v)), kPatienceMs);
}

// Small images: a GigE Vision frame then fits the receiving socket's default buffer.
void TestVirtualCamera::singleImage_data()
{
    QTest::addColumn<QString>("camera");
    QTest::newRow("GigE Vision") << "B";
    QTest::newRow("USB3 Vision") << "U";
}

void TestVirtualCamera::singleImage()
{
    QFETCH(QString, camera);
    PXCamera* opened = _Open(_Camera(camera));
    QVERIFY(opened);
    std::shared_ptr<GrbCPP::Frame> frame;
    QVERIFY(opened->AcquireSingleImage(frame, 10000, GrbCPP::FrameAllocation_AnnounceFrame));
    uint32_t width = 0, height = 0;
    QCOMPARE(frame->GetWidth(width), GrbErrorSuccess);
    QCOMPARE(frame->GetHeight(height), GrbErrorSuccess);
    QVariant payload;
    QVERIFY(opened->cameraFeature->GetValue("PayloadSize", payload));
    QVERIFY(width > 0 && height > 0);
    QCOMPARE(qlonglong(width) * height, payload.toLongLong());
}

void TestVirtualCamera::cameraStoppedDuringTransfer_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<bool>("download");
    QTest::newRow("GigE Vision, download") << "C" << true;
    QTest::newRow("GigE Vision, upload") << "C" << false;
    // The USB cable pulled: the device and its socket are gone at once.
    QTest::newRow("USB3 Vision, download") << "U" << true;
    QTest::newRow("USB3 Vision, upload") << "U" << false;
}

void TestVirtualCamera::cameraStoppedDuringTransfer()
{
    QFETCH(QString, camera);
    QFETCH(bool, download);
    Virtual& v = _Camera(camera);
    // A camera restarted by the row before may not be listed again yet.
    PXCamera* opened = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(opened || (opened = _Open(v)), kPatienceMs);
    // Stopped as soon as the first chunk has gone through.
    connect(opened, &PXCamera::updateTransferProcess, this, [&v] { v.process->Kill(); }, Qt::DirectConnection);
    const QString local = m_dir.filePath(QStringLiteral("stopped.bin"));
    long written = -1;
    bool result = true;
    if (download)
        result = opened->DownloadDeviceFile(qPrintable(local), "f1048576", "Userfile", &written);
    else
        result = opened->UploadBuffer(std::vector<unsigned char>(1048576, 1), "stopped.bin", "Userfile", &written);
    QVERIFY(!result);
    QVERIFY(!v.process->IsRunning());
    if (download)
        QCOMPARE(written, 65536L);
    _Close(opened);
    QString error;
    QVERIFY2(v.process->Start(error), qPrintable(error));
}

// The buffer follows the length a transfer set: after a 1-byte transfer it holds one
// byte, and the next transfer still goes in whole 64 KiB chunks.
void TestVirtualCamera::fullChunksAfterOneByte()
{
    PXCamera* opened = _Open(m_a);
    QVERIFY(opened);
    long written = 0;
    QVERIFY(opened->UploadBuffer({9}, "one.bin", "Userfile", &written));
    QSignalSpy progress(opened, &PXCamera::updateTransferProcess);
    QVERIFY(opened->DownloadDeviceFile(qPrintable(m_dir.filePath(QStringLiteral("full.bin"))), "f1048576", "Userfile",
                                       &written));
    QCOMPARE(progress.count(), 16 + 1);
}

// A client that ends in the middle of a transfer: killed, it leaves the device file open
// and the next client closes it and goes ahead; interrupted, it closes the file itself.
void TestVirtualCamera::interruptedClient_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<int>("signal");
    QTest::addColumn<bool>("leftOpen");
    QTest::newRow("GigE Vision, killed") << "A" << int(SIGKILL) << true;
    QTest::newRow("GigE Vision, Ctrl-C") << "A" << int(SIGINT) << false;
    QTest::newRow("USB3 Vision, killed") << "U" << int(SIGKILL) << true;
    QTest::newRow("USB3 Vision, Ctrl-C") << "U" << int(SIGINT) << false;
}

void TestVirtualCamera::interruptedClient()
{
    QFETCH(QString, camera);
    QFETCH(int, signal);
    QFETCH(bool, leftOpen);
    const QString out = m_dir.filePath(QStringLiteral("client"));
    QVERIFY(QDir().mkpath(out));
    const QStringList get{QStringLiteral("get"), _Camera(camera).serial, QStringLiteral("f8388608"),
                          QStringLiteral("-o"), out, QStringLiteral("--force")};
    QProcess client;
    client.setReadChannel(QProcess::StandardError);
    ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), get).Start(client);
    QString err;
    while (!err.contains(QLatin1String("25%")) && client.waitForReadyRead(kPatienceMs))
        err += QString::fromUtf8(client.readAllStandardError());
    QVERIFY2(err.contains(QLatin1String("25%")), qPrintable(err));
    QCOMPARE(::kill(pid_t(client.processId()), signal), 0);
    QVERIFY(client.waitForFinished(kPatienceMs));
    QCOMPARE(client.exitStatus() == QProcess::NormalExit ? client.exitCode() : -1, signal == SIGINT ? 130 : -1);

    // The killed client's control of the camera ends with its heartbeat.
    QProcess next;
    QDeadlineTimer patience(kPatienceMs);
    do
    {
        ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), QStringList(get) << QStringLiteral("--json")).Start(next);
        QVERIFY(next.waitForFinished(kPatienceMs));
    } while (next.exitCode() != 0 && !patience.hasExpired());
    QCOMPARE(next.exitCode(), 0);
    const QJsonObject result =
        QJsonDocument::fromJson(next.readAllStandardOutput()).object().value("results").toArray().at(0).toObject();
    QCOMPARE(result.value("recoveredOpenFile").toBool(), leftOpen);
    QCOMPARE(readLocal(out + QStringLiteral("/f8388608")), pattern(8388608, 8));
}

// The camera resets after the update, leaves the bus and comes back with the new firmware.
void TestVirtualCamera::firmwareFromTheCommandLine()
{
    const QString image = m_dir.filePath(QStringLiteral("update.ge3"));
    QFile file(image);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("PELLIX-FIRMWARE Firmware 2.0 (virtual)\n" + pattern(70000, 5)) > 0);
    file.close();
    QProcess client;
    ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), {QStringLiteral("firmware"), m_u.serial, image,
                                                          QStringLiteral("--reset-timeout"), QStringLiteral("60")})
        .Start(client);
    QVERIFY(client.waitForFinished(90000));
    const QString out = QString::fromUtf8(client.readAllStandardOutput());
    QVERIFY2(client.exitCode() == 0, qPrintable(out + QString::fromUtf8(client.readAllStandardError())));
    QVERIFY2(out.contains(QLatin1String("Firmware 2.0 (virtual)")), qPrintable(out));
}

NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestVirtualCamera, QStringLiteral("127.0.0.2"), QStringLiteral("127.0.0.3"),
                                    QStringLiteral("127.0.0.4"))

#include "tst_virtual_camera.moc"
