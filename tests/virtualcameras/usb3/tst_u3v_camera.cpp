// The virtual USB3 Vision camera message by message, without a bus: malformed and
// hostile commands, what the bootstrap registers and the manifest show, commands that
// ask for no acknowledge or come again, slow operations announced by pending
// acknowledges, and how SIRM lays a frame out on the stream endpoint.
#include "U3vProtocol.h"
#include "U3vStreamChannel.h"
#include "VirtualUsbCamera.h"

#include <ByteOrder.h>

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace u3v = vcam::u3v;
using Clock = vcam::UsbFunction::Clock;
using Settings = vcam::U3vAddressSpace::StreamSettings;

namespace {

const char* const kDescription = R"(
camera id=VU model=Virtual serial=VU1 transport=usb3
feature name=Width type=int value=64 min=16 max=4096 inc=16
feature name=Height type=int value=4 min=2 max=3072 inc=2
)";

constexpr uint8_t kControlOut = 0x01;
constexpr uint8_t kControlIn = 0x81;
constexpr uint8_t kStreamIn = 0x83;
constexpr uint64_t kSirm = vcam::U3vAddressSpace::kSirmAddress;

// size: at most 8 bytes.
QByteArray le(uint64_t v, int size)
{
    QByteArray b(size, '\0');
    vcam::PutUint(reinterpret_cast<uint8_t*>(b.data()), v, size_t(size), vcam::ByteOrder::Little);
    return b;
}

uint64_t number(const QByteArray& b, int at, int size)
{
    return vcam::GetUint(reinterpret_cast<const uint8_t*>(b.constData()) + at, size_t(size), vcam::ByteOrder::Little);
}

QByteArray command(uint16_t code, const QByteArray& payload, uint16_t id, uint16_t flags = u3v::kFlagAckWanted,
                   int length = -1)
{
    return le(u3v::kPrefix, 4) + le(flags, 2) + le(code, 2) + le(length < 0 ? payload.size() : length, 2) + le(id, 2) +
           payload;
}

QByteArray readMemory(uint64_t address, uint16_t count, uint16_t id = 1)
{
    return command(u3v::kReadMemory, le(address, 8) + le(0, 2) + le(count, 2), id);
}

QByteArray writeMemory(uint64_t address, const QByteArray& data, uint16_t id = 1, uint16_t flags = u3v::kFlagAckWanted)
{
    return command(u3v::kWriteMemory, le(address, 8) + data, id, flags);
}

struct Ack
{
    uint16_t status = 0;
    uint16_t code = 0;
    uint16_t id = 0;
    QByteArray payload;
};

} // namespace

class TestU3vCamera : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void refusals_data();
    void refusals();
    void bootstrapAndManifest();
    void unacknowledgedAndRepeatedCommands();
    void slowOperationsAreAnnounced();
    void streamLayout_data();
    void streamLayout();
    void framesOnTheStreamEndpoint();

private:
    // The acknowledges due by now, in order.
    QList<Ack> _Send(const QByteArray& message);
    QList<Ack> _Due();
    uint64_t _Register(const char* feature);
    void _Write(uint64_t address, const QByteArray& data);

    QTemporaryDir m_dir;
    std::unique_ptr<vcam::VirtualUsbCamera> m_camera;
    Clock::time_point m_now = Clock::now();
};

