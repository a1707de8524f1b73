#include "U3vControlHandler.h"

#include "U3vProtocol.h"

#include <ByteOrder.h>
#include <DeviceStatus.h>

#include <algorithm>
#include <cstring>

namespace vcam {

namespace {

// Operations slower than this are announced, well inside the promised response time.
constexpr uint32_t kPendingAfterMs = 100;
constexpr uint32_t kPendingIntervalMs = 1000;
constexpr uint32_t kPendingMarginMs = 200;

uint64_t get(const uint8_t* p, size_t size)
{
    return GetUint(p, size, ByteOrder::Little);
}

} // namespace

U3vControlHandler::U3vControlHandler(U3vAddressSpace& space)
    : m_space(space)
{
}

std::vector<uint8_t> U3vControlHandler::Acknowledge(uint16_t status, uint16_t command, uint16_t id,
                                                    const uint8_t* payload, size_t size)
{
    std::vector<uint8_t> ack(u3v::kHeaderSize + size, 0);
    PutUint(ack.data(), u3v::kPrefix, 4, ByteOrder::Little);
    PutUint(ack.data() + 4, status, 2, ByteOrder::Little);
    PutUint(ack.data() + 6, command, 2, ByteOrder::Little);
    PutUint(ack.data() + 8, size, 2, ByteOrder::Little);
    PutUint(ack.data() + 10, id, 2, ByteOrder::Little);
    if (size)
        std::memcpy(ack.data() + u3v::kHeaderSize, payload, size);
    return ack;
}

std::vector<U3vControlHandler::Ack> U3vControlHandler::Handle(const uint8_t* message, size_t size,
                                                              Clock::time_point now)
{
    if (!message || size < u3v::kHeaderSize || get(message, 4) != u3v::kPrefix)
        return {};
    const auto flags = static_cast<uint16_t>(get(message + 4, 2));
    const auto command = static_cast<uint16_t>(get(message + 6, 2));
    const auto length = static_cast<uint16_t>(get(message + 8, 2));
    const auto id = static_cast<uint16_t>(get(message + 10, 2));
    const bool ackWanted = (flags & u3v::kFlagAckWanted) != 0;
    // A command sent again is answered again, not carried out twice.
    if ((flags & u3v::kFlagResend) && m_answered && id == m_lastId)
        return ackWanted ? std::vector<Ack>{{0, m_lastAck}} : std::vector<Ack>{};

    const uint8_t* payload = message + u3v::kHeaderSize;
    std::vector<uint8_t> out;
    uint32_t completionMs = 0;
    uint16_t status = status::kSuccess;
    uint16_t ackCommand = static_cast<uint16_t>(command + 1);
    if (size != u3v::kHeaderSize + length || size > U3vAddressSpace::kMaxCommandTransfer)
        status = u3v::kStatusInvalidHeader;
    else if (command == u3v::kReadMemory)
        status = _ReadMemory(payload, length, out);
    else if (command == u3v::kWriteMemory)
        status = _WriteMemory(payload, length, now, out, completionMs);
    else
        status = status::kNotImplemented;

    m_answered = true;
    m_lastId = id;
    m_lastAck = Acknowledge(status, ackCommand, id, out.data(), out.size());
    if (!ackWanted)
        return {};
    std::vector<Ack> acks;
    if (completionMs > kPendingAfterMs)
        for (uint32_t at = 0; at < completionMs; at += kPendingIntervalMs)
        {
            uint8_t pending[u3v::kPendingAckLength] = {};
            const uint32_t timeout = std::min<uint32_t>(completionMs - at + kPendingMarginMs, UINT16_MAX);
            PutUint(pending + 2, timeout, 2, ByteOrder::Little);
            acks.push_back({at, Acknowledge(status::kSuccess, u3v::kPendingAck, id, pending, sizeof pending)});
        }
    acks.push_back({completionMs, m_lastAck});
    return acks;
}

uint16_t U3vControlHandler::_ReadMemory(const uint8_t* payload, uint16_t length, std::vector<uint8_t>& out)
{
    if (length != u3v::kReadMemoryLength)
        return status::kInvalidParameter;
    const uint64_t address = get(payload, 8);
    const auto count = static_cast<uint32_t>(get(payload + 10, 2));
    if (count == 0 || u3v::kHeaderSize + count > U3vAddressSpace::kMaxAckTransfer)
        return status::kInvalidParameter;
    std::vector<uint8_t> data(count, 0);
    const uint16_t status = m_space.Read(address, count, data.data());
    if (status == status::kSuccess)
        out = std::move(data);
    return status;
}

uint16_t U3vControlHandler::_WriteMemory(const uint8_t* payload, uint16_t length, Clock::time_point now,
                                         std::vector<uint8_t>& out, uint32_t& completionMs)
{
    if (length <= u3v::kWriteMemoryAddressLength)
        return status::kInvalidParameter;
    const uint64_t address = get(payload, 8);
    const auto count = static_cast<uint32_t>(length - u3v::kWriteMemoryAddressLength);
    uint32_t written = 0;
    const uint16_t status = m_space.Write(address, payload + u3v::kWriteMemoryAddressLength, count, now, written,
                                          completionMs);
    out.assign(u3v::kWriteMemoryAckLength, 0);
    PutUint(out.data() + 2, written, 2, ByteOrder::Little);
    return status;
}

} // namespace vcam
