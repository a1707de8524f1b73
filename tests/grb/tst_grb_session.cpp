// The SDK session, camera enumeration, identity texts and list-change callbacks, on
// the simulator's demo set and on small descriptions.
#include "GrbTestSupport.h"
#include "ListRecorder.h"

#include <GrbC/GrbC.h>
#include <GrbCPP/GrbCPP.h>
#include <sim/SimWorld.h>

#include <QtTest>

#include <cstring>
#include <atomic>
#include <functional>
#include <thread>

using namespace GrbCPP;
using grb::DeviceRecord;
using grb::sim::SimWorld;
using GrbTest::ReadText;

Q_DECLARE_METATYPE(DeviceRecord::Field)

namespace {

const char* const kGigE = "SIM-GEV::DEV_0F3100A1";
const char* const kUsb3 = "SIM-U3V::DEV_1AB22C0F";
const char* const kLab = "SIM-GEV::DEV_00C0FFEE";
const char* const kHeld = "SIM-GEV::DEV_0F3100B7";

GrbSystem& sdk()
{
    return GrbSystem::GetInstance();
}

unsigned int presentCount()
{
    unsigned int count = 0;
    return sdk().GetCameras(nullptr, count) == GrbErrorSuccess ? count : 0;
}

// One identity read of a camera: its texts, its interface's id, its transport
// layer's name and path, and its permitted access (as a number).
std::string identity(const Camera& camera, const QString& which, GrbErrorType& err)
{
    std::string text;
    InterfacePtr iface;
    TransportLayerPtr layer;
    if (which == "access")
    {
        GrbAccessModeType access = 0;
        err = camera.GetPermittedAccess(access);
        return std::to_string(access);
    }
    if (which == "interface" && (err = camera.GetInterface(iface)) != GrbErrorSuccess)
        return text;
    if (which.startsWith("layer") && (err = camera.GetTransportLayer(layer)) != GrbErrorSuccess)
        return text;
    auto call = [&](char* buffer, unsigned int& length) -> GrbErrorType {
        if (which == "id" || which == "extended")
            return camera.GetID(buffer, length, which == "extended");
        if (which == "model")
            return camera.GetModel(buffer, length);
        if (which == "name")
            return camera.GetName(buffer, length);
        if (which == "interface")
            return iface->GetID(buffer, length);
        if (which == "layer name")
            return layer->GetName(buffer, length);
        if (which == "layer path")
            return layer->GetPath(buffer, length);
        return camera.GetSerialNumber(buffer, length);
    };
    err = ReadText(call, text);
    return text;
}

} // namespace

class TestGrbSession : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void callsOutsideSessionGiveNotStarted();
    void startupTwiceKeepsOneSession();
    void refusedDescriptionLoadsNothing_data();
    void refusedDescriptionLoadsNothing();
    void descriptionFileForms();
    void versionQueryAndItsFault();
    void cameraObjectOfEarlierSessionIsStale();

    void getCamerasCountThenFill();
    void enumerationFault();
    void changeDuringEnumerationFaultReportedAfter();
    void cameraById_data();
    void cameraById();
    void departedCameraStaysKnown();
    void cameraTexts_data();
    void cameraTexts();
    void shortTextBufferAsksForMore();
    void identityFaults_data();
    void identityFaults();
    void transportLayerTypes_data();
    void transportLayerTypes();
    void cameraInfoQuery();
    void heldCamera();

    void listChangesReachObserver();
    void noCallbackAfterUnregistering();
    void interfaceObserverSeesInterfaceComeAndGo();
    void observerRegistrationCodes();
    void callsFromManyThreads();

    void demoSet();
};

void TestGrbSession::cleanup()
{
    sdk().Shutdown();
}

