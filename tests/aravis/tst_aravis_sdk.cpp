// The GigE Vision transport layer through the SDK's public interfaces, against
// Aravis's fake camera on loopback inside the test's own network namespace.
#include "CameraHolder.h"
#include "FakeCamera.h"
#include "NetworkNamespace.h"

#include "GrbTestSupport.h"
#include "ListRecorder.h"

#include "aravis/AravisError.h"
#include "aravis/GvcpClient.h"
#include <gvcp/GvcpProtocol.h>

#include <GrbCPP/GrbCPP.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QtEndian>
#include <QtTest>

#include <memory>

using namespace GrbTest;

namespace {

constexpr uint64_t kScratch = 0x1400;
constexpr uint64_t kCommandRegister = 0x1200;
constexpr uint64_t kRawRegister = 0x1000;
constexpr int kPatienceMs = 10000;
const QString kFree = QString::number(GrbAccessModeFull | GrbAccessModeRead);
const QString kHeld = QString::number(GrbAccessModeRead);

GrbCPP::GrbSystem& sdk()
{
    return GrbCPP::GrbSystem::GetInstance();
}

// A 32-bit register in the camera's (big-endian) byte order.
uint32_t readRegister(const GrbCPP::Camera& camera, uint64_t address)
{
    const QByteArray bytes = ReadMemory(camera, address, 4);
    return bytes.size() == 4 ? qFromBigEndian<quint32>(bytes.constData()) : 0xDEADBEEF;
}

std::vector<std::string> presentIds()
{
    unsigned int count = 0;
    std::vector<std::string> ids;
    if (sdk().GetCameras(nullptr, count) != GrbErrorSuccess)
        return ids;
    std::vector<GrbCPP::CameraPtr> cameras(count);
    sdk().GetCameras(cameras.data(), count);
    for (unsigned int i = 0; i < count; ++i)
        ids.push_back(ExtendedId(*cameras[i]));
    return ids;
}

} // namespace

class TestAravisSdk : public QObject
{
    Q_OBJECT

public:
    explicit TestAravisSdk(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase()
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
        QCOMPARE(sdk().Startup(), GrbErrorSuccess);
        m_recorder = std::make_shared<ListRecorder>();
        QCOMPARE(sdk().RegisterCameraListObserver(m_recorder), GrbErrorSuccess);
    }

    void cleanupTestCase()
    {
        if (m_recorder)
            sdk().UnregisterCameraListObserver(m_recorder);
        sdk().Shutdown();
        m_a.reset();
        m_b.reset();
    }

    void cleanup()
    {
        for (auto& camera : m_opened)
            camera->Close();
        m_opened.clear();
    }

