// The camera SDK through its public interfaces on the simulator: the session and its
// descriptions, the camera list and identity texts, list-change callbacks and their
// thread, the handle functions, and commands that take time. Feature rules, memory and
// files are the contract suite's.
#include "GrbTestSupport.h"
#include "ListRecorder.h"

#include <GrbC/GrbC.h>
#include <GrbCPP/GrbCPP.h>
#include <sim/SimDescription.h>
#include <sim/SimWorld.h>

#include <QtTest>

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

using namespace GrbCPP;
using namespace GrbTest;
using grb::DeviceRecord;
using grb::sim::SimWorld;

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

std::string startupMessage()
{
    std::string message;
    ReadText([](char* b, unsigned int& l) { return sdk().GetStartupMessage(b, l); }, message);
    return message;
}

} // namespace

class TestGrbSession : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        if (QByteArray(QTest::currentTestFunction()) != "callsOutsideSession")
            QCOMPARE(StartSimulator("demo"), GrbErrorSuccess);
    }

    void cleanup()
    {
        sdk().Shutdown();
    }

    void callsOutsideSession()
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

        QCOMPARE(StartSimulator("demo"), GrbErrorSuccess);
        CameraPtr open = OpenCamera(kGigE);
        QVERIFY(open);
        FeaturePtr width;
        QCOMPARE(open->GetFeatureByName("Width", width), GrbErrorSuccess);
        QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);

        for (const auto& call : calls)
            QCOMPARE(call(), GrbErrorApiNotStarted);
        int64_t value = 0;
        GrbErrorType err = GrbErrorSuccess;
        IdentityText(*open, "model", &err);
        QCOMPARE(err, GrbErrorApiNotStarted);
        QCOMPARE(open->Open(GrbAccessModeFull), GrbErrorApiNotStarted);
        QCOMPARE(open->Close(), GrbErrorApiNotStarted);
        QCOMPARE(width->GetValue(value), GrbErrorApiNotStarted);
    }

    void sessionLifecycle()
    {
        QCOMPARE(presentCount(), 4u);
        QCOMPARE(sdk().Startup(), GrbErrorSuccess); // a second start keeps the session
        QCOMPARE(presentCount(), 4u);
        GrbVersionInfo version{};
        QCOMPARE(sdk().QueryVersion(version), GrbErrorSuccess);
        QCOMPARE(QList<uint>({version.major, version.minor, version.patch}), QList<uint>({1, 2, 0}));
        SimWorld::Active()->FailVersionQuery(GrbErrorTransportLayer);
        QCOMPARE(sdk().QueryVersion(version), GrbErrorTransportLayer);

        // An object of an earlier session is stale in the next one.
        CameraPtr old = CameraById(kGigE);
        QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);
        QCOMPARE(sdk().Shutdown(), GrbErrorApiNotStarted);
        QCOMPARE(StartSimulator("demo"), GrbErrorSuccess);
        GrbErrorType err = GrbErrorSuccess;
        IdentityText(*old, "model", &err);
        QCOMPARE(err, GrbErrorBadHandle);
        QCOMPARE(old->Open(GrbAccessModeFull), GrbErrorBadHandle);
        QCOMPARE(IdentityText(*CameraById(kGigE), "model", &err), QStringLiteral("qda640MXGE"));
    }

    // One table per statement of the description format; each bad line is refused with
    // its line number, and the description without it starts.
    void refusedDescription_data()
    {
        QTest::addColumn<QByteArray>("description");
        QTest::addColumn<int>("line");

        const QByteArray good = "# cameras\ncamera id=A model=qda640MXGE\n";
        QTest::newRow("camera without model") << good + "camera id=B\n" << 3;
        QTest::newRow("camera, unknown transport") << good + "camera id=B model=M transport=firewire\n" << 3;
        QTest::newRow("camera twice") << good + "camera id=A model=other\n" << 3;
        QTest::newRow("camera, unterminated quote") << good + "camera id=B model=\"open\n" << 3;
        QTest::newRow("camera, unknown key") << QByteArray("camera id=A model=M colour=red\n") << 1;
        QTest::newRow("camera, bad number") << good + "camera id=B model=M capacity=lots\n" << 3;
        QTest::newRow("unknown statement") << good + "lens id=A\n" << 3;
        QTest::newRow("file before any camera") << QByteArray("file selector=Userfile name=a text=x\n") << 1;
        QTest::newRow("file in unknown slot") << good + "file selector=LUT size=10\n" << 3;
        QTest::newRow("file twice")
            << good + "file selector=Userfile name=a text=x\nfile selector=Userfile name=a size=2\n" << 4;
        QTest::newRow("file, slot given two")
            << QByteArray("camera id=A model=M slots=S\nfile selector=S size=1\nfile selector=S name=b size=2\n") << 3;
        QTest::newRow("feature, int range upside down") << good + "\nfeature name=F type=int min=5 max=1\n" << 4;
        QTest::newRow("feature, value not an entry") << good + "feature name=E type=enum entries=A:1 value=B\n" << 3;
        QTest::newRow("feature, enum without entries") << good + "feature name=E type=enum entries=\n" << 3;
        QTest::newRow("fault on no feature") << good + "fault feature=Nothing fail-access=1\n" << 3;
        QTest::newRow("fault, delay of no command") << good + "fault feature=Width delay=5\n" << 3;
        QTest::newRow("fault, short reads of no raw feature") << good + "fault feature=Width short-read=5\n" << 3;
        QTest::newRow("fault of two kinds") << good + "fault unplug-after-chunks=2 delay=5\n" << 3;
    }

    void refusedDescription()
    {
        QFETCH(QByteArray, description);
        QFETCH(int, line);

        sdk().Shutdown();
        QCOMPARE(StartSimulator(description), GrbErrorNoTransportLayer);
        QVERIFY2(startupMessage().find("line " + std::to_string(line) + ":") != std::string::npos,
                 startupMessage().c_str());
        QVERIFY(!SimWorld::Active());
        unsigned int count = 0;
        QCOMPARE(sdk().GetCameras(nullptr, count), GrbErrorApiNotStarted);

        QList<QByteArray> lines = description.split('\n');
        lines.removeAt(line - 1);
        QCOMPARE(StartSimulator(lines.join('\n')), GrbErrorSuccess);
    }

    void descriptionFileForms()
    {
        sdk().Shutdown();
        // A byte-order mark, as some editors write, is not part of the first statement.
        QCOMPARE(StartSimulator("\xEF\xBB\xBF" "camera id=A model=qda640MXGE\n"), GrbErrorSuccess);
        QCOMPARE(sdk().Shutdown(), GrbErrorSuccess);

        // A directory is refused as such, not read as an empty description.
        QTemporaryDir directory;
        qputenv("GRB_SIMULATOR", QFile::encodeName(directory.path()));
        QCOMPARE(sdk().Startup(), GrbErrorNoTransportLayer);
        QVERIFY2(startupMessage().find("is a directory") != std::string::npos, startupMessage().c_str());
    }

    void enumeration()
    {
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
            ids << QString::fromStdString(ExtendedId(*all[i]));
        QCOMPARE(ids, QStringList({kGigE, kUsb3, kLab, kHeld}));
        CameraPtr two[2];
        size = 2;
        QCOMPARE(sdk().GetCameras(two, size), GrbErrorSuccess);
        QCOMPARE(QList<CameraPtr>({two[0], two[1]}), QList<CameraPtr>({all[0], all[1]}));

        SimWorld::Active()->FailEnumeration(GrbErrorTransportLayer);
        count = 7;
        QCOMPARE(sdk().GetCameras(nullptr, count), GrbErrorTransportLayer);
        QCOMPARE(sdk().GetCameras(two, count), GrbErrorTransportLayer);
        QVERIFY(OpenCamera(kLab)); // cameras seen before stay reachable
        SimWorld::Active()->FailEnumeration(GrbErrorSuccess);
        QCOMPARE(presentCount(), 4u);
    }

    void changeDuringEnumerationFaultReportedAfter()
    {
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

    void cameraById_data()
    {
        QTest::addColumn<QByteArray>("id");
        QTest::addColumn<int>("code");

        QTest::newRow("extended") << QByteArray(kUsb3) << 0;
        QTest::newRow("plain") << QByteArray("DEV_1AB22C0F") << 0;
        QTest::newRow("serial is no id") << QByteArray("22031577") << -3;
        QTest::newRow("unknown") << QByteArray("DEV_NOPE") << -3;
        QTest::newRow("empty") << QByteArray("") << -3;
        QTest::newRow("null") << QByteArray() << -7;
    }

    void cameraById()
    {
        QFETCH(QByteArray, id);
        QFETCH(int, code);

        CameraPtr camera;
        QCOMPARE(sdk().GetCameraByID(id.isNull() ? nullptr : id.constData(), camera), code);
        QCOMPARE(camera, code == GrbErrorSuccess ? CameraById(kUsb3) : nullptr);
    }

    void departedCameraStaysKnown()
    {
        auto recorder = std::make_shared<ListRecorder>();
        QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
        CameraPtr open = OpenCamera(kGigE);
        QVERIFY(open);
        FeaturePtr stop;
        bool done = false;
        QCOMPARE(open->GetFeatureByName("AcquisitionStop", stop), GrbErrorSuccess);
        QCOMPARE(stop->RunCommand(), GrbErrorSuccess);
        QCOMPARE(stop->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done);

        QVERIFY(SimWorld::Active()->Unplug(kGigE));
        QVERIFY(SimWorld::Active()->Unplug(kUsb3));
        QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerPluggedOut));
        QCOMPARE(presentCount(), 2u);
        CameraPtr departed = CameraById("DEV_1AB22C0F");
        GrbErrorType err = GrbErrorSuccess;
        QCOMPARE(IdentityText(*departed, "name", &err), QStringLiteral("Line scan"));
        QVERIFY(departed->Open(GrbAccessModeFull) != GrbErrorSuccess);

        int64_t width = 0;
        QCOMPARE(GetFeature(*open, "Width", width), GrbErrorTransportLayer);
        // Not answered from what was seen before it left.
        QCOMPARE(stop->IsCommandDone(done), GrbErrorTransportLayer);
        QCOMPARE(open->Close(), GrbErrorSuccess);
        QCOMPARE(open->Close(), GrbErrorDeviceNotOpen);
        // Back on the bus, the released camera opens again.
        QVERIFY(SimWorld::Active()->Plug(kGigE));
        QVERIFY(recorder->WaitFor(true, kGigE, UpdateTriggerPluggedIn));
        QCOMPARE(open->Open(GrbAccessModeFull), GrbErrorSuccess);
        QCOMPARE(GetFeature(*open, "Width", width), GrbErrorSuccess);
    }

    // Each identity read, and the same read failing on its own when the camera cannot
    // tell: the other cameras and the rest of this one still answer.
    void identity_data()
    {
        QTest::addColumn<QString>("camera");
        QTest::addColumn<QString>("which");
        QTest::addColumn<QString>("text");
        QTest::addColumn<DeviceRecord::Field>("field");
        QTest::addColumn<int>("code");

        using F = DeviceRecord;
        QTest::newRow("id") << kGigE << "id" << "DEV_0F3100A1" << F::Id << -13;
        QTest::newRow("extended id") << kGigE << "extended" << kGigE << F::ExtendedId << -6;
        QTest::newRow("model") << kUsb3 << "model" << "RZ-12M" << F::Model << -13;
        QTest::newRow("name") << kGigE << "name" << "Inspection left" << F::Name << -1;
        QTest::newRow("serial") << kHeld << "serial" << "40100388" << F::Serial << -13;
        QTest::newRow("interface") << kGigE << "interface" << "sim-eth0" << F::InterfaceId << -13;
        QTest::newRow("USB3 interface") << kUsb3 << "interface" << "sim-usb0" << F::InterfaceId << -13;
        QTest::newRow("GigE layer") << kLab << "layer name" << "GigE Vision TL (Simulator)" << F::TransportLayer << -12;
        QTest::newRow("GigE layer name") << kLab << "layer name" << "GigE Vision TL (Simulator)"
                                         << F::TransportLayerName << -13;
        QTest::newRow("GigE layer path") << kLab << "layer path" << "builtin:simulator/gev" << F::TransportLayerPath
                                         << -13;
        QTest::newRow("USB3 layer") << kUsb3 << "layer name" << "USB3 Vision TL (Simulator)" << F::TransportLayerName
                                    << -13;
        QTest::newRow("USB3 layer path") << kUsb3 << "layer path" << "builtin:simulator/u3v" << F::TransportLayerPath
                                         << -13;
        QTest::newRow("held access") << kHeld << "access" << QString::number(GrbAccessModeRead) << F::PermittedAccess
                                     << -13;
    }

    void identity()
    {
        QFETCH(QString, camera);
        QFETCH(QString, which);
        QFETCH(QString, text);
        QFETCH(DeviceRecord::Field, field);
        QFETCH(int, code);

        const QByteArray id = camera.toUtf8();
        CameraPtr c = CameraById(id.constData());
        CameraPtr other = CameraById(camera == kLab ? kGigE : kLab);
        GrbErrorType err = GrbErrorInternalFault;
        QCOMPARE(IdentityText(*c, which, &err), text);
        QCOMPARE(err, GrbErrorSuccess);

        QVERIFY(SimWorld::Active()->FailIdentity(id.constData(), field, code));
        IdentityText(*c, which, &err);
        QCOMPARE(err, code);
        IdentityText(*other, which, &err);
        QCOMPARE(err, GrbErrorSuccess);
        QCOMPARE(c->Open(GrbAccessModeRead), GrbErrorSuccess);
        int64_t width = 0;
        QCOMPARE(GetFeature(*c, "Width", width), GrbErrorSuccess);
        QVERIFY(SimWorld::Active()->FailIdentity(id.constData(), field, GrbErrorSuccess));
        QCOMPARE(IdentityText(*c, which, &err), text);
    }

    void shortTextBufferAsksForMore()
    {
        CameraPtr camera = CameraById(kUsb3);
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

    void transportLayerTypes()
    {
        for (const char* id : {kGigE, kUsb3})
        {
            CameraPtr c = CameraById(id);
            InterfacePtr iface;
            TransportLayerPtr viaCamera, viaInterface;
            QCOMPARE(c->GetInterface(iface), GrbErrorSuccess);
            QCOMPARE(c->GetTransportLayer(viaCamera), GrbErrorSuccess);
            QCOMPARE(iface->GetTransportLayer(viaInterface), GrbErrorSuccess);
            GrbTransportLayerType types[3] = {};
            QCOMPARE(c->GetTransportLayerType(types[0]), GrbErrorSuccess);
            QCOMPARE(viaCamera->GetType(types[1]), GrbErrorSuccess);
            QCOMPARE(viaInterface->GetType(types[2]), GrbErrorSuccess);
            const GrbTransportLayerType type = id == kGigE ? GrbTransportLayerGEV : GrbTransportLayerU3V;
            QCOMPARE(QList<uint>({types[0], types[1], types[2]}), QList<uint>({type, type, type}));
            std::string path;
            QCOMPARE(ReadText([&](char* b, unsigned int& l) { return viaInterface->GetPath(b, l); }, path),
                     GrbErrorSuccess);
            GrbErrorType err = GrbErrorSuccess;
            QCOMPARE(QString::fromStdString(path), IdentityText(*c, "layer path", &err));
        }
    }

    void cameraInfoQuery()
    {
        GrbCameraInfo info;
        std::memset(&info, 0x55, sizeof info);
        QCOMPARE(GrbCameraInfoQuery("DEV_0F3100B7", &info, sizeof info), GrbErrorSuccess);
        QCOMPARE(QStringList({info.cameraIdString, info.cameraIdExtended, info.cameraName, info.modelName,
                              info.serialString, info.interfaceIdString}),
                 QStringList({"DEV_0F3100B7", kHeld, "Packaging line", "T-R402", "40100388", "sim-eth1"}));
        QCOMPARE(info.transportLayerType, GrbTransportLayerType(GrbTransportLayerGEV));
        QCOMPARE(info.permittedAccess, GrbAccessModeType(GrbAccessModeRead));

        // A field the camera cannot tell stays empty.
        QVERIFY(SimWorld::Active()->FailIdentity(kHeld, DeviceRecord::Model, GrbErrorTransportLayer));
        QCOMPARE(GrbCameraInfoQuery(kHeld, &info, sizeof info), GrbErrorSuccess);
        QCOMPARE(QStringList({info.modelName, info.serialString}), QStringList({"", "40100388"}));

        QCOMPARE(GrbCameraInfoQuery(kHeld, &info, sizeof info - 1), GrbErrorStructSize);
        QCOMPARE(GrbCameraInfoQuery("DEV_NOPE", &info, sizeof info), GrbErrorNotFound);
        QCOMPARE(GrbCameraInfoQuery(nullptr, &info, sizeof info), GrbErrorBadParameter);
        QCOMPARE(GrbCameraInfoQuery(kHeld, nullptr, sizeof info), GrbErrorBadParameter);
    }

    void heldCamera()
    {
        CameraPtr held = CameraById(kHeld);
        CameraPtr free = CameraById(kLab);
        GrbAccessModeType access = 0;
        QCOMPARE(free->GetPermittedAccess(access), GrbErrorSuccess);
        QVERIFY(access & GrbAccessModeFull);

        QCOMPARE(held->Open(GrbAccessModeFull), GrbErrorInvalidAccess);
        QCOMPARE(held->Open(GrbAccessModeExclusive), GrbErrorInvalidAccess);
        QCOMPARE(held->Open(GrbAccessModeNone), GrbErrorBadParameter);
        QCOMPARE(held->Open(GrbAccessModeRead), GrbErrorSuccess);
        QCOMPARE(held->Open(GrbAccessModeRead), GrbErrorInvalidAccess);
        QCOMPARE(ReadAs(*held, "DeviceModelName", "text"), QStringLiteral("T-R402"));
        FeaturePtr width;
        QCOMPARE(held->GetFeatureByName("Width", width), GrbErrorSuccess);
        bool writable = true;
        QCOMPARE(width->IsWritable(writable), GrbErrorSuccess);
        QVERIFY(!writable);
        QCOMPARE(width->SetValue(int64_t{512}), GrbErrorInvalidAccess);
        QCOMPARE(RunCommand(*held, "UserSetLoad"), GrbErrorInvalidAccess);
        const uint8_t bytes[4] = {1, 2, 3, 4};
        uint32_t done = 9;
        QCOMPARE(held->WriteMemory(0x100, bytes, sizeof bytes, done), GrbErrorInvalidAccess);
        QCOMPARE(done, 0u);

        // A free camera opened read-only refuses writes just the same.
        QCOMPARE(free->Open(GrbAccessModeRead), GrbErrorSuccess);
        QCOMPARE(SetFeature(*free, "ReverseX", true), GrbErrorInvalidAccess);
    }

    void closedCamera()
    {
        CameraPtr camera = OpenCamera(kGigE);
        FeaturePtr width;
        QCOMPARE(camera->GetFeatureByName("Width", width), GrbErrorSuccess);
        StreamPtr stream = FirstStream(*camera);
        QVERIFY(stream);
        QCOMPARE(camera->Close(), GrbErrorSuccess);

        int64_t value = 0;
        FeaturePtr again;
        unsigned int count = 0;
        uint8_t byte = 0;
        uint32_t done = 0;
        FramePtr frame;
        QCOMPARE(width->GetValue(value), GrbErrorDeviceNotOpen);
        QCOMPARE(camera->GetFeatureByName("Width", again), GrbErrorDeviceNotOpen);
        QCOMPARE(camera->GetStreams(nullptr, count), GrbErrorDeviceNotOpen);
        QCOMPARE(stream->GetFeatureByName("GVSPPacketSize", again), GrbErrorDeviceNotOpen);
        QCOMPARE(camera->ReadMemory(0, &byte, 1, done), GrbErrorDeviceNotOpen);
        QCOMPARE(camera->AcquireSingleImage(frame, 100), GrbErrorDeviceNotOpen);
        QCOMPARE(camera->Close(), GrbErrorDeviceNotOpen);
    }

    void listChangesReachObserver()
    {
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
        QCOMPARE(CameraById(kLab)->GetPermittedAccess(access), GrbErrorSuccess);
        QCOMPARE(access, GrbAccessModeType(GrbAccessModeRead));
        QVERIFY(world->SetHeldByOther(kLab, false));
        QVERIFY(recorder->WaitFor(true, kLab, UpdateTriggerOpenStateChanged, 2));

        CameraPtr camera = OpenCamera(kGigE);
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

    void interfaceObserverSeesInterfaceComeAndGo()
    {
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

    void observerRegistration()
    {
        auto leaving = std::make_shared<ListRecorder>();
        auto staying = std::make_shared<ListRecorder>();
        QCOMPARE(sdk().RegisterCameraListObserver(leaving), GrbErrorSuccess);
        QCOMPARE(sdk().RegisterCameraListObserver(leaving), GrbErrorInvalidCall);
        QCOMPARE(sdk().UnregisterCameraListObserver(staying), GrbErrorNotFound);
        QCOMPARE(sdk().RegisterCameraListObserver(nullptr), GrbErrorBadParameter);
        QCOMPARE(sdk().RegisterCameraListObserver(staying), GrbErrorSuccess);
        QCOMPARE(sdk().UnregisterCameraListObserver(leaving), GrbErrorSuccess);
        QCOMPARE(sdk().UnregisterCameraListObserver(leaving), GrbErrorNotFound);
        QCOMPARE(sdk().RegisterInterfaceListObserver(leaving), GrbErrorSuccess);
        QCOMPARE(sdk().RegisterInterfaceListObserver(leaving), GrbErrorInvalidCall);
        QCOMPARE(sdk().UnregisterInterfaceListObserver(staying), GrbErrorNotFound);
        QCOMPARE(sdk().UnregisterInterfaceListObserver(leaving), GrbErrorSuccess);

        QVERIFY(SimWorld::Active()->Unplug(kUsb3));
        QVERIFY(SimWorld::Active()->Plug(kUsb3));
        // Events are delivered one after the other: once the second has arrived, the
        // first has been handed to every observer.
        QVERIFY(staying->WaitFor(true, kUsb3, UpdateTriggerPluggedIn));
        QCOMPARE(staying->Count(true, kUsb3, UpdateTriggerPluggedOut), 1);
        QVERIFY(leaving->Events().empty());
    }

    void callsFromManyThreads()
    {
        auto recorder = std::make_shared<ListRecorder>();
        QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
        CameraPtr gige = OpenCamera(kGigE);
        CameraPtr usb3 = OpenCamera(kUsb3);
        QVERIFY(gige && usb3);

        std::atomic<int> failures{0};
        auto setAndRead = [&failures](CameraPtr camera) {
            for (int64_t i = 1; i <= 200; ++i)
            {
                int64_t width = 0;
                if (SetFeature(*camera, "Width", 16 * i) != GrbErrorSuccess ||
                    GetFeature(*camera, "Width", width) != GrbErrorSuccess || width != 16 * i)
                    ++failures;
            }
        };
        auto enumerate = [&failures] {
            for (int i = 0; i < 200; ++i)
            {
                CameraPtr cameras[4];
                unsigned int count = 4;
                if (sdk().GetCameras(cameras, count) != GrbErrorSuccess || count < 3 || !CameraById(kLab))
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

    // The handle functions' own checks; their values are the device tests', which read and
    // write through them.
    void handleFunctions()
    {
        CameraPtr camera = OpenCamera(kGigE);
        GrbHandle h = nullptr;
        camera->GetHandle(h);
        GrbFeatureInfo info;
        bool done = false;
        QCOMPARE(GrbFeatureInfoQuery(h, "Width", &info, sizeof info - 1), GrbErrorStructSize);
        QCOMPARE(GrbFeatureInfoQuery(h, nullptr, &info, sizeof info), GrbErrorBadParameter);
        QCOMPARE(GrbFeatureInfoQuery(h, "Width", nullptr, sizeof info), GrbErrorBadParameter);
        QCOMPARE(GrbFeatureInfoQuery(h, "NoSuchFeature", &info, sizeof info), GrbErrorNotFound);
        QCOMPARE(GrbFeatureInfoQuery(nullptr, "Width", &info, sizeof info), GrbErrorBadHandle);
        QCOMPARE(GrbFeatureIntGet(h, "Width", nullptr), GrbErrorBadParameter);
        QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", nullptr), GrbErrorBadParameter);
        QCOMPARE(GrbFeatureCommandIsDone(h, "UserSetLoad", nullptr), GrbErrorBadParameter);
        QCOMPARE(GrbFeatureCommandRun(h, "UserSetLoad"), GrbErrorSuccess);
        QCOMPARE(GrbFeatureCommandIsDone(h, "UserSetLoad", &done), GrbErrorSuccess);
        QVERIFY(done);
        QCOMPARE(GrbFeatureFloatSet(h, "Gain", 6.5), GrbErrorSuccess);
        QCOMPARE(ReadAs(*camera, "Gain", "float"), QStringLiteral("6.5"));
        // A command has no value to read.
        QCOMPARE(GrbFeatureInfoQuery(h, "UserSetSave", &info, sizeof info), GrbErrorSuccess);
        QVERIFY(!info.isReadable && info.isWritable);

        // A string read into a buffer without room for its NUL asks for more.
        QCOMPARE(GrbFeatureStringSet(h, "DeviceUserID", "ten chars!"), GrbErrorSuccess);
        char buffer[11];
        uint32_t size = 0;
        QCOMPARE(GrbFeatureStringGet(h, "DeviceUserID", nullptr, 0, &size), GrbErrorSuccess);
        QCOMPARE(size, 11u);
        size = 0;
        QCOMPARE(GrbFeatureStringGet(h, "DeviceUserID", buffer, 10, &size), GrbErrorMoreData);
        QCOMPARE(size, 11u);
        // An entry's text stays valid after later reads.
        const char* entry = nullptr;
        const char* later = nullptr;
        QCOMPARE(GrbFeatureEnumGet(h, "PixelFormat", &entry), GrbErrorSuccess);
        QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", "Mono12"), GrbErrorSuccess);
        QCOMPARE(GrbFeatureEnumGet(h, "PixelFormat", &later), GrbErrorSuccess);
        QCOMPARE(QByteArray(entry) + "," + later, QByteArray("Mono8,Mono12"));
        // The stream handle works with the handle functions too.
        FirstStream(*camera)->GetHandle(h);
        QCOMPARE(GrbFeatureEnumGet(h, "GVSPProtocol", &entry), GrbErrorSuccess);
        QCOMPARE(QByteArray(entry), QByteArray("UDP"));
    }

    // A run waits a little for its command, so that one that takes a few milliseconds is
    // done by the caller's first query; a slower one is left running, and done stays done.
    void commandsSettle_data()
    {
        QTest::addColumn<int>("delay");
        QTest::addColumn<bool>("doneOnReturn");

        QTest::newRow("quick") << 50 << true;
        QTest::newRow("longer than the run waits") << 1500 << false;
    }

    void commandsSettle()
    {
        QFETCH(int, delay);
        QFETCH(bool, doneOnReturn);

        CameraPtr camera = OpenCamera(kGigE);
        QVERIFY(SimWorld::Active()->SetCommandDelay("DEV_0F3100A1", "UserSetLoad", delay));
        FeaturePtr command;
        QCOMPARE(camera->GetFeatureByName("UserSetLoad", command), GrbErrorSuccess);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(command->RunCommand(), GrbErrorSuccess);
        bool done = false;
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QCOMPARE(done, doneOnReturn);
        QTRY_VERIFY_WITH_TIMEOUT(command->IsCommandDone(done) == GrbErrorSuccess && done, 5000);
        QVERIFY2(timer.elapsed() >= delay, "done before its delay");
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done);
    }

    // What the demo set promises: a compatible camera of each transport with files in
    // Userfile and in a single-file slot, and one camera another process holds.
    void demoSet()
    {
        QSet<uint> transportsWithFiles;
        int held = 0;
        for (const grb::sim::SimCameraConfig& camera : grb::sim::SimDescription::Demo())
        {
            QSet<QString> filled;
            for (const auto& file : camera.files)
                filled << QString::fromStdString(file.selector);
            held += camera.heldByOther;
            if (!camera.heldByOther && filled.contains("Userfile") && filled.size() >= 2)
                transportsWithFiles << camera.transport;
        }
        QCOMPARE(held, 1);
        QCOMPARE(transportsWithFiles, QSet<uint>({GrbTransportLayerGEV, GrbTransportLayerU3V}));
    }
};

QTEST_GUILESS_MAIN(TestGrbSession)
#include "tst_grb_session.moc"
