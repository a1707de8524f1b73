// The simulator's GenTL producer as any GenTL consumer meets it, called directly: the
// standard's rules that the SDK's own layer never puts to the test (calls outside
// GCInitLib, stale and made-up handles, info sizes, list updates, the module node maps,
// queues and events of a data stream, a read-only device, a reset).
#include "gentlconsumer/GentlFunctions.h"
#include "gentlconsumer/ZipReader.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <cstring>
#include <vector>

namespace {

const QByteArray kDescription = R"(
camera id=PA model=qda640MXGE serial=PA1 transport=gige interface=link0 reset-delay=300
camera id=PB model=RZ-12M serial=PB1 transport=usb3 interface=link1
camera id=PC model=T-R402 serial=PC1 transport=gige interface=link0 held=yes
)";

// What an info query answered: its type and bytes.
struct Answer
{
    GC_ERROR code = GC_ERR_SUCCESS;
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    QByteArray bytes;

    QString Text() const { return QString::fromUtf8(bytes.constData()); }
    uint64_t Number() const
    {
        uint64_t value = 0;
        std::memcpy(&value, bytes.constData(), std::min<size_t>(sizeof value, size_t(bytes.size())));
        return value;
    }
};

// Asks in the standard's two steps, and checks on the way that a buffer one byte too
// small is refused with the size it needs.
template <class Query>
Answer ask(Query&& query)
{
    Answer answer;
    size_t size = 0;
    answer.code = query(&answer.type, nullptr, &size);
    if (answer.code != GC_ERR_SUCCESS)
        return answer;
    std::vector<char> buffer(size + 1, '\0');
    size_t small = size - 1;
    if (size > 0 && (query(&answer.type, buffer.data(), &small) != GC_ERR_BUFFER_TOO_SMALL || small != size))
    {
        answer.code = GC_ERR_ERROR;
        return answer;
    }
    answer.code = query(&answer.type, buffer.data(), &size);
    answer.bytes = QByteArray(buffer.data(), int(size));
    return answer;
}

} // namespace

class TestGentlProducer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void callsOutsideTheLibrary();
    void infoAnswers_data();
    void infoAnswers();
    void listsAndStaleHandles();
    void descriptionsAndModuleNodeMaps();
    void readOnlyAndHeldCameras();
    void streamQueuesAndEvents();
    void resetLeavesAndComesBack();

private:
    IF_HANDLE _Interface(const char* id);
    DEV_HANDLE _Device(IF_HANDLE iface, const char* id, DEVICE_ACCESS_FLAGS access = DEVICE_ACCESS_EXCLUSIVE);
    QString _Xml(PORT_HANDLE port);
    // A feature's register address in a description.
    uint64_t _Address(const QString& xml, const QString& node);

    QTemporaryDir m_dir;
    void* m_library = nullptr;
    grb::gentl::GentlFunctions f;
    TL_HANDLE m_system = nullptr;
};

void TestGentlProducer::initTestCase()
{
    const QString description = m_dir.filePath("cameras.txt");
    QFile file(description);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) > 0);
    file.close();
    qputenv("PELLIX_GENTL_DESCRIPTION", QFile::encodeName(description));
    m_library = dlopen(PELLIX_GENTL_PRODUCER, RTLD_NOW | RTLD_LOCAL);
    QVERIFY2(m_library, dlerror());
    f.Resolve(m_library);
    QVERIFY(f.MissingForControl().empty() && f.MissingForStreams().empty());
}

void TestGentlProducer::init()
{
    QCOMPARE(f.GCInitLib(), GC_ERR_SUCCESS);
    QCOMPARE(f.TLOpen(&m_system), GC_ERR_SUCCESS);
}

void TestGentlProducer::cleanup()
{
    f.TLClose(m_system);
    f.GCCloseLib();
}

IF_HANDLE TestGentlProducer::_Interface(const char* id)
{
    bool8_t changed = 0;
    IF_HANDLE iface = nullptr;
    if (f.TLUpdateInterfaceList(m_system, &changed, 100) != GC_ERR_SUCCESS ||
        f.TLOpenInterface(m_system, id, &iface) != GC_ERR_SUCCESS ||
        f.IFUpdateDeviceList(iface, &changed, 100) != GC_ERR_SUCCESS)
        return nullptr;
    return iface;
}

