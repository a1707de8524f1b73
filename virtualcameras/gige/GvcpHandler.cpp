#include "GvcpHandler.h"

#include <gvcp/GvcpProtocol.h>

#include <algorithm>

namespace vcam {

namespace {

// Senders remembered for retransmissions; more are forgotten oldest first.
constexpr size_t kAnsweredLimit = 8;

std::vector<uint8_t> ack(uint16_t status, uint16_t command, uint16_t requestId, const std::vector<uint8_t>& payload)
{
    std::vector<uint8_t> packet;
    packet.reserve(gvcp::kHeaderSize + payload.size());
    gvcp::Append16(packet, status);
    gvcp::Append16(packet, static_cast<uint16_t>(command + 1));
    gvcp::Append16(packet, static_cast<uint16_t>(payload.size()));
    gvcp::Append16(packet, requestId);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

} // namespace

GvcpHandler::GvcpHandler(DeviceAddressSpace& space, ControlChannel& control, StreamChannel& stream)
    : m_space(space)
    , m_control(control)
    , m_stream(stream)
{
}

std::vector<uint8_t> GvcpHandler::PendingAck(uint16_t requestId, uint16_t milliseconds)
{
    std::vector<uint8_t> payload;
    gvcp::Append16(payload, 0);
    gvcp::Append16(payload, milliseconds);
    return ack(gvcp::kStatusSuccess, gvcp::kPendingAck - 1, requestId, payload);
}

void GvcpHandler::Tick(Clock::time_point now)
{
    if (!m_space.Present())
        m_control.Release();
    else
        m_control.Expire(now);
    m_space.StreamFrames(now);
}

bool GvcpHandler::Handle(const uint8_t* message, size_t size, const GvcpPeer& from, Clock::time_point now,
                         Reply& reply)
{
    reply = Reply();
    if (!message || size < gvcp::kHeaderSize || message[0] != gvcp::kCommandKey || !from.IsLoopback())
        return false;
    // A device that is away answers nothing, and has forgotten who controlled it.
    if (!m_space.Present())
    {
        m_control.Release();
        m_answered.clear();
        return false;
    }
    const bool ackWanted = (message[1] & gvcp::kFlagAckWanted) != 0;
    const uint16_t command = gvcp::Get16(message + 2);
    const uint16_t length = gvcp::Get16(message + 4);
    const uint16_t requestId = gvcp::Get16(message + 6);
    const uint8_t* payload = message + gvcp::kHeaderSize;
    m_control.Heard(from, now);

    if (command == gvcp::kDiscovery)
    {
        std::vector<uint8_t> data = m_space.DiscoveryData();
        if (data.empty())
            return false;
        reply.packet = ack(gvcp::kStatusSuccess, command, requestId, data);
        return true;
    }
    if (command == gvcp::kPacketResend)
    {
        // Never acknowledged. Channel, block id, first and last packet id; the stream
        // never uses the extended ids.
        constexpr uint16_t kResendLength = 12;
        if (length >= kResendLength && size >= gvcp::kHeaderSize + kResendLength &&
            (message[1] & gvcp::kFlagExtendedIds) == 0 && gvcp::Get16(payload) == 0)
            m_stream.Resend(gvcp::Get16(payload + 2), gvcp::Get32(payload + 4) & 0x00FFFFFFu,
                            gvcp::Get32(payload + 8) & 0x00FFFFFFu);
        return false;
    }

    auto answered = std::find_if(m_answered.begin(), m_answered.end(),
                                 [&](const Answered& a) { return a.peer == from; });
    if (answered != m_answered.end() && answered->command == command && answered->requestId == requestId &&
        requestId != 0)
    {
        // Sent again because the acknowledge got lost: answered, not carried out twice.
        if (!ackWanted)
            return false;
        reply.packet = answered->reply.packet;
        return true;
    }

    std::vector<uint8_t> out;
    uint16_t status = gvcp::kStatusSuccess;
    if (size < gvcp::kHeaderSize + length || requestId == 0)
        status = gvcp::kStatusInvalidHeader;
    else if (command == gvcp::kReadRegister)
        status = _ReadRegisters(from, payload, length, out);
    else if (command == gvcp::kWriteRegister)
        status = _WriteRegisters(from, payload, length, now, out, reply.completionMs);
    else if (command == gvcp::kReadMemory)
        status = _ReadMemory(from, payload, length, out);
    else if (command == gvcp::kWriteMemory)
        status = _WriteMemory(from, payload, length, now, out, reply.completionMs);
    else
        status = gvcp::kStatusNotImplemented;

    // The message may have sent the device away (a reset): it is acknowledged, then gone.
    if (!m_space.Present())
        m_control.Release();
    // The controller cannot be heard while it waits for a slow operation.
    if (reply.completionMs > 0)
        m_control.Heard(from, now + std::chrono::milliseconds(reply.completionMs));
    if (!ackWanted)
        return false;
    reply.packet = ack(status, command, requestId, out);
    if (answered == m_answered.end())
    {
        if (m_answered.size() >= kAnsweredLimit)
            m_answered.erase(m_answered.begin());
        m_answered.push_back({from, 0, 0, {}});
        answered = m_answered.end() - 1;
    }
    *answered = {from, command, requestId, reply};
    return true;
}

uint16_t GvcpHandler::_ReadRegisters(const GvcpPeer& from, const uint8_t* payload, uint16_t length,
                                     std::vector<uint8_t>& out)
{
    if (length == 0 || length % 4 != 0 || length > gvcp::kMaxPayload)
        return gvcp::kStatusInvalidParameter;
    for (uint16_t i = 0; i < length / 4; ++i)
    {
        const uint32_t address = gvcp::Get32(payload + 4 * i);
        if (address % 4 != 0)
            return gvcp::kStatusBadAlignment;
        uint8_t value[4] = {};
        if (uint16_t status = m_space.Read(from, address, 4, value))
            return status; // the registers read so far are answered
        out.insert(out.end(), value, value + 4);
    }
    return gvcp::kStatusSuccess;
}

uint16_t GvcpHandler::_WriteRegisters(const GvcpPeer& from, const uint8_t* payload, uint16_t length,
                                      Clock::time_point now, std::vector<uint8_t>& out, uint32_t& completionMs)
{
    out.assign(4, 0);
    if (length == 0 || length % 8 != 0 || length > gvcp::kMaxPayload)
        return gvcp::kStatusInvalidParameter;
    uint16_t done = 0;
    uint16_t status = gvcp::kStatusSuccess;
    for (uint16_t i = 0; i < length / 8 && status == gvcp::kStatusSuccess; ++i)
    {
        const uint32_t address = gvcp::Get32(payload + 8 * i);
        uint32_t written = 0;
        uint32_t completion = 0;
        if (address % 4 != 0)
            status = gvcp::kStatusBadAlignment;
        else
            status = m_space.Write(from, address, payload + 8 * i + 4, 4, now, written, completion);
        completionMs = std::max(completionMs, completion);
        if (status == gvcp::kStatusSuccess)
            ++done;
    }
    // The index of the first register not written, which is the count written.
    gvcp::Put16(out.data() + 2, done);
    return status;
}

uint16_t GvcpHandler::_ReadMemory(const GvcpPeer& from, const uint8_t* payload, uint16_t length,
                                  std::vector<uint8_t>& out)
{
    if (length != 8)
        return gvcp::kStatusInvalidParameter;
    const uint32_t address = gvcp::Get32(payload);
    const uint16_t count = gvcp::Get16(payload + 6);
    out.assign(payload, payload + 4);
    if (address % 4 != 0)
        return gvcp::kStatusBadAlignment;
    if (count == 0 || count % 4 != 0 || count > gvcp::kMaxMemoryData)
        return gvcp::kStatusInvalidParameter;
    out.resize(4u + count, 0);
    const uint16_t status = m_space.Read(from, address, count, out.data() + 4);
    if (status != gvcp::kStatusSuccess)
        out.resize(4);
    return status;
}

uint16_t GvcpHandler::_WriteMemory(const GvcpPeer& from, const uint8_t* payload, uint16_t length,
                                   Clock::time_point now, std::vector<uint8_t>& out, uint32_t& completionMs)
{
    out.assign(4, 0);
    if (length < 8 || length % 4 != 0 || length - 4u > gvcp::kMaxMemoryData)
        return gvcp::kStatusInvalidParameter;
    const uint32_t address = gvcp::Get32(payload);
    if (address % 4 != 0)
        return gvcp::kStatusBadAlignment;
    uint32_t written = 0;
    const uint16_t status = m_space.Write(from, address, payload + 4, length - 4u, now, written, completionMs);
    gvcp::Put16(out.data() + 2, static_cast<uint16_t>(written));
    return status;
}

} // namespace vcam