void TestGrbSession::callsOutsideSessionGiveNotStarted()
{
    auto observer = std::make_shared<ListRecorder>();
    CameraPtr camera;
    GrbVersionInfo version{};
    GrbCameraInfo info{};
    unsigned int count = 0;
    const std::vector<std::function<GrbErrorType()>> calls{
        [&] { return sdk().GetCameras(nullptr, count); },
        [&] { return sdk().GetCameraByID(kGigE, camera); },
        [&] { return sdk().QueryVersion(version); },
        [&] { return sdk().RegisterCameraListObserver(observer); },
        [&] { return sdk().RegisterInterfaceListObserver(observer); },
        [&] { return GrbCameraInfoQuery(kGigE, &info, sizeof info); },
        [&] { return sdk().Shutdown(); },
    };
    for (const auto& call : calls)
        QCOMPARE(call(), GrbErrorApiNotStarted);

    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr open = GrbTest::OpenCamera(kGigE);
    QVERIFY(open);
    FeaturePtr width;
    QCOMPARE(open->GetFeatureByName("Width", width), GrbErrorSuccess);
    GrbHandle handle = nullptr;
    open->GetHandle(handle);
    QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);

    for (const auto& call : calls)
        QCOMPARE(call(), GrbErrorApiNotStarted);
    int64_t value = 0;
    GrbErrorType err = GrbErrorSuccess;
    identity(*open, "model", err);
    QCOMPARE(err, GrbErrorApiNotStarted);
    QCOMPARE(open->Open(GrbAccessModeFull), GrbErrorApiNotStarted);
    QCOMPARE(open->Close(), GrbErrorApiNotStarted);
    QCOMPARE(width->GetValue(value), GrbErrorApiNotStarted);
    QCOMPARE(GrbFeatureIntGet(handle, "Width", &value), GrbErrorApiNotStarted);
}

void TestGrbSession::startupTwiceKeepsOneSession()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    const unsigned int count = presentCount();
    QCOMPARE(sdk().Startup(), GrbErrorSuccess);
    QCOMPARE(presentCount(), count);
    QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);
    QCOMPARE(sdk().Shutdown(), GrbErrorApiNotStarted);
}

void TestGrbSession::refusedDescriptionLoadsNothing_data()
{
    QTest::addColumn<QByteArray>("description");
    QTest::addColumn<int>("line");

    const QByteArray good = "# cameras\ncamera id=A model=qda640MXGE\n";
    QTest::newRow("camera without model") << good + "camera id=B\n" << 3;
    QTest::newRow("unknown transport") << good + "camera id=B model=M transport=firewire\n" << 3;
    QTest::newRow("file before any camera") << QByteArray("file selector=Userfile name=a text=x\n") << 1;
    QTest::newRow("file in unknown slot") << good + "file selector=LUT size=10\n" << 3;
    QTest::newRow("int range upside down") << good + "\nfeature name=F type=int min=5 max=1\n" << 4;
    QTest::newRow("enum value not an entry") << good + "feature name=E type=enum entries=A:1 value=B\n" << 3;
    QTest::newRow("camera twice") << good + "camera id=A model=other\n" << 3;
    QTest::newRow("unterminated quote") << good + "camera id=B model=\"open\n" << 3;
    QTest::newRow("unknown statement") << good + "lens id=A\n" << 3;
    QTest::newRow("unknown key") << QByteArray("camera id=A model=M colour=red\n") << 1;
    QTest::newRow("bad number") << good + "camera id=B model=M capacity=lots\n" << 3;
    QTest::newRow("enum without entries") << good + "feature name=E type=enum entries=\n" << 3;
    QTest::newRow("file twice") << good + "file selector=Userfile name=a text=x\nfile selector=Userfile name=a size=2\n"
                                << 4;
    QTest::newRow("slot given two files")
        << QByteArray("camera id=A model=M slots=S\nfile selector=S size=1\nfile selector=S name=b size=2\n") << 3;
    QTest::newRow("fault on no feature") << good + "fault feature=Nothing fail-access=1\n" << 3;
    QTest::newRow("delay of no command") << good + "fault feature=Width delay=5\n" << 3;
    QTest::newRow("fault of two kinds") << good + "fault unplug-after-chunks=2 delay=5\n" << 3;
}

void TestGrbSession::refusedDescriptionLoadsNothing()
{
    QFETCH(QByteArray, description);
    QFETCH(int, line);

    QCOMPARE(GrbTest::StartSimulator(description), GrbErrorNoTransportLayer);
    std::string message;
    QCOMPARE(GrbTest::ReadText([](char* b, unsigned int& l) { return sdk().GetStartupMessage(b, l); }, message),
             GrbErrorSuccess);
    QVERIFY2(message.find("line " + std::to_string(line) + ":") != std::string::npos, message.c_str());
    QVERIFY(!SimWorld::Active());
    unsigned int count = 0;
    QCOMPARE(sdk().GetCameras(nullptr, count), GrbErrorApiNotStarted);

    // The same description without the bad line starts.
    QList<QByteArray> lines = description.split('\n');
    lines.removeAt(line - 1);
    QCOMPARE(GrbTest::StartSimulator(lines.join('\n')), GrbErrorSuccess);
}

