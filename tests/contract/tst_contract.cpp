// What every transport layer gives the SDK's caller alike: feature values and their
// rules, device memory, single images, and the camera's file storage through the File
// Access Control features. One set of rows, run once per transport (the first
// argument): the simulator, the virtual GigE Vision camera, Aravis's fake camera and the
// virtual USB3 Vision camera (through the libusb stand-in, which CTest preloads for that
// run), those three over Aravis, and the simulator's GenTL producer through the GenTL
// layer; all but the simulator in a loopback-only network namespace. The fake camera
// keeps no files.
#include "CameraProcess.h"
#include "ChildCommand.h"
#include "FakeCamera.h"
#include "GrbTestSupport.h"
#include "ListRecorder.h"
#include "LocalFiles.h"
#include "NetworkNamespace.h"
#include "VirtualUsb.h"

#include "device/PXCamera.h"
#include "device/PXDeviceFiles.h"

#include <GrbCPP/GrbCPP.h>

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace GrbTest;

namespace {

// The simulator, the virtual cameras and the GenTL producer serve this camera; its
// features are those of the fake camera's description (fake-camera.xml), so the same
// rows hold for all.
// Its buffer is as long as FileAccessLength was last set, as on many cameras.
const QByteArray kDescription = R"(
camera id=CT model=Contract serial=CT1 transport=gige capacity=100000 buffer=1024 buffer-length=follows slots=UserSet1 firmware="Firmware 1.0" reset-delay=50
file selector=Userfile name=hello.txt text="hello camera\n"
feature name=SensorWidth type=int value=2048 min=0 max=65535 access=ro
feature name=Width type=int value=512 min=16 max=2048 inc=16
feature name=OffsetX type=int value=0 min=0 max=2048 access=ro
feature name=Gain type=float value=0 min=0 max=10 inc=0.1
feature name=ExposureTime type=float value=5000 min=10 max=1000000
feature name=PixelFormat type=enum entries=Mono8:17301505,BayerRG8:17301513,RGB8:35127316:unavailable,Mono16:17825799 value=Mono8
feature name=ReverseX type=bool
feature name=WriteOnlyValue type=int min=0 max=100 access=wo
feature name=Counter type=int value=1 min=1 max=101 inc=5
feature name=AcquisitionStop type=command
feature name=StuckByMemory type=command delay=-1
feature name=StuckByFeature type=command delay=-1
feature name=TestRaw type=raw length=37
feature name=TestRawReadOnly type=raw length=8 access=ro
fault feature=UserSetLoad delay=3000
)";

constexpr uint64_t kScratch = 0x1400;
constexpr int kChunk = 1024;

#define NEED_FILES()                                                                                                   \
    if (g_transport == Transport::FakeCamera)                                                                          \
    QSKIP("Aravis's fake camera keeps no files")

// What the device refused reaches the caller as such only from the simulator; GigE
// Vision, USB3 Vision and GenTL carry a status, not the reason.
#define COMPARE_REFUSAL(err, code)                                                                                     \
    if (g_transport == Transport::Simulator)                                                                           \
        QCOMPARE(int(err), int(code));                                                                                 \
    else                                                                                                               \
        QVERIFY((err) != GrbErrorSuccess)

enum class Transport
{
    Simulator,
    VirtualCamera,
    FakeCamera,
    VirtualUsb3,
    Gentl
};
Transport g_transport = Transport::Simulator;

GrbCPP::GrbSystem& sdk()
{
    return GrbCPP::GrbSystem::GetInstance();
}

GrbErrorType setRaw(GrbCPP::FeatureContainer& camera, const char* name, const QByteArray& bytes)
{
    GrbCPP::FeaturePtr feature;
    const GrbErrorType err = camera.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err
                                  : feature->SetValue(reinterpret_cast<const unsigned char*>(bytes.constData()),
                                                      static_cast<unsigned int>(bytes.size()));
}

QByteArray getRaw(const GrbCPP::FeatureContainer& camera, const char* name)
{
    GrbCPP::FeaturePtr feature;
    unsigned int length = 0;
    if (camera.GetFeatureByName(name, feature) != GrbErrorSuccess
        || feature->GetValue(static_cast<unsigned char*>(nullptr), length) != GrbErrorSuccess)
        return "(unreadable)";
    QByteArray bytes(int(length), '\0');
    return feature->GetValue(reinterpret_cast<unsigned char*>(bytes.data()), length) == GrbErrorSuccess
               ? bytes.left(int(length))
               : "(unreadable)";
}