    void enumerationFillsEveryField_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("serial");
        QTest::newRow("camera A") << "127.0.0.1" << "PXA";
        QTest::newRow("camera B") << "127.0.0.2" << "PXB";
    }

    void enumerationFillsEveryField()
    {
        QFETCH(QString, address);
        QFETCH(QString, serial);
        const FakeCamera& fake = address == m_a->Address() ? *m_a : *m_b;
        const std::vector<std::string> ids = presentIds();
        QCOMPARE(std::count(ids.begin(), ids.end(), fake.ExtendedId().toStdString()), 1);

        GrbCPP::CameraPtr camera = _Known(fake);
        QVERIFY(camera);
        QStringList texts;
        for (const char* which : {"id", "model", "serial", "name", "interface", "layer name", "access"})
            texts << IdentityText(*camera, which);
        // Without a user-defined name the camera is called by its model.
        QCOMPARE(texts, QStringList({"Aravis-Fake-" + serial, "Fake", serial, "Fake", "lo", "GigE Vision TL",
                                     kFree}));
        const QFileInfo library(IdentityText(*camera, "layer path"));
        QVERIFY2(library.exists() && library.fileName().startsWith("libaravis-0.8"), qPrintable(library.filePath()));
        GrbTransportLayerType type = GrbTransportLayerUnknown;
        QCOMPARE(camera->GetTransportLayerType(type), GrbErrorSuccess);
        QCOMPARE(type, GrbTransportLayerType(GrbTransportLayerGEV));
    }

    void nameIsTheUserDefinedName()
    {
        GrbCPP::CameraPtr camera = _Open(*m_a);
        QVERIFY(camera);
        QCOMPARE(SetFeature(*camera, "DeviceUserID", "Inspection left"), GrbErrorSuccess);
        QCOMPARE(camera->Close(), GrbErrorSuccess);
        // Discovery reads the name from the camera without opening it, on its next round.
        QTRY_COMPARE_WITH_TIMEOUT((presentIds(), IdentityText(*camera, "name")),
                                  QStringLiteral("Inspection left"), kPatienceMs);

    }

    void commandIsDoneWhenItsValueChanges()
    {
        GrbCPP::CameraPtr camera = _Open(*m_a);
        QVERIFY(camera);
        GrbCPP::FeaturePtr command;
        bool done = false;
        QCOMPARE(camera->GetFeatureByName("TestCommand", command), GrbErrorSuccess);
        QCOMPARE(command->RunCommand(), GrbErrorSuccess);
        QCOMPARE(readRegister(*camera, kCommandRegister), 5u);
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(!done);
        // What a camera does when it finishes: the register no longer holds the command value.
        QCOMPARE(WriteMemory(*camera, kCommandRegister, QByteArray(4, '\0')), GrbErrorSuccess);
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done);
    }

    // Aravis always writes a register whole: a short write is padded with zeros.
    void shortRawWriteIsPadded()
    {
        GrbCPP::CameraPtr camera = _Open(*m_a);
        QVERIFY(camera);
        QCOMPARE(WriteMemory(*camera, kRawRegister, QByteArray(40, '\x5a')), GrbErrorSuccess);
        GrbCPP::FeaturePtr raw;
        QCOMPARE(camera->GetFeatureByName("TestRaw", raw), GrbErrorSuccess);
        const QByteArray data = Pattern(10, 10);
        QCOMPARE(raw->SetValue(reinterpret_cast<const unsigned char*>(data.constData()), 10), GrbErrorSuccess);
        QCOMPARE(ReadMemory(*camera, kRawRegister, 37), data + QByteArray(27, '\0'));
    }

    void packetSizeAdjustment()
    {
        GrbCPP::CameraPtr camera = _Open(*m_a);
        QVERIFY(camera);
        GrbCPP::StreamPtr stream = FirstStream(*camera);
        QVERIFY(stream);
        QCOMPARE(ReadAs(*stream, "GVSPProtocol", "text"), QStringLiteral("UDP"));
        QCOMPARE(SetFeature(*stream, "GVSPProtocol", "TCP"), GrbErrorInvalidAccess);

        GrbCPP::FeaturePtr adjust;
        QCOMPARE(stream->GetFeatureByName("GVSPAdjustPacketSize", adjust), GrbErrorSuccess);
        QCOMPARE(adjust->RunCommand(), GrbErrorSuccess);
        bool done = false;
        QCOMPARE(adjust->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done);
        // The fake camera cannot send test packets, so the negotiation keeps its packet size.
        QCOMPARE(readRegister(*camera, 0x0D04) & 0xFFFF, 1400u);
        GrbCPP::FeaturePtr missing;
        QCOMPARE(stream->GetFeatureByName("GVSPPacketSize", missing), GrbErrorNotFound);
    }

    void readOnlySessionRefusesWrites()
    {
        GrbCPP::CameraPtr camera = _Open(*m_a, GrbAccessModeRead);
        QVERIFY(camera);
        int64_t width = 0;
        QCOMPARE(GetFeature(*camera, "Width", width), GrbErrorSuccess);
        QCOMPARE(SetFeature(*camera, "Width", width), GrbErrorInvalidAccess);
        QCOMPARE(WriteMemory(*camera, kScratch, QByteArray(4, '\0')), GrbErrorInvalidAccess);
        GrbCPP::FramePtr frame;
        QCOMPARE(camera->AcquireSingleImage(frame, 1000), GrbErrorInvalidAccess);
    }

    void ownControlIsNotAnotherApplications()
    {
        // Camera B, which no test before this one opened: no late event of theirs can count.
        const std::string id = m_b->ExtendedId().toStdString();
        const int changes = m_recorder->Count(true, id, GrbCPP::UpdateTriggerOpenStateChanged);
        GrbCPP::CameraPtr camera = _Open(*m_b);
        QVERIFY(camera);
        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 1));
        // Time for a discovery round or two to read the privilege register, which now
        // names this process.
        QTest::qWait(3000);
        QCOMPARE(IdentityText(*camera, "access"), kFree);
        QCOMPARE(m_recorder->Count(true, id, GrbCPP::UpdateTriggerOpenStateChanged), changes + 1);
        // Closed here and waited for, so the next test starts from a settled count.
        QCOMPARE(camera->Close(), GrbErrorSuccess);
        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 2));
    }

    void heldByAnotherProcess()
    {
        const std::string id = m_b->ExtendedId().toStdString();
        GrbCPP::CameraPtr camera = _Known(*m_b);
        QVERIFY(camera);
        const int changes = m_recorder->Count(true, id, GrbCPP::UpdateTriggerOpenStateChanged);
        CameraHolder holder;
        QString error;
        QVERIFY2(holder.Hold(m_b->Address(), error), qPrintable(error));

        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 1));
        QCOMPARE(IdentityText(*camera, "access"), kHeld);
        QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorInvalidAccess);
        QVERIFY(grb::aravis::AravisError::LastMessage().find("another application") != std::string::npos);
        // Refused without touching the holder's control.
        grb::aravis::GvcpClient gvcp(m_b->Address().toStdString());
        uint32_t privilege = 0;
        QCOMPARE(gvcp.ReadRegister(grb::gvcp::kControlChannelPrivilege, privilege), GrbErrorSuccess);
        QCOMPARE(privilege, 2u);

        holder.Release();
        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 2));
        QCOMPARE(IdentityText(*camera, "access"), kFree);
        QVERIFY(_Open(*m_b));
    }

    void hotPlug()
    {
        const std::string id = m_b->ExtendedId().toStdString();
        const int left = m_recorder->Count(true, id, GrbCPP::UpdateTriggerPluggedOut);
        const int arrived = m_recorder->Count(true, id, GrbCPP::UpdateTriggerPluggedIn);
        GrbCPP::CameraPtr camera = _Open(*m_b);
        QVERIFY(camera);
        m_b->Stop();
        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerPluggedOut, left + 1));
        std::vector<std::string> ids = presentIds();
        QCOMPARE(std::count(ids.begin(), ids.end(), id), 0);
        QCOMPARE(std::count(ids.begin(), ids.end(), m_a->ExtendedId().toStdString()), 1);
        // Aravis's heartbeat notices the loss of control a few seconds later; from then on
        // the session says so instead of timing out.
        int64_t width = 0;
        QTRY_COMPARE_WITH_TIMEOUT(GetFeature(*camera, "Width", width), GrbErrorTransportLayer, kPatienceMs);
        QCOMPARE(camera->Close(), GrbErrorSuccess);
        QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorNotFound);

        QString error;
        QVERIFY2(m_b->Start(error), qPrintable(error));
        QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerPluggedIn, arrived + 1));
        ids = presentIds();
        QCOMPARE(std::count(ids.begin(), ids.end(), id), 1);
        QCOMPARE(IdentityText(*camera, "access"), kFree);
        QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
        QCOMPARE(GetFeature(*camera, "Width", width), GrbErrorSuccess);
    }

    void simulatorLoadsNoAravisLayer()
    {
        QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);
        qputenv("GRB_SIMULATOR", "demo");
        const GrbErrorType started = sdk().Startup();
        const std::vector<std::string> ids = presentIds();
        sdk().Shutdown();
        qunsetenv("GRB_SIMULATOR");
        QCOMPARE(started, GrbErrorSuccess);
        QVERIFY(!ids.empty());
        // Both fake cameras answer in this namespace; none of them may show.
        for (const std::string& id : ids)
            QVERIFY2(id.rfind("SIM-", 0) == 0, id.c_str());
        QCOMPARE(sdk().Startup(), GrbErrorSuccess);
        QCOMPARE(sdk().RegisterCameraListObserver(m_recorder), GrbErrorSuccess);
    }

