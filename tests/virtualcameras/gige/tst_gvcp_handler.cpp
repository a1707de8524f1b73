// The virtual camera's control protocol message by message, without a network:
// malformed and hostile messages, what the registers show and refuse, control
// privilege and heartbeat, slow operations, retransmissions, resets. File operations
// and the GenICam file over GigE Vision are the contract suite's.
#include <gvcp/GvcpProtocol.h>
#include "VirtualCamera.h"

#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

#include <memory>

using vcam::GvcpHandler;
using vcam::GvcpPeer;
namespace gvcp = grb::gvcp;

namespace {

const char* const kDescription = R"(
camera id=VC model=Virtual serial=VC1 transport=gige buffer=4096 reset-delay=100
file selector=Userfile name=hello.txt text="Hello, world\n"
camera id=HELD model=Virtual serial=VC2 transport=gige held=yes
camera id=USB model=Virtual serial=VC3 transport=usb3
)";

const GvcpPeer kA{0x7F000001, 40000};
const GvcpPeer kB{0x7F000001, 40001};
constexpr int kDrop = -1;

QByteArray be32(uint32_t v)
{
    QByteArray b(4, '\0');
    gvcp::Put32(reinterpret_cast<uint8_t*>(b.data()), v);
    return b;
}

QByteArray be64(uint64_t v)
{
    return be32(static_cast<uint32_t>(v >> 32)) + be32(static_cast<uint32_t>(v));
}

// Each message its own request id unless one is given, as clients number them.
QByteArray message(uint16_t command, const QByteArray& payload, int id = -1, int length = -1)
{
    static uint16_t nextId = 0;
    if (id < 0)
        id = ++nextId == 0 ? ++nextId : nextId;
    QByteArray m(8, '\0');
    m[0] = char(gvcp::kCommandKey);
    m[1] = char(gvcp::kFlagAckWanted);
    auto* p = reinterpret_cast<uint8_t*>(m.data());
    gvcp::Put16(p + 2, command);
    gvcp::Put16(p + 4, static_cast<uint16_t>(length < 0 ? payload.size() : length));
    gvcp::Put16(p + 6, static_cast<uint16_t>(id));
    return m + payload;
}

QByteArray readMemory(uint32_t address, uint16_t count, int id = -1)
{
    return message(gvcp::kReadMemory, be32(address) + be32(count), id);
}

QByteArray writeMemory(uint32_t address, const QByteArray& data, int id = -1)
{
    return message(gvcp::kWriteMemory, be32(address) + data, id);
}

QByteArray writeRegister(uint32_t address, uint32_t value, int id = -1)
{
    return message(gvcp::kWriteRegister, be32(address) + be32(value), id);
}

struct Ack
{
    int status = kDrop;
    uint16_t ack = 0;
    uint16_t id = 0;
    QByteArray payload;
};

} // namespace

