#include "GvcpServer.h"

#include <gvcp/GvcpProtocol.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

namespace vcam {

namespace {

constexpr int kTickMs = 100;
// Slower operations announce themselves, well inside a client's usual 500 ms.
constexpr uint32_t kPendingAfterMs = 100;
constexpr uint32_t kPendingIntervalMs = 1000;
constexpr uint32_t kPendingMarginMs = 200;
// Larger than any valid message, so that an oversized one shows as such.
constexpr size_t kReceiveBuffer = 2048;

int udpSocket(uint32_t address, bool shared, std::string& error)
{
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (s < 0)
    {
        error = std::string("no UDP socket: ") + std::strerror(errno);
        return -1;
    }
    const int on = 1;
    setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // Several cameras, Aravis's own among them, listen for discovery side by side.
    if (shared)
        setsockopt(s, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(gvcp::kPort);
    local.sin_addr.s_addr = htonl(address);
    if (bind(s, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
    {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &local.sin_addr, text, sizeof text);
        error = std::string("cannot listen on ") + text + ":" + std::to_string(gvcp::kPort) + ": " +
                std::strerror(errno);
        close(s);
        return -1;
    }
    return s;
}

} // namespace

GvcpServer::GvcpServer(GvcpHandler& handler)
    : m_handler(handler)
{
}

GvcpServer::~GvcpServer()
{
    if (m_control >= 0)
        close(m_control);
    if (m_discovery >= 0)
        close(m_discovery);
}

bool GvcpServer::Open(uint32_t address, std::string& error)
{
    if ((address >> 24) != 127)
    {
        error = "the virtual camera listens on loopback addresses (127.x.y.z) only";
        return false;
    }
    m_control = udpSocket(address, false, error);
    if (m_control < 0)
        return false;
    m_discovery = udpSocket(INADDR_BROADCAST, true, error);
    return m_discovery >= 0;
}

void GvcpServer::Run(const std::atomic<bool>& stop, Clock::time_point deadline)
{
    while (!stop && Clock::now() < deadline)
    {
        pollfd sockets[2] = {{m_control, POLLIN, 0}, {m_discovery, POLLIN, 0}};
        const int ready = poll(sockets, 2, kTickMs);
        if (ready < 0 && errno != EINTR)
            break;
        for (const pollfd& p : sockets)
            if (ready > 0 && (p.revents & POLLIN))
                _Receive(p.fd, stop);
        m_handler.Tick(Clock::now());
    }
}

void GvcpServer::_Receive(int socket, const std::atomic<bool>& stop)
{
    uint8_t message[kReceiveBuffer];
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t got = recvfrom(socket, message, sizeof message, MSG_TRUNC | MSG_DONTWAIT,
                                 reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (got < 0 || static_cast<size_t>(got) > sizeof message || from.sin_family != AF_INET)
        return;
    const GvcpPeer peer{ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)};
    GvcpHandler::Reply reply;
    if (m_handler.Handle(message, static_cast<size_t>(got), peer, Clock::now(), reply))
        _Answer(reply, from, stop);
}

void GvcpServer::_Answer(const GvcpHandler::Reply& reply, const sockaddr_in& to, const std::atomic<bool>& stop)
{
    const uint16_t requestId = reply.packet.size() >= gvcp::kHeaderSize ? gvcp::Get16(reply.packet.data() + 6) : 0;
    const auto due = Clock::now() + std::chrono::milliseconds(reply.completionMs);
    while (!stop)
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now()).count();
        if (left <= 0)
            break;
        if (static_cast<uint32_t>(left) > kPendingAfterMs)
            _Send(GvcpHandler::PendingAck(requestId, static_cast<uint16_t>(std::min<long long>(
                                                         left + kPendingMarginMs, UINT16_MAX))),
                  to);
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, kPendingIntervalMs)));
    }
    _Send(reply.packet, to);
}

void GvcpServer::_Send(const std::vector<uint8_t>& packet, const sockaddr_in& to)
{
    sendto(m_control, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

} // namespace vcam
