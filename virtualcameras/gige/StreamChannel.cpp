#include "StreamChannel.h"

#include "GvspProtocol.h"

#include <gvcp/GvcpProtocol.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace vcam {

namespace gvcp = grb::gvcp;

namespace {

constexpr uint32_t kFireTestPacket = 0x80000000u;
constexpr uint32_t kDoNotFragment = 0x40000000u;
constexpr uint32_t kPacketSizeIncrement = 4;
// What a receiver on loopback keeps up with on a busy machine: at 50 MB/s, with two cores
// and seven threads to run, Aravis's receiving socket overflowed now and then.
constexpr uint64_t kBytesPerSecond = 20000000;
constexpr auto kBurst = std::chrono::milliseconds(1);
constexpr size_t kQueuedFrames = 2;
constexpr size_t kKeptFrames = 3;
constexpr size_t kPendingLimit = size_t(1) << 18;

// A feature on a register of the channel. bits: the register's bits that hold the value.
std::string node(const char* kind, const char* name, const std::string& value, uint32_t address, const char* access,
                 const std::string& bits)
{
    const std::string reg = std::string(name) + "Reg";
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", address);
    return std::string("<") + kind + " Name=\"" + name + "\" NameSpace=\"Standard\">\n  <pValue>" + reg +
           "</pValue>\n" + value + "</" + kind + ">\n<MaskedIntReg Name=\"" + reg + "\">\n  <Address>" + hex +
           "</Address>\n  <Length>4</Length>\n  <AccessMode>" + access +
           "</AccessMode>\n  <pPort>Device</pPort>\n  <Cachable>NoCache</Cachable>\n" + bits +
           "  <Endianess>BigEndian</Endianess>\n</MaskedIntReg>\n";
}

// Bits numbered from the most significant one, as big-endian registers count them.
const std::string kLow16 = "  <LSB>31</LSB>\n  <MSB>16</MSB>\n  <Sign>Unsigned</Sign>\n";
const std::string kAll32 = "  <LSB>31</LSB>\n  <MSB>0</MSB>\n  <Sign>Unsigned</Sign>\n";

std::vector<uint8_t> header(uint16_t status, uint16_t blockId, uint8_t format, uint32_t packet, size_t size)
{
    std::vector<uint8_t> bytes(size, 0);
    gvcp::Put16(bytes.data(), status);
    gvcp::Put16(bytes.data() + 2, blockId);
    gvcp::Put32(bytes.data() + 4, uint32_t(format) << 24 | (packet & 0x00FFFFFFu));
    return bytes;
}

} // namespace

GenICamXml::TransportNodes StreamChannel::Nodes()
{
    const std::string range = "  <Min>" + std::to_string(kMinPacketSize) + "</Min>\n  <Max>" +
                              std::to_string(kMaxPacketSize) + "</Max>\n  <Inc>" +
                              std::to_string(kPacketSizeIncrement) + "</Inc>\n";
    const std::string boolean = "  <OnValue>1</OnValue>\n  <OffValue>0</OffValue>\n";
    GenICamXml::TransportNodes nodes;
    nodes.nodes = node("Integer", "GevSCPHostPort", "", gvcp::kStreamChannelPort, "RW", kLow16) +
                  node("Integer", "GevSCDA", "", gvcp::kStreamChannelDestination, "RW", kAll32) +
                  node("Integer", "GevSCSP", "", gvcp::kStreamChannelSourcePort, "RO", kLow16) +
                  node("Integer", "GevSCPSPacketSize", range, gvcp::kStreamChannelPacketSize, "RW", kLow16) +
                  node("Boolean", "GevSCPSFireTestPacket", boolean, gvcp::kStreamChannelPacketSize, "RW",
                       "  <Bit>0</Bit>\n") +
                  node("Boolean", "GevSCPSDoNotFragment", boolean, gvcp::kStreamChannelPacketSize, "RW",
                       "  <Bit>1</Bit>\n") +
                  node("Integer", "GevSCPD", "", gvcp::kStreamChannelPacketDelay, "RW", kAll32);
    nodes.features = {"GevSCPHostPort", "GevSCDA",        "GevSCSP", "GevSCPSPacketSize", "GevSCPSFireTestPacket",
                      "GevSCPSDoNotFragment", "GevSCPD"};
    return nodes;
}

uint32_t StreamChannel::Read(uint32_t address) const
{
    switch (address)
    {
    case gvcp::kStreamChannelPort:
        return m_port;
    case gvcp::kStreamChannelPacketSize:
        return (m_doNotFragment ? kDoNotFragment : 0) | m_packetSize;
    case gvcp::kStreamChannelPacketDelay:
        return m_delayTicks;
    case gvcp::kStreamChannelDestination:
        return m_destination;
    case gvcp::kStreamChannelSourcePort:
        return m_sourcePort;
    default:
        return 0; // no optional capabilities
    }
}

uint16_t StreamChannel::Write(uint32_t address, uint32_t value)
{
    switch (address)
    {
    case gvcp::kStreamChannelPort:
        // The direction and interface bits are fixed; port 0 closes the channel.
        m_port = static_cast<uint16_t>(value);
        if (m_port == 0)
            Close();
        return gvcp::kStatusSuccess;
    case gvcp::kStreamChannelPacketSize: {
        const uint32_t size = std::clamp(value & 0xFFFFu, kMinPacketSize, kMaxPacketSize);
        m_packetSize = size - size % kPacketSizeIncrement;
        m_doNotFragment = (value & kDoNotFragment) != 0;
        if ((value & kFireTestPacket) && IsOpen())
            m_pending.push_front({nullptr, 0, std::vector<uint8_t>(m_packetSize - gvsp::kUdpOverhead, 0), false});
        return gvcp::kStatusSuccess;
    }
    case gvcp::kStreamChannelPacketDelay:
        m_delayTicks = value;
        return gvcp::kStatusSuccess;
    case gvcp::kStreamChannelDestination:
        m_destination = value;
        return gvcp::kStatusSuccess;
    default:
        return gvcp::kStatusWriteProtect;
    }
}