DEV_HANDLE TestGentlProducer::_Device(IF_HANDLE iface, const char* id, DEVICE_ACCESS_FLAGS access)
{
    DEV_HANDLE device = nullptr;
    return iface && f.IFOpenDevice(iface, id, access, &device) == GC_ERR_SUCCESS ? device : nullptr;
}

QString TestGentlProducer::_Xml(PORT_HANDLE port)
{
    const Answer name = ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.GCGetPortURLInfo(port, 0, URL_INFO_FILENAME, t, b, s); });
    const Answer address = ask([&](INFO_DATATYPE* t, void* b, size_t* s) {
        return f.GCGetPortURLInfo(port, 0, URL_INFO_FILE_REGISTER_ADDRESS, t, b, s);
    });
    const Answer size = ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.GCGetPortURLInfo(port, 0, URL_INFO_FILE_SIZE, t, b, s); });
    std::vector<uint8_t> data(size.Number());
    size_t length = data.size();
    if (data.empty() || f.GCReadPort(port, address.Number(), data.data(), &length) != GC_ERR_SUCCESS)
        return QString();
    std::string xml;
    if (name.Text().endsWith(".zip"))
    {
        std::string error;
        if (!grb::gentl::ZipReader::Extract(data, xml, error))
            return QString::fromStdString(error);
    }
    else
        xml.assign(data.begin(), data.end());
    return QString::fromStdString(xml);
}

uint64_t TestGentlProducer::_Address(const QString& xml, const QString& node)
{
    const QRegularExpression pattern("Name=\"" + node + "\">\\s*<Address>0x([0-9a-f]+)</Address>");
    return pattern.match(xml).captured(1).toULongLong(nullptr, 16);
}

void TestGentlProducer::callsOutsideTheLibrary()
{
    QCOMPARE(f.GCInitLib(), GC_ERR_RESOURCE_IN_USE);
    TL_HANDLE second = nullptr;
    QCOMPARE(f.TLOpen(&second), GC_ERR_RESOURCE_IN_USE);
    uint32_t count = 0;
    int madeUp = 0;
    QCOMPARE(f.TLGetNumInterfaces(&madeUp, &count), GC_ERR_INVALID_HANDLE);
    QCOMPARE(f.GCReadPort(&madeUp, 0, &count, nullptr), GC_ERR_INVALID_HANDLE);
    QCOMPARE(f.TLGetNumInterfaces(m_system, nullptr), GC_ERR_INVALID_PARAMETER);
    // The producer's text of the last failure on this thread.
    GC_ERROR code = GC_ERR_SUCCESS;
    const Answer text = ask([&](INFO_DATATYPE*, void* b, size_t* s) { return f.GCGetLastError(&code, static_cast<char*>(b), s); });
    QCOMPARE(code, GC_ERR_INVALID_PARAMETER);
    QVERIFY(!text.Text().isEmpty());

    QCOMPARE(f.GCCloseLib(), GC_ERR_SUCCESS);
    QCOMPARE(f.TLGetNumInterfaces(m_system, &count), GC_ERR_NOT_INITIALIZED);
    QCOMPARE(f.TLOpen(&second), GC_ERR_NOT_INITIALIZED);
    // GCGetInfo needs no GCInitLib.
    QCOMPARE(ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.GCGetInfo(TL_INFO_VENDOR, t, b, s); }).Text(),
             QStringLiteral("Zorvan Technologies"));
    QCOMPARE(f.GCInitLib(), GC_ERR_SUCCESS);
    QCOMPARE(f.TLOpen(&m_system), GC_ERR_SUCCESS);
}

