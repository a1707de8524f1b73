// Whole file transfers through the tool's camera object over the GigE Vision transport
// layer (Aravis) against the virtual camera, inside a loopback-only network namespace:
// both kinds of camera buffer, a second client, a slow command, a camera that stops
// and clients that are interrupted. What every transport shares is the contract suite's.
#include "CameraHolder.h"
#include "CameraProcess.h"
#include "FakeCamera.h"
#include "NamespacedTestMain.h"

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
file selector=Userfile name=f0 size=0
file selector=Userfile name=f1 size=1 seed=1
file selector=Userfile name=f65536 size=65536 seed=2
file selector=Userfile name=f65537 size=65537 seed=3
file selector=Userfile name=f1048576 size=1048576 seed=4
camera id=VC model=VirtualC serial=VC1 transport=gige firmware="Firmware 1.0"
file selector=Userfile name=f1048576 size=1048576 seed=4
)";

struct Virtual
{
    QString serial;
    QString model;
    QString address;
    QStringList options;
    std::unique_ptr<CameraProcess> process;

    QString ExtendedId() const { return QStringLiteral("GEV::Zorvan Technologies-%1-%2").arg(model, serial); }
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

bool listed(const std::vector<GrbCPP::CameraPtr>& cameras, ApiController& controller, const QString& extendedId)
{
    for (const auto& camera : cameras)
        if (controller.GetCameraInfo(camera).value(QStringLiteral("Extended ID")).toString() == extendedId)
            return true;
    return false;
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

    void discoveredBesideAravisFakeCamera();
    void roundTrips_data();
    void roundTrips();
    void slowCommandIsAcknowledgedWhenDone();
    void secondClientIsRefused();
    void cameraStoppedDuringTransfer_data();
    void cameraStoppedDuringTransfer();
    void fullChunksAfterOneByte();
    void interruptedClient_data();
    void interruptedClient();

private:
    PXCamera* _Open(const Virtual& camera);
    void _Close(PXCamera* camera);

    QString m_skipReason;
    QTemporaryDir m_dir;
    // A's buffer is as long as FileAccessLength says, as on many cameras; B's is fixed.
    Virtual m_a{QStringLiteral("VA1"),
                QStringLiteral("VirtualA"),
                QStringLiteral("127.0.0.2"),
                {QStringLiteral("--buffer-length"), QStringLiteral("follows")},
                {}};
    Virtual m_b{QStringLiteral("VB1"), QStringLiteral("VirtualB"), QStringLiteral("127.0.0.3"),
                {QStringLiteral("--buffer"), QStringLiteral("4096")}, {}};
    Virtual m_c{QStringLiteral("VC1"), QStringLiteral("VirtualC"), QStringLiteral("127.0.0.4"),
                {QStringLiteral("--command-delay"), QStringLiteral("UserSetLoad=3000"), QStringLiteral("--reset-delay"),
                 QStringLiteral("4000")},
                {}};
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
    qunsetenv("GRB_SIMULATOR");
    const QString description = m_dir.filePath(QStringLiteral("cameras.txt"));
    QFile file(description);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) > 0);
    file.close();
    for (Virtual* v : {&m_a, &m_b, &m_c})
    {
        // Ends by itself should the test be stopped in a way that leaves it behind.
        const QStringList arguments = QStringList{QStringLiteral("--address"), v->address, QStringLiteral("--serial"),
                                                  v->serial,  QStringLiteral("--description"), description,
                                                  QStringLiteral("--lifetime"), QStringLiteral("600")} +
                                      v->options;
        v->process = std::make_unique<CameraProcess>(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments, v->address);
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
    for (Virtual* v : {&m_a, &m_b, &m_c})
        v->process.reset();
}

void TestVirtualCamera::cleanup()
{
    while (!m_opened.empty())
        _Close(m_opened.back().second);
}

void TestVirtualCamera::discoveredBesideAravisFakeCamera()
{
    const std::vector<GrbCPP::CameraPtr> cameras = m_controller->UpdateCamerasList();
    if (m_fake)
        QVERIFY(listed(cameras, *m_controller, m_fake->ExtendedId()));
    for (const auto& camera : cameras)
    {
        const CameraInfoMap record = m_controller->GetCameraInfo(camera);
        if (record.value(QStringLiteral("Extended ID")).toString() != m_a.ExtendedId())
            continue;
        QCOMPARE(record.value(QStringLiteral("Camera Name")).toString(), QStringLiteral("Virtual A"));
        QCOMPARE(record.value(QStringLiteral("Model Name")).toString(), QStringLiteral("VirtualA"));
        QCOMPARE(record.value(QStringLiteral("Serial No.")).toString(), QStringLiteral("VA1"));
        QCOMPARE(record.value(QStringLiteral("Transport Layer")).toString(), QStringLiteral("GigE Vision TL"));
        QVERIFY(record.value(QStringLiteral("Full Access")).toBool());
        return;
    }
    QFAIL("the virtual camera is not listed");
}

