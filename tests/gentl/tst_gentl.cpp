// The GenTL layer through the SDK, ApiController, PXCamera and pellix-fa, with the
// simulator's producer (and a producer that misbehaves on request, passing everything
// else on to it), in a loopback-only network namespace: what the contract rows do not
// show. What each camera keeps, its features and file storage, the contract suite's
// gentl run covers.
#include "CameraHolder.h"
#include "ChildCommand.h"
#include "GrbTestSupport.h"
#include "ListRecorder.h"
#include "NamespacedTestMain.h"

#include "device/PXCamera.h"
#include "gentlconsumer/GentlError.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbCPP.h>

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <dlfcn.h>

#include <memory>

using namespace GrbTest;

namespace {

constexpr int kPatienceMs = 10000;
// How long the layer waits for a producer's call in these tests.
constexpr int kBoundMs = 300;

const QByteArray kDescription = R"(
camera id=GA model=qda640MXGE serial=GA1 name="Left" transport=gige interface=link0 reset-delay=1500
file selector=Userfile name=notes.txt text="hello\n"
camera id=GB model=RZ-12M serial=GB1 name="Right" transport=usb3 interface=link1
camera id=GC model=T-R402 serial=GC1 transport=gige interface=link0 held=yes
)";

const QString kProducer = QStringLiteral(PELLIX_GENTL_PRODUCER);
const QString kCamera = QStringLiteral("GenTL:pellix-gentl.cti:link0:GA");

GrbCPP::GrbSystem& sdk()
{
    return GrbCPP::GrbSystem::GetInstance();
}

QString startupMessage()
{
    std::string text;
    ReadText([](char* b, unsigned int& l) { return sdk().GetStartupMessage(b, l); }, text);
    return QString::fromStdString(text);
}

// Sets the faulty producer's faults while it runs.
void setFaults(const char* faults)
{
    void* library = dlopen(GENTL_FAULTY_PRODUCER, RTLD_NOW | RTLD_NOLOAD);
    auto set = library ? reinterpret_cast<void (*)(const char*)>(dlsym(library, "PellixGentlFaults")) : nullptr;
    if (set)
        set(faults);
    if (library)
        dlclose(library);
}

} // namespace

class TestGentl : public QObject
{
    Q_OBJECT

public:
    explicit TestGentl(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void cleanup();

    void whereProducersComeFrom_data();
    void whereProducersComeFrom();
    void records_data();
    void records();
    void heldByAnotherProcess();
    void streamFeatures();
    void producerFaults_data();
    void producerFaults();
    void commandLine();

private:
    // Starts the SDK with this producer as the only one.
    GrbErrorType _Start(const QString& producer, const QByteArray& faults = {});

    QString m_skipReason;
    QTemporaryDir m_dir;
    QString m_description;
};

void TestGentl::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    m_description = m_dir.filePath(QStringLiteral("cameras.txt"));
    QFile file(m_description);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) == kDescription.size());
    file.close();
    qunsetenv("GRB_SIMULATOR");
    qunsetenv("GENICAM_GENTL64_PATH");
    qputenv("PELLIX_GENTL_DESCRIPTION", QFile::encodeName(m_description));
    qputenv("GRB_GENTL_TIMEOUT_MS", QByteArray::number(kBoundMs));
}

void TestGentl::cleanup()
{
    sdk().Shutdown();
}

GrbErrorType TestGentl::_Start(const QString& producer, const QByteArray& faults)
{
    sdk().Shutdown();
    qputenv("GRB_GENTL_PRODUCER", producer.isEmpty() ? QByteArray() : QFile::encodeName(producer));
    qputenv("PELLIX_GENTL_FAULTS", faults);
    return sdk().Startup();
}

