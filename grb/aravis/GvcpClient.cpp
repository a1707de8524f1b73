#include "GvcpClient.h"

#include "AravisError.h"

#include <gvcp/GvcpProtocol.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cstring>

namespace grb::aravis {

namespace {

constexpr int kAttempts = 3;
constexpr int kAnswerWaitMs = 200;
constexpr int kPendingLimitMs = 3000;

GrbErrorType statusCode(uint16_t status)
{
    switch (status)
    {
    case gvcp::kStatusNotImplemented:
        return GrbErrorNotImplemented;
    case gvcp::kStatusInvalidParameter:
    case gvcp::kStatusBadAlignment:
        return GrbErrorBadParameter;
    case gvcp::kStatusInvalidAddress:
    case gvcp::kStatusWriteProtect:
    case gvcp::kStatusAccessDenied:
        return GrbErrorInvalidAccess;
    case gvcp::kStatusBusy:
        return GrbErrorResources;
    default:
        return GrbErrorTransportLayer;
    }
}

} // namespace

GvcpClient::GvcpClient(const std::string& deviceAddress)
{
    sockaddr_in device{};
    device.sin_family = AF_INET;
    device.sin_port = htons(gvcp::kPort);
    if (inet_pton(AF_INET, deviceAddress.c_str(), &device.sin_addr) != 1)
    {
        m_setupError = AravisError::Fail(GrbErrorBadParameter, "not an IPv4 address: " + deviceAddress);
        return;
    }
    m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    // Connected, so only the camera's answers arrive and the route picks the source.
    if (m_socket < 0 || connect(m_socket, reinterpret_cast<const sockaddr*>(&device), sizeof device) != 0)
        m_setupError = AravisError::Fail(GrbErrorTransportLayer, "no route to " + deviceAddress + ": " +
                                                                     std::strerror(errno));
    m_requestId = static_cast<uint16_t>(std::chrono::steady_clock::now().time_since_epoch().count() | 1);
}

GvcpClient::~GvcpClient()
{
    if (m_socket >= 0)
        close(m_socket);
}

std::string GvcpClient::LocalAddress() const
{
    if (m_setupError != GrbErrorSuccess)
        return {};
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (getsockname(m_socket, reinterpret_cast<sockaddr*>(&local), &length) != 0)
        return {};
    char text[INET_ADDRSTRLEN] = {};
    return inet_ntop(AF_INET, &local.sin_addr, text, sizeof text) ? text : "";
}

GrbErrorType GvcpClient::ReadRegister(uint32_t address, uint32_t& value)
{
    std::vector<uint8_t> payload;
    gvcp::Append32(payload, address);
    std::vector<uint8_t> answer;
    GrbErrorType err = _Transact(gvcp::kReadRegister, payload, answer);
    if (err != GrbErrorSuccess)
        return err;
    if (answer.size() < 4)
        return AravisError::Fail(GrbErrorTransportLayer, "short register answer");
    value = gvcp::Get32(answer.data());
    return GrbErrorSuccess;
}

GrbErrorType GvcpClient::ReadMemory(uint32_t address, uint8_t* buffer, uint16_t count)
{
    if (count == 0 || count % 4 != 0 || count > 512)
        return AravisError::Fail(GrbErrorBadParameter, "bad memory read size");
    std::vector<uint8_t> payload;
    gvcp::Append32(payload, address);
    gvcp::Append16(payload, 0);
    gvcp::Append16(payload, count);
    std::vector<uint8_t> answer;
    GrbErrorType err = _Transact(gvcp::kReadMemory, payload, answer);
    if (err != GrbErrorSuccess)
        return err;
    if (answer.size() < 4u + count || gvcp::Get32(answer.data()) != address)
        return AravisError::Fail(GrbErrorTransportLayer, "short memory answer");
    std::memcpy(buffer, answer.data() + 4, count);
    return GrbErrorSuccess;
}

GrbErrorType GvcpClient::_Transact(uint16_t command, const std::vector<uint8_t>& payload, std::vector<uint8_t>& answer)
{
    if (m_setupError != GrbErrorSuccess)
        return m_setupError;
    if (++m_requestId == 0)
        m_requestId = 1;
    std::vector<uint8_t> packet{gvcp::kCommandKey, gvcp::kFlagAckWanted};
    gvcp::Append16(packet, command);
    gvcp::Append16(packet, static_cast<uint16_t>(payload.size()));
    gvcp::Append16(packet, m_requestId);
    packet.insert(packet.end(), payload.begin(), payload.end());

    uint8_t in[1024];
    for (int attempt = 0; attempt < kAttempts; ++attempt)
    {
        if (send(m_socket, packet.data(), packet.size(), 0) < 0)
            return AravisError::Fail(GrbErrorTransportLayer, std::string("GVCP send failed: ") + std::strerror(errno));
        const auto start = std::chrono::steady_clock::now();
        // A pending acknowledge may push the wait out, but never past this.
        const auto limit = start + std::chrono::milliseconds(kPendingLimitMs);
        auto deadline = start + std::chrono::milliseconds(kAnswerWaitMs);
        for (;;)
        {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0)
                break;
            pollfd p{m_socket, POLLIN, 0};
            if (poll(&p, 1, static_cast<int>(left.count())) <= 0)
                break;
            ssize_t got = recv(m_socket, in, sizeof in, 0);
            // Anything short, foreign or stale is dropped: the camera's packets are untrusted.
            if (got < static_cast<ssize_t>(gvcp::kHeaderSize) || gvcp::Get16(in + 6) != m_requestId)
                continue;
            const uint16_t status = gvcp::Get16(in);
            const uint16_t ack = gvcp::Get16(in + 2);
            const size_t length = gvcp::Get16(in + 4);
            if (ack == gvcp::kPendingAck)
            {
                if (length >= 4 && got >= static_cast<ssize_t>(gvcp::kHeaderSize + 4))
                    deadline = std::min(limit, std::chrono::steady_clock::now() +
                                                   std::chrono::milliseconds(gvcp::Get16(in + gvcp::kHeaderSize + 2)));
                continue;
            }
            if (ack != command + 1)
                continue;
            if (status != 0)
                return AravisError::Fail(statusCode(status), "the camera refused a GVCP request");
            if (gvcp::kHeaderSize + length > static_cast<size_t>(got))
                return AravisError::Fail(GrbErrorTransportLayer, "truncated GVCP answer");
            answer.assign(in + gvcp::kHeaderSize, in + gvcp::kHeaderSize + length);
            return GrbErrorSuccess;
        }
    }
    return AravisError::Fail(GrbErrorTimeout, "the camera did not answer on its control channel");
}

} // namespace grb::aravis
