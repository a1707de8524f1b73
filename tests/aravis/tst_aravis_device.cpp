// The tool's own camera access (ApiController, PXCameraManager, PXCamera) over the
// GigE Vision transport layer, against Aravis's fake camera on loopback inside the
// test's own network namespace.
#include "CameraHolder.h"
#include "FakeCamera.h"
#include "NamespacedTestMain.h"

#include "device/PXCamera.h"
#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <QFileInfo>
#include <QSignalSpy>

#include <memory>

namespace {

constexpr int kPatienceMs = 10000;

// The last record among the spy's signals that names the camera.
CameraInfoMap lastRecordOf(const QSignalSpy& spy, const QString& extendedId)
{
    for (int i = spy.count() - 1; i >= 0; --i)
    {
        const CameraInfoMap record = spy.at(i).at(0).value<CameraInfoMap>();
        if (record.value(QStringLiteral("Extended ID")).toString() == extendedId)
            return record;
    }
    return {};
}

} // namespace

class TestAravisDevice : public QObject
{
    Q_OBJECT

public:
    explicit TestAravisDevice(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void recordsHaveEveryField_data();
    void recordsHaveEveryField();
    void registersInTheCamerasByteOrder();
    void singleImage();
    void heldCameraIsGreyedOutAndRefused();
    void hotPlugSignals();

private:
    PXCamera* _Open(const FakeCamera& camera);

    QString m_skipReason;
    std::unique_ptr<FakeCamera> m_a;
    std::unique_ptr<FakeCamera> m_b;
    std::shared_ptr<ApiController> m_controller;
    std::unique_ptr<PXCameraManager> m_manager;
    std::unique_ptr<QSignalSpy> m_errors;
    std::vector<std::pair<QString, PXCamera*>> m_opened;
};

PXCamera* TestAravisDevice::_Open(const FakeCamera& camera)
{
    PXCamera* opened = m_manager->Open(camera.ExtendedId());
    if (opened)
        m_opened.emplace_back(camera.ExtendedId(), opened);
    return opened;
}

void TestAravisDevice::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    if (FakeCamera::Program().isEmpty())
        QSKIP("arv-fake-gv-camera-0.8 is not installed (Debian package aravis-tools)");
    qunsetenv("GRB_SIMULATOR");
    m_a = std::make_unique<FakeCamera>(QStringLiteral("127.0.0.1"), QStringLiteral("PXA"),
                                       QStringLiteral(ARAVIS_TEST_DESCRIPTION));
    m_b = std::make_unique<FakeCamera>(QStringLiteral("127.0.0.2"), QStringLiteral("PXB"));
    QString error;
    QVERIFY2(m_a->Start(error), qPrintable(error));
    QVERIFY2(m_b->Start(error), qPrintable(error));
    QCOMPARE(GrbCPP::GrbSystem::GetInstance().Startup(), GrbErrorSuccess);
    m_controller = std::make_shared<ApiController>();
    m_errors = std::make_unique<QSignalSpy>(m_controller.get(), &ApiController::ApiError);
    QCOMPARE(m_controller->enableAutomaticDiscovery(true), GrbErrorSuccess);
    m_manager = std::make_unique<PXCameraManager>(m_controller);
}

void TestAravisDevice::cleanupTestCase()
{
    m_manager.reset();
    if (m_controller)
        m_controller->enableAutomaticDiscovery(false);
    m_errors.reset();
    m_controller.reset();
    GrbCPP::GrbSystem::GetInstance().Shutdown();
    m_a.reset();
    m_b.reset();
}

void TestAravisDevice::cleanup()
{
    for (auto& opened : m_opened)
    {
        delete opened.second;
        m_manager->Close(opened.first);
    }
    m_opened.clear();
    if (m_errors)
        m_errors->clear();
}

void TestAravisDevice::recordsHaveEveryField_data()
{
    QTest::addColumn<QString>("serial");
    QTest::newRow("camera A") << "PXA";
    QTest::newRow("camera B") << "PXB";
}