void TestGrbSession::descriptionFileForms()
{
    // A byte-order mark, as some editors write, is not part of the first statement.
    QCOMPARE(GrbTest::StartSimulator("\xEF\xBB\xBF" "camera id=A model=qda640MXGE\n"), GrbErrorSuccess);
    QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);

    // A directory is refused as such, not read as an empty description.
    QTemporaryDir directory;
    qputenv("GRB_SIMULATOR", QFile::encodeName(directory.path()));
    QCOMPARE(sdk().Startup(), GrbErrorNoTransportLayer);
    std::string message;
    QCOMPARE(GrbTest::ReadText([](char* b, unsigned int& l) { return sdk().GetStartupMessage(b, l); }, message),
             GrbErrorSuccess);
    QVERIFY2(message.find("is a directory") != std::string::npos, message.c_str());
}

void TestGrbSession::versionQueryAndItsFault()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    GrbVersionInfo version{};
    QCOMPARE(sdk().QueryVersion(version), GrbErrorSuccess);
    QVERIFY(version.major + version.minor + version.patch > 0);

    SimWorld::Active()->FailVersionQuery(GrbErrorTransportLayer);
    QCOMPARE(sdk().QueryVersion(version), GrbErrorTransportLayer);
    SimWorld::Active()->FailVersionQuery(GrbErrorSuccess);
    QCOMPARE(sdk().QueryVersion(version), GrbErrorSuccess);
}

void TestGrbSession::cameraObjectOfEarlierSessionIsStale()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr old = GrbTest::CameraById(kGigE);
    QVERIFY(old);
    QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);

    GrbErrorType err = GrbErrorSuccess;
    identity(*old, "model", err);
    QCOMPARE(err, GrbErrorBadHandle);
    QCOMPARE(old->Open(GrbAccessModeFull), GrbErrorBadHandle);
    CameraPtr fresh = GrbTest::CameraById(kGigE);
    QVERIFY(fresh);
    QCOMPARE(identity(*fresh, "model", err), std::string("qda640MXGE"));
}

void TestGrbSession::getCamerasCountThenFill()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    unsigned int count = 0;
    QCOMPARE(sdk().GetCameras(nullptr, count), GrbErrorSuccess);
    QCOMPARE(count, 4u);

    std::vector<CameraPtr> all(count + 2);
    unsigned int size = static_cast<unsigned int>(all.size());
    QCOMPARE(sdk().GetCameras(all.data(), size), GrbErrorSuccess);
    QCOMPARE(size, count);
    QVERIFY(!all[count]);
    QStringList ids;
    for (unsigned int i = 0; i < count; ++i)
        ids << QString::fromStdString(GrbTest::ExtendedId(*all[i]));
    QCOMPARE(ids, QStringList({kGigE, kUsb3, kLab, kHeld}));

    CameraPtr two[2];
    size = 2;
    QCOMPARE(sdk().GetCameras(two, size), GrbErrorSuccess);
    QCOMPARE(size, 2u);
    QCOMPARE(two[0], all[0]);
    QCOMPARE(two[1], all[1]);

    size = 0;
    QCOMPARE(sdk().GetCameras(two, size), GrbErrorSuccess);
    QCOMPARE(size, 0u);
}

void TestGrbSession::enumerationFault()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    SimWorld::Active()->FailEnumeration(GrbErrorTransportLayer);
    unsigned int count = 7;
    CameraPtr cameras[4];
    QCOMPARE(sdk().GetCameras(nullptr, count), GrbErrorTransportLayer);
    QCOMPARE(sdk().GetCameras(cameras, count), GrbErrorTransportLayer);
    QVERIFY(!cameras[0]);
    // Cameras seen before stay reachable.
    QVERIFY(GrbTest::OpenCamera(kLab));

    SimWorld::Active()->FailEnumeration(GrbErrorSuccess);
    QCOMPARE(presentCount(), 4u);
}

