// The GigE Vision transport layer through the SDK's public interfaces, against
// Aravis's fake camera on loopback inside the test's own network namespace.
#include "CameraHolder.h"
#include "FakeCamera.h"
#include "NamespacedTestMain.h"

#include "GrbTestSupport.h"
#include "ListRecorder.h"

#include "aravis/AravisError.h"
#include "aravis/GvcpClient.h"
#include <gvcp/GvcpProtocol.h>

#include <GrbCPP/GrbCPP.h>

#include <QFileInfo>

#include <memory>

using namespace GrbTest;

namespace {

constexpr uint64_t kScratch = 0x1400;
constexpr uint64_t kCommandRegister = 0x1200;
constexpr uint64_t kRawRegister = 0x1000;
constexpr uint32_t kRawLength = 37;
constexpr int kPatienceMs = 10000;

GrbCPP::GrbSystem& sdk()
{
    return GrbCPP::GrbSystem::GetInstance();
}

std::string cameraText(const GrbCPP::Camera& camera, GrbErrorType (GrbCPP::Camera::*getter)(char*, unsigned int&) const)
{
    std::string text;
    ReadText([&](char* buffer, unsigned int& length) { return (camera.*getter)(buffer, length); }, text);
    return text;
}

// A 32-bit register in the camera's (big-endian) byte order.
uint32_t readRegister(const GrbCPP::Camera& camera, uint64_t address)
{
    uint8_t bytes[4] = {};
    uint32_t done = 0;
    if (camera.ReadMemory(address, bytes, 4, done) != GrbErrorSuccess)
        return 0xDEADBEEF;
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

QByteArray readMemory(const GrbCPP::Camera& camera, uint64_t address, int size)
{
    QByteArray data(size, '\0');
    uint32_t done = 0;
    if (camera.ReadMemory(address, data.data(), static_cast<uint32_t>(size), done) != GrbErrorSuccess)
        return {};
    return data;
}

GrbErrorType writeMemory(GrbCPP::Camera& camera, uint64_t address, const QByteArray& data)
{
    uint32_t done = 0;
    return camera.WriteMemory(address, data.constData(), static_cast<uint32_t>(data.size()), done);
}

// Reads the feature by its own type; commands count as unreadable.
GrbErrorType readAny(const GrbCPP::FeatureContainer& container, const char* name)
{
    GrbCPP::FeaturePtr feature;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    GrbErrorType err = container.GetFeatureByName(name, feature);
    if (err == GrbErrorSuccess)
        err = feature->GetDataType(type);
    if (err != GrbErrorSuccess)
        return err;
    int64_t i = 0;
    double d = 0;
    bool b = false;
    std::string text;
    unsigned char raw[64];
    unsigned int length = sizeof raw;
    switch (type)
    {
    case GrbFeatureDataInt:
        return feature->GetValue(i);
    case GrbFeatureDataFloat:
        return feature->GetValue(d);
    case GrbFeatureDataBool:
        return feature->GetValue(b);
    case GrbFeatureDataEnum:
    case GrbFeatureDataString:
        return GetFeatureText(container, name, text);
    case GrbFeatureDataRaw:
        return feature->GetValue(raw, length);
    default:
        return GrbErrorInvalidAccess;
    }
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
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void enumerationFillsEveryField_data();
    void enumerationFillsEveryField();
    void nameIsTheUserDefinedName();
    void writes_data();
    void writes();
    void access_data();
    void access();
    void rangesAndIncrements();
    void entriesInTheCamerasOrder();
    void commandIsDoneWhenItsValueChanges();
    void rawFeature_data();
    void rawFeature();
    void memoryAtAnyAddressAndSize_data();
    void memoryAtAnyAddressAndSize();
    void memoryOutsideTheAddressSpace();
    void packetSizeAdjustment();
    void singleFrame();
    void readOnlySessionRefusesWrites();
    void ownControlIsNotAnotherApplications();
    void heldByAnotherProcess();
    void hotPlug();
    void simulatorLoadsNoAravisLayer();

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

void TestAravisSdk::initTestCase()
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

void TestAravisSdk::cleanupTestCase()
{
    if (m_recorder)
        sdk().UnregisterCameraListObserver(m_recorder);
    sdk().Shutdown();
    m_a.reset();
    m_b.reset();
}

void TestAravisSdk::cleanup()
{
    for (auto& camera : m_opened)
        camera->Close();
    m_opened.clear();
}

void TestAravisSdk::enumerationFillsEveryField_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("serial");
    QTest::newRow("camera A") << "127.0.0.1" << "PXA";
    QTest::newRow("camera B") << "127.0.0.2" << "PXB";
}

void TestAravisSdk::enumerationFillsEveryField()
{
    QFETCH(QString, address);
    QFETCH(QString, serial);
    const FakeCamera& fake = address == m_a->Address() ? *m_a : *m_b;
    const std::vector<std::string> ids = presentIds();
    QCOMPARE(std::count(ids.begin(), ids.end(), fake.ExtendedId().toStdString()), 1);

    GrbCPP::CameraPtr camera = _Known(fake);
    QVERIFY(camera);
    std::string id;
    QCOMPARE(ReadText([&](char* b, unsigned int& l) { return camera->GetID(b, l, false); }, id), GrbErrorSuccess);
    QCOMPARE(QString::fromStdString(id), "Aravis-Fake-" + serial);
    QCOMPARE(cameraText(*camera, &GrbCPP::Camera::GetModel), std::string("Fake"));
    QCOMPARE(cameraText(*camera, &GrbCPP::Camera::GetSerialNumber), serial.toStdString());
    // Without a user-defined name the camera is called by its model.
    QCOMPARE(cameraText(*camera, &GrbCPP::Camera::GetName), std::string("Fake"));

    GrbCPP::InterfacePtr cameraInterface;
    QCOMPARE(camera->GetInterface(cameraInterface), GrbErrorSuccess);
    std::string interfaceId;
    ReadText([&](char* b, unsigned int& l) { return cameraInterface->GetID(b, l); }, interfaceId);
    QCOMPARE(interfaceId, std::string("lo"));

    GrbCPP::TransportLayerPtr layer;
    QCOMPARE(camera->GetTransportLayer(layer), GrbErrorSuccess);
    std::string name;
    std::string path;
    ReadText([&](char* b, unsigned int& l) { return layer->GetName(b, l); }, name);
    ReadText([&](char* b, unsigned int& l) { return layer->GetPath(b, l); }, path);
    QCOMPARE(name, std::string("GigE Vision TL"));
    QVERIFY2(QFileInfo::exists(QString::fromStdString(path)), path.c_str());
    QVERIFY2(QFileInfo(QString::fromStdString(path)).fileName().startsWith("libaravis-0.8"), path.c_str());

    GrbTransportLayerType type = GrbTransportLayerUnknown;
    QCOMPARE(camera->GetTransportLayerType(type), GrbErrorSuccess);
    QCOMPARE(type, GrbTransportLayerType(GrbTransportLayerGEV));
    GrbAccessModeType access = GrbAccessModeNone;
    QCOMPARE(camera->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeFull | GrbAccessModeRead));
}

void TestAravisSdk::nameIsTheUserDefinedName()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    QCOMPARE(SetFeature(*camera, "DeviceUserID", "Inspection left"), GrbErrorSuccess);
    QCOMPARE(camera->Close(), GrbErrorSuccess);
    // Discovery reads the name from the camera without opening it, on its next round.
    QTRY_COMPARE_WITH_TIMEOUT((presentIds(), cameraText(*camera, &GrbCPP::Camera::GetName)),
                              std::string("Inspection left"), kPatienceMs);