void TestGentlProducer::infoAnswers_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("value");

    QTest::newRow("GenTL major version") << "TL:9" << int(INFO_DATATYPE_UINT32) << "1";
    QTest::newRow("producer path") << "TL:6" << int(INFO_DATATYPE_STRING) << PELLIX_GENTL_PRODUCER;
    QTest::newRow("link's transport") << "IF:2" << int(INFO_DATATYPE_STRING) << "GEV";
    QTest::newRow("camera's model") << "DEV:2" << int(INFO_DATATYPE_STRING) << "qda640MXGE";
    QTest::newRow("camera's access") << "DEV:5" << int(INFO_DATATYPE_INT32) << "1";
    QTest::newRow("held camera's access") << "HELD:5" << int(INFO_DATATYPE_INT32) << "4";
    QTest::newRow("GigE Vision camera is big-endian") << "PORT:6" << int(INFO_DATATYPE_BOOL8) << "1";
    QTest::newRow("description's place") << "URL:9" << int(INFO_DATATYPE_INT32) << "0";
}

void TestGentlProducer::infoAnswers()
{
    QFETCH(QString, query);
    QFETCH(int, type);
    QFETCH(QString, value);
    const QString module = query.section(':', 0, 0);
    const int command = query.section(':', 1).toInt();
    IF_HANDLE iface = _Interface("link0");
    QVERIFY(iface);
    DEV_HANDLE device = module == "PORT" || module == "URL" ? _Device(iface, "PA") : nullptr;
    PORT_HANDLE port = nullptr;
    if (device)
        QCOMPARE(f.DevGetPort(device, &port), GC_ERR_SUCCESS);
    const Answer answer = ask([&](INFO_DATATYPE* t, void* b, size_t* s) -> GC_ERROR {
        if (module == "TL")
            return f.TLGetInfo(m_system, command, t, b, s);
        if (module == "IF")
            return f.IFGetInfo(iface, command, t, b, s);
        if (module == "DEV" || module == "HELD")
            return f.IFGetDeviceInfo(iface, module == "DEV" ? "PA" : "PC", command, t, b, s);
        if (module == "PORT")
            return f.GCGetPortInfo(port, command, t, b, s);
        return f.GCGetPortURLInfo(port, 0, command, t, b, s);
    });
    QCOMPARE(answer.code, GC_ERR_SUCCESS);
    QCOMPARE(int(answer.type), type);
    QCOMPARE(type == INFO_DATATYPE_STRING ? answer.Text() : QString::number(answer.Number()), value);
}