// One File Access Control operation as a client runs it: "select SELECTOR [NAME]",
// "open MODE", "close", "delete", "write OFFSET TEXT|#COUNT", "read OFFSET LENGTH".
// Returns the first failing access; a refused operation fails its FileOperationExecute.
GrbErrorType fileStep(GrbCPP::Camera& camera, const QString& step)
{
    const QStringList w = step.split(' ', Qt::SkipEmptyParts);
    const QString verb = w.value(0);
    const QByteArray bytes = w.value(2).startsWith('#') ? Pattern(w.value(2).mid(1).toInt(), 9) : w.value(2).toUtf8();
    QList<QPair<const char*, QString>> writes;
    if (verb == "select")
        writes = {{"FileSelector", w.value(1)}, {"Filename", w.value(2)}};
    else if (verb == "open")
        writes = {{"FileOpenMode", w.value(1)}, {"FileOperationSelector", "Open"}};
    else if (verb == "close" || verb == "delete")
        writes = {{"FileOperationSelector", verb == "close" ? "Close" : "Delete"}};
    else if (verb == "write" || verb == "read")
        writes = {{"FileAccessOffset", w.value(1)},
                  {"FileAccessLength", verb == "read" ? w.value(2) : QString::number(bytes.size())},
                  {"FileOperationSelector", verb == "read" ? "Read" : "Write"}};
    GrbErrorType err = writes.isEmpty() ? GrbErrorInternalFault : GrbErrorSuccess;
    for (const auto& write : writes)
        if (err == GrbErrorSuccess)
            err = WriteAs(camera, write.first, QByteArray(write.first).startsWith("FileAccess") ? "int" : "text",
                          write.second);
    if (err == GrbErrorSuccess && verb == "write")
        err = setRaw(camera, "FileAccessBuffer", bytes);
    return err != GrbErrorSuccess || verb == "select" ? err : RunCommand(camera, "FileOperationExecute");
}

} // namespace

class TestContract : public QObject
{
    Q_OBJECT

public:
    explicit TestContract(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase()
    {
        if (!m_skipReason.isEmpty())
            QSKIP(qPrintable(m_skipReason));
        if (g_transport == Transport::FakeCamera && FakeCamera::Program().isEmpty())
            QSKIP("arv-fake-gv-camera-0.8 is not installed (Debian package aravis-tools)");
        if (g_transport == Transport::VirtualUsb3)
            QVERIFY2(VirtualUsbLoaded(), "the libusb stand-in is not preloaded: this run would reach the real USB bus");
        QString error;
        _StartCamera(error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        if (g_transport == Transport::Simulator)
            QCOMPARE(StartSimulator(kDescription), GrbErrorSuccess);
        else
        {
            qunsetenv("GRB_SIMULATOR");
            QCOMPARE(sdk().Startup(), GrbErrorSuccess);
        }
        m_recorder = std::make_shared<ListRecorder>();
        QCOMPARE(sdk().RegisterCameraListObserver(m_recorder), GrbErrorSuccess);

        // The only camera there is in the namespace or the description.
        unsigned int count = 0;
        QTRY_VERIFY_WITH_TIMEOUT(sdk().GetCameras(nullptr, count) == GrbErrorSuccess && count == 1, 10000);
        std::vector<GrbCPP::CameraPtr> cameras(count);
        QCOMPARE(sdk().GetCameras(cameras.data(), count), GrbErrorSuccess);
        m_camera = cameras[0];
        m_id = ExtendedId(*m_camera);
        QCOMPARE(m_camera->Open(GrbAccessModeFull), GrbErrorSuccess);
    }

    void cleanupTestCase()
    {
        if (m_camera)
            m_camera->Close();
        m_camera.reset();
        sdk().Shutdown();
        m_process.reset();
    }

    void cleanup()
    {
        if (g_transport == Transport::FakeCamera)
            return;
        // What a row left open or wrote, gone again for the next.
        for (const char* step :
             {"close", "select Userfile a.txt", "delete", "select Userfile b.txt", "delete", "select Userfile big.bin",
              "delete", "select Userfile filler.bin", "delete", "select Userfile upload.bin", "delete",
              "select Userfile hello.txt", "open Read", "close"})
            fileStep(*m_camera, QString::fromLatin1(step));
    }

    void writesAndReadBack_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("readBack");

        QTest::newRow("integer on its increment") << "Width" << "int" << "256" << 0 << "256";
        QTest::newRow("integer at its maximum") << "Width" << "int" << "2048" << 0 << "2048";
        QTest::newRow("integer at its minimum") << "Width" << "int" << "16" << 0 << "16";
        QTest::newRow("integer above its maximum") << "Width" << "int" << "2064" << -11 << "";
        QTest::newRow("integer below its minimum") << "Width" << "int" << "0" << -11 << "";
        QTest::newRow("integer off its increment") << "Width" << "int" << "250" << -11 << "";
        QTest::newRow("increment counted from the minimum") << "Counter" << "int" << "16" << 0 << "16";
        QTest::newRow("a multiple of the increment only") << "Counter" << "int" << "15" << -11 << "";
        QTest::newRow("read-only integer") << "SensorWidth" << "int" << "100" << -6 << "";
        QTest::newRow("locked integer") << "OffsetX" << "int" << "0" << -6 << "";
        QTest::newRow("float on its increment") << "Gain" << "float" << "2.5" << 0 << "2.5";
        QTest::newRow("float off its increment") << "Gain" << "float" << "2.25" << -11 << "";
        QTest::newRow("float on a step that is not exact") << "Gain" << "float" << "0.3" << 0 << "0.3";
        QTest::newRow("float at its minimum") << "Gain" << "float" << "0" << 0 << "0";
        QTest::newRow("float above its maximum") << "Gain" << "float" << "10.5" << -11 << "";
        QTest::newRow("float below its minimum") << "Gain" << "float" << "-0.5" << -11 << "";
        QTest::newRow("float without increment") << "ExposureTime" << "float" << "1234" << 0 << "1234";
        QTest::newRow("float not a number") << "ExposureTime" << "float" << "nan" << -11 << "";
        QTest::newRow("entry by name") << "PixelFormat" << "text" << "Mono16" << 0 << "Mono16";
        QTest::newRow("unavailable entry") << "PixelFormat" << "text" << "RGB8" << -11 << "";
        QTest::newRow("unknown entry") << "PixelFormat" << "text" << "Mono12" << -11 << "";
        QTest::newRow("entry in other case") << "PixelFormat" << "text" << "mono16" << -11 << "";
        QTest::newRow("entry by value") << "PixelFormat" << "int" << "17301513" << 0 << "17301513";
        QTest::newRow("unavailable entry by value") << "PixelFormat" << "int" << "35127316" << -11 << "";
        QTest::newRow("unknown value") << "PixelFormat" << "int" << "42" << -11 << "";
        QTest::newRow("boolean") << "ReverseX" << "bool" << "true" << 0 << "true";
        QTest::newRow("string") << "DeviceUserID" << "text" << "Left" << 0 << "Left";
        QTest::newRow("empty string") << "DeviceUserID" << "text" << "" << 0 << "";
        QTest::newRow("string too long") << "DeviceUserID" << "text" << "Longer than sixteen" << -11 << "";
        QTest::newRow("read-only string") << "DeviceVendorName" << "text" << "Other" << -6 << "";
        QTest::newRow("write-only integer") << "WriteOnlyValue" << "int" << "7" << 0 << "";
        QTest::newRow("integer to a float") << "ExposureTime" << "int" << "20" << -10 << "";
        QTest::newRow("text to a boolean") << "ReverseX" << "text" << "true" << -10 << "";
        QTest::newRow("command read as integer") << "AcquisitionStop" << "int" << "1" << -10 << "";
        QTest::newRow("unknown feature") << "NoSuchFeature" << "int" << "1" << -3 << "";
    }

    void writesAndReadBack()
    {
        QFETCH(QString, feature);
        QFETCH(QString, kind);
        QFETCH(QString, value);
        QFETCH(int, code);
        QFETCH(QString, readBack);

        const QByteArray name = feature.toLatin1();
        GrbErrorType readable = GrbErrorSuccess;
        const QString before = ReadAs(*m_camera, name, kind, &readable);
        QCOMPARE(WriteAs(*m_camera, name, kind, value), code);
        if (readable == GrbErrorSuccess) // a refused write changes nothing
            QCOMPARE(ReadAs(*m_camera, name, kind), code == GrbErrorSuccess ? readBack : before);
    }

    void access_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<bool>("writable");
        QTest::addColumn<QString>("kind");

        QTest::newRow("read-write") << "Width" << true << true << "int";
        QTest::newRow("read-only") << "SensorWidth" << true << false << "int";
        QTest::newRow("locked") << "OffsetX" << true << false << "int";
        QTest::newRow("write-only") << "WriteOnlyValue" << false << true << "int";
        QTest::newRow("read-only string") << "DeviceVendorName" << true << false << "text";
        QTest::newRow("command") << "AcquisitionStop" << false << true << "int";
    }