    camera = _Open(*m_a);
    QVERIFY(camera);
    QCOMPARE(SetFeature(*camera, "DeviceUserID", ""), GrbErrorSuccess);
    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QTRY_COMPARE_WITH_TIMEOUT((presentIds(), cameraText(*camera, &GrbCPP::Camera::GetName)), std::string("Fake"),
                              kPatienceMs);
}

void TestAravisSdk::writes_data()
{
    QTest::addColumn<QString>("feature");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("code");
    // The register behind the feature: the value written when the write succeeds,
    // untouched when it is refused.
    QTest::addColumn<qlonglong>("address");
    QTest::addColumn<qlonglong>("registerValue");

    QTest::newRow("integer on its increment") << "Width" << "int" << "256" << 0 << 0x100LL << 256LL;
    QTest::newRow("integer above the camera's maximum") << "Width" << "int" << "4096" << -11 << 0x100LL << 0LL;
    QTest::newRow("integer off its increment") << "Width" << "int" << "250" << -11 << 0x100LL << 0LL;
    QTest::newRow("read-only integer") << "SensorWidth" << "int" << "100" << -6 << 0x11cLL << 0LL;
    QTest::newRow("locked integer") << "OffsetX" << "int" << "0" << -6 << 0x130LL << 0LL;
    QTest::newRow("float on its increment") << "Gain" << "float" << "2.5" << 0 << 0x110LL << 25LL;
    QTest::newRow("float off its increment") << "Gain" << "float" << "2.2" << -11 << 0x110LL << 0LL;
    QTest::newRow("float above its maximum") << "Gain" << "float" << "10.5" << -11 << 0x110LL << 0LL;
    QTest::newRow("float without increment") << "ExposureTime" << "float" << "1234" << 0 << 0x120LL << 1234LL;
    QTest::newRow("float below its minimum") << "ExposureTime" << "float" << "5" << -11 << 0x120LL << 0LL;
    QTest::newRow("enumeration entry") << "PixelFormat" << "text" << "Mono16" << 0 << 0x128LL << 17825799LL;
    QTest::newRow("unavailable enumeration entry") << "PixelFormat" << "text" << "RGB8" << -11 << 0x128LL << 0LL;
    QTest::newRow("unknown enumeration entry") << "PixelFormat" << "text" << "Mono12" << -11 << 0x128LL << 0LL;
    QTest::newRow("enumeration entry by value") << "PixelFormat" << "int" << "17301513" << 0 << 0x128LL << 17301513LL;
    QTest::newRow("unavailable entry by value") << "PixelFormat" << "int" << "35127316" << -11 << 0x128LL << 0LL;
    QTest::newRow("boolean") << "ReverseX" << "bool" << "true" << 0 << 0x1f0LL << 1LL;
    QTest::newRow("string") << "DeviceUserID" << "text" << "Left" << 0 << 0xe8LL << 0x4c656674LL;
    QTest::newRow("string too long") << "DeviceUserID" << "text" << "Longer than sixteen" << -11 << 0xe8LL << 0LL;
    QTest::newRow("read-only string") << "DeviceVendorName" << "text" << "Other" << -6 << 0x48LL << 0LL;
    QTest::newRow("integer write to a float") << "ExposureTime" << "int" << "20" << -10 << 0x120LL << 0LL;
    QTest::newRow("unknown feature") << "NoSuchFeature" << "int" << "1" << -3 << -1LL << 0LL;
}