void TestGentlProducer::listsAndStaleHandles()
{
    uint32_t count = 9;
    bool8_t changed = 0;
    // Nothing is listed before the first update; the second changes nothing.
    QCOMPARE(f.TLGetNumInterfaces(m_system, &count), GC_ERR_SUCCESS);
    QCOMPARE(count, 0u);
    QCOMPARE(f.TLUpdateInterfaceList(m_system, &changed, 100), GC_ERR_SUCCESS);
    QCOMPARE(int(changed), 1);
    QCOMPARE(f.TLUpdateInterfaceList(m_system, &changed, 100), GC_ERR_SUCCESS);
    QCOMPARE(int(changed), 0);
    QCOMPARE(f.TLGetNumInterfaces(m_system, &count), GC_ERR_SUCCESS);
    QCOMPARE(count, 2u);
    const Answer second = ask([&](INFO_DATATYPE*, void* b, size_t* s) { return f.TLGetInterfaceID(m_system, 1, static_cast<char*>(b), s); });
    QCOMPARE(second.Text(), QStringLiteral("link1"));

    IF_HANDLE iface = _Interface("link0");
    QVERIFY(iface);
    QCOMPARE(f.IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    QCOMPARE(count, 2u);
    DEV_HANDLE device = _Device(iface, "PA");
    QVERIFY(device);
    DEV_HANDLE again = nullptr;
    QCOMPARE(f.IFOpenDevice(iface, "PA", DEVICE_ACCESS_EXCLUSIVE, &again), GC_ERR_RESOURCE_IN_USE);
    QCOMPARE(f.IFOpenDevice(iface, "PB", DEVICE_ACCESS_EXCLUSIVE, &again), GC_ERR_INVALID_ID);
    // Closing the link closes what was opened through it.
    QCOMPARE(f.IFClose(iface), GC_ERR_SUCCESS);
    QCOMPARE(f.IFGetNumDevices(iface, &count), GC_ERR_INVALID_HANDLE);
    PORT_HANDLE port = nullptr;
    QCOMPARE(f.DevGetPort(device, &port), GC_ERR_INVALID_HANDLE);
    QVERIFY(_Device(_Interface("link0"), "PA"));
}

void TestGentlProducer::descriptionsAndModuleNodeMaps()
{
    DEV_HANDLE device = _Device(_Interface("link0"), "PA");
    PORT_HANDLE remote = nullptr;
    QCOMPARE(f.DevGetPort(device, &remote), GC_ERR_SUCCESS);
    const QString camera = _Xml(remote);
    QVERIFY2(camera.contains("<RegisterDescription") && camera.contains("Name=\"FileAccessBuffer\""), qPrintable(camera.left(200)));

    // The system module's own features, through its handle as a port.
    const QString system = _Xml(m_system);
    const uint64_t vendor = _Address(system, "TLVendorName");
    QVERIFY2(system.contains("Name=\"InterfaceUpdateList\""), qPrintable(system.left(200)));
    char text[256] = {};
    size_t size = sizeof text;
    QCOMPARE(f.GCReadPort(m_system, vendor, text, &size), GC_ERR_SUCCESS);
    QCOMPARE(QString(text), QStringLiteral("Zorvan Technologies"));
    size = 8;
    QCOMPARE(f.GCWritePort(m_system, vendor, text, &size), GC_ERR_ACCESS_DENIED);
}

void TestGentlProducer::readOnlyAndHeldCameras()
{
    IF_HANDLE iface = _Interface("link0");
    DEV_HANDLE held = nullptr;
    QCOMPARE(f.IFOpenDevice(iface, "PC", DEVICE_ACCESS_EXCLUSIVE, &held), GC_ERR_ACCESS_DENIED);
    held = _Device(iface, "PC", DEVICE_ACCESS_READONLY);
    QVERIFY(held);
    PORT_HANDLE port = nullptr;
    QCOMPARE(f.DevGetPort(held, &port), GC_ERR_SUCCESS);
    uint8_t word[4] = {};
    size_t size = sizeof word;
    QCOMPARE(f.GCReadPort(port, 0, word, &size), GC_ERR_SUCCESS);
    QCOMPARE(f.GCWritePort(port, 0x1400, word, &size), GC_ERR_ACCESS_DENIED);
    const Answer access = ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.DevGetInfo(held, DEVICE_INFO_ACCESS_STATUS, t, b, s); });
    QCOMPARE(access.Number(), uint64_t(DEVICE_ACCESS_STATUS_OPEN_READONLY));
}