void TestGrbSession::changeDuringEnumerationFaultReportedAfter()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    auto world = SimWorld::Active();
    world->FailEnumeration(GrbErrorTransportLayer);
    QVERIFY(world->Unplug(kUsb3));
    QVERIFY(world->SetHeldByOther(kLab, true));
    world->FailEnumeration(GrbErrorSuccess);

    QVERIFY(recorder->WaitFor(true, kUsb3, UpdateTriggerPluggedOut));
    QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerOpenStateChanged));
    QCOMPARE(presentCount(), 3u);
}

void TestGrbSession::cameraById_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("extended");

    QTest::newRow("extended") << QByteArray(kUsb3) << 0 << kUsb3;
    QTest::newRow("plain") << QByteArray("DEV_1AB22C0F") << 0 << kUsb3;
    QTest::newRow("serial is no id") << QByteArray("22031577") << -3 << QString();
    QTest::newRow("unknown") << QByteArray("DEV_NOPE") << -3 << QString();
    QTest::newRow("empty") << QByteArray("") << -3 << QString();
    QTest::newRow("null") << QByteArray() << -7 << QString();
}

void TestGrbSession::cameraById()
{
    QFETCH(QByteArray, id);
    QFETCH(int, code);
    QFETCH(QString, extended);

    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr camera;
    QCOMPARE(sdk().GetCameraByID(id.isNull() ? nullptr : id.constData(), camera), code);
    if (code == GrbErrorSuccess)
    {
        QCOMPARE(QString::fromStdString(GrbTest::ExtendedId(*camera)), extended);
        QCOMPARE(GrbTest::CameraById(extended.toUtf8().constData()), camera);
    }
    else
        QVERIFY(!camera);
}

void TestGrbSession::departedCameraStaysKnown()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    CameraPtr open = GrbTest::OpenCamera(kGigE);
    QVERIFY(open);

    QVERIFY(SimWorld::Active()->Unplug(kGigE));
    QVERIFY(SimWorld::Active()->Unplug(kUsb3));
    QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerPluggedOut));
    QCOMPARE(presentCount(), 2u);

    CameraPtr departed = GrbTest::CameraById("DEV_1AB22C0F");
    QVERIFY(departed);
    GrbErrorType err = GrbErrorSuccess;
    QCOMPARE(identity(*departed, "name", err), std::string("Line scan"));
    QVERIFY(departed->Open(GrbAccessModeFull) != GrbErrorSuccess);

    int64_t width = 0;
    QCOMPARE(GrbTest::GetFeature(*open, "Width", width), GrbErrorTransportLayer);
    QCOMPARE(open->Close(), GrbErrorSuccess);
    QCOMPARE(open->Close(), GrbErrorDeviceNotOpen);

    // Back on the bus, the released camera opens again.
    QVERIFY(SimWorld::Active()->Plug(kGigE));
    QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerPluggedIn));
    QCOMPARE(open->Open(GrbAccessModeFull), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeature(*open, "Width", width), GrbErrorSuccess);
}

void TestGrbSession::cameraTexts_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<QString>("which");
    QTest::addColumn<QString>("text");

    QTest::newRow("id") << kGigE << "id" << "DEV_0F3100A1";
    QTest::newRow("extended id") << kGigE << "extended" << kGigE;
    QTest::newRow("model") << kUsb3 << "model" << "RZ-12M";
    QTest::newRow("model with blank") << kLab << "model" << "Kestrel K12";
    QTest::newRow("name") << kGigE << "name" << "Inspection left";
    QTest::newRow("serial") << kHeld << "serial" << "40100388";
    QTest::newRow("interface") << kGigE << "interface" << "sim-eth0";
    QTest::newRow("second interface") << kHeld << "interface" << "sim-eth1";
    QTest::newRow("USB3 interface") << kUsb3 << "interface" << "sim-usb0";
    QTest::newRow("GigE layer") << kLab << "layer name" << "GigE Vision TL (Simulator)";
    QTest::newRow("GigE layer path") << kLab << "layer path" << "builtin:simulator/gev";
    QTest::newRow("USB3 layer") << kUsb3 << "layer name" << "USB3 Vision TL (Simulator)";
    QTest::newRow("USB3 layer path") << kUsb3 << "layer path" << "builtin:simulator/u3v";
    QTest::newRow("held access") << kHeld << "access" << QString::number(GrbAccessModeRead);
}