void TestAravisSdk::writes()
{
    QFETCH(QString, feature);
    QFETCH(QString, kind);
    QFETCH(QString, value);
    QFETCH(int, code);
    QFETCH(qlonglong, address);
    QFETCH(qlonglong, registerValue);

    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    const uint32_t before = address >= 0 ? readRegister(*camera, static_cast<uint64_t>(address)) : 0;
    const QByteArray name = feature.toLatin1();
    GrbErrorType err = GrbErrorInternalFault;
    if (kind == "int")
        err = SetFeature(*camera, name.constData(), int64_t(value.toLongLong()));
    else if (kind == "float")
        err = SetFeature(*camera, name.constData(), value.toDouble());
    else if (kind == "bool")
        err = SetFeature(*camera, name.constData(), value == "true");
    else
        err = SetFeature(*camera, name.constData(), value.toUtf8().constData());
    QCOMPARE(err, code);
    if (address < 0)
        return;
    const uint32_t after = readRegister(*camera, static_cast<uint64_t>(address));
    QCOMPARE(after, code == GrbErrorSuccess ? uint32_t(registerValue) : before);
}

void TestAravisSdk::access_data()
{
    QTest::addColumn<QString>("feature");
    QTest::addColumn<bool>("readable");
    QTest::addColumn<bool>("writable");
    QTest::newRow("read-write") << "Width" << true << true;
    QTest::newRow("read-only register") << "SensorWidth" << true << false;
    QTest::newRow("locked") << "OffsetX" << true << false;
    QTest::newRow("write-only register") << "WriteOnlyValue" << false << true;
    QTest::newRow("read-only string") << "DeviceVendorName" << true << false;
    QTest::newRow("read-only raw") << "TestRawReadOnly" << true << false;
    QTest::newRow("command") << "AcquisitionStart" << false << true;
}