private:
    GrbCPP::CameraPtr _Open(const FakeCamera& camera, GrbAccessModeType mode = GrbAccessModeFull);
    GrbCPP::CameraPtr _Known(const FakeCamera& camera);

    QString m_skipReason;
    std::unique_ptr<FakeCamera> m_a;
    std::unique_ptr<FakeCamera> m_b;
    std::shared_ptr<ListRecorder> m_recorder;
    std::vector<GrbCPP::CameraPtr> m_opened;
};

GrbCPP::CameraPtr TestAravisSdk::_Known(const FakeCamera& camera)
{
    return CameraById(camera.ExtendedId().toLatin1().constData());
}

GrbCPP::CameraPtr TestAravisSdk::_Open(const FakeCamera& camera, GrbAccessModeType mode)
{
    GrbCPP::CameraPtr opened = OpenCamera(camera.ExtendedId().toLatin1().constData(), mode);
    if (opened)
        m_opened.push_back(opened);
    return opened;
}

int main(int argc, char** argv)
{
    // Camera A answers on 127.0.0.1, camera B on 127.0.0.2.
    QString reason;
    const bool isolated = NetworkNamespace::Enter({QStringLiteral("127.0.0.2")}, reason);
    QCoreApplication app(argc, argv);
    TestAravisSdk test(isolated ? QString() : reason);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_aravis_sdk.moc"