void TestGrbSession::cameraTexts()
{
    QFETCH(QString, camera);
    QFETCH(QString, which);
    QFETCH(QString, text);

    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr c = GrbTest::CameraById(camera.toUtf8().constData());
    QVERIFY(c);
    GrbErrorType err = GrbErrorInternalFault;
    QCOMPARE(QString::fromStdString(identity(*c, which, err)), text);
    QCOMPARE(err, GrbErrorSuccess);
}

void TestGrbSession::shortTextBufferAsksForMore()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr camera = GrbTest::CameraById(kUsb3);
    unsigned int length = 0;
    QCOMPARE(camera->GetModel(nullptr, length), GrbErrorSuccess);
    QCOMPARE(length, 7u); // "RZ-12M" and its NUL

    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    length = 6;
    QCOMPARE(camera->GetModel(buffer, length), GrbErrorMoreData);
    QCOMPARE(length, 7u);
    QCOMPARE(buffer[0], 'x');
    QCOMPARE(camera->GetModel(buffer, length), GrbErrorSuccess);
    QCOMPARE(QByteArray(buffer), QByteArray("RZ-12M"));
}

void TestGrbSession::identityFaults_data()
{
    QTest::addColumn<DeviceRecord::Field>("field");
    QTest::addColumn<QString>("read");
    QTest::addColumn<int>("code");

    QTest::newRow("id") << DeviceRecord::Id << "id" << -13;
    QTest::newRow("extended id") << DeviceRecord::ExtendedId << "extended" << -6;
    QTest::newRow("model") << DeviceRecord::Model << "model" << -13;
    QTest::newRow("name") << DeviceRecord::Name << "name" << -1;
    QTest::newRow("serial") << DeviceRecord::Serial << "serial" << -13;
    QTest::newRow("interface id") << DeviceRecord::InterfaceId << "interface" << -13;
    QTest::newRow("transport layer") << DeviceRecord::TransportLayer << "layer name" << -12;
    QTest::newRow("transport layer name") << DeviceRecord::TransportLayerName << "layer name" << -13;
    QTest::newRow("transport layer path") << DeviceRecord::TransportLayerPath << "layer path" << -13;
    QTest::newRow("permitted access") << DeviceRecord::PermittedAccess << "access" << -13;
}

void TestGrbSession::identityFaults()
{
    QFETCH(DeviceRecord::Field, field);
    QFETCH(QString, read);
    QFETCH(int, code);

    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr camera = GrbTest::CameraById(kGigE);
    CameraPtr other = GrbTest::CameraById(kLab);
    QVERIFY(SimWorld::Active()->FailIdentity("DEV_0F3100A1", field, code));

    GrbErrorType err = GrbErrorSuccess;
    identity(*camera, read, err);
    QCOMPARE(err, code);
    identity(*other, read, err);
    QCOMPARE(err, GrbErrorSuccess);
    // The camera still opens and works; only the one read fails.
    QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
    int64_t width = 0;
    QCOMPARE(GrbTest::GetFeature(*camera, "Width", width), GrbErrorSuccess);

    QVERIFY(SimWorld::Active()->FailIdentity("DEV_0F3100A1", field, GrbErrorSuccess));
    identity(*camera, read, err);
    QCOMPARE(err, GrbErrorSuccess);
}

void TestGrbSession::transportLayerTypes_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<uint>("type");

    QTest::newRow("GigE") << kGigE << uint(GrbTransportLayerGEV);
    QTest::newRow("USB3") << kUsb3 << uint(GrbTransportLayerU3V);
}