    void access()
    {
        QFETCH(QString, feature);
        QFETCH(bool, readable);
        QFETCH(bool, writable);
        QFETCH(QString, kind);

        GrbCPP::FeaturePtr f;
        QCOMPARE(m_camera->GetFeatureByName(feature.toLatin1().constData(), f), GrbErrorSuccess);
        bool canRead = !readable;
        bool canWrite = !writable;
        QCOMPARE(f->IsReadable(canRead), GrbErrorSuccess);
        QCOMPARE(f->IsWritable(canWrite), GrbErrorSuccess);
        QCOMPARE(canRead, readable);
        QCOMPARE(canWrite, writable);
        GrbErrorType err = GrbErrorSuccess;
        ReadAs(*m_camera, feature.toLatin1().constData(), kind, &err);
        QCOMPARE(err,
                 readable ? GrbErrorSuccess : feature == "AcquisitionStop" ? GrbErrorWrongType : GrbErrorInvalidAccess);
    }

    void rangesAndIncrements()
    {
        GrbCPP::FeaturePtr f;
        int64_t min = 0, max = 0, inc = 0;
        QCOMPARE(m_camera->GetFeatureByName("Width", f), GrbErrorSuccess);
        QCOMPARE(f->GetRange(min, max), GrbErrorSuccess);
        QCOMPARE(f->GetIncrement(inc), GrbErrorSuccess);
        QCOMPARE(QList<qint64>({min, max, inc}), QList<qint64>({16, 2048, 16}));
        double fmin = 0, fmax = 0, finc = 0;
        QCOMPARE(f->GetRange(fmin, fmax), GrbErrorWrongType);

        QCOMPARE(m_camera->GetFeatureByName("Gain", f), GrbErrorSuccess);
        QCOMPARE(f->GetRange(fmin, fmax), GrbErrorSuccess);
        QCOMPARE(f->GetIncrement(finc), GrbErrorSuccess);
        QCOMPARE(QList<double>({fmin, fmax, finc}), QList<double>({0.0, 10.0, 0.1}));

        QCOMPARE(m_camera->GetFeatureByName("ExposureTime", f), GrbErrorSuccess);
        QCOMPARE(f->GetRange(fmin, fmax), GrbErrorSuccess);
        QCOMPARE(QList<double>({fmin, fmax}), QList<double>({10.0, 1000000.0}));
        QCOMPARE(f->GetIncrement(finc), GrbErrorNotSupported);
    }

