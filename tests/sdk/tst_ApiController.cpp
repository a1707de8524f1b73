// The SDK session owner against the simulator: error texts, camera records, list
// callbacks and their thread, enumeration, open and close.
#include "SimulatorFixture.h"

#include "sdk/ApiController.h"
#include "sdk/CameraObserver.h"

#include <QSignalSpy>
#include <QThread>
#include <QtTest>


using Field = grb::DeviceRecord::Field;

namespace {

const char* const kCameras = R"(
camera id=DEV_A model=qda640MXGE serial=S100 name="Left cam" transport=gige interface=eth7
camera id=DEV_B model=RZ-12M serial=S200 name=Right transport=usb3
camera id=DEV_C model=T-R402 serial=S300 name=Held transport=gige held=yes
)";

const QString kA = QStringLiteral("SIM-GEV::DEV_A");
const QString kB = QStringLiteral("SIM-U3V::DEV_B");
const QString kC = QStringLiteral("SIM-GEV::DEV_C");

QStringList texts(const QSignalSpy& spy)
{
    QStringList result;
    for (const auto& args : spy)
        result << args.at(0).toString();
    return result;
}

CameraInfoMap recordOfA()
{
    return {{"Extended ID", kA},         {"Camera ID", "DEV_A"},
            {"Model Name", "qda640MXGE"}, {"Camera Name", "Left cam"},
            {"Serial No.", "S100"},       {"Interface", "eth7"},
            {"Transport Layer", "GigE Vision TL (Simulator)"},
            {"TL Path", "builtin:simulator/gev"},
            {"Full Access", true}};
}

} // namespace