bool StreamChannel::IsOpen() const
{
    return m_port != 0 && (m_destination >> 24) == 127;
}

void StreamChannel::Close()
{
    m_port = 0;
    m_pending.clear();
    m_queuedFrames = 0;
    m_kept.clear();
}

void StreamChannel::Send(grb::sim::SimFrame frame)
{
    if (!IsOpen() || m_queuedFrames >= kQueuedFrames)
        return;
    auto block = std::make_shared<Block>();
    // Block ids count 1 to 65535 and on from 1 again: 0 is no block.
    block->id = static_cast<uint16_t>((frame.id - 1) % 0xFFFF + 1);
    block->chunk = m_packetSize - gvsp::kPayloadOverhead;
    block->packets = static_cast<uint32_t>((frame.data.size() + block->chunk - 1) / block->chunk) + 2;
    block->frame = std::move(frame);
    m_kept.push_back(block);
    if (m_kept.size() > kKeptFrames)
        m_kept.pop_front();
    for (uint32_t packet = 0; packet < block->packets; ++packet)
        m_pending.push_back({block, packet, {}, packet + 1 == block->packets});
    ++m_queuedFrames;
}

void StreamChannel::Resend(uint16_t blockId, uint32_t first, uint32_t last)
{
    auto kept = std::find_if(m_kept.rbegin(), m_kept.rend(), [&](const auto& b) { return b->id == blockId; });
    const bool known = kept != m_kept.rend() && first <= last && first < (*kept)->packets;
    if (known)
        last = std::min(last, (*kept)->packets - 1);
    // However often it is asked, no more waits than a few of the largest frames.
    if (!IsOpen() || m_pending.size() + (known ? last - first + 1 : 1) > kPendingLimit)
        return;
    if (!known)
    {
        std::vector<uint8_t> gone =
            header(gvsp::kStatusPacketUnavailable, blockId, gvsp::kFormatPayload, first, gvsp::kHeaderSize);
        m_pending.push_front({nullptr, 0, std::move(gone), false});
        return;
    }
    for (uint32_t packet = last + 1; packet-- > first;)
        m_pending.push_front({*kept, packet, {}, false});
}

StreamChannel::Clock::time_point StreamChannel::NextSend() const
{
    return m_pending.empty() ? Clock::time_point::max() : m_nextSend;
}

bool StreamChannel::Take(Clock::time_point now, Datagram& datagram)
{
    if (!IsOpen())
    {
        // The receiver changed to nobody while packets waited.
        m_pending.clear();
        m_queuedFrames = 0;
    }
    if (m_pending.empty() || now < m_nextSend)
        return false;
    Pending pending = std::move(m_pending.front());
    m_pending.pop_front();
    if (pending.endsFrame)
        --m_queuedFrames;
    datagram.bytes = pending.block ? _Packet(*pending.block, pending.packet) : std::move(pending.bytes);
    datagram.address = m_destination;
    datagram.port = m_port;
    // After a pause at most a burst's worth leaves at once.
    const auto rate = std::chrono::nanoseconds(datagram.bytes.size() * 1000000000ull / kBytesPerSecond);
    const auto delay = std::chrono::nanoseconds(uint64_t(m_delayTicks) * 1000000000ull / kTickFrequency);
    m_nextSend = std::max(m_nextSend, now - kBurst) + std::max<Clock::duration>(rate, delay);
    return true;
}

std::vector<uint8_t> StreamChannel::_Packet(const Block& block, uint32_t packet)
{
    const grb::sim::SimFrame& frame = block.frame;
    if (packet == 0)
    {
        std::vector<uint8_t> bytes = header(0, block.id, gvsp::kFormatLeader, packet, gvsp::kLeaderSize);
        uint8_t* p = bytes.data() + gvsp::kHeaderSize;
        gvcp::Put16(p + 2, gvsp::kPayloadTypeImage);
        gvcp::Put64(p + 4, frame.timestampNs);
        gvcp::Put32(p + 12, frame.pixelFormat);
        gvcp::Put32(p + 16, frame.width);
        gvcp::Put32(p + 20, frame.height);
        gvcp::Put32(p + 24, frame.offsetX);
        gvcp::Put32(p + 28, frame.offsetY);
        return bytes;
    }
    if (packet + 1 == block.packets)
    {
        std::vector<uint8_t> bytes = header(0, block.id, gvsp::kFormatTrailer, packet, gvsp::kTrailerSize);
        gvcp::Put16(bytes.data() + gvsp::kHeaderSize + 2, gvsp::kPayloadTypeImage);
        gvcp::Put32(bytes.data() + gvsp::kHeaderSize + 4, frame.height);
        return bytes;
    }
    const size_t offset = size_t(packet - 1) * block.chunk;
    const size_t size = std::min<size_t>(block.chunk, frame.data.size() - offset);
    std::vector<uint8_t> bytes = header(0, block.id, gvsp::kFormatPayload, packet, gvsp::kHeaderSize + size);
    std::memcpy(bytes.data() + gvsp::kHeaderSize, frame.data.data() + offset, size);
    return bytes;
}

} // namespace vcam