void TestGentl::whereProducersComeFrom_data()
{
    QTest::addColumn<QByteArray>("simulator");
    QTest::addColumn<QStringList>("path");
    QTest::addColumn<bool>("named");
    QTest::addColumn<int>("cameras");

    QTest::newRow("simulator switch") << QByteArray("demo") << QStringList{"grabber"} << true << 0;
    QTest::newRow("directory without producers") << QByteArray() << QStringList{"empty"} << false << 0;
    QTest::newRow("directory and name alike") << QByteArray() << QStringList{"empty", "grabber"} << true << 1;
}

void TestGentl::whereProducersComeFrom()
{
    QFETCH(QByteArray, simulator);
    QFETCH(QStringList, path);
    QFETCH(bool, named);
    QFETCH(int, cameras);
    // The producer in a directory of its own under another name, and named directly.
    QVERIFY(QDir().mkpath(m_dir.filePath("empty")) && QDir().mkpath(m_dir.filePath("grabber")));
    QFile::link(kProducer, m_dir.filePath("grabber/grabber.cti"));
    for (QString& directory : path)
        directory = m_dir.filePath(directory);
    qputenv("GENICAM_GENTL64_PATH", QFile::encodeName(path.join(':')));
    qputenv("GRB_SIMULATOR", simulator);
    const GrbErrorType started = _Start(named ? kProducer : QString());
    qunsetenv("GENICAM_GENTL64_PATH");
    qunsetenv("GRB_SIMULATOR");
    QCOMPARE(started, GrbErrorSuccess);
    QCOMPARE(startupMessage(), QString());
    int found = 0;
    for (const auto& camera : ApiController().UpdateCamerasList())
        found += ExtendedId(*camera).find(":link0:GA") != std::string::npos;
    QCOMPARE(found, cameras);
}

void TestGentl::records_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<int>("type");

    QTest::newRow("GigE Vision camera") << kCamera
                                        << QStringList{"GA", "qda640MXGE", "Left", "GA1", "link0", "true"}
                                        << int(GrbTransportLayerGEV);
    QTest::newRow("USB3 Vision camera") << "GenTL:pellix-gentl.cti:link1:GB"
                                        << QStringList{"GB", "RZ-12M", "Right", "GB1", "link1", "true"}
                                        << int(GrbTransportLayerU3V);
    QTest::newRow("held by another application") << "GenTL:pellix-gentl.cti:link0:GC"
                                                 << QStringList{"GC", "T-R402", "T-R402", "GC1", "link0", "false"}
                                                 << int(GrbTransportLayerGEV);
}

void TestGentl::records()
{
    QFETCH(QString, id);
    QFETCH(QStringList, fields);
    QFETCH(int, type);
    QCOMPARE(_Start(kProducer), GrbErrorSuccess);
    ApiController controller;
    QSignalSpy errors(&controller, &ApiController::ApiError);
    CameraInfoMap record;
    for (const auto& camera : controller.UpdateCamerasList())
        if (controller.GetCameraInfo(camera).value("Extended ID").toString() == id)
            record = controller.GetCameraInfo(camera);
    QCOMPARE(record.value("Extended ID").toString(), id);
    QCOMPARE((QStringList{record.value("Camera ID").toString(), record.value("Model Name").toString(),
                          record.value("Camera Name").toString(), record.value("Serial No.").toString(),
                          record.value("Interface").toString(), record.value("Full Access").toString()}),
             fields);
    QCOMPARE(record.value("Transport Layer").toString(), QStringLiteral("Pellix GenTL Simulator"));
    QCOMPARE(record.value("TL Path").toString(), kProducer);
    QVERIFY(errors.isEmpty());
    GrbTransportLayerType layerType = GrbTransportLayerUnknown;
    QCOMPARE(controller.GetCameraPtr(id)->GetTransportLayerType(layerType), GrbErrorSuccess);
    QCOMPARE(int(layerType), type);
    // Registers in the camera's own byte order: a USB3 Vision camera's are little-endian.
    PXCamera camera(controller.OpenCamera(id));
    unsigned int version = 0;
    QCOMPARE(fields.last() == "true", camera.ReadRegister(0, &version));
    if (fields.last() == "true")
        QCOMPARE(version, 0x00010002u);
}