class TestGvcpHandler : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QString error;
        m_camera = _Create(QStringLiteral("VC1"), error);
        QVERIFY2(m_camera, qPrintable(error));
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, gvcp::kPrivilegeControl)).status, 0);
    }

    void malformedMessages_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<bool>("fromOutside");
        QTest::addColumn<int>("status");
        const uint32_t xml = vcam::RegisterMap::kXmlAddress;
        QTest::newRow("shorter than a header") << readMemory(0, 4).left(7) << false << kDrop;
        QTest::newRow("an acknowledge") << QByteArray(8, '\0') << false << kDrop;
        QTest::newRow("from outside loopback") << readMemory(0, 4) << true << kDrop;
        QTest::newRow("length past the end") << message(gvcp::kReadMemory, be32(0), -1, 8) << false
                                             << int(gvcp::kStatusInvalidHeader);
        QTest::newRow("largest length field") << message(gvcp::kReadRegister, be32(0), -1, 0xFFFF) << false
                                              << int(gvcp::kStatusInvalidHeader);
        QTest::newRow("request id zero") << readMemory(0, 4, 0) << false << int(gvcp::kStatusInvalidHeader);
        QTest::newRow("unknown command") << message(0x00FE, {}) << false << int(gvcp::kStatusNotImplemented);
        QTest::newRow("no registers") << message(gvcp::kReadRegister, {}) << false
                                      << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("part of an address") << message(gvcp::kReadRegister, be32(0).left(2)) << false
                                            << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("too many registers") << message(gvcp::kReadRegister, be32(0).repeated(136)) << false
                                            << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("too many register writes")
            << message(gvcp::kWriteRegister, (be32(0x1000) + be32(0)).repeated(68)) << false
            << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("misaligned register") << message(gvcp::kReadRegister, be32(0x0A02)) << false
                                             << int(gvcp::kStatusBadAlignment);
        QTest::newRow("register write without value") << message(gvcp::kWriteRegister, be32(0x0A00)) << false
                                                       << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("misaligned memory") << readMemory(2, 4) << false << int(gvcp::kStatusBadAlignment);
        QTest::newRow("memory read of nothing") << readMemory(0, 0) << false << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory read of part of a word") << readMemory(0, 6) << false
                                                       << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory read too large") << readMemory(0, 540) << false << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory read with extra fields") << message(gvcp::kReadMemory, be32(0) + be32(4) + be32(0))
                                                       << false << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory past the address space") << readMemory(0xFFFFFFFC, 8) << false
                                                       << int(gvcp::kStatusInvalidAddress);
        QTest::newRow("unmapped memory") << readMemory(0x00050000, 4) << false << int(gvcp::kStatusInvalidAddress);
        QTest::newRow("memory write without data") << message(gvcp::kWriteMemory, be32(0x1000)) << false
                                                   << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory write too large") << writeMemory(0x1000, QByteArray(540, 'x')) << false
                                                << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("memory write of part of a word") << writeMemory(0x1000, QByteArray(6, 'x')) << false
                                                        << int(gvcp::kStatusInvalidParameter);
        QTest::newRow("write to the description") << writeMemory(xml, QByteArray(4, 'x')) << false
                                                  << int(gvcp::kStatusWriteProtect);
        QTest::newRow("write to a bootstrap constant") << writeRegister(gvcp::kVersion, 7) << false
                                                       << int(gvcp::kStatusWriteProtect);
    }

    void malformedMessages()
    {
        QFETCH(QByteArray, message);
        QFETCH(bool, fromOutside);
        QFETCH(int, status);
        const Ack ack = _Send(message, fromOutside ? GvcpPeer{0x0A000001, 40000} : kA);
        QCOMPARE(ack.status, status);
        if (status == kDrop)
            return;
        QCOMPARE(ack.ack, uint16_t(gvcp::Get16(reinterpret_cast<const uint8_t*>(message.constData()) + 2) + 1));
        QCOMPARE(ack.id, gvcp::Get16(reinterpret_cast<const uint8_t*>(message.constData()) + 6));
        // Refused messages change nothing: the control channel still works as before.
        QCOMPARE(_Send(readMemory(gvcp::kControlChannelPrivilege, 4)).payload, be32(gvcp::kControlChannelPrivilege) +
                                                                                   be32(gvcp::kPrivilegeControl));
    }

    void registersShowTheModel()
    {
        Ack ack = _Send(readMemory(gvcp::kSerialNumber, 16));
        QCOMPARE(ack.status, 0);
        QCOMPARE(ack.payload.mid(4), QByteArray("VC1").leftJustified(16, '\0'));
        _SetText("DeviceUserID", "Sixteen chars ok");
        ack = _Send(message(gvcp::kDiscovery, {}));
        QCOMPARE(ack.payload.size(), int(gvcp::kDiscoveryAckSize));
        QCOMPARE(ack.payload.mid(gvcp::kUserDefinedName, 16), QByteArray("Sixteen chars ok")); // no room for a zero
        QCOMPARE(ack.payload.mid(gvcp::kModelName, 8), QByteArray("Virtual\0", 8));
        QCOMPARE(ack.payload.mid(gvcp::kCurrentAddress, 4), be32(0x7F000002));
        // The description and its URL are read by Aravis in the contract suite.

        ack = _Send(readMemory(_Address("Width"), 8));
        QCOMPARE(ack.payload.mid(4), be64(1024));
        _Set("Width", 640);
        QCOMPARE(_Send(readMemory(_Address("Width"), 8)).payload.mid(4), be64(640));
        ack = _Send(message(gvcp::kReadRegister, be32(gvcp::kVersion) + be32(gvcp::kHeartbeatTimeout)));
        QCOMPARE(ack.payload, be32(0x00010002) + be32(3000));

        const struct
        {
            const char* feature;
            QByteArray value;
            uint16_t status;
        } refused[] = {{"FileSize", be64(1), gvcp::kStatusWriteProtect},
                       {"Width", be64(17), gvcp::kStatusInvalidParameter},
                       {"FileOpenMode", be64(7), gvcp::kStatusInvalidParameter},
                       {"Width", be32(0), gvcp::kStatusInvalidParameter},
                       {"Filename", QByteArray("abcd"), gvcp::kStatusInvalidParameter}};
        for (const auto& r : refused)
            QCOMPARE(_Send(writeMemory(_Address(r.feature), r.value)).status, int(r.status));
    }

    // Root holds categories only; every feature is in one, standard features in the
    // category the naming convention gives them.
    void descriptionInStandardCategories()
    {
        QMap<QString, QString> categoryOf;
        QStringList categories;
        QXmlStreamReader xml(QByteArray::fromStdString(m_camera->AddressSpace().Xml()));
        QString category;
        while (!xml.atEnd())
        {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            if (xml.name() == QLatin1String("Category"))
                categories << (category = xml.attributes().value("Name").toString());
            else if (xml.name() == QLatin1String("pFeature"))
                categoryOf[xml.readElementText()] = category;
            else if (xml.name() != QLatin1String("RegisterDescription"))
                xml.skipCurrentElement();
        }
        QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
        for (const QString& c : categories.mid(1))
            QCOMPARE(categoryOf.value(c), QStringLiteral("Root"));
        for (const auto& r : m_camera->AddressSpace().Map().Registers())
            QVERIFY2(categories.contains(categoryOf.value(QString::fromStdString(r.feature))), r.feature.c_str());
        const QStringList expected{"DeviceFirmwareVersion=DeviceControl", "Width=ImageFormatControl",
                                   "TriggerSoftware=AcquisitionControl", "Gain=AnalogControl",
                                   "UserSetSave=UserSetControl", "FileAccessBuffer=FileAccessControl",
                                   "PayloadSize=TransportLayerControl"};
        for (const QString& e : expected)
            QCOMPARE(e.section('=', 0, 0) + '=' + categoryOf.value(e.section('=', 0, 0)), e);
    }

    // A frame leaves as leader, payload and trailer packets cut to the packet size; packets
    // asked for again come again, one of a block no longer kept is said to be gone; the
    // channel closes and the acquisition stops with the controller gone.
    void streamPacketsAndResends()
    {
        auto header = [](uint16_t status, uint16_t block, uint8_t format, uint32_t packet) {
            return be32(uint32_t(status) << 16 | block) + be32(uint32_t(format) << 24 | packet);
        };
        const QByteArray openChannel = message(gvcp::kWriteRegister, be32(gvcp::kStreamChannelDestination) +
                                                                         be32(0x7F000001) + be32(gvcp::kStreamChannelPort) +
                                                                         be32(5000));
        QCOMPARE(_Send(writeRegister(gvcp::kStreamChannelPacketSize, 1)).status, 0); // brought up to 576
        QCOMPARE(_Send(openChannel).status, 0);
        _Set("Width", 64);
        _Set("Height", 24);
        _Set("AcquisitionMode", 1); // SingleFrame
        QCOMPARE(_Send(writeRegister(_Address("AcquisitionStart"), 1)).status, 0);
        m_now = std::max(m_now, GvcpHandler::Clock::now()); // the acquisition keeps the real time
        m_camera->Handler().Tick(m_now);
        const QList<QByteArray> packets = _Streamed();
        QCOMPARE(packets.size(), 5); // 1536 bytes, 540 a packet
        QCOMPARE(packets[0].left(8), header(0, 1, 1, 0));
        QCOMPARE(packets[0].mid(8, 4), be32(1)); // an image
        QCOMPARE(packets[0].mid(20), be32(0x01080001) + be32(64) + be32(24) + be32(0) + be32(0) + be32(0));
        QByteArray image;
        for (int i = 1; i <= 3; ++i)
        {
            QCOMPARE(packets[i].left(8), header(0, 1, 3, uint32_t(i)));
            image += packets[i].mid(8);
        }
        QCOMPARE(image.size(), 64 * 24);
        for (int i = 0; i < image.size(); ++i)
            QCOMPARE(uint8_t(image[i]), uint8_t(image[0] + i / 64 + i % 64));
        QCOMPARE(packets[4], header(0, 1, 2, 4) + be32(1) + be32(24));

        QCOMPARE(_Send(message(gvcp::kPacketResend, be32(1) + be32(2) + be32(3))).status, kDrop);
        QCOMPARE(_Streamed(), packets.mid(2, 2));
        QCOMPARE(_Send(message(gvcp::kPacketResend, be32(7) + be32(1) + be32(1))).status, kDrop);
        QCOMPARE(_Streamed(), QList<QByteArray>{header(0x800C, 7, 3, 1)});
        QCOMPARE(_Send(writeRegister(gvcp::kStreamChannelPacketSize, 0x80000000u | 1000)).status, 0);
        QCOMPARE(_Streamed().value(0).size(), 1000 - 28); // a test packet fills the packet size

        _Set("AcquisitionMode", 0); // Continuous
        QCOMPARE(_Send(writeRegister(_Address("AcquisitionStart"), 1)).status, 0);
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, 0)).status, 0);
        m_camera->Handler().Tick(m_now);
        QCOMPARE(_Send(message(gvcp::kReadRegister, be32(gvcp::kStreamChannelPort))).payload, be32(0));
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, gvcp::kPrivilegeControl)).status, 0);
        QCOMPARE(_Send(openChannel).status, 0);
        m_camera->Handler().Tick(m_now + std::chrono::seconds(1));
        QCOMPARE(_Streamed().size(), 0);
    }

    void controlPrivilegeAndHeartbeat()
    {
        const QByteArray takeControl = writeRegister(gvcp::kControlChannelPrivilege, gvcp::kPrivilegeControl);
        QCOMPARE(_Send(readMemory(gvcp::kControlChannelPrivilege, 4), kB).payload.mid(4),
                 be32(gvcp::kPrivilegeControl));
        QCOMPARE(_Send(takeControl, kB).status, int(gvcp::kStatusAccessDenied));
        QCOMPARE(_Send(writeMemory(_Address("Width"), be64(640)), kB).status, int(gvcp::kStatusAccessDenied));
        QCOMPARE(_Send(writeMemory(0x1000, be32(1)), kB).status, int(gvcp::kStatusAccessDenied));

        // Any message keeps control alive; silence longer than the heartbeat time-out ends it.
        m_now += std::chrono::milliseconds(2500);
        QCOMPARE(_Send(readMemory(0, 4)).status, 0);
        m_now += std::chrono::milliseconds(2500);
        m_camera->Handler().Tick(m_now);
        QCOMPARE(_Send(takeControl, kB).status, int(gvcp::kStatusAccessDenied));
        m_now += std::chrono::milliseconds(3100);
        m_camera->Handler().Tick(m_now);
        QCOMPARE(_Send(readMemory(gvcp::kControlChannelPrivilege, 4), kB).payload.mid(4), be32(0));
        QCOMPARE(_Send(takeControl, kB).status, 0);
        QCOMPARE(_Send(writeMemory(_Address("Width"), be64(640)), kA).status, int(gvcp::kStatusAccessDenied));

        // Released by its holder, control is free again at once.
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, 0), kB).status, 0);
        QCOMPARE(_Send(takeControl, kA).status, 0);
    }

    void heldCameraRefusesControl()
    {
        QString error;
        m_camera = _Create(QStringLiteral("VC2"), error);
        QVERIFY2(m_camera, qPrintable(error));
        QCOMPARE(_Send(readMemory(gvcp::kControlChannelPrivilege, 4)).payload.mid(4), be32(gvcp::kPrivilegeControl));
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, gvcp::kPrivilegeControl)).status,
                 int(gvcp::kStatusAccessDenied));
    }

    void slowOperationsReportTheirDuration()
    {
        QVERIFY(m_camera->World()->SetCommandDelay("VC1", "UserSetLoad", 1500));
        GvcpHandler::Reply reply;
        QCOMPARE(_Send(writeRegister(_Address("UserSetLoad"), 1), kA, &reply).status, 0);
        QCOMPARE(reply.completionMs, 1500u);
        QCOMPARE(_Send(readMemory(_Address("UserSetLoad"), 4)).payload.mid(4), be32(1)); // still running
        // Waiting for the acknowledge does not cost the controller its control.
        m_camera->Handler().Tick(m_now + std::chrono::milliseconds(4000));
        QCOMPARE(_Send(writeRegister(gvcp::kControlChannelPrivilege, gvcp::kPrivilegeControl), kB).status,
                 int(gvcp::kStatusAccessDenied));

        const std::vector<uint8_t> pending = GvcpHandler::PendingAck(0x1234, 1700);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(pending.data()), int(pending.size())),
                 QByteArray("\0\0\0\x89\0\x04\x12\x34\0\0\x06\xa4", 12));
    }

    void repeatedMessageIsNotCarriedOutTwice()
    {
        _Set("FileSelector", 0);
        _SetText("Filename", "hello.txt");
        _Set("FileOpenMode", 0);
        _Set("FileOperationSelector", 0); // Open: a second one would fail
        const QByteArray open = writeRegister(_Address("FileOperationExecute"), 1, 77);
        const Ack first = _Send(open);
        QCOMPARE(first.status, 0);
        const Ack again = _Send(open);
        QCOMPARE(again.status, 0);
        QCOMPARE(again.id, uint16_t(77));
        // Another command under the same id is a new message.
        QCOMPARE(_Send(readMemory(gvcp::kVersion, 4, 77)).ack, uint16_t(gvcp::kReadMemory + 1));
        QCOMPARE(_Send(writeRegister(_Address("FileOperationExecute"), 1, 78)).status, int(gvcp::kStatusError));
    }

    void resetTakesTheCameraOffTheNetwork()
    {
        QCOMPARE(_Send(writeRegister(_Address("DeviceReset"), 1)).status, 0);
        QCOMPARE(_Send(readMemory(0, 4)).status, kDrop);
        QCOMPARE(_Send(message(gvcp::kDiscovery, {})).status, kDrop);
        // Back after the reset delay, with nobody in control.
        QTRY_VERIFY_WITH_TIMEOUT(_Send(message(gvcp::kDiscovery, {})).status == 0, 5000);
        QCOMPARE(_Send(readMemory(gvcp::kControlChannelPrivilege, 4), kB).payload.mid(4), be32(0));
        QCOMPARE(_Send(writeMemory(_Address("Width"), be64(640))).status, int(gvcp::kStatusAccessDenied));
    }

    void onlyGigEVisionCamerasAreServed()
    {
        QString error;
        QVERIFY(!_Create(QStringLiteral("VC3"), error));
        QCOMPARE(error, QStringLiteral("camera VC3 is not a GigE Vision camera"));
        QVERIFY(!_Create(QStringLiteral("NOPE"), error));
        QVERIFY(error.startsWith(QStringLiteral("no camera NOPE in ")));
    }