void TestGrbSession::transportLayerTypes()
{
    QFETCH(QString, camera);
    QFETCH(uint, type);

    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr c = GrbTest::CameraById(camera.toUtf8().constData());
    InterfacePtr iface;
    TransportLayerPtr viaCamera, viaInterface;
    QCOMPARE(c->GetInterface(iface), GrbErrorSuccess);
    QCOMPARE(c->GetTransportLayer(viaCamera), GrbErrorSuccess);
    QCOMPARE(iface->GetTransportLayer(viaInterface), GrbErrorSuccess);
    GrbTransportLayerType types[3] = {};
    QCOMPARE(c->GetTransportLayerType(types[0]), GrbErrorSuccess);
    QCOMPARE(viaCamera->GetType(types[1]), GrbErrorSuccess);
    QCOMPARE(viaInterface->GetType(types[2]), GrbErrorSuccess);
    for (GrbTransportLayerType t : types)
        QCOMPARE(t, type);
    std::string path;
    QCOMPARE(ReadText([&](char* b, unsigned int& l) { return viaInterface->GetPath(b, l); }, path), GrbErrorSuccess);
    GrbErrorType err = GrbErrorSuccess;
    QCOMPARE(path, identity(*c, "layer path", err));
}

void TestGrbSession::cameraInfoQuery()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    GrbCameraInfo info;
    std::memset(&info, 0x55, sizeof info);
    QCOMPARE(GrbCameraInfoQuery("DEV_0F3100B7", &info, sizeof info), GrbErrorSuccess);
    QCOMPARE(QByteArray(info.cameraIdString), QByteArray("DEV_0F3100B7"));
    QCOMPARE(QByteArray(info.cameraIdExtended), QByteArray(kHeld));
    QCOMPARE(QByteArray(info.cameraName), QByteArray("Packaging line"));
    QCOMPARE(QByteArray(info.modelName), QByteArray("T-R402"));
    QCOMPARE(QByteArray(info.serialString), QByteArray("40100388"));
    QCOMPARE(QByteArray(info.interfaceIdString), QByteArray("sim-eth1"));
    QCOMPARE(info.transportLayerType, GrbTransportLayerType(GrbTransportLayerGEV));
    QCOMPARE(info.permittedAccess, GrbAccessModeType(GrbAccessModeRead));

    QVERIFY(SimWorld::Active()->FailIdentity(kHeld, DeviceRecord::Model, GrbErrorTransportLayer));
    QCOMPARE(GrbCameraInfoQuery(kHeld, &info, sizeof info), GrbErrorSuccess);
    QCOMPARE(QByteArray(info.modelName), QByteArray());
    QCOMPARE(QByteArray(info.serialString), QByteArray("40100388"));

    QCOMPARE(GrbCameraInfoQuery(kHeld, &info, sizeof info - 1), GrbErrorStructSize);
    QCOMPARE(GrbCameraInfoQuery("DEV_NOPE", &info, sizeof info), GrbErrorNotFound);
    QCOMPARE(GrbCameraInfoQuery(nullptr, &info, sizeof info), GrbErrorBadParameter);
    QCOMPARE(GrbCameraInfoQuery(kHeld, nullptr, sizeof info), GrbErrorBadParameter);
}

void TestGrbSession::heldCamera()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    CameraPtr held = GrbTest::CameraById(kHeld);
    CameraPtr free = GrbTest::CameraById(kLab);
    GrbAccessModeType access = 0;
    QCOMPARE(held->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeRead));
    QCOMPARE(free->GetPermittedAccess(access), GrbErrorSuccess);
    QVERIFY(access & GrbAccessModeFull);

    QCOMPARE(held->Open(GrbAccessModeFull), GrbErrorInvalidAccess);
    QCOMPARE(held->Open(GrbAccessModeExclusive), GrbErrorInvalidAccess);
    QCOMPARE(held->Open(GrbAccessModeNone), GrbErrorBadParameter);
    QCOMPARE(held->Open(GrbAccessModeRead), GrbErrorSuccess);
    QCOMPARE(held->Open(GrbAccessModeRead), GrbErrorInvalidAccess);

    std::string model;
    QCOMPARE(GrbTest::GetFeatureText(*held, "DeviceModelName", model), GrbErrorSuccess);
    QCOMPARE(model, std::string("T-R402"));
    FeaturePtr width;
    QCOMPARE(held->GetFeatureByName("Width", width), GrbErrorSuccess);
    bool writable = true;
    QCOMPARE(width->IsWritable(writable), GrbErrorSuccess);
    QVERIFY(!writable);
    QCOMPARE(width->SetValue(int64_t{512}), GrbErrorInvalidAccess);
    QCOMPARE(GrbTest::RunCommand(*held, "UserSetLoad"), GrbErrorInvalidAccess);
    const uint8_t bytes[4] = {1, 2, 3, 4};
    uint32_t done = 9;
    QCOMPARE(held->WriteMemory(0x100, bytes, sizeof bytes, done), GrbErrorInvalidAccess);
    QCOMPARE(done, 0u);

    // A free camera opened read-only refuses writes just the same.
    QCOMPARE(free->Open(GrbAccessModeRead), GrbErrorSuccess);
    QCOMPARE(GrbTest::SetFeature(*free, "ReverseX", true), GrbErrorInvalidAccess);
}

