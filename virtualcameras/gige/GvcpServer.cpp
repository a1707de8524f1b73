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

// port 0: one the system picks.
int udpSocket(uint32_t address, uint16_t port, bool shared, std::string& error)
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
    local.sin_port = htons(port);
    local.sin_addr.s_addr = htonl(address);
    if (bind(s, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
    {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &local.sin_addr, text, sizeof text);
        error = std::string("cannot listen on ") + text + ":" + std::to_string(port) + ": " +
                std::strerror(errno);
        close(s);
        return -1;
    }
    return s;
}

} // namespace

GvcpServer::GvcpServer(GvcpHandler& handler, StreamChannel& stream)
    : m_handler(handler)
    , m_stream(stream)
{
}

GvcpServer::~GvcpServer()
{
    for (int s : {m_control, m_discovery, m_streamSocket})
        if (s >= 0)
            close(s);
}

bool GvcpServer::Open(uint32_t address, std::string& error)
{
    if ((address >> 24) != 127)
    {
        error = "the virtual camera listens on loopback addresses (127.x.y.z) only";
        return false;
    }
    m_control = udpSocket(address, gvcp::kPort, false, error);
    if (m_control < 0)
        return false;
    m_discovery = udpSocket(INADDR_BROADCAST, gvcp::kPort, true, error);
    if (m_discovery < 0)
        return false;
    m_streamSocket = udpSocket(address, 0, false, error);
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (m_streamSocket < 0 || getsockname(m_streamSocket, reinterpret_cast<sockaddr*>(&local), &length) != 0)
        return false;
    m_stream.SetSourcePort(ntohs(local.sin_port));
    return true;
}

void GvcpServer::Run(const std::atomic<bool>& stop, Clock::time_point deadline)
{
    while (!stop && Clock::now() < deadline)
    {
        // Woken in time for the next frame and the next stream packet, at the latest after a tick.
        const auto now = Clock::now();
        const auto wake =
            std::min({now + std::chrono::milliseconds(kTickMs), m_handler.NextDue(), m_stream.NextSend()});
        const auto waitUs = std::chrono::duration_cast<std::chrono::microseconds>(wake - std::min(wake, now)).count();
        pollfd sockets[2] = {{m_control, POLLIN, 0}, {m_discovery, POLLIN, 0}};
        const int ready = poll(sockets, 2, static_cast<int>((waitUs + 999) / 1000));
        if (ready < 0 && errno != EINTR)
            break;
        for (const pollfd& p : sockets)
            if (ready > 0 && (p.revents & POLLIN))
                _Receive(p.fd, stop);
        m_handler.Tick(Clock::now());
        _Stream(Clock::now());
    }
}

void GvcpServer::_Stream(Clock::time_point now)
{
    StreamChannel::Datagram datagram;
    while (m_stream.Take(now, datagram))
    {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = htonl(datagram.address);
        to.sin_port = htons(datagram.port);
        // A packet the network drops is the receiver's to ask for again.
        sendto(m_streamSocket, datagram.bytes.data(), datagram.bytes.size(), MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
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