void TestGentl::heldByAnotherProcess()
{
    QCOMPARE(_Start(kProducer), GrbErrorSuccess);
    auto recorder = std::make_shared<ListRecorder>();
    QCOMPARE(sdk().RegisterCameraListObserver(recorder), GrbErrorSuccess);
    const std::string id = kCamera.toStdString();
    CameraHolder holder;
    QString error;
    QVERIFY2(holder.Hold(QStringLiteral(GENTL_CAMERA_HOLDER), {kProducer, "link0", "GA"}, error), qPrintable(error));

    // The layer's next look finds the camera taken.
    QVERIFY(recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged));
    ApiController controller;
    QSignalSpy errors(&controller, &ApiController::ApiError);
    QCOMPARE(controller.GetCameraInfo(controller.GetCameraPtr(kCamera)).value("Full Access").toBool(), false);
    QVERIFY(!controller.OpenCamera(kCamera));
    QCOMPARE(errors.value(0).value(0).toString(),
             QStringLiteral("Failed to open camera %1 (error: Invalid access.)").arg(kCamera));
    QVERIFY2(QString::fromStdString(grb::gentl::GentlError::LastMessage()).contains("another process controls"),
             grb::gentl::GentlError::LastMessage().c_str());

    holder.Release();
    QVERIFY(recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, 2));
    QCOMPARE(controller.GetCameraInfo(controller.GetCameraPtr(kCamera)).value("Full Access").toBool(), true);
    QVERIFY(controller.OpenCamera(kCamera));
    QCOMPARE(controller.CloseCamera(kCamera), GrbErrorSuccess);
}

// The frame itself is the contract's; here, the stream's own features, through the
// stream module's port and its plain description.
void TestGentl::streamFeatures()
{
    QCOMPARE(_Start(kProducer), GrbErrorSuccess);
    GrbCPP::CameraPtr camera = OpenCamera(kCamera.toLatin1().constData());
    QVERIFY(camera);
    QCOMPARE(SetFeature(*camera, "Width", int64_t(64)), GrbErrorSuccess);
    QCOMPARE(SetFeature(*camera, "Height", int64_t(48)), GrbErrorSuccess);
    GrbCPP::StreamPtr stream = FirstStream(*camera);
    QVERIFY(stream);
    int64_t delivered = -1;
    QCOMPARE(GetFeature(*stream, "StreamDeliveredFrameCount", delivered), GrbErrorSuccess);
    QCOMPARE(delivered, int64_t(0));
    GrbCPP::FramePtr frame;
    QCOMPARE(camera->AcquireSingleImage(frame, 2000), GrbErrorSuccess);
    QCOMPARE(GetFeature(*stream, "StreamDeliveredFrameCount", delivered), GrbErrorSuccess);
    QCOMPARE(delivered, int64_t(1));
    QCOMPARE(ReadAs(*stream, "StreamBufferHandlingMode", "text"), QStringLiteral("OldestFirst"));
}