void TestAravisSdk::access()
{
    QFETCH(QString, feature);
    QFETCH(bool, readable);
    QFETCH(bool, writable);
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    GrbCPP::FeaturePtr f;
    QCOMPARE(camera->GetFeatureByName(feature.toLatin1().constData(), f), GrbErrorSuccess);
    bool canRead = !readable;
    bool canWrite = !writable;
    QCOMPARE(f->IsReadable(canRead), GrbErrorSuccess);
    QCOMPARE(f->IsWritable(canWrite), GrbErrorSuccess);
    QCOMPARE(canRead, readable);
    QCOMPARE(canWrite, writable);
    QCOMPARE(readAny(*camera, feature.toLatin1().constData()), readable ? GrbErrorSuccess : GrbErrorInvalidAccess);
}

void TestAravisSdk::rangesAndIncrements()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    GrbCPP::FeaturePtr f;
    int64_t min = 0, max = 0, inc = 0;
    QCOMPARE(camera->GetFeatureByName("Width", f), GrbErrorSuccess);
    QCOMPARE(f->GetRange(min, max), GrbErrorSuccess);
    QCOMPARE(f->GetIncrement(inc), GrbErrorSuccess);
    QCOMPARE(min, int64_t(16));
    QCOMPARE(max, int64_t(2048)); // the sensor width, through pMax
    QCOMPARE(inc, int64_t(16));

    double fmin = 0, fmax = 0, finc = 0;
    QCOMPARE(camera->GetFeatureByName("Gain", f), GrbErrorSuccess);
    QCOMPARE(f->GetRange(fmin, fmax), GrbErrorSuccess);
    QCOMPARE(f->GetIncrement(finc), GrbErrorSuccess);
    QCOMPARE(fmin, 0.0);
    QCOMPARE(fmax, 10.0);
    QCOMPARE(finc, 0.5);

    QCOMPARE(camera->GetFeatureByName("ExposureTime", f), GrbErrorSuccess);
    QCOMPARE(f->GetRange(fmin, fmax), GrbErrorSuccess);
    QCOMPARE(fmax, 1000000.0);
    QCOMPARE(f->GetIncrement(finc), GrbErrorNotSupported);
}

void TestAravisSdk::entriesInTheCamerasOrder()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    GrbCPP::FeaturePtr f;
    QCOMPARE(camera->GetFeatureByName("PixelFormat", f), GrbErrorSuccess);
    std::vector<GrbCPP::EnumEntry> entries;
    QCOMPARE(f->GetEntries(entries), GrbErrorSuccess);
    QStringList names;
    QList<qlonglong> values;
    for (const auto& entry : entries)
    {
        std::string name;
        int64_t value = 0;
        entry.GetName(name);
        entry.GetValue(value);
        names << QString::fromStdString(name);
        values << value;
    }
    QCOMPARE(names, QStringList({"Mono8", "BayerRG8", "RGB8", "Mono16"}));
    QCOMPARE(values, QList<qlonglong>({17301505, 17301513, 35127316, 17825799}));
    bool available = true;
    QCOMPARE(f->IsValueAvailable("RGB8", available), GrbErrorSuccess);
    QVERIFY(!available);
    QCOMPARE(f->IsValueAvailable("Mono16", available), GrbErrorSuccess);
    QVERIFY(available);
}

void TestAravisSdk::commandIsDoneWhenItsValueChanges()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    GrbCPP::FeaturePtr command;
    bool done = false;
    // Its pValue is write-only: done as soon as it is written.
    QCOMPARE(camera->GetFeatureByName("AcquisitionStop", command), GrbErrorSuccess);
    QCOMPARE(command->RunCommand(), GrbErrorSuccess);
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);

    QCOMPARE(camera->GetFeatureByName("TestCommand", command), GrbErrorSuccess);
    QCOMPARE(command->RunCommand(), GrbErrorSuccess);
    QCOMPARE(readRegister(*camera, kCommandRegister), 5u);
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(!done);
    // What a camera does when it finishes: the register no longer holds the command value.
    QCOMPARE(writeMemory(*camera, kCommandRegister, QByteArray(4, '\0')), GrbErrorSuccess);
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);
}