void TestGrbSession::listChangesReachObserver()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    auto world = SimWorld::Active();

    QVERIFY(world->Unplug(kUsb3));
    QVERIFY(recorder->WaitFor(true, kUsb3, UpdateTriggerPluggedOut));
    QVERIFY(world->Plug(kUsb3));
    QVERIFY(recorder->WaitFor(true, kUsb3, UpdateTriggerPluggedIn));

    QVERIFY(world->SetHeldByOther(kLab, true));
    QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerOpenStateChanged));
    GrbAccessModeType access = 0;
    QCOMPARE(GrbTest::CameraById(kLab)->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeRead));
    QVERIFY(world->SetHeldByOther(kLab, false));
    QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerOpenStateChanged, 2));

    CameraPtr camera = GrbTest::OpenCamera(kGigE);
    QVERIFY(camera);
    QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerOpenStateChanged));
    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerOpenStateChanged, 2));

    QVERIFY(world->Unplug(kLab));
    QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerPluggedOut));
    const auto events = recorder->Events();
    QCOMPARE(events.size(), size_t(7));
    for (const auto& e : events)
        QVERIFY(e.thread != std::this_thread::get_id());
    // Nothing was reported twice, and nothing for cameras left alone.
    QCOMPARE(recorder->Count(true, kUsb3, UpdateTriggerPluggedOut), 1);
    QCOMPARE(recorder->Count(true, kHeld, UpdateTriggerOpenStateChanged), 0);
}

void TestGrbSession::noCallbackAfterUnregistering()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto leaving = std::make_shared<ListRecorder>();
    auto staying = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(leaving), GrbErrorSuccess);
    QCOMPARE(sdk().RegisterCameraListObserver(staying), GrbErrorSuccess);
    QCOMPARE(sdk().UnregisterCameraListObserver(leaving), GrbErrorSuccess);

    auto world = SimWorld::Active();
    QVERIFY(world->Unplug(kUsb3));
    QVERIFY(world->Plug(kUsb3));
    // Events are delivered one after the other: once the second has arrived, the
    // first has been handed to every observer.
    QVERIFY(staying->WaitFor(true, kUsb3, UpdateTriggerPluggedIn));
    QCOMPARE(staying->Count(true, kUsb3, UpdateTriggerPluggedOut), 1);
    QVERIFY(leaving->Events().empty());
}

void TestGrbSession::interfaceObserverSeesInterfaceComeAndGo()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterInterfaceListObserver(recorder), GrbErrorSuccess);
    auto world = SimWorld::Active();

    // sim-eth0 keeps one of its two cameras; sim-eth1 had only the one.
    QVERIFY(world->Unplug(kLab));
    QVERIFY(world->Unplug(kHeld));
    QVERIFY(recorder->WaitFor(false, "sim-eth1", UpdateTriggerPluggedOut));
    QVERIFY(world->Plug(kHeld));
    QVERIFY(recorder->WaitFor(false, "sim-eth1", UpdateTriggerPluggedIn));
    QCOMPARE(recorder->Count(false, "sim-eth0", UpdateTriggerPluggedOut), 0);
    QCOMPARE(recorder->Events().size(), size_t(2));
    QVERIFY(recorder->Events().front().thread != std::this_thread::get_id());
}

