#include "UsbDeviceServer.h"

#include <Rendezvous.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>

namespace vcam {

namespace {

using vusb::Status;
using vusb::Type;

constexpr int kTickMs = 100;
// A device that leaves after a request (a reset) answers it first, if the host asks in time.
constexpr auto kLeaveGrace = std::chrono::milliseconds(500);
constexpr size_t kReadChunk = 256 * 1024;
constexpr size_t kMostPending = 64;

constexpr uint8_t kGetStatus = 0x00;
constexpr uint8_t kClearFeature = 0x01;
constexpr uint8_t kSetFeature = 0x03;
constexpr uint8_t kGetDescriptor = 0x06;
constexpr uint8_t kGetConfiguration = 0x08;
constexpr uint8_t kSetConfiguration = 0x09;
constexpr uint8_t kSetInterface = 0x0B;
constexpr uint8_t kRecipientEndpoint = 0x02;
constexpr uint16_t kEndpointHalt = 0;

uint64_t newSession()
{
    static std::mt19937_64 generator{std::random_device{}()};
    uint64_t session = 0;
    while (session == 0)
        session = generator();
    return session;
}

int listenAt(const std::string& path, std::string& error)
{
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path)
    {
        error = "the socket path " + path + " is too long";
        return -1;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s < 0)
    {
        error = std::string("no socket: ") + std::strerror(errno);
        return -1;
    }
    bool bound = bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (!bound && errno == EADDRINUSE)
    {
        // Left behind by a device that did not leave in order, or another device's.
        const int other = vusb::Rendezvous::Connect(path);
        if (other >= 0)
        {
            close(other);
            close(s);
            error = "another virtual USB device is on the bus at " + path;
            return -1;
        }
        unlink(path.c_str());
        bound = bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    if (!bound || listen(s, 16) != 0)
    {
        error = "cannot listen at " + path + ": " + std::strerror(errno);
        close(s);
        return -1;
    }
    return s;
}

} // namespace

UsbDeviceServer::UsbDeviceServer(UsbFunction& function, std::string socketPath, bool heldElsewhere)
    : m_function(function)
    , m_path(std::move(socketPath))
    , m_heldElsewhere(heldElsewhere)
{
}

UsbDeviceServer::~UsbDeviceServer()
{
    _Detach();
}

bool UsbDeviceServer::Attach(std::string& error)
{
    if (m_listener >= 0)
        return true;
    m_listener = listenAt(m_path, error);
    if (m_listener < 0)
        return false;
    m_session = newSession();
    return true;
}

void UsbDeviceServer::_Detach()
{
    while (!m_connections.empty())
        _Close(m_connections.begin()->first);
    m_halted.clear();
    if (m_listener >= 0)
    {
        close(m_listener);
        m_listener = -1;
        unlink(m_path.c_str());
    }
}

void UsbDeviceServer::_Close(int fd)
{
    for (auto it = m_claims.begin(); it != m_claims.end();)
    {
        if (it->second != fd)
        {
            ++it;
            continue;
        }
        const uint8_t interface = it->first;
        it = m_claims.erase(it);
        m_function.Released(interface);
    }
    close(fd);
    m_connections.erase(fd);
}

void UsbDeviceServer::Run(const std::atomic<bool>& stop, Clock::time_point deadline)
{
    while (!stop)
    {
        auto now = Clock::now();
        if (now >= deadline)
            break;
        if (m_function.Present())
        {
            m_leaving = Clock::time_point::max();
            std::string error;
            if (m_listener < 0)
                Attach(error);
        }
        else if (m_listener >= 0)
        {
            if (m_leaving == Clock::time_point::max())
                m_leaving = now + kLeaveGrace;
            if (m_function.Quiet() || now >= m_leaving)
                _Detach();
        }
        _ServePending(now);

        std::vector<pollfd> fds;
        if (m_listener >= 0)
            fds.push_back({m_listener, POLLIN, 0});
        for (const auto& item : m_connections)
            fds.push_back({item.first, short(POLLIN | (item.second->out.empty() ? 0 : POLLOUT)), 0});
        auto wake = std::min({deadline, now + std::chrono::milliseconds(kTickMs), m_function.NextEvent(now)});
        const auto waitMs = std::chrono::duration_cast<std::chrono::milliseconds>(wake - now).count();
        const int ready = poll(fds.data(), fds.size(), static_cast<int>(std::clamp<long long>(waitMs, 0, kTickMs)));
        if (ready < 0 && errno != EINTR)
            break;
        now = Clock::now();
        for (const pollfd& p : fds)
        {
            if (ready <= 0 || !p.revents)
                continue;
            if (p.fd == m_listener)
            {
                _Accept();
                continue;
            }
            auto found = m_connections.find(p.fd);
            if (found == m_connections.end())
                continue;
            Connection& c = *found->second;
            bool keep = true;
            if (p.revents & (POLLIN | POLLHUP | POLLERR))
                keep = _Receive(c, now);
            if (keep && (p.revents & POLLOUT))
                keep = _Flush(c);
            if (!keep)
                _Close(p.fd);
        }
        _ServePending(now);
        std::vector<int> broken;
        for (const auto& item : m_connections)
            if (!_Flush(*item.second))
                broken.push_back(item.first);
        for (int fd : broken)
            _Close(fd);
    }
    _Detach();
}

void UsbDeviceServer::_Accept()
{
    for (;;)
    {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return;
        auto connection = std::make_unique<Connection>();
        connection->fd = fd;
        m_connections[fd] = std::move(connection);
    }
}

bool UsbDeviceServer::_Receive(Connection& c, Clock::time_point now)
{
    std::vector<uint8_t>& chunk = m_chunk;
    chunk.resize(kReadChunk);
    for (;;)
    {
        const ssize_t got = recv(c.fd, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (got == 0)
            return false;
        if (got < 0)
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        c.reader.Append(chunk.data(), static_cast<size_t>(got));
        vusb::Frame frame;
        vusb::FrameReader::Result result;
        while ((result = c.reader.Next(frame)) == vusb::FrameReader::Complete)
            if (!_Handle(c, frame, now))
                return false;
        if (result == vusb::FrameReader::Broken)
            return false;
        if (static_cast<size_t>(got) < chunk.size())
            return true;
    }
}

vusb::Status UsbDeviceServer::_Usable(const Connection& c, uint8_t endpoint) const
{
    const int interface = m_function.InterfaceOf(endpoint);
    if (interface < 0)
        return Status::NotFound;
    auto claim = m_claims.find(static_cast<uint8_t>(interface));
    if (claim == m_claims.end())
        return Status::NotFound;
    if (claim->second != c.fd)
        return Status::Busy;
    return m_halted.count(endpoint) ? Status::Stall : Status::Ok;
}

bool UsbDeviceServer::_Handle(Connection& c, const vusb::Frame& frame, Clock::time_point now)
{
    if (!c.greeted && frame.type != Type::Hello)
        return false;
    uint8_t byte = 0;
    uint32_t word = 0;
    switch (frame.type)
    {
    case Type::Hello: {
        if (!vusb::ParseWord(frame.body, word) || word != vusb::kVersion)
        {
            _Reply(c, frame.tag, Status::Invalid, 0, nullptr, 0);
            return true;
        }
        c.greeted = true;
        uint8_t session[8];
        vusb::Put64(session, m_session);
        _Reply(c, frame.tag, Status::Ok, sizeof session, session, sizeof session);
        return true;
    }
    case Type::Control:
        _Control(c, frame);
        return true;
    case Type::BulkOut: {
        const uint8_t* data = nullptr;
        size_t size = 0;
        Status status = Status::Invalid;
        if (vusb::ParseBulkOut(frame.body, byte, data, size))
        {
            status = _Usable(c, byte);
            if (status == Status::Ok && !m_function.Receive(byte, data, size, now))
                status = Status::Stall;
        }
        _Reply(c, frame.tag, status, status == Status::Ok ? static_cast<uint32_t>(size) : 0, nullptr, 0);
        return true;
    }
    case Type::BulkIn: {
        Status status = Status::Invalid;
        if (vusb::ParseBulkIn(frame.body, byte, word) && c.pending.size() < kMostPending)
            status = _Usable(c, byte);
        if (status == Status::Ok)
            c.pending.push_back({frame.tag, byte, word});
        else
            _Reply(c, frame.tag, status, 0, nullptr, 0);
        return true;
    }
    case Type::Claim:
    case Type::Release: {
        Status status = Status::Invalid;
        if (vusb::ParseByte(frame.body, byte))
        {
            auto claim = m_claims.find(byte);
            if (!m_function.HasInterface(byte))
                status = Status::NotFound;
            else if (frame.type == Type::Claim)
            {
                status = m_heldElsewhere || (claim != m_claims.end() && claim->second != c.fd) ? Status::Busy
                                                                                              : Status::Ok;
                if (status == Status::Ok)
                    m_claims[byte] = c.fd;
            }
            else if (claim == m_claims.end() || claim->second != c.fd)
                status = Status::NotFound;
            else
            {
                m_claims.erase(claim);
                m_function.Released(byte);
                status = Status::Ok;
            }
        }
        _Reply(c, frame.tag, status, 0, nullptr, 0);
        return true;
    }
    case Type::ClearHalt: {
        Status status = Status::Invalid;
        if (vusb::ParseByte(frame.body, byte))
        {
            status = m_function.InterfaceOf(byte) < 0 ? Status::NotFound : Status::Ok;
            if (status == Status::Ok)
            {
                m_halted.erase(byte);
                m_function.EndpointReset(byte);
            }
        }
        _Reply(c, frame.tag, status, 0, nullptr, 0);
        return true;
    }
    case Type::Cancel: {
        if (!vusb::ParseWord(frame.body, word))
            return true;
        auto pending = std::find_if(c.pending.begin(), c.pending.end(), [&](const PendingIn& p) { return p.tag == word; });
        if (pending != c.pending.end())
        {
            c.pending.erase(pending);
            _Reply(c, word, Status::Cancelled, 0, nullptr, 0);
        }
        return true;
    }
    case Type::Reply:
        break;
    }
    return false;
}

void UsbDeviceServer::_Control(Connection& c, const vusb::Frame& frame)
{
    vusb::Setup setup;
    if (!vusb::ParseSetup(frame.body, setup))
    {
        _Reply(c, frame.tag, Status::Invalid, 0, nullptr, 0);
        return;
    }
    const bool in = (setup.requestType & 0x80) != 0;
    const bool standard = (setup.requestType & 0x60) == 0;
    const bool endpointRecipient = (setup.requestType & 0x1F) == kRecipientEndpoint;
    const uint8_t endpoint = static_cast<uint8_t>(setup.index);
    std::vector<uint8_t> data;
    bool ok = false;
    if (standard && in && setup.request == kGetDescriptor)
    {
        data = m_function.Descriptor(static_cast<uint8_t>(setup.value >> 8), static_cast<uint8_t>(setup.value));
        ok = !data.empty();
    }
    else if (standard && in && setup.request == kGetStatus)
    {
        data = {uint8_t(endpointRecipient && m_halted.count(endpoint) ? 1 : 0), 0};
        ok = true;
    }
    else if (standard && in && setup.request == kGetConfiguration)
    {
        data = {1};
        ok = true;
    }
    else if (standard && !in && (setup.request == kSetFeature || setup.request == kClearFeature) &&
             endpointRecipient && setup.value == kEndpointHalt && m_function.InterfaceOf(endpoint) >= 0)
    {
        if (setup.request == kSetFeature)
            m_halted.insert(endpoint);
        else
        {
            m_halted.erase(endpoint);
            m_function.EndpointReset(endpoint);
        }
        ok = true;
    }
    else if (standard && !in && setup.request == kSetConfiguration)
        ok = setup.value <= 1;
    else if (standard && !in && setup.request == kSetInterface)
        ok = setup.value == 0 && m_function.HasInterface(static_cast<uint8_t>(setup.index));
    if (!ok)
    {
        _Reply(c, frame.tag, Status::Stall, 0, nullptr, 0);
        return;
    }
    if (data.size() > setup.length)
        data.resize(setup.length);
    const uint32_t count = in ? static_cast<uint32_t>(data.size()) : setup.length;
    _Reply(c, frame.tag, Status::Ok, count, data.data(), data.size());
}

void UsbDeviceServer::_ServePending(Clock::time_point now)
{
    for (auto& item : m_connections)
    {
        Connection& c = *item.second;
        std::set<uint8_t> waiting;
        for (auto it = c.pending.begin(); it != c.pending.end();)
        {
            // Requests on one endpoint are served in order.
            if (waiting.count(it->endpoint))
            {
                ++it;
                continue;
            }
            const Status status = _Usable(c, it->endpoint);
            std::vector<uint8_t> data;
            UsbFunction::Sent sent = UsbFunction::Sent::Nothing;
            if (status == Status::Ok)
                sent = m_function.Send(it->endpoint, it->length, now, data);
            if (status == Status::Ok && sent == UsbFunction::Sent::Nothing)
            {
                waiting.insert(it->endpoint);
                ++it;
                continue;
            }
            const Status answer = status != Status::Ok ? status
                                  : sent == UsbFunction::Sent::Overflow ? Status::Overflow
                                                                        : Status::Ok;
            _Reply(c, it->tag, answer, static_cast<uint32_t>(data.size()), data.data(), data.size());
            it = c.pending.erase(it);
        }
    }
}

void UsbDeviceServer::_Reply(Connection& c, uint32_t tag, Status status, uint32_t count, const uint8_t* data,
                             size_t size)
{
    const std::vector<uint8_t> message = vusb::EncodeReply(tag, status, count, data, size);
    c.out.insert(c.out.end(), message.begin(), message.end());
}

bool UsbDeviceServer::_Flush(Connection& c)
{
    size_t sent = 0;
    while (sent < c.out.size())
    {
        const ssize_t n = send(c.fd, c.out.data() + sent, c.out.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK)
                return false;
            break;
        }
        sent += static_cast<size_t>(n);
    }
    c.out.erase(c.out.begin(), c.out.begin() + static_cast<std::ptrdiff_t>(sent));
    return true;
}

} // namespace vcam