void TestGentl::producerFaults_data()
{
    QTest::addColumn<QString>("producer");
    QTest::addColumn<QByteArray>("faults");
    // start: the SDK starts; list: a camera's record is read; open; read: a feature is
    // read; write: a feature is written, twice; frame: a single image is taken.
    QTest::addColumn<QString>("step");
    QTest::addColumn<int>("code");
    // In the start-up message, the ApiController's error or the layer's last text.
    QTest::addColumn<QString>("text");

    const QString faulty = QStringLiteral(GENTL_FAULTY_PRODUCER);
    QTest::newRow("lacks device functions") << QStringLiteral(GENTL_INCOMPLETE_PRODUCER) << QByteArray() << "start"
                                            << 0 << "lacks IFOpenDevice, DevGetPort";
    QTest::newRow("initialisation fails") << faulty << QByteArray("GCInitLib=error:-1001") << "start" << 0
                                          << "faulty.cti: GCInitLib failed with GC_ERR_ERROR";
    QTest::newRow("initialisation hangs") << faulty << QByteArray("GCInitLib=hang:600") << "start" << 0
                                          << "faulty.cti: GCInitLib did not return within 300 ms";
    QTest::newRow("another major version") << faulty << QByteArray("version=2") << "start" << 0
                                           << "faulty.cti speaks GenTL 2.x";
    QTest::newRow("system does not open") << faulty << QByteArray("TLOpen=error:-1005") << "start" << 0
                                          << "TLOpen failed with GC_ERR_ACCESS_DENIED";
    QTest::newRow("cameras cannot be listed") << faulty << QByteArray("IFUpdateDeviceList=error:-1010") << "start"
                                              << 0 << "IFUpdateDeviceList failed with GC_ERR_IO";
    QTest::newRow("camera details fail") << faulty << QByteArray("IFGetDeviceInfo=error:-1010") << "list" << -13
                                         << "Failed to get camera model for GA (error: TL error.)";
    QTest::newRow("open refused") << faulty << QByteArray("IFOpenDevice=error:-1005") << "open" << -6
                                  << "Failed to open camera GenTL:faulty.cti:link0:GA (error: Invalid access.)";
    QTest::newRow("open hangs") << faulty << QByteArray("IFOpenDevice=hang:1000") << "open" << -12
                                << "Failed to open camera GenTL:faulty.cti:link0:GA (error: Timeout.)";
    QTest::newRow("description elsewhere") << faulty << QByteArray("url=http://example.com/camera.xml") << "open"
                                           << -13 << "not one this layer reads";
    QTest::newRow("zipped description cut short") << faulty << QByteArray("url=Local:camera.zip;20000;80") << "open"
                                                  << -13 << "not a zip archive";
    QTest::newRow("description not GenICam") << faulty << QByteArray("url=local:camera.xml;48;20") << "open" << -13
                                             << "not a GenICam document";
    QTest::newRow("description in a file") << faulty << QByteArray("url=file://" ARAVIS_TEST_DESCRIPTION) << "open"
                                           << 0 << "";
    QTest::newRow("port read fails") << faulty << QByteArray("GCReadPort=error:-1010") << "read" << -13
                                     << "GCReadPort failed with GC_ERR_IO";
    QTest::newRow("port write hangs") << faulty << QByteArray("GCWritePort=hang:1000") << "write" << -12
                                      << "has not returned from GCWritePort yet";
    QTest::newRow("no stream functions") << QStringLiteral(GENTL_STREAMLESS_PRODUCER) << QByteArray() << "frame"
                                         << -18 << "lacks DevGetNumDataStreams";
    QTest::newRow("frame never comes") << faulty << QByteArray("EventGetData=error:-1011") << "frame" << -12
                                       << "EventGetData failed with GC_ERR_TIMEOUT";
}