void TestAravisSdk::rawFeature_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("code");
    QTest::newRow("whole register, odd length") << int(kRawLength) << 0;
    QTest::newRow("short write is padded") << 10 << 0;
    QTest::newRow("one byte") << 1 << 0;
    QTest::newRow("longer than the register") << int(kRawLength) + 1 << -11;
}

void TestAravisSdk::rawFeature()
{
    QFETCH(int, length);
    QFETCH(int, code);
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    QCOMPARE(writeMemory(*camera, kRawRegister, QByteArray(40, '\x5a')), GrbErrorSuccess);

    GrbCPP::FeaturePtr raw;
    QCOMPARE(camera->GetFeatureByName("TestRaw", raw), GrbErrorSuccess);
    unsigned int size = 0;
    QCOMPARE(raw->GetValue(static_cast<unsigned char*>(nullptr), size), GrbErrorSuccess);
    QCOMPARE(size, kRawLength);

    const QByteArray data = Pattern(length, length);
    QCOMPARE(raw->SetValue(reinterpret_cast<const unsigned char*>(data.constData()), static_cast<unsigned int>(length)),
             code);
    const QByteArray expected =
        code == GrbErrorSuccess ? data + QByteArray(int(kRawLength) - length, '\0') : QByteArray(int(kRawLength), '\x5a');
    QByteArray read(int(kRawLength), '\0');
    unsigned int readLength = kRawLength;
    QCOMPARE(raw->GetValue(reinterpret_cast<unsigned char*>(read.data()), readLength), GrbErrorSuccess);
    QCOMPARE(readLength, kRawLength);
    QCOMPARE(read, expected);
    QCOMPARE(readMemory(*camera, kRawRegister, int(kRawLength)), expected);

    GrbCPP::FeaturePtr readOnly;
    QCOMPARE(camera->GetFeatureByName("TestRawReadOnly", readOnly), GrbErrorSuccess);
    QCOMPARE(readOnly->SetValue(reinterpret_cast<const unsigned char*>(data.constData()), 1), GrbErrorInvalidAccess);
}

void TestAravisSdk::memoryAtAnyAddressAndSize_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("size");
    QTest::newRow("aligned word") << 0 << 4;
    QTest::newRow("one byte inside a word") << 1 << 1;
    QTest::newRow("three bytes, unaligned") << 1 << 3;
    QTest::newRow("across a word edge") << 3 << 2;
    QTest::newRow("odd size over several words") << 2 << 11;
    QTest::newRow("more than one packet, unaligned") << 1 << 1031;
    QTest::newRow("aligned start, odd end") << 8 << 513;
}

void TestAravisSdk::memoryAtAnyAddressAndSize()
{
    QFETCH(int, offset);
    QFETCH(int, size);
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    const int span = 1100;
    const QByteArray background = Pattern(span, 1);
    QCOMPARE(writeMemory(*camera, kScratch, background), GrbErrorSuccess);

    const QByteArray data = Pattern(size, 2);
    QCOMPARE(writeMemory(*camera, kScratch + uint64_t(offset), data), GrbErrorSuccess);
    QCOMPARE(readMemory(*camera, kScratch + uint64_t(offset), size), data);
    // Nothing around the written bytes moved.
    QByteArray expected = background;
    expected.replace(offset, size, data);
    QCOMPARE(readMemory(*camera, kScratch, span), expected);
}

void TestAravisSdk::memoryOutsideTheAddressSpace()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    uint8_t bytes[4] = {};
    uint32_t done = 7;
    QCOMPARE(camera->ReadMemory(0xFFFFFFFEull, bytes, 4, done), GrbErrorBadParameter);
    QCOMPARE(done, 0u);
    QCOMPARE(camera->WriteMemory(0x100000000ull, bytes, 4, done), GrbErrorBadParameter);
}

void TestAravisSdk::packetSizeAdjustment()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    GrbCPP::StreamPtr stream = FirstStream(*camera);
    QVERIFY(stream);
    std::string protocol;
    QCOMPARE(GetFeatureText(*stream, "GVSPProtocol", protocol), GrbErrorSuccess);
    QCOMPARE(protocol, std::string("UDP"));
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

