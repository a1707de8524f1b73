// The tool's camera object over the GigE Vision transport layer (Aravis) against the
// virtual camera, inside a loopback-only network namespace: what only a camera on the
// network shows, a buffer as long as the last transfer length, a second client and a
// slow command. What every transport shares is the contract suite's; failures in the
// middle of a transfer are the device and command-line tests'.
#include "CameraHolder.h"
#include "CameraProcess.h"
#include "GrbTestSupport.h"
#include "LocalFiles.h"
#include "NamespacedTestMain.h"

#include "device/PXCamera.h"
#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

namespace {

constexpr int kPatienceMs = 15000;

const char* const kDescription = R"(
camera id=VA model=VirtualA serial=VA1 transport=gige capacity=67108864
file selector=Userfile name=f1048576 size=1048576 seed=4
camera id=VC model=VirtualC serial=VC1 transport=gige
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

bool listed(ApiController& controller, const QString& extendedId)
{
    for (const auto& camera : controller.UpdateCamerasList())
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
    void initTestCase()
    {
        if (!m_skipReason.isEmpty())
            QSKIP(qPrintable(m_skipReason));
        qunsetenv("GRB_SIMULATOR");
        const QString description = m_dir.filePath(QStringLiteral("cameras.txt"));
        QVERIFY(WriteLocal(description, kDescription));
        for (Virtual* v : {&m_a, &m_c})
        {
            // Ends by itself should the test be stopped in a way that leaves it behind.
            const QStringList arguments =
                QStringList{QStringLiteral("--address"), v->address,  QStringLiteral("--serial"),   v->serial,
                            QStringLiteral("--description"), description, QStringLiteral("--lifetime"),
                            QStringLiteral("600")} +
                v->options;
            v->process = std::make_unique<CameraProcess>(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments, v->address);
            QString error;
            QVERIFY2(v->process->Start(error), qPrintable(error));
        }
        QCOMPARE(GrbCPP::GrbSystem::GetInstance().Startup(), GrbErrorSuccess);
        m_controller = std::make_shared<ApiController>();
        QCOMPARE(m_controller->enableAutomaticDiscovery(true), GrbErrorSuccess);
        m_manager = std::make_unique<PXCameraManager>(m_controller);
        for (const Virtual* v : {&m_a, &m_c})
            QTRY_VERIFY_WITH_TIMEOUT(listed(*m_controller, v->ExtendedId()), kPatienceMs);
    }

    void cleanupTestCase()
    {
        cleanup();
        m_manager.reset();
        if (m_controller)
            m_controller->enableAutomaticDiscovery(false);
        m_controller.reset();
        GrbCPP::GrbSystem::GetInstance().Shutdown();
        for (Virtual* v : {&m_a, &m_c})
            v->process.reset();
    }

    void cleanup()
    {
        while (!m_opened.empty())
            _Close(m_opened.back().second);
    }

    // After a 1-byte transfer the buffer holds one byte; the next transfers still go in
    // whole 64 KiB chunks, both ways.
    void bufferFollowingTheLength()
    {
        PXCamera* opened = _Open(m_a);
        QVERIFY(opened);
        long written = 0;
        QVERIFY(opened->UploadBuffer({9}, "one.bin", "Userfile", &written));
        QSignalSpy progress(opened, &PXCamera::updateTransferProcess);
        const QString local = m_dir.filePath(QStringLiteral("full.bin"));
        QVERIFY(opened->DownloadDeviceFile(qPrintable(local), "f1048576", "Userfile", &written));
        QCOMPARE(progress.count(), 16 + 1);
        QCOMPARE(ReadLocal(local), GrbTest::Pattern(1048576, 4));

        const QByteArray content = GrbTest::Pattern(65537, 7);
        QVERIFY(WriteLocal(local, content));
        QVERIFY(opened->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &written));
        QCOMPARE(written, 65537L);
        QVERIFY(opened->DownloadDeviceFile(qPrintable(local), "up.bin", "Userfile", &written));
        QCOMPARE(ReadLocal(local), content);
    }

    void slowCommandIsAcknowledgedWhenDone()
    {
        // Three seconds is longer than Aravis waits for an acknowledge, retries included:
        // the command succeeds only because the camera says it is still working on it.
        PXCamera* opened = _Open(m_c);
        QVERIFY(opened);
        QVERIFY(opened->cameraFeature->SetCommand("UserSetLoad", 0));
    }

    void secondClientIsRefused()
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

private:
    PXCamera* _Open(const Virtual& camera);
    void _Close(PXCamera* camera);

    QString m_skipReason;
    QTemporaryDir m_dir;
    // A's buffer is as long as FileAccessLength says, as on many cameras.
    Virtual m_a{QStringLiteral("VA1"),
                QStringLiteral("VirtualA"),
                QStringLiteral("127.0.0.2"),
                {QStringLiteral("--buffer-length"), QStringLiteral("follows")},
                {}};
    Virtual m_c{QStringLiteral("VC1"), QStringLiteral("VirtualC"), QStringLiteral("127.0.0.4"),
                {QStringLiteral("--command-delay"), QStringLiteral("UserSetLoad=3000")},
                {}};
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

NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestVirtualCamera, QStringLiteral("127.0.0.2"), QStringLiteral("127.0.0.4"))

#include "tst_virtual_camera.moc"
