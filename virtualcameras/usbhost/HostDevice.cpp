#include "HostDevice.h"

#include "ConfigParser.h"

namespace vusb {

namespace {

constexpr auto kPatience = std::chrono::seconds(2);
constexpr uint8_t kGetDescriptor = 0x06;
constexpr uint8_t kDeviceType = 0x01;
constexpr uint8_t kConfigType = 0x02;
constexpr size_t kDeviceLength = 18;
constexpr size_t kConfigHeaderLength = 9;

bool getDescriptor(HostConnection& connection, uint8_t type, uint16_t length, std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> setup(kSetupSize);
    setup[0] = 0x80; // device to host, standard, device
    setup[1] = kGetDescriptor;
    Put16(setup.data() + 2, uint16_t(type << 8));
    Put16(setup.data() + 6, length);
    Reply reply;
    if (connection.Call(Type::Control, setup, HostConnection::Clock::now() + kPatience, reply) != HostConnection::Done ||
        reply.status != Status::Ok || reply.data.size() > length || reply.data.size() < 2 || reply.data[1] != type)
        return false;
    bytes = std::move(reply.data);
    return true;
}

} // namespace

HostDevice::HostDevice(HostContext* context, std::string path, uint64_t session)
    : m_context(context)
    , m_path(std::move(path))
    , m_session(session)
{
}

bool HostDevice::Describe(HostConnection& connection)
{
    std::vector<uint8_t> d;
    if (!getDescriptor(connection, kDeviceType, kDeviceLength, d) || d.size() != kDeviceLength || d[0] != kDeviceLength)
        return false;
    m_descriptor.bLength = d[0];
    m_descriptor.bDescriptorType = d[1];
    m_descriptor.bcdUSB = Get16(&d[2]);
    m_descriptor.bDeviceClass = d[4];
    m_descriptor.bDeviceSubClass = d[5];
    m_descriptor.bDeviceProtocol = d[6];
    m_descriptor.bMaxPacketSize0 = d[7];
    m_descriptor.idVendor = Get16(&d[8]);
    m_descriptor.idProduct = Get16(&d[10]);
    m_descriptor.bcdDevice = Get16(&d[12]);
    m_descriptor.iManufacturer = d[14];
    m_descriptor.iProduct = d[15];
    m_descriptor.iSerialNumber = d[16];
    m_descriptor.bNumConfigurations = d[17];

    // The header first, for the length of the whole.
    std::vector<uint8_t> head;
    if (m_descriptor.bNumConfigurations == 0 || !getDescriptor(connection, kConfigType, kConfigHeaderLength, head) ||
        head.size() != kConfigHeaderLength)
        return false;
    const uint16_t total = Get16(&head[2]);
    if (total < kConfigHeaderLength || !getDescriptor(connection, kConfigType, total, m_configuration) ||
        m_configuration.size() != total)
        return false;
    // Only a configuration libusb's tree can be made of is kept.
    libusb_config_descriptor* parsed = ConfigParser::Parse(m_configuration.data(), m_configuration.size());
    ConfigParser::Free(parsed);
    return parsed != nullptr;
}

} // namespace vusb