void TestGentl::producerFaults()
{
    QFETCH(QString, producer);
    QFETCH(QByteArray, faults);
    QFETCH(QString, step);
    QFETCH(int, code);
    QFETCH(QString, text);

    // Faults of the calls after start-up are set once the camera is open.
    const bool late = step == "read" || step == "write" || step == "frame";
    QCOMPARE(_Start(producer, late ? QByteArray() : faults), GrbErrorSuccess);
    if (step == "start")
    {
        QVERIFY2(startupMessage().contains(text), qPrintable(startupMessage()));
        QCOMPARE(ApiController().UpdateCamerasList().size(), size_t(0));
        return;
    }
    QVERIFY2(startupMessage().isEmpty(), qPrintable(startupMessage()));
    ApiController controller;
    QSignalSpy errors(&controller, &ApiController::ApiError);
    const QString id = QStringLiteral("GenTL:%1:link0:GA").arg(QFileInfo(producer).fileName());
    // The log's line, or the layer's own text of the failure.
    auto told = [&] {
        return text.startsWith("Failed to") ? errors.value(0).value(0).toString()
                                            : QString::fromStdString(grb::gentl::GentlError::LastMessage());
    };
    GrbErrorType err = GrbErrorSuccess;
    GrbCPP::CameraPtr camera = step == "list" ? controller.GetCameraPtr(id) : controller.OpenCamera(id);
    if (step == "list")
    {
        QVERIFY(camera);
        QCOMPARE(controller.GetCameraInfo(camera).value("Model Name").toString(), QString());
        std::string model;
        err = ReadText([&](char* b, unsigned int& l) { return camera->GetModel(b, l); }, model);
    }
    else if (step == "open")
        err = camera ? GrbErrorSuccess : GrbErrorType(code);
    else
    {
        QVERIFY(camera);
        setFaults(faults.constData());
        int64_t width = 0;
        GrbCPP::FramePtr frame;
        if (step == "write")
        {
            QCOMPARE(SetFeature(*camera, "Width", int64_t(64)), GrbErrorTimeout);
            QVERIFY2(told().contains("did not return within 300 ms"), qPrintable(told()));
        }
        err = step == "frame" ? camera->AcquireSingleImage(frame, 500) : GetFeature(*camera, "Width", width);
    }
    const QString message = told();
    setFaults("");
    QCOMPARE(int(err), code);
    QVERIFY2(message.contains(text), qPrintable(message));
    if (code == GrbErrorTimeout && step != "frame")
    {
        // Once the producer's call returns, its calls go through again; a camera opened
        // after its open was given up on was closed again.
        GrbCPP::CameraPtr again = camera;
        int64_t width = 0;
        QTRY_VERIFY_WITH_TIMEOUT((again = again ? again : controller.OpenCamera(id)) &&
                                     GetFeature(*again, "Width", width) == GrbErrorSuccess,
                                 kPatienceMs);
        camera = again;
    }
    if (camera)
        controller.CloseCamera(id);
}

void TestGentl::commandLine()
{
    const QString work = m_dir.filePath(QStringLiteral("cli"));
    QVERIFY(QDir().mkpath(work));
    QFile image(work + "/update.ge3");
    QVERIFY(image.open(QIODevice::WriteOnly) && image.write("PELLIX-FIRMWARE Firmware 7.1\nbits") > 0);
    image.close();
    QByteArray err;
    auto run = [&](const QStringList& arguments, QByteArray& out) {
        QProcess process;
        process.setWorkingDirectory(work);
        ChildCommand::Target(QStringLiteral(PELLIX_FA_PATH), arguments).Start(process);
        if (!process.waitForFinished(60000))
            return -1;
        out = process.readAllStandardOutput();
        err = process.readAllStandardError();
        return process.exitCode();
    };
    QByteArray out;
    // A producer that does not load is told, beside the cameras of the others.
    qputenv("GRB_GENTL_PRODUCER", QFile::encodeName(kProducer) + ":/nowhere/grabber.cti");
    QCOMPARE(run({"list"}, out), 0);
    QVERIFY2(err.startsWith("pellix-fa: warning: camera SDK start-up: GenTL: /nowhere/grabber.cti: grabber.cti does "
                            "not load"),
             err.constData());
    qputenv("GRB_GENTL_PRODUCER", QFile::encodeName(kProducer));
    QCOMPARE(run({"list", "--all"}, out), 0);
    QVERIFY2(out.contains("Pellix GenTL Simulator\n  link0\n    qda640MXGE-GA1(GA)"), out.constData());
    // A camera of one process is taken in another.
    QCOMPARE(run({"get", "GA1", "notes.txt", "--verify"}, out), 0);
    QFile notes(work + "/notes.txt");
    QVERIFY(notes.open(QIODevice::ReadOnly));
    QCOMPARE(notes.readAll(), QByteArray("hello\n"));
    // The camera resets, leaves the producer's list and comes back with the new firmware.
    QCOMPARE(run({"firmware", "GA1", "update.ge3"}, out), 0);
    QVERIFY2(out.contains("Firmware 7.1") && out.contains("ok"), out.constData());
}

NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestGentl)

#include "tst_gentl.moc"