    void entriesInTheCamerasOrder()
    {
        GrbCPP::FeaturePtr f;
        QCOMPARE(m_camera->GetFeatureByName("PixelFormat", f), GrbErrorSuccess);
        std::vector<GrbCPP::EnumEntry> entries;
        QCOMPARE(f->GetEntries(entries), GrbErrorSuccess);
        QStringList got;
        for (const auto& entry : entries)
        {
            std::string name;
            int64_t value = 0;
            QCOMPARE(entry.GetName(name), GrbErrorSuccess);
            QCOMPARE(entry.GetValue(value), GrbErrorSuccess);
            got << QStringLiteral("%1:%2").arg(QString::fromStdString(name)).arg(value);
        }
        QCOMPARE(got, QStringList({"Mono8:17301505", "BayerRG8:17301513", "RGB8:35127316", "Mono16:17825799"}));
        bool available = true;
        QCOMPARE(f->IsValueAvailable("RGB8", available), GrbErrorSuccess);
        QVERIFY(!available);
        QCOMPARE(f->IsValueAvailable("Mono16", available), GrbErrorSuccess);
        QVERIFY(available);
        QCOMPARE(f->IsValueAvailable("Mono12", available), GrbErrorNotFound);
    }

    void commandIsDone()
    {
        GrbCPP::FeaturePtr command;
        bool done = false;
        QCOMPARE(m_camera->GetFeatureByName("AcquisitionStop", command), GrbErrorSuccess);
        QCOMPARE(command->RunCommand(), GrbErrorSuccess);
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done);
        QCOMPARE(m_camera->GetFeatureByName("Width", command), GrbErrorSuccess);
        QCOMPARE(command->RunCommand(), GrbErrorWrongType);
    }

    // A command seen done is done until it runs again, and a write of its register runs it
    // as a run does. Both commands never complete.
    void commandRunByItsRegister_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("asMemory");

        QTest::newRow("register written as device memory") << "StuckByMemory" << true;
        QTest::newRow("register written as a feature") << "StuckByFeature" << false;
    }

    void commandRunByItsRegister()
    {
        if (g_transport == Transport::Simulator || g_transport == Transport::FakeCamera)
            QSKIP("only the virtual cameras give a command a register of its own");
        QFETCH(QString, command);
        QFETCH(bool, asMemory);

        const QByteArray name = command.toLatin1();
        GrbCPP::FeaturePtr feature;
        bool done = false;
        QCOMPARE(m_camera->GetFeatureByName(name.constData(), feature), GrbErrorSuccess);
        QCOMPARE(feature->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(done); // not run yet
        if (asMemory)
        {
            const uint64_t address = _RegisterAddress(command + "Reg");
            QVERIFY(address != 0);
            const bool little = g_transport == Transport::VirtualUsb3;
            QCOMPARE(WriteMemory(*m_camera, address, QByteArray::fromHex(little ? "01000000" : "00000001")),
                     GrbErrorSuccess);
        }
        else
            QCOMPARE(SetFeature(*m_camera, (name + "Reg").constData(), int64_t(1)), GrbErrorSuccess);
        QCOMPARE(feature->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(!done);
    }

    // Longer than Aravis waits for an acknowledge, retries included, where described: the
    // virtual camera says meanwhile that it is still working on it.
    void slowCommandIsDoneInTheEnd()
    {
        GrbCPP::FeaturePtr command;
        bool done = false;
        QCOMPARE(m_camera->GetFeatureByName("UserSetLoad", command), GrbErrorSuccess);
        QCOMPARE(command->RunCommand(), GrbErrorSuccess);
        QTRY_VERIFY_WITH_TIMEOUT(command->IsCommandDone(done) == GrbErrorSuccess && done, 10000);
    }

    void rawFeature_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("code");

        QTest::newRow("whole, odd length") << "TestRaw" << 37 << 0;
        QTest::newRow("one byte") << "TestRaw" << 1 << 0;
        QTest::newRow("longer than the feature") << "TestRaw" << 38 << -11;
        QTest::newRow("read-only") << "TestRawReadOnly" << 8 << -6;
    }

    void rawFeature()
    {
        QFETCH(QString, feature);
        QFETCH(int, length);
        QFETCH(int, code);

        const QByteArray name = feature.toLatin1();
        const QByteArray before = getRaw(*m_camera, name);
        QCOMPARE(before.size(), feature == "TestRaw" ? 37 : 8);
        const QByteArray data = Pattern(length, length);
        QCOMPARE(setRaw(*m_camera, name, data), code);
        const QByteArray after = getRaw(*m_camera, name);
        QCOMPARE(after.size(), before.size());
        QCOMPARE(after.left(length), code == GrbErrorSuccess ? data : before.left(length));

        // A buffer shorter than the value gets its first bytes.
        GrbCPP::FeaturePtr f;
        QCOMPARE(m_camera->GetFeatureByName(name, f), GrbErrorSuccess);
        unsigned char four[4] = {};
        unsigned int got = sizeof four;
        QCOMPARE(f->GetValue(four, got), GrbErrorSuccess);
        QCOMPARE(QByteArray(reinterpret_cast<char*>(four), int(got)), after.left(4));
        QCOMPARE(f->SetValue(nullptr, 3), GrbErrorBadParameter);
        bool writable = code != GrbErrorInvalidAccess;
        QCOMPARE(f->IsWritable(writable), GrbErrorSuccess);
        QCOMPARE(writable, code != GrbErrorInvalidAccess);
    }

    void memory_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("size");

        QTest::newRow("aligned word") << 0 << 4;
        QTest::newRow("one byte inside a word") << 1 << 1;
        QTest::newRow("across a word edge") << 3 << 2;
        QTest::newRow("odd size over several words") << 2 << 11;
        QTest::newRow("more than one packet, unaligned") << 1 << 1031;
    }

    void memory()
    {
        QFETCH(int, offset);
        QFETCH(int, size);

        const int span = 1100;
        const QByteArray background = Pattern(span, 1);
        QCOMPARE(WriteMemory(*m_camera, kScratch, background), GrbErrorSuccess);
        const QByteArray data = Pattern(size, 2);
        QCOMPARE(WriteMemory(*m_camera, kScratch + uint64_t(offset), data), GrbErrorSuccess);
        QCOMPARE(ReadMemory(*m_camera, kScratch + uint64_t(offset), size), data);
        QByteArray expected = background;
        expected.replace(offset, size, data);
        QCOMPARE(ReadMemory(*m_camera, kScratch, span), expected); // nothing around it moved
    }

    void memoryOutsideTheAddressSpace()
    {
        // GigE Vision addresses are 32 bits wide, USB3 Vision ones 64.
        const bool wide = g_transport == Transport::VirtualUsb3;
        uint8_t bytes[4] = {};
        uint32_t done = 7;
        QCOMPARE(m_camera->ReadMemory(wide ? ~0ull - 1 : 0xFFFFFFFEull, bytes, 4, done), GrbErrorBadParameter);
        QCOMPARE(done, 0u);
        QCOMPARE(m_camera->WriteMemory(wide ? ~0ull - 2 : 0x100000000ull, bytes, 4, done), GrbErrorBadParameter);
        QCOMPARE(m_camera->ReadMemory(kScratch, nullptr, 4, done), GrbErrorBadParameter);
    }

    void singleImage_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<QString>("pixelFormat");
        QTest::addColumn<int>("bytesPerPixel");
        QTest::newRow("Mono8") << 64 << 48 << "Mono8" << 1;
        QTest::newRow("two bytes a pixel") << 32 << 8 << "Mono16" << 2;
        QTest::newRow("lines across packets") << 1008 << 100 << "Mono8" << 1;
    }

    void singleImage()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(QString, pixelFormat);
        QFETCH(int, bytesPerPixel);
        QCOMPARE(SetFeature(*m_camera, "Width", int64_t(width)), GrbErrorSuccess);
        QCOMPARE(SetFeature(*m_camera, "Height", int64_t(height)), GrbErrorSuccess);
        QCOMPARE(SetFeature(*m_camera, "PixelFormat", pixelFormat.toLatin1().constData()), GrbErrorSuccess);
        GrbCPP::FramePtr frame;
        QCOMPARE(m_camera->AcquireSingleImage(frame, 5000), GrbErrorSuccess);
        QVERIFY(frame);
        GrbFrameStatusType status = GrbFrameStatusInvalid;
        uint32_t gotWidth = 0, gotHeight = 0, size = 0;
        const unsigned char* data = nullptr;
        QCOMPARE(frame->GetReceiveStatus(status), GrbErrorSuccess);
        frame->GetWidth(gotWidth);
        frame->GetHeight(gotHeight);
        frame->GetBufferSize(size);
        frame->GetBuffer(data);
        QCOMPARE(status, GrbFrameStatusType(GrbFrameStatusComplete));
        QCOMPARE(QList<uint32_t>({gotWidth, gotHeight, size}),
                 QList<uint32_t>({uint32_t(width), uint32_t(height), uint32_t(width * height * bytesPerPixel)}));
        // The device model's test pattern: each byte one more than the one before it in its
        // line and than the one above it. The fake camera draws its own.
        if (g_transport == Transport::FakeCamera)
            return;
        const int line = width * bytesPerPixel;
        for (int i = 0; i < int(size); ++i)
            if (data[i] != uint8_t(data[0] + i / line + i % line))
                QFAIL(qPrintable(QStringLiteral("byte %1 of line %2 is %3").arg(i % line).arg(i / line).arg(data[i])));
    }

    void transfersByteForByte_data()
    {
        QTest::addColumn<int>("size");

        QTest::newRow("empty") << 0;
        QTest::newRow("one byte") << 1;
        QTest::newRow("one chunk") << kChunk;
        QTest::newRow("one chunk and a byte") << kChunk + 1;
        QTest::newRow("several chunks") << 5 * kChunk + 300;
    }

    void transfersByteForByte()
    {
        NEED_FILES();
        QFETCH(int, size);

        PXCamera camera(m_camera);
        QSignalSpy progress(&camera, &PXCamera::updateTransferProcess);
        const QByteArray data = Pattern(size, size);
        long written = 0;
        // The transfer engine has nothing to send for an empty file.
        if (size == 0)
            QVERIFY(fileStep(*m_camera, "select Userfile upload.bin") == GrbErrorSuccess &&
                    fileStep(*m_camera, "open Write") == GrbErrorSuccess &&
                    fileStep(*m_camera, "close") == GrbErrorSuccess);
        else
            QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(data.begin(), data.end()), "upload.bin", "Userfile",
                                        &written));
        QCOMPARE(written, long(size));
        QCOMPARE(_DeviceFile("Userfile", "upload.bin"), data);
        // Whole chunks, also after a transfer that left a one-byte buffer behind.
        QVERIFY(progress.count() <= size / kChunk + 1);

        // A chunk from the middle, and one that runs over the end and comes back short.
        if (size < 3)
            return;
        QCOMPARE(fileStep(*m_camera, "select Userfile upload.bin"), GrbErrorSuccess);
        QCOMPARE(fileStep(*m_camera, "open Read"), GrbErrorSuccess);
        for (int offset : {size / 3, size - 2})
        {
            QCOMPARE(fileStep(*m_camera, QStringLiteral("read %1 %2").arg(offset).arg(kChunk)), GrbErrorSuccess);
            int64_t result = 0;
            QCOMPARE(GetFeature(*m_camera, "FileOperationResult", result), GrbErrorSuccess);
            QCOMPARE(result, int64_t(std::min(kChunk, size - offset)));
            QCOMPARE(getRaw(*m_camera, "FileAccessBuffer").left(int(result)), data.mid(offset, kChunk));
        }
        QCOMPARE(fileStep(*m_camera, "close"), GrbErrorSuccess);
    }

    void listingAndFreeSpace()
    {
        NEED_FILES();
        PXCamera camera(m_camera);
        PXDeviceFiles files(&camera);
        QCOMPARE(files.Selectors(), QStringList({"Userfile", "UserSet1", "Firmware"}));
        QVERIFY(files.Select("Userfile"));
        qint64 initial = 0;
        QVERIFY(files.FreeSpace(initial));

        long written = 0;
        for (const char* name : {"b.bin", "a.bin"})
            QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(3000, 'x'), name, "Userfile", &written));
        QVector<PXDeviceFiles::Entry> entries;
        QVERIFY(files.List(entries));
        QStringList listed;
        for (const auto& entry : entries)
            listed << QStringLiteral("%1=%2").arg(entry.name).arg(entry.size);
        QVERIFY2(listed.mid(listed.size() - 2) == QStringList({"b.bin=3000", "a.bin=3000"}),
                 qPrintable(listed.join(' ')));
        QVERIFY(listed.contains("hello.txt=13"));
        qint64 free = 0;
        QVERIFY(files.FreeSpace(free));
        QCOMPARE(free, initial - 6000);
        COMPARE_REFUSAL(SetFeature(*m_camera, "FilenameIndex", int64_t(entries.size())), GrbErrorInvalidValue);

        for (const char* name : {"b.bin", "a.bin"})
        {
            QCOMPARE(fileStep(*m_camera, QStringLiteral("select Userfile %1").arg(name)), GrbErrorSuccess);
            QCOMPARE(fileStep(*m_camera, "delete"), GrbErrorSuccess);
        }
        QVERIFY(files.FreeSpace(free));
        QCOMPARE(free, initial);
    }

    void refusedOperations_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("step");
        QTest::addColumn<int>("code");

        QTest::newRow("write without open") << "select Userfile a.txt" << "write 0 abc" << -15;
        QTest::newRow("open twice") << "select Userfile a.txt; open Write" << "open Write" << -15;
        QTest::newRow("open another while open")
            << "select Userfile a.txt; open Write; select Userfile b.txt" << "open Write" << -15;
        QTest::newRow("close without open") << "select Userfile hello.txt" << "close" << -15;
        QTest::newRow("read at the end") << "select Userfile hello.txt; open Read" << "read 13 1" << -11;
        QTest::newRow("read of a missing file") << "select Userfile missing.bin" << "open Read" << -3;
        QTest::newRow("read of an empty slot") << "select UserSet1" << "open Read" << -3;
        QTest::newRow("read in write mode") << "select Userfile a.txt; open Write; write 0 abc" << "read 0 3" << -15;
        QTest::newRow("write in read mode") << "select Userfile hello.txt; open Read" << "write 0 abc" << -15;
        QTest::newRow("write leaving a gap")
            << "select Userfile a.txt; open Write; write 0 abc" << "write 5 abc" << -11;
        QTest::newRow("file without a name") << "select Userfile" << "open Write" << -11;
        QTest::newRow("firmware opened to read") << "select Firmware" << "open Read" << -6;
        QTest::newRow("delete firmware") << "select Firmware" << "delete" << -6;
        QTest::newRow("delete a missing file") << "select Userfile missing.bin" << "delete" << -3;
        QTest::newRow("delete the open file") << "select Userfile hello.txt; open Read" << "delete" << -15;
        QTest::newRow("storage full") << "select Userfile big.bin; open Write" << "write 0 #1000" << -14;
    }

    void refusedOperations()
    {
        NEED_FILES();
        QFETCH(QString, setup);
        QFETCH(QString, step);
        QFETCH(int, code);

        // Fill the storage to 500 bytes short of full for the last row.
        PXCamera camera(m_camera);
        PXDeviceFiles files(&camera);
        qint64 free = 0;
        QVERIFY(files.Select("Userfile") && files.FreeSpace(free));
        long written = 0;
        if (code == GrbErrorResources)
            QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(size_t(free - 500), 'f'), "filler.bin", "Userfile",
                                        &written));

        for (const QString& s : setup.split(';'))
            QVERIFY2(fileStep(*m_camera, s) == GrbErrorSuccess, qPrintable(s));
        QCOMPARE(ReadAs(*m_camera, "FileOperationStatus", "text"), QStringLiteral("Success"));
        COMPARE_REFUSAL(fileStep(*m_camera, step), code);
        QCOMPARE(ReadAs(*m_camera, "FileOperationStatus", "text"), QStringLiteral("Failure"));

        // Nothing else changed.
        QCOMPARE(_DeviceFile("Userfile", "hello.txt"), QByteArray("hello camera\n"));
    }

    void openModesAndOffsets()
    {
        NEED_FILES();
        for (const char* step : {"select Userfile a.txt", "open Write", "write 0 0123456789", "close", "open ReadWrite",
                                 "write 4 AB", "write 10 XY", "read 2 4"})
            QVERIFY2(fileStep(*m_camera, step) == GrbErrorSuccess, step);
        QCOMPARE(getRaw(*m_camera, "FileAccessBuffer").left(4), QByteArray("23AB"));
        QCOMPARE(fileStep(*m_camera, "close"), GrbErrorSuccess);
        QCOMPARE(_DeviceFile("Userfile", "a.txt"), QByteArray("0123AB6789XY"));
        // Opening to read and write keeps the file; opening to write starts it afresh.
        for (const char* step : {"select Userfile a.txt", "open ReadWrite", "close"})
            QVERIFY2(fileStep(*m_camera, step) == GrbErrorSuccess, step);
        QCOMPARE(_DeviceFile("Userfile", "a.txt"), QByteArray("0123AB6789XY"));
        for (const char* step : {"select Userfile a.txt", "open Write", "write 0 new", "close"})
            QVERIFY2(fileStep(*m_camera, step) == GrbErrorSuccess, step);
        QCOMPARE(_DeviceFile("Userfile", "a.txt"), QByteArray("new"));
    }

    void deleteAndSlots()
    {
        NEED_FILES();
        PXCamera camera(m_camera);
        long written = 0;
        // A slot holds one file whatever the name; a new upload replaces it.
        QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(300, 's'), "ignored.bin", "UserSet1", &written));
        QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(200, 't'), "other.bin", "UserSet1", &written));
        PXDeviceFiles files(&camera);
        QVector<PXDeviceFiles::Entry> entries;
        QVERIFY(files.Select("UserSet1") && files.List(entries));
        QCOMPARE(entries.size(), 1);
        QCOMPARE(_DeviceFile("UserSet1", ""), QByteArray(200, 't'));

        camera.DeleteDeviceFile("", "UserSet1");
        QVERIFY(files.List(entries));
        QCOMPARE(entries.size(), 0);
        COMPARE_REFUSAL(fileStep(*m_camera, "delete"), GrbErrorNotFound);
        QCOMPARE(_DeviceFile("Userfile", "hello.txt"), QByteArray("hello camera\n"));
    }

    void badFirmwareImages_data()
    {
        QTest::addColumn<QByteArray>("image");

        QTest::newRow("no header") << "MZ" + Pattern(3000, 3);
        QTest::newRow("header in lower case") << QByteArray("pellix-firmware Firmware 9\n");
        QTest::newRow("header without line end") << QByteArray("PELLIX-FIRMWARE Firmware 9");
        QTest::newRow("header without version") << QByteArray("PELLIX-FIRMWARE \nrest");
        QTest::newRow("version too long") << "PELLIX-FIRMWARE " + QByteArray(65, 'v') + '\n';
    }

    void badFirmwareImages()
    {
        NEED_FILES();
        QFETCH(QByteArray, image);
        PXCamera camera(m_camera);
        long written = 0;
        QVERIFY(!camera.UploadBuffer(std::vector<unsigned char>(image.begin(), image.end()), "", "Firmware", &written));
        QCOMPARE(ReadAs(*m_camera, "FileOperationStatus", "text"), QStringLiteral("Failure"));
    }

    void firmwareUpdateAndReset()
    {
        NEED_FILES();
        PXCamera camera(m_camera);
        long written = 0;
        const QByteArray image = "PELLIX-FIRMWARE Firmware 3.0.1 (build 42)\n" + Pattern(5000, 8);
        QVERIFY(camera.UploadBuffer(std::vector<unsigned char>(image.begin(), image.end()), "", "Firmware", &written));
        QCOMPARE(ReadAs(*m_camera, "DeviceManufacturerInfo", "text"), QStringLiteral("Firmware 1.0"));

        const int arrivals = m_recorder->Count(true, m_id, GrbCPP::UpdateTriggerPluggedIn);
        QCOMPARE(RunCommand(*m_camera, "DeviceReset"), GrbErrorSuccess);
        QVERIFY(m_recorder->WaitFor(true, m_id, GrbCPP::UpdateTriggerPluggedOut));
        QVERIFY(m_recorder->WaitFor(true, m_id, GrbCPP::UpdateTriggerPluggedIn, arrivals + 1));
        m_camera->Close();
        QCOMPARE(m_camera->Open(GrbAccessModeFull), GrbErrorSuccess);
        QCOMPARE(ReadAs(*m_camera, "DeviceManufacturerInfo", "text"), QStringLiteral("Firmware 3.0.1 (build 42)"));
        QCOMPARE(_DeviceFile("Userfile", "hello.txt"), QByteArray("hello camera\n")); // the storage survives
    }