void TestVirtualCamera::roundTrips_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<int>("size");

    // Chunk boundaries are the contract suite's; here, whole chunks of both buffer kinds.
    for (const char* camera : {"A", "B"})
        for (int size : {1, 65537, 1048576})
            QTest::addRow("%s, %d bytes", camera[0] == 'A' ? "buffer following the length" : "4 KiB buffer", size)
                << QString::fromLatin1(camera) << size;
}

void TestVirtualCamera::roundTrips()
{
    QFETCH(QString, camera);
    QFETCH(int, size);
    const int seed = size;
    PXCamera* opened = _Open(camera == "A" ? m_a : m_b);
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

void TestVirtualCamera::slowCommandIsAcknowledgedWhenDone()
{
    // Three seconds is longer than Aravis waits for an acknowledge, retries included:
    // the command succeeds only because the camera says it is still working on it.
    PXCamera* opened = _Open(m_c);
    QVERIFY(opened);
    QVERIFY(opened->cameraFeature->SetCommand("UserSetLoad", 0));
}

void TestVirtualCamera::secondClientIsRefused()
{
    QSignalSpy errors(m_controller.get(), &ApiController::ApiError);
    PXCamera* opened = _Open(m_a);
    QVERIFY(opened);
    CameraHolder holder;
    QString error;
    QVERIFY(!holder.Hold(m_a.address, error));
    QVERIFY2(error.contains(QStringLiteral("no control")), qPrintable(error));
    _Close(opened);

    QVERIFY2(holder.Hold(m_a.address, error), qPrintable(error));
    QVERIFY(!_Open(m_a));
    QVERIFY(!errors.isEmpty());
    QCOMPARE(errors.last().at(0).toString(),
             QStringLiteral("Failed to open camera %1 (error: Invalid access.)").arg(m_a.ExtendedId()));
    // A holder that dies without letting go loses control when its heartbeat stops.
    holder.Kill();
    PXCamera* reopened = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(reopened || (reopened = _Open(m_a)), kPatienceMs);
}

void TestVirtualCamera::cameraStoppedDuringTransfer_data()
{
    QTest::addColumn<bool>("download");
    QTest::newRow("download") << true;
    QTest::newRow("upload") << false;
}

void TestVirtualCamera::cameraStoppedDuringTransfer()
{
    QFETCH(bool, download);
    // A camera restarted by the row before may not be listed again yet.
    PXCamera* opened = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(opened || (opened = _Open(m_c)), kPatienceMs);
    // Stopped as soon as the first chunk has gone through.
    connect(opened, &PXCamera::updateTransferProcess, this, [this] { m_c.process->Kill(); }, Qt::DirectConnection);
    const QString local = m_dir.filePath(QStringLiteral("stopped.bin"));
    long written = -1;
    bool result = true;
    if (download)
        result = opened->DownloadDeviceFile(qPrintable(local), "f1048576", "Userfile", &written);
    else
        result = opened->UploadBuffer(std::vector<unsigned char>(1048576, 1), "stopped.bin", "Userfile", &written);
    QVERIFY(!result);
    QVERIFY(!m_c.process->IsRunning());
    if (download)
        QCOMPARE(written, 65536L);
    _Close(opened);
    QString error;
    QVERIFY2(m_c.process->Start(error), qPrintable(error));
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
    QTest::addColumn<int>("signal");
    QTest::addColumn<bool>("leftOpen");
    QTest::newRow("killed") << int(SIGKILL) << true;
    QTest::newRow("Ctrl-C") << int(SIGINT) << false;
}

void TestVirtualCamera::interruptedClient()
{
    QFETCH(int, signal);
    QFETCH(bool, leftOpen);
    const QString out = m_dir.filePath(QStringLiteral("client"));
    QVERIFY(QDir().mkpath(out));
    const QStringList get{QStringLiteral("get"), m_a.serial, QStringLiteral("f8388608"), QStringLiteral("-o"), out,
                          QStringLiteral("--force")};
    QProcess client;
    client.setReadChannel(QProcess::StandardError);
    client.start(QStringLiteral(PELLIX_FA_PATH), get);
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
        next.start(QStringLiteral(PELLIX_FA_PATH), QStringList(get) << QStringLiteral("--json"));
        QVERIFY(next.waitForFinished(kPatienceMs));
    } while (next.exitCode() != 0 && !patience.hasExpired());
    QCOMPARE(next.exitCode(), 0);
    const QJsonObject result =
        QJsonDocument::fromJson(next.readAllStandardOutput()).object().value("results").toArray().at(0).toObject();
    QCOMPARE(result.value("recoveredOpenFile").toBool(), leftOpen);
    QCOMPARE(readLocal(out + QStringLiteral("/f8388608")), pattern(8388608, 8));
}

NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestVirtualCamera, QStringLiteral("127.0.0.2"), QStringLiteral("127.0.0.3"),
                                    QStringLiteral("127.0.0.4"))

#include "tst_virtual_camera.moc"