void TestU3vCamera::init()
{
    QFile file(m_dir.filePath(QStringLiteral("cameras.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) > 0);
    file.close();
    vcam::VirtualCameraOptions options;
    vcam::ServedCamera served;
    std::string error;
    QVERIFY(vcam::VirtualCameraOptions::Parse({"--serial", "VU1", "--description", file.fileName().toStdString(),
                                               "--command-delay", "UserSetLoad=2500"},
                                              options, error));
    QVERIFY2(vcam::ServedCamera::Load(options, served, error), error.c_str());
    m_camera = vcam::VirtualUsbCamera::Create(std::move(served), error);
    QVERIFY2(m_camera, error.c_str());
}

QList<Ack> TestU3vCamera::_Due()
{
    QList<Ack> acks;
    std::vector<uint8_t> bytes;
    while (m_camera->Camera().Send(kControlIn, 65536, m_now, bytes) == vcam::UsbFunction::Sent::Data)
    {
        const QByteArray b(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
        if (b.size() < 12 || number(b, 0, 4) != u3v::kPrefix || int(number(b, 8, 2)) != b.size() - 12)
            qFatal("malformed acknowledge");
        acks << Ack{uint16_t(number(b, 4, 2)), uint16_t(number(b, 6, 2)), uint16_t(number(b, 10, 2)), b.mid(12)};
    }
    return acks;
}

QList<Ack> TestU3vCamera::_Send(const QByteArray& message)
{
    if (!m_camera->Camera().Receive(kControlOut, reinterpret_cast<const uint8_t*>(message.constData()),
                                    size_t(message.size()), m_now))
        qFatal("the control endpoint stalled");
    return _Due();
}

uint64_t TestU3vCamera::_Register(const char* feature)
{
    const vcam::RegisterMap::Register* r = m_camera->Camera().AddressSpace().Device().Map().Find(feature);
    if (!r)
        qFatal("no register for %s", feature);
    return r->address;
}

void TestU3vCamera::_Write(uint64_t address, const QByteArray& data)
{
    const QList<Ack> acks = _Send(writeMemory(address, data));
    if (acks.size() != 1 || acks[0].status != 0)
        qFatal("0x%llx not written", static_cast<unsigned long long>(address));
}

void TestU3vCamera::refusals_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<int>("status"); // -1: no answer at all

    QTest::newRow("shorter than a header") << readMemory(0, 4).left(10) << -1;
    QTest::newRow("foreign prefix") << "X" + readMemory(0, 4).mid(1) << -1;
    QTest::newRow("length beyond the message") << command(u3v::kReadMemory, QByteArray(12, 0), 1, u3v::kFlagAckWanted, 13)
                                               << int(u3v::kStatusInvalidHeader);
    QTest::newRow("longer than the largest command")
        << writeMemory(0x1400, QByteArray(65535 - 8, 'x')) << int(u3v::kStatusInvalidHeader);
    QTest::newRow("read of nothing") << readMemory(0, 0) << 0x8002;
    QTest::newRow("read beyond the largest acknowledge") << readMemory(0x80000, 65525) << 0x8002;
    QTest::newRow("read with a short address") << command(u3v::kReadMemory, QByteArray(10, 0), 1) << 0x8002;
    QTest::newRow("read where nothing is") << readMemory(0xFFFFFFFF00ull, 4) << 0x8003;
    QTest::newRow("write without data") << command(u3v::kWriteMemory, le(0x1400, 8), 1) << 0x8002;
    QTest::newRow("write to a read-only bootstrap register") << writeMemory(u3v::kSerialNumber, "VU2") << 0x8004;
    QTest::newRow("part of a number") << writeMemory(u3v::kHeartbeatTimeout, le(1000, 2)) << 0x8002;
    QTest::newRow("stream started without room for leader and trailer")
        << writeMemory(kSirm + u3v::kSiControl, le(1, 4)) << 0x8002;
    QTest::newRow("unknown command") << command(0x0804, {}, 1) << 0x8001;
}

void TestU3vCamera::refusals()
{
    QFETCH(QByteArray, message);
    QFETCH(int, status);
    const QList<Ack> acks = _Send(message);
    QCOMPARE(acks.size(), status < 0 ? 0 : 1);
    if (status < 0)
        return;
    QCOMPARE(int(acks[0].status), status);
    QCOMPARE(acks[0].code, uint16_t(number(message, 6, 2) + 1));
    QCOMPARE(acks[0].id, uint16_t(number(message, 10, 2)));
    // A refused write changes nothing, a refused read sends nothing.
    if (number(message, 6, 2) == u3v::kReadMemory)
        QVERIFY(acks[0].payload.isEmpty());
    QCOMPARE(number(_Send(readMemory(kSirm + u3v::kSiControl, 4))[0].payload, 0, 4), 0u);
    QCOMPARE(_Send(readMemory(u3v::kSerialNumber, 4))[0].payload, QByteArray("VU1\0", 4));
}

void TestU3vCamera::bootstrapAndManifest()
{
    QCOMPARE(_Send(readMemory(u3v::kManufacturerName, 20))[0].payload, QByteArray("Zorvan Technologies\0", 20));
    const uint64_t sbrm = number(_Send(readMemory(u3v::kSbrmAddress, 8))[0].payload, 0, 8);
    QCOMPARE(number(_Send(readMemory(sbrm + u3v::kMaxCommandTransfer, 4))[0].payload, 0, 4),
             uint64_t(vcam::U3vAddressSpace::kMaxCommandTransfer));
    QCOMPARE(number(_Send(readMemory(sbrm + u3v::kMaxAckTransfer, 4))[0].payload, 0, 4),
             uint64_t(vcam::U3vAddressSpace::kMaxAckTransfer));
    const uint64_t sirm = number(_Send(readMemory(sbrm + u3v::kSirmAddress, 8))[0].payload, 0, 8);
    QCOMPARE(number(_Send(readMemory(sirm + u3v::kSiRequiredPayloadSize, 8))[0].payload, 0, 8), uint64_t(64 * 4));

    // The manifest's one entry points at the GenICam file, as plain XML.
    const uint64_t manifest = number(_Send(readMemory(u3v::kManifestTableAddress, 8))[0].payload, 0, 8);
    QCOMPARE(number(_Send(readMemory(manifest, 8))[0].payload, 0, 8), 1u);
    const QByteArray entry = _Send(readMemory(manifest + 8, u3v::kManifestEntrySize))[0].payload;
    QCOMPARE((number(entry, 4, 4) >> 10) & 0x3F, 0u);
    const std::string& xml = m_camera->Camera().AddressSpace().Device().Xml();
    QCOMPARE(number(entry, 16, 8), uint64_t(xml.size()));
    QCOMPARE(_Send(readMemory(number(entry, 8, 8), 200))[0].payload, QByteArray(xml.data(), 200));

    // The user-defined name is the model's DeviceUserID, written through the register.
    _Write(u3v::kUserDefinedName, QByteArray("bench 2\0", 8));
    QCOMPARE(m_camera->Camera().AddressSpace().Text(7), std::string("bench 2"));
}

void TestU3vCamera::unacknowledgedAndRepeatedCommands()
{
    // Carried out, but not answered.
    QVERIFY(_Send(writeMemory(u3v::kUserDefinedName, QByteArray("quiet\0", 6), 7, 0)).isEmpty());
    QCOMPARE(m_camera->Camera().AddressSpace().Text(7), std::string("quiet"));

    const QList<Ack> first = _Send(writeMemory(u3v::kUserDefinedName, QByteArray("first\0", 6), 8));
    QCOMPARE(first.size(), 1);
    // The same request sent again is answered again, and not carried out twice.
    const QList<Ack> again = _Send(
        writeMemory(u3v::kUserDefinedName, QByteArray("other\0", 6), 8, u3v::kFlagAckWanted | u3v::kFlagResend));
    QCOMPARE(again.size(), 1);
    QCOMPARE(again[0].payload, first[0].payload);
    QCOMPARE(m_camera->Camera().AddressSpace().Text(7), std::string("first"));
}

void TestU3vCamera::slowOperationsAreAnnounced()
{
    const Clock::time_point start = m_now;
    QList<Ack> acks = _Send(writeMemory(_Register("UserSetLoad"), le(1, 4), 21));
    QCOMPARE(acks.size(), 1);
    QCOMPARE(acks[0].code, u3v::kPendingAck);
    QCOMPARE(acks[0].id, uint16_t(21));
    QVERIFY(number(acks[0].payload, 2, 2) >= 2500);
    m_now = start + std::chrono::milliseconds(1000);
    acks = _Due();
    QCOMPARE(acks.size(), 1);
    QCOMPARE(acks[0].code, u3v::kPendingAck);
    m_now = start + std::chrono::milliseconds(2499);
    QCOMPARE(_Due().size(), 1); // the one of the third second
    m_now = start + std::chrono::milliseconds(2500);
    acks = _Due();
    QCOMPARE(acks.size(), 1);
    QCOMPARE(acks[0].code, u3v::kWriteMemoryAck);
    QCOMPARE(acks[0].status, uint16_t(0));
    QCOMPARE(number(acks[0].payload, 2, 2), 4u);
}

void TestU3vCamera::streamLayout_data()
{
    QTest::addColumn<QList<uint>>("transfers"); // payload size and count, transfer 1, transfer 2
    QTest::addColumn<int>("frameBytes");
    QTest::addColumn<QList<int>>("blocks");
    QTest::addColumn<int>("status");

    QTest::newRow("one transfer") << QList<uint>{1000, 1, 0, 0} << 1000 << QList<int>{52, 1000, 32} << 0;
    QTest::newRow("payload transfers and the rest")
        << QList<uint>{400, 2, 300, 0} << 1000 << QList<int>{52, 400, 400, 200, 32} << 0;
    QTest::newRow("the rest over both final transfers")
        << QList<uint>{400, 1, 300, 300} << 1000 << QList<int>{52, 400, 300, 300, 32} << 0;
    QTest::newRow("no room for all of it")
        << QList<uint>{400, 1, 100, 0} << 1000 << QList<int>{52, 400, 100, 32} << int(u3v::kStatusDataOverrun);
}

void TestU3vCamera::streamLayout()
{
    QFETCH(QList<uint>, transfers);
    QFETCH(int, frameBytes);
    QFETCH(QList<int>, blocks);
    QFETCH(int, status);
    Settings settings;
    settings.payloadSize = transfers[0];
    settings.payloadCount = transfers[1];
    settings.transfer1 = transfers[2];
    settings.transfer2 = transfers[3];
    grb::sim::SimFrame frame;
    frame.id = 5;
    frame.data.assign(size_t(frameBytes), 7);
    const auto laid = vcam::U3vStreamChannel::Blocks(frame, settings);
    QList<int> sizes;
    for (const auto& block : laid)
        sizes << int(block.size());
    QCOMPARE(sizes, blocks);
    const QByteArray trailer(reinterpret_cast<const char*>(laid.back().data()), int(laid.back().size()));
    QCOMPARE(number(trailer, 0, 4), uint64_t(u3v::kTrailerPrefix));
    QCOMPARE(number(trailer, 8, 8), 5u);
    QCOMPARE(int(number(trailer, 16, 2)), status);
    int sent = 0;
    for (int i = 1; i + 1 < sizes.size(); ++i)
        sent += sizes[i];
    QCOMPARE(int(number(trailer, 20, 8)), sent);
}

void TestU3vCamera::framesOnTheStreamEndpoint()
{
    for (const auto& [field, value] : {std::pair<uint64_t, uint32_t>{u3v::kSiMaxLeaderSize, u3v::kLeaderSize},
                                        {u3v::kSiMaxTrailerSize, u3v::kTrailerSize},
                                        {u3v::kSiPayloadTransferSize, 100},
                                        {u3v::kSiPayloadTransferCount, 2},
                                        {u3v::kSiTransfer1Size, 56},
                                        {u3v::kSiControl, u3v::kSiControlEnable}})
        _Write(kSirm + field, le(value, 4));
    // Settings hold still while the stream runs.
    QCOMPARE(_Send(writeMemory(kSirm + u3v::kSiTransfer1Size, le(60, 4)))[0].status, uint16_t(0x8006));
    _Write(_Register("AcquisitionMode"), le(1, 8)); // SingleFrame
    _Write(_Register("AcquisitionStart"), le(1, 4));

    QList<QByteArray> blocks;
    std::vector<uint8_t> bytes;
    while (m_camera->Camera().Send(kStreamIn, 1 << 20, m_now, bytes) == vcam::UsbFunction::Sent::Data)
        blocks << QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
    QCOMPARE(blocks.size(), 5);
    QCOMPARE(number(blocks[0], 0, 4), uint64_t(u3v::kLeaderPrefix));
    QCOMPARE(number(blocks[0], 8, 8), 1u); // the first frame since the camera came up
    QCOMPARE(number(blocks[0], 32, 4), 64u);
    QCOMPARE(number(blocks[0], 36, 4), 4u);
    QCOMPARE(blocks[1].size() + blocks[2].size() + blocks[3].size(), 256);
    QCOMPARE(number(blocks[4], 20, 8), 256u);

    // A single frame, and nothing after it; the host's reset of the endpoint drops what waits.
    m_now += std::chrono::seconds(1);
    QCOMPARE(m_camera->Camera().Send(kStreamIn, 1 << 20, m_now, bytes), vcam::UsbFunction::Sent::Nothing);
    _Write(kSirm + u3v::kSiControl, le(0, 4));
    QCOMPARE(m_camera->Camera().Send(kStreamIn, 1 << 20, m_now, bytes), vcam::UsbFunction::Sent::Nothing);
}

QTEST_GUILESS_MAIN(TestU3vCamera)

#include "tst_u3v_camera.moc"