private:
    void _StartCamera(QString& error);
    QByteArray _DeviceFile(const QString& selector, const QString& name);
    // Where the virtual cameras put a register of their GenICam description; 0 if nowhere.
    uint64_t _RegisterAddress(const QString& node);

    QString m_skipReason;
    QTemporaryDir m_dir;
    std::unique_ptr<CameraProcess> m_process;
    std::shared_ptr<ListRecorder> m_recorder;
    GrbCPP::CameraPtr m_camera;
    std::string m_id;
};

void TestContract::_StartCamera(QString& error)
{
    const QString description = m_dir.filePath(QStringLiteral("cameras.txt"));
    QByteArray text = kDescription;
    if (g_transport == Transport::VirtualUsb3)
        text.replace("transport=gige", "transport=usb3");
    // Away long enough after a reset for the GenTL layer's next look to notice.
    if (g_transport == Transport::Gentl)
        text.replace("reset-delay=50", "reset-delay=1500");
    if (!WriteLocal(description, text))
        error = QStringLiteral("cannot write %1").arg(description);
    if (g_transport == Transport::Gentl)
    {
        qputenv("PELLIX_GENTL_DESCRIPTION", QFile::encodeName(description));
        qputenv("GRB_GENTL_PRODUCER", PELLIX_GENTL_PRODUCER);
    }
    if (g_transport == Transport::VirtualUsb3)
    {
        const QString bus = m_dir.filePath(QStringLiteral("bus"));
        qputenv("PELLIX_VIRTUAL_USB_DIR", bus.toLocal8Bit());
        m_process = std::make_unique<CameraProcess>(
            ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA),
                                 {"--serial", "CT1", "--description", description, "--lifetime", "600",
                                  "--reset-delay", "2500"}),
            bus + QStringLiteral("/CT1.usb"));
    }
    else if (g_transport == Transport::VirtualCamera)
        m_process = std::make_unique<CameraProcess>(
            ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA),
                                 {"--address", "127.0.0.1", "--serial", "CT1", "--description", description,
                                  "--lifetime", "600",
                                  // Away long enough after a reset for Aravis's list to notice.
                                  "--reset-delay", "2500"}),
            QStringLiteral("127.0.0.1"));
    else if (g_transport == Transport::FakeCamera)
        m_process = std::make_unique<FakeCamera>("127.0.0.1", "CT", QStringLiteral(ARAVIS_TEST_DESCRIPTION));
    if (m_process)
        m_process->Start(error);
}