void TestGentlProducer::streamQueuesAndEvents()
{
    DEV_HANDLE device = _Device(_Interface("link0"), "PA");
    DS_HANDLE stream = nullptr;
    const Answer id = ask([&](INFO_DATATYPE*, void* b, size_t* s) { return f.DevGetDataStreamID(device, 0, static_cast<char*>(b), s); });
    QCOMPARE(f.DevOpenDataStream(device, id.bytes.constData(), &stream), GC_ERR_SUCCESS);
    const uint64_t payload =
        ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.DSGetInfo(stream, STREAM_INFO_PAYLOAD_SIZE, t, b, s); }).Number();
    QCOMPARE(payload, uint64_t(1024 * 768));

    BUFFER_HANDLE buffers[2] = {};
    std::vector<uint8_t> own(payload);
    int marker = 7;
    QCOMPARE(f.DSAllocAndAnnounceBuffer(stream, payload, nullptr, &buffers[0]), GC_ERR_SUCCESS);
    QCOMPARE(f.DSAnnounceBuffer(stream, own.data(), own.size(), &marker, &buffers[1]), GC_ERR_SUCCESS);
    for (BUFFER_HANDLE buffer : buffers)
        QCOMPARE(f.DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS);
    QCOMPARE(f.DSQueueBuffer(stream, buffers[0]), GC_ERR_RESOURCE_IN_USE);
    QCOMPARE(f.DSRevokeBuffer(stream, buffers[0], nullptr, nullptr), GC_ERR_BUSY);

    EVENT_HANDLE event = nullptr;
    QCOMPARE(f.GCRegisterEvent(stream, EVENT_NEW_BUFFER, &event), GC_ERR_SUCCESS);
    EVENT_NEW_BUFFER_DATA data{};
    size_t size = sizeof data;
    QCOMPARE(f.EventGetData(event, &data, &size, 50), GC_ERR_TIMEOUT);
    QCOMPARE(f.EventKill(event), GC_ERR_SUCCESS);
    QCOMPARE(f.EventGetData(event, &data, &size, 5000), GC_ERR_ABORT);

    // Two frames at the camera's frame rate, one into each buffer, in the queue's order.
    PORT_HANDLE remote = nullptr;
    QCOMPARE(f.DevGetPort(device, &remote), GC_ERR_SUCCESS);
    QCOMPARE(f.DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, 2), GC_ERR_SUCCESS);
    QCOMPARE(f.DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, 2), GC_ERR_RESOURCE_IN_USE);
    const uint8_t start[4] = {0, 0, 0, 1};
    size = sizeof start;
    QCOMPARE(f.GCWritePort(remote, _Address(_Xml(remote), "AcquisitionStartReg"), start, &size), GC_ERR_SUCCESS);
    for (BUFFER_HANDLE expected : buffers)
    {
        size = sizeof data;
        QCOMPARE(f.EventGetData(event, &data, &size, 5000), GC_ERR_SUCCESS);
        QCOMPARE(data.BufferHandle, expected);
        QCOMPARE(data.pUserPointer, expected == buffers[1] ? static_cast<void*>(&marker) : nullptr);
        QCOMPARE(ask([&](INFO_DATATYPE* t, void* b, size_t* s) { return f.DSGetBufferInfo(stream, expected, BUFFER_INFO_SIZE_FILLED, t, b, s); })
                     .Number(),
                 payload);
    }
    QCOMPARE(own[1] - own[0], 1); // the test pattern, in the consumer's own memory
    QCOMPARE(f.DSStopAcquisition(stream, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_SUCCESS);
    QCOMPARE(f.DSFlushQueue(stream, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
    void* base = nullptr;
    void* user = nullptr;
    QCOMPARE(f.DSRevokeBuffer(stream, buffers[1], &base, &user), GC_ERR_SUCCESS);
    QCOMPARE(base, static_cast<void*>(own.data()));
    QCOMPARE(user, static_cast<void*>(&marker));
    QCOMPARE(f.DSClose(stream), GC_ERR_SUCCESS);
    QCOMPARE(f.EventGetData(event, &data, &size, 0), GC_ERR_INVALID_HANDLE);
}

void TestGentlProducer::resetLeavesAndComesBack()
{
    IF_HANDLE iface = _Interface("link0");
    DEV_HANDLE device = _Device(iface, "PA");
    PORT_HANDLE remote = nullptr;
    QCOMPARE(f.DevGetPort(device, &remote), GC_ERR_SUCCESS);
    const uint8_t reset[4] = {0, 0, 0, 1};
    size_t size = sizeof reset;
    QCOMPARE(f.GCWritePort(remote, _Address(_Xml(remote), "DeviceResetReg"), reset, &size), GC_ERR_SUCCESS);
    // The open device is gone for good; the list loses the camera, then has it again.
    uint8_t word[4] = {};
    size = sizeof word;
    QCOMPARE(f.GCReadPort(remote, 0, word, &size), GC_ERR_IO);
    bool8_t changed = 0;
    uint32_t count = 0;
    QCOMPARE(f.IFUpdateDeviceList(iface, &changed, 100), GC_ERR_SUCCESS);
    QCOMPARE(f.IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    QCOMPARE(QList<int>({changed, int(count)}), QList<int>({1, 1}));
    QTRY_VERIFY((f.IFUpdateDeviceList(iface, &changed, 100), f.IFGetNumDevices(iface, &count), count == 2));
    QCOMPARE(f.DevClose(device), GC_ERR_SUCCESS);
    QVERIFY(_Device(iface, "PA"));
    QCOMPARE(f.GCReadPort(remote, 0, word, &size), GC_ERR_INVALID_HANDLE);
}

QTEST_GUILESS_MAIN(TestGentlProducer)

#include "tst_gentl_producer.moc"