void TestAravisDevice::recordsHaveEveryField()
{
    QFETCH(QString, serial);
    const QString extendedId = QStringLiteral("GEV::Aravis-Fake-") + serial;
    CameraInfoMap record;
    int seen = 0;
    for (const GrbCPP::CameraPtr& camera : m_controller->UpdateCamerasList())
    {
        const CameraInfoMap candidate = m_controller->GetCameraInfo(camera);
        if (candidate.value(QStringLiteral("Extended ID")).toString() == extendedId)
        {
            record = candidate;
            ++seen;
        }
    }
    QCOMPARE(seen, 1);
    QCOMPARE(record.value("Camera ID").toString(), QStringLiteral("Aravis-Fake-") + serial);
    QCOMPARE(record.value("Model Name").toString(), QStringLiteral("Fake"));
    QCOMPARE(record.value("Camera Name").toString(), QStringLiteral("Fake"));
    QCOMPARE(record.value("Serial No.").toString(), serial);
    QCOMPARE(record.value("Interface").toString(), QStringLiteral("lo"));
    QCOMPARE(record.value("Transport Layer").toString(), QStringLiteral("GigE Vision TL"));
    QVERIFY(QFileInfo::exists(record.value("TL Path").toString()));
    QCOMPARE(record.value("Full Access").type(), QVariant::Bool);
    QVERIFY(record.value("Full Access").toBool());
    QCOMPARE(record.size(), 9);
    QCOMPARE(m_errors->count(), 0);
}

void TestAravisDevice::registersInTheCamerasByteOrder()
{
    PXCamera* camera = _Open(*m_a);
    QVERIFY(camera);
    QVERIFY(camera->IsBigEndian());
    QVERIFY(camera->cameraFeature->SetValue("Width", 320));
    unsigned int value = 0;
    QVERIFY(camera->ReadRegister(0x100, &value));
    QCOMPARE(value, 320u);
    QVERIFY(camera->WriteRegister(0x104, 100));
    QVariant height;
    QVERIFY(camera->cameraFeature->GetValue("Height", height));
    QCOMPARE(height.toLongLong(), 100LL);
}

void TestAravisDevice::singleImage()
{
    PXCamera* camera = _Open(*m_a);
    QVERIFY(camera);
    QVERIFY(camera->cameraFeature->SetValue("Width", 32));
    QVERIFY(camera->cameraFeature->SetValue("Height", 8));
    QVERIFY(camera->cameraFeature->SetValue("PixelFormat", QStringLiteral("Mono8")));
    std::shared_ptr<GrbCPP::Frame> frame;
    QVERIFY(camera->AcquireSingleImage(frame, 3000, GrbCPP::FrameAllocation_AnnounceFrame));
    uint32_t size = 0;
    QCOMPARE(frame->GetBufferSize(size), GrbErrorSuccess);
    QCOMPARE(size, 32u * 8u);
}

void TestAravisDevice::heldCameraIsGreyedOutAndRefused()
{
    QSignalSpy changes(m_controller.get(), &ApiController::CameraOpenStateChanged);
    const QString id = m_b->ExtendedId();
    CameraHolder holder;
    QString error;
    QVERIFY2(holder.Hold(m_b->Address(), error), qPrintable(error));
    QTRY_VERIFY_WITH_TIMEOUT(lastRecordOf(changes, id).contains("Full Access"), kPatienceMs);
    QCOMPARE(lastRecordOf(changes, id).value("Full Access").toBool(), false);

    QVERIFY(!_Open(*m_b));
    QCOMPARE(m_errors->count(), 1);
    QCOMPARE(m_errors->at(0).at(0).toString(), QStringLiteral("Failed to open camera %1 (error: Invalid access.)").arg(id));

    changes.clear();
    holder.Release();
    QTRY_VERIFY_WITH_TIMEOUT(lastRecordOf(changes, id).contains("Full Access"), kPatienceMs);
    QCOMPARE(lastRecordOf(changes, id).value("Full Access").toBool(), true);
    QVERIFY(_Open(*m_b));
}

void TestAravisDevice::hotPlugSignals()
{
    QSignalSpy removed(m_controller.get(), &ApiController::CameraRemoved);
    QSignalSpy added(m_controller.get(), &ApiController::CameraAdded);
    const QString id = m_b->ExtendedId();
    m_b->Stop();
    QTRY_VERIFY_WITH_TIMEOUT(!lastRecordOf(removed, id).isEmpty(), kPatienceMs);
    QCOMPARE(lastRecordOf(removed, id).value("Camera Name").toString(), QStringLiteral("Fake"));

    QString error;
    QVERIFY2(m_b->Start(error), qPrintable(error));
    QTRY_VERIFY_WITH_TIMEOUT(!lastRecordOf(added, id).isEmpty(), kPatienceMs);
    const CameraInfoMap record = lastRecordOf(added, id);
    QCOMPARE(record.value("Serial No.").toString(), m_b->Serial());
    QVERIFY(record.value("Full Access").toBool());
    QVERIFY(lastRecordOf(removed, m_a->ExtendedId()).isEmpty());
}

ARAVIS_NAMESPACED_TEST_MAIN(TestAravisDevice)

#include "tst_aravis_device.moc"