class TestApiController : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_sim.Start(kCameras));
        m_api = std::make_unique<ApiController>();
    }

    void cleanup()
    {
        m_api.reset();
        m_sim.Stop();
    }

    void errorTexts_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("context");
        QTest::addColumn<QString>("text");
        QTest::newRow("success") << 0 << "" << "Error: Success.";
        QTest::newRow("handle, blank kept") << -4 << "" << "Error: Invalid handle ";
        QTest::newRow("with context") << -3 << "X" << "X (error: Not found.)";
        QTest::newRow("last known") << -18 << "X" << "X (error: Not supported.)";
        for (int code : {1, -19, -30})
            QTest::addRow("%d", code) << code << "Y" << "Y (error: Unknown)";
    }

    void errorTexts()
    {
        QFETCH(int, code);
        QFETCH(QString, context);
        QFETCH(QString, text);
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        m_api->emitApiError(code, context);
        QCOMPARE(texts(errors), QStringList{text});
    }

    void versionFallsBackWhenTheQueryFails()
    {
        QCOMPARE(QString::fromStdString(m_api->GetVersion()), QStringLiteral("1.2.0"));
        m_sim.World()->FailVersionQuery(GrbErrorTransportLayer);
        QCOMPARE(QString::fromStdString(m_api->GetVersion()), QStringLiteral("0.0.0"));
    }

    void discoveryReturnsTheInterfaceRegistrationCode()
    {
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        QCOMPARE(m_api->enableAutomaticDiscovery(false), GrbErrorType(GrbErrorNotFound));
        QCOMPARE(m_api->enableAutomaticDiscovery(true), GrbErrorType(GrbErrorSuccess));
        QCOMPARE(m_api->enableAutomaticDiscovery(true), GrbErrorType(GrbErrorInvalidCall));
        QCOMPARE(m_api->enableAutomaticDiscovery(false), GrbErrorType(GrbErrorSuccess));
        QCOMPARE(errors.count(), 0);
    }

    void recordWithFailingReads_data()
    {
        QTest::addColumn<QList<int>>("fields");
        QTest::addColumn<QStringList>("reports");
        QTest::addColumn<CameraInfoMap>("record");

        QTest::newRow("nothing fails") << QList<int>() << QStringList() << recordOfA();

        QTest::newRow("extended id") << QList<int>{Field::ExtendedId}
                                     << QStringList{"Failed to get camera extended ID (error: TL error.)"}
                                     << CameraInfoMap();

        // The plain id stands in for itself with the extended id; without a transport layer
        // there is neither its name nor a path to read.
        const CameraInfoMap record = {{"Extended ID", kA}, {"Camera ID", kA}, {"Model Name", ""},
                                      {"Camera Name", ""}, {"Serial No.", ""}, {"Interface", ""},
                                      {"TL Path", ""},     {"Full Access", false}};
        QStringList reports;
        for (const char* what : {"ID", "model", "name", "serial number", "interface ID", "transport layer", "TL path",
                                 "access mode"})
            reports << QStringLiteral("Failed to get camera %1 for %2 (error: %3)")
                           .arg(what, kA, QString(qstrcmp(what, "TL path") ? "TL error." : "Unknown"));
        QTest::newRow("everything after the extended id")
            << QList<int>{Field::Id, Field::Model, Field::Name, Field::Serial, Field::InterfaceId, Field::TransportLayer,
                          Field::TransportLayerName, Field::TransportLayerPath, Field::PermittedAccess}
            << reports << record;
    }

    void recordWithFailingReads()
    {
        QFETCH(QList<int>, fields);
        QFETCH(QStringList, reports);
        QFETCH(CameraInfoMap, record);
        for (int field : fields)
            QVERIFY(m_sim.World()->FailIdentity("DEV_A", static_cast<Field>(field), GrbErrorTransportLayer));
        GrbCPP::CameraPtr camera = m_api->GetCameraPtr(kA);
        QVERIFY(camera);
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        QCOMPARE(m_api->GetCameraInfo(camera), record);
        QCOMPARE(texts(errors), reports);
    }

    void listCallbacksArriveQueuedInTheGuiThread()
    {
        QSignalSpy added(m_api.get(), &ApiController::CameraAdded);
        QSignalSpy removed(m_api.get(), &ApiController::CameraRemoved);
        QSignalSpy changed(m_api.get(), &ApiController::CameraOpenStateChanged);
        QList<QThread*> threads;
        auto record = [&threads] { threads << QThread::currentThread(); };
        connect(m_api.get(), &ApiController::CameraAdded, this, record);
        connect(m_api.get(), &ApiController::CameraRemoved, this, record);
        connect(m_api.get(), &ApiController::CameraOpenStateChanged, this, record);
        QCOMPARE(m_api->enableAutomaticDiscovery(true), GrbErrorType(GrbErrorSuccess));

        QVERIFY(m_sim.World()->Unplug("DEV_B"));
        QThread::msleep(50); // the SDK's thread has long called back; delivery waits for the loop
        QCOMPARE(removed.count(), 0);
        QVERIFY(removed.wait());
        QCOMPARE(removed.at(0).at(0).value<CameraInfoMap>(),
                 (CameraInfoMap{{"Extended ID", kB}, {"Camera Name", "Right"}}));

        QVERIFY(m_sim.World()->Plug("DEV_B"));
        QVERIFY(added.wait());
        QCOMPARE(added.at(0).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant(kB));
        QCOMPARE(added.at(0).at(0).value<CameraInfoMap>().size(), 9);

        QVERIFY(m_sim.World()->SetHeldByOther("DEV_A", true));
        QVERIFY(changed.wait());
        QCOMPARE(changed.at(0).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant(kA));
        QCOMPARE(changed.at(0).at(0).value<CameraInfoMap>().value("Full Access"), QVariant(false));

        // Opening in this process is an open state change as well.
        QVERIFY(m_api->OpenCamera(kB));
        QVERIFY(changed.wait());
        QCOMPARE(changed.at(1).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant(kB));

        QCOMPARE(threads.count(), 4);
        QCOMPARE(threads.count(QThread::currentThread()), 4);
    }

    void unplugOfACameraWithoutIdentityIsIgnored()
    {
        QSignalSpy removed(m_api.get(), &ApiController::CameraRemoved);
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        m_api->enableAutomaticDiscovery(true);
        QVERIFY(m_sim.World()->FailIdentity("DEV_A", Field::ExtendedId, GrbErrorNotFound));
        QVERIFY(m_sim.World()->Unplug("DEV_A"));
        QVERIFY(m_sim.World()->Unplug("DEV_B")); // reported after DEV_A by the same SDK thread
        QVERIFY(removed.wait());
        QTest::qWait(20);
        QCOMPARE(removed.count(), 1);
        QCOMPARE(removed.at(0).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant(kB));
        QCOMPARE(errors.count(), 0);
    }

    void openAndClose()
    {
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        QVERIFY(!m_api->OpenCamera("NOPE"));
        QVERIFY(!m_api->OpenCamera(kC));
        QCOMPARE(m_api->CloseCamera("NOPE"), GrbErrorType(-23));
        QCOMPARE(texts(errors), (QStringList{"Failed to get camera for NOPE (error: Not found.)",
                                             "Failed to open camera " + kC + " (error: Invalid access.)",
                                             "Failed to get camera for NOPE (error: Not found.)"}));
        errors.clear();
        QCOMPARE(m_api->CloseCamera(kB), GrbErrorType(GrbErrorSuccess)); // never opened
        QVERIFY(m_api->OpenCamera(kB));
        QVERIFY(!m_api->OpenCamera(kB));
        QCOMPARE(m_api->CloseCamera(kB), GrbErrorType(GrbErrorSuccess));
        QCOMPARE(texts(errors), QStringList{"Failed to open camera " + kB + " (error: Invalid access.)"});
    }

    void enumerationAndItsFailure()
    {
        QSignalSpy errors(m_api.get(), &ApiController::ApiError);
        QCOMPARE(m_api->UpdateCamerasList().size(), size_t(3));
        m_sim.World()->FailEnumeration(GrbErrorTransportLayer);
        QCOMPARE(m_api->UpdateCamerasList().size(), size_t(0));
        QCOMPARE(m_api->GetCameraModel().size(), size_t(0));
        QCOMPARE(errors.count(), 0);
    }

    void destructorClosesTheListedCameras()
    {
        m_api->UpdateCamerasList();
        GrbCPP::CameraPtr camera = m_api->OpenCamera(kB);
        QVERIFY(camera);
        m_api.reset();
        QCOMPARE(camera->Close(), GrbErrorType(GrbErrorDeviceNotOpen));
        m_api = std::make_unique<ApiController>();
    }

private:
    SimulatorFixture m_sim;
    std::unique_ptr<ApiController> m_api;
};

QTEST_GUILESS_MAIN(TestApiController)
#include "tst_ApiController.moc"