private:
    std::unique_ptr<vcam::VirtualCamera> _Create(const QString& serial, QString& error);
    Ack _Send(const QByteArray& m, const GvcpPeer& from = kA, GvcpHandler::Reply* reply = nullptr);
    QList<QByteArray> _Streamed();
    uint32_t _Address(const char* feature);
    void _Set(const char* feature, uint64_t value);
    void _SetText(const char* feature, const QByteArray& text);

    QTemporaryDir m_dir;
    std::unique_ptr<vcam::VirtualCamera> m_camera;
    GvcpHandler::Clock::time_point m_now = GvcpHandler::Clock::now();
};

std::unique_ptr<vcam::VirtualCamera> TestGvcpHandler::_Create(const QString& serial, QString& error)
{
    QFile file(m_dir.filePath(QStringLiteral("cameras.txt")));
    if (!file.exists() && (!file.open(QIODevice::WriteOnly) || file.write(kDescription) < 0))
        return nullptr;
    file.close();
    vcam::VirtualCameraOptions options;
    const std::vector<std::string> arguments{"--address", "127.0.0.2", "--serial", serial.toStdString(),
                                             "--description", file.fileName().toStdString()};
    std::string problem;
    std::unique_ptr<vcam::VirtualCamera> camera;
    if (vcam::VirtualCameraOptions::Parse(arguments, options, problem))
        camera = vcam::VirtualCamera::Create(options, problem);
    error = QString::fromStdString(problem);
    return camera;
}