void TestAravisSdk::singleFrame()
{
    GrbCPP::CameraPtr camera = _Open(*m_a);
    QVERIFY(camera);
    QCOMPARE(SetFeature(*camera, "Width", int64_t(64)), GrbErrorSuccess);
    QCOMPARE(SetFeature(*camera, "Height", int64_t(48)), GrbErrorSuccess);
    QCOMPARE(SetFeature(*camera, "PixelFormat", "Mono8"), GrbErrorSuccess);
    GrbCPP::FramePtr frame;
    QCOMPARE(camera->AcquireSingleImage(frame, 3000), GrbErrorSuccess);
    QVERIFY(frame);
    GrbFrameStatusType status = GrbFrameStatusInvalid;
    uint32_t width = 0, height = 0, size = 0;
    QCOMPARE(frame->GetReceiveStatus(status), GrbErrorSuccess);
    frame->GetWidth(width);
    frame->GetHeight(height);
    frame->GetBufferSize(size);
    QCOMPARE(status, GrbFrameStatusType(GrbFrameStatusComplete));
    QCOMPARE(width, 64u);
    QCOMPARE(height, 48u);
    QCOMPARE(size, 64u * 48u);
}

void TestAravisSdk::readOnlySessionRefusesWrites()
{
    GrbCPP::CameraPtr camera = _Open(*m_a, GrbAccessModeRead);
    QVERIFY(camera);
    int64_t width = 0;
    QCOMPARE(GetFeature(*camera, "Width", width), GrbErrorSuccess);
    QCOMPARE(SetFeature(*camera, "Width", width), GrbErrorInvalidAccess);
    QCOMPARE(writeMemory(*camera, kScratch, QByteArray(4, '\0')), GrbErrorInvalidAccess);
    GrbCPP::FramePtr frame;
    QCOMPARE(camera->AcquireSingleImage(frame, 1000), GrbErrorInvalidAccess);
}

void TestAravisSdk::ownControlIsNotAnotherApplications()
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
    GrbAccessModeType access = GrbAccessModeNone;
    QCOMPARE(camera->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeFull | GrbAccessModeRead));
    QCOMPARE(m_recorder->Count(true, id, GrbCPP::UpdateTriggerOpenStateChanged), changes + 1);
    // Closed here and waited for, so the next test starts from a settled count.
    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 2));
}

void TestAravisSdk::heldByAnotherProcess()
{
    const std::string id = m_b->ExtendedId().toStdString();
    GrbCPP::CameraPtr camera = _Known(*m_b);
    QVERIFY(camera);
    const int changes = m_recorder->Count(true, id, GrbCPP::UpdateTriggerOpenStateChanged);
    CameraHolder holder;
    QString error;
    QVERIFY2(holder.Hold(m_b->Address(), error), qPrintable(error));

    QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 1));
    GrbAccessModeType access = GrbAccessModeNone;
    QCOMPARE(camera->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeRead));
    QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorInvalidAccess);
    QVERIFY(grb::aravis::AravisError::LastMessage().find("another application") != std::string::npos);
    // Refused without touching the holder's control.
    grb::aravis::GvcpClient gvcp(m_b->Address().toStdString());
    uint32_t privilege = 0;
    QCOMPARE(gvcp.ReadRegister(grb::gvcp::kControlChannelPrivilege, privilege), GrbErrorSuccess);
    QCOMPARE(privilege, 2u);

    holder.Release();
    QVERIFY(m_recorder->WaitFor(true, id, GrbCPP::UpdateTriggerOpenStateChanged, changes + 2));
    QCOMPARE(camera->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeFull | GrbAccessModeRead));
    QVERIFY(_Open(*m_b));
}

void TestAravisSdk::hotPlug()
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
    GrbAccessModeType access = GrbAccessModeNone;
    QCOMPARE(camera->GetPermittedAccess(access), GrbErrorSuccess);
    QCOMPARE(access, GrbAccessModeType(GrbAccessModeFull | GrbAccessModeRead));
    QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
    QCOMPARE(GetFeature(*camera, "Width", width), GrbErrorSuccess);
}

void TestAravisSdk::simulatorLoadsNoAravisLayer()
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

ARAVIS_NAMESPACED_TEST_MAIN(TestAravisSdk)

#include "tst_aravis_sdk.moc"