void TestGrbSession::observerRegistrationCodes()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    auto stranger = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorInvalidCall);
    QCOMPARE(sdk().UnregisterCameraListObserver(stranger), GrbErrorNotFound);
    QCOMPARE(sdk().RegisterCameraListObserver(nullptr), GrbErrorBadParameter);
    QCOMPARE(sdk().UnregisterCameraListObserver(recorder), GrbErrorSuccess);
    QCOMPARE(sdk().UnregisterCameraListObserver(recorder), GrbErrorNotFound);

    QCOMPARE(sdk().RegisterInterfaceListObserver(recorder), GrbErrorSuccess);
    QCOMPARE(sdk().RegisterInterfaceListObserver(recorder), GrbErrorInvalidCall);
    QCOMPARE(sdk().UnregisterInterfaceListObserver(stranger), GrbErrorNotFound);
    QCOMPARE(sdk().UnregisterInterfaceListObserver(recorder), GrbErrorSuccess);
}

void TestGrbSession::callsFromManyThreads()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    CameraPtr gige = GrbTest::OpenCamera(kGigE);
    CameraPtr usb3 = GrbTest::OpenCamera(kUsb3);
    QVERIFY(gige && usb3);

    std::atomic<int> failures{0};
    auto setAndRead = [&failures](CameraPtr camera) {
        for (int64_t i = 1; i <= 200; ++i)
        {
            int64_t width = 0;
            if (GrbTest::SetFeature(*camera, "Width", 16 * i) != GrbErrorSuccess ||
                GrbTest::GetFeature(*camera, "Width", width) != GrbErrorSuccess || width != 16 * i)
                ++failures;
        }
    };
    auto enumerate = [&failures] {
        for (int i = 0; i < 200; ++i)
        {
            CameraPtr cameras[4];
            unsigned int count = 4;
            if (sdk().GetCameras(cameras, count) != GrbErrorSuccess || count < 3 || !GrbTest::CameraById(kLab))
                ++failures;
        }
    };
    std::thread first(setAndRead, gige);
    std::thread second(setAndRead, usb3);
    std::thread third(enumerate);
    for (int i = 0; i < 50; ++i)
    {
        SimWorld::Active()->Unplug(kLab);
        SimWorld::Active()->Plug(kLab);
    }
    first.join();
    second.join();
    third.join();
    QCOMPARE(failures.load(), 0);
    QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerPluggedIn, 50));
    QCOMPARE(recorder->Count(true, kLab, UpdateTriggerPluggedOut), 50);
}

void TestGrbSession::demoSet()
{
    QCOMPARE(GrbTest::StartSimulator("demo"), GrbErrorSuccess);
    unsigned int count = 8;
    std::vector<CameraPtr> cameras(count);
    QCOMPARE(sdk().GetCameras(cameras.data(), count), GrbErrorSuccess);
    QVERIFY(count >= 4);

    QSet<uint> transportsWithFiles;
    int held = 0;
    for (unsigned int i = 0; i < count; ++i)
    {
        Camera& camera = *cameras[i];
        GrbAccessModeType access = 0;
        QCOMPARE(camera.GetPermittedAccess(access), GrbErrorSuccess);
        if (!(access & GrbAccessModeFull))
        {
            ++held;
            continue;
        }
        QCOMPARE(camera.Open(GrbAccessModeFull), GrbErrorSuccess);
        // Files in Userfile and in a single-file slot (an entry other than Userfile and Firmware).
        FeaturePtr selector;
        std::vector<EnumEntry> entries;
        QCOMPARE(camera.GetFeatureByName("FileSelector", selector), GrbErrorSuccess);
        QCOMPARE(selector->GetEntries(entries), GrbErrorSuccess);
        int filled = 0;
        for (const EnumEntry& entry : entries)
        {
            std::string name;
            entry.GetName(name);
            int64_t files = 0;
            QCOMPARE(selector->SetValue(name.c_str()), GrbErrorSuccess);
            QCOMPARE(GrbTest::GetFeature(camera, "FilenameCount", files), GrbErrorSuccess);
            if (files > 0 && name != "Firmware")
                ++filled;
        }
        GrbTransportLayerType type = 0;
        camera.GetTransportLayerType(type);
        if (filled >= 2)
            transportsWithFiles << type;
        QCOMPARE(camera.Close(), GrbErrorSuccess);
    }
    QCOMPARE(held, 1);
    QCOMPARE(transportsWithFiles, QSet<uint>({GrbTransportLayerGEV, GrbTransportLayerU3V}));
}

QTEST_GUILESS_MAIN(TestGrbSession)
#include "tst_grb_session.moc"