Ack TestGvcpHandler::_Send(const QByteArray& m, const GvcpPeer& from, GvcpHandler::Reply* reply)
{
    GvcpHandler::Reply answer;
    Ack result;
    if (!m_camera->Handler().Handle(reinterpret_cast<const uint8_t*>(m.constData()), size_t(m.size()), from, m_now,
                                    answer))
        return result;
    const std::vector<uint8_t>& p = answer.packet;
    if (p.size() < gvcp::kHeaderSize || gvcp::Get16(p.data() + 4) != p.size() - gvcp::kHeaderSize)
        qFatal("malformed acknowledge");
    result.status = gvcp::Get16(p.data());
    result.ack = gvcp::Get16(p.data() + 2);
    result.id = gvcp::Get16(p.data() + 6);
    result.payload = QByteArray(reinterpret_cast<const char*>(p.data()) + 8, int(p.size()) - 8);
    if (reply)
        *reply = answer;
    return result;
}

QList<QByteArray> TestGvcpHandler::_Streamed()
{
    QList<QByteArray> packets;
    vcam::StreamChannel::Datagram d;
    for (; m_camera->Stream().Take(m_now, d); m_now += std::chrono::milliseconds(1))
        packets << QByteArray(reinterpret_cast<const char*>(d.bytes.data()), int(d.bytes.size()));
    return packets;
}

uint32_t TestGvcpHandler::_Address(const char* feature)
{
    const vcam::RegisterMap::Register* r = m_camera->AddressSpace().Map().Find(feature);
    if (!r)
        qFatal("no register for %s", feature);
    return r->address;
}

void TestGvcpHandler::_Set(const char* feature, uint64_t value)
{
    const vcam::RegisterMap::Register* r = m_camera->AddressSpace().Map().Find(feature);
    const QByteArray bytes = r->span == 4 ? be32(uint32_t(value)) : be64(value);
    const Ack ack = _Send(writeMemory(r->address, bytes));
    if (ack.status != 0)
        qFatal("%s not written: %x", feature, ack.status);
}

void TestGvcpHandler::_SetText(const char* feature, const QByteArray& text)
{
    const vcam::RegisterMap::Register* r = m_camera->AddressSpace().Map().Find(feature);
    QByteArray bytes = text;
    bytes.resize(int(r->span));
    if (_Send(writeMemory(r->address, bytes)).status != 0)
        qFatal("%s not written", feature);
}

QTEST_GUILESS_MAIN(TestGvcpHandler)
#include "tst_gvcp_handler.moc"