QByteArray TestContract::_DeviceFile(const QString& selector, const QString& name)
{
    PXCamera camera(m_camera);
    PXDeviceFiles files(&camera);
    const QString path = m_dir.filePath(QStringLiteral("back.bin"));
    QFile::remove(path);
    long bytes = 0;
    return files.Select(selector) && files.Download(name, path, false, &bytes) ? ReadLocal(path) : "(missing)";
}

uint64_t TestContract::_RegisterAddress(const QString& node)
{
    QProcess program;
    ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA),
                         {"--print-xml", "--serial", "CT1", "--description", m_dir.filePath(QStringLiteral("cameras.txt"))})
        .Start(program);
    if (!program.waitForFinished(10000) || program.exitCode() != 0)
        return 0;
    const QRegularExpression reg(QStringLiteral("<IntReg Name=\"%1\">\\s*<Address>0x([0-9a-fA-F]+)</Address>").arg(node));
    const QRegularExpressionMatch match = reg.match(QString::fromUtf8(program.readAllStandardOutput()));
    return match.hasMatch() ? match.captured(1).toULongLong(nullptr, 16) : 0;
}

int main(int argc, char** argv)
{
    const QByteArray transport = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (transport == "virtual-camera")
        g_transport = Transport::VirtualCamera;
    else if (transport == "fake-camera")
        g_transport = Transport::FakeCamera;
    else if (transport == "virtual-usb3")
        g_transport = Transport::VirtualUsb3;
    else if (transport == "gentl")
        g_transport = Transport::Gentl;
    else if (transport != "simulator")
    {
        std::fprintf(stderr, "usage: %s simulator|virtual-camera|fake-camera|virtual-usb3|gentl [QtTest options]\n",
                     argv[0]);
        return 2;
    }
    // No producer of this machine's joins in.
    qunsetenv("GENICAM_GENTL64_PATH");
    qunsetenv("GRB_GENTL_PRODUCER");
    QString reason;
    if (g_transport != Transport::Simulator && !NetworkNamespace::Enter({}, reason))
        reason = QStringLiteral("no loopback-only network namespace: ") + reason;
    else
        reason.clear();
    QCoreApplication app(argc, argv);
    TestContract test(reason);
    argv[1] = argv[0];
    return QTest::qExec(&test, argc - 1, argv + 1);
}

#include "tst_contract.moc"
