#include "HostConnection.h"

#include <Rendezvous.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace vusb {

namespace {

constexpr auto kGreeting = std::chrono::seconds(2);
// How long a cancelled request may take to come back before it is given up.
constexpr auto kCancelGrace = std::chrono::seconds(2);
constexpr size_t kReadChunk = 256 * 1024;

} // namespace

std::shared_ptr<HostConnection> HostConnection::Open(const std::string& path, uint64_t& session)
{
    const int s = Rendezvous::Connect(path);
    if (s < 0)
        return nullptr;
    std::shared_ptr<HostConnection> connection(new HostConnection(s));
    std::vector<uint8_t> version(4);
    Put32(version.data(), kVersion);
    Reply reply;
    if (connection->Call(Type::Hello, version, Clock::now() + kGreeting, reply) != Done ||
        reply.status != Status::Ok || reply.data.size() != 8)
    {
        errno = ECONNREFUSED;
        return nullptr;
    }
    session = Get64(reply.data.data());
    return connection;
}

HostConnection::HostConnection(int socket)
    : m_socket(socket)
{
}

HostConnection::~HostConnection()
{
    close(m_socket);
}

bool HostConnection::_Send(Type type, uint32_t tag, const std::vector<uint8_t>& body)
{
    const std::vector<uint8_t> header = Header(type, tag, body.size());
    iovec parts[2] = {{const_cast<uint8_t*>(header.data()), header.size()},
                      {const_cast<uint8_t*>(body.data()), body.size()}};
    std::lock_guard<std::mutex> lock(m_sendMutex);
    size_t left = header.size() + body.size();
    int index = 0;
    while (left > 0)
    {
        msghdr message{};
        message.msg_iov = parts + index;
        message.msg_iovlen = static_cast<size_t>(2 - index);
        const ssize_t sent = sendmsg(m_socket, &message, MSG_NOSIGNAL);
        if (sent < 0)
        {
            if (errno == EINTR)
                continue;
            return false;
        }
        left -= static_cast<size_t>(sent);
        for (size_t n = static_cast<size_t>(sent); n > 0 && index < 2;)
        {
            const size_t step = std::min(n, parts[index].iov_len);
            parts[index].iov_base = static_cast<uint8_t*>(parts[index].iov_base) + step;
            parts[index].iov_len -= step;
            n -= step;
            if (parts[index].iov_len == 0)
                ++index;
        }
    }
    return true;
}

HostConnection::Outcome HostConnection::Call(Type type, const std::vector<uint8_t>& body, Clock::time_point deadline,
                                             Reply& reply)
{
    uint32_t tag = m_nextTag++;
    if (tag == 0)
        tag = m_nextTag++;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_gone)
            return Gone;
        m_waiting.insert(tag);
    }
    Outcome outcome = Gone;
    if (_Send(type, tag, body))
        outcome = _Wait(tag, deadline, reply);
    else
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        _Lose(lock);
    }
    if (outcome == TimedOut && type == Type::BulkIn)
    {
        // The device answers a cancelled read at once, with whatever it had sent.
        Cancel(tag);
        outcome = _Wait(tag, Clock::now() + kCancelGrace, reply);
        if (outcome == Done && reply.status == Status::Cancelled)
            outcome = TimedOut;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting.erase(tag);
    m_arrived.erase(tag);
    return outcome;
}

bool HostConnection::Start(Type type, const std::vector<uint8_t>& body, Sink sink, uint32_t& tag)
{
    tag = m_nextTag++;
    if (tag == 0)
        tag = m_nextTag++;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_gone)
            return false;
        m_sinks[tag] = std::move(sink);
    }
    const bool sent = _Send(type, tag, body);
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!sent)
    {
        // Unless the device's leaving, seen by a reader meanwhile, has answered it already.
        const bool answered = m_sinks.erase(tag) == 0;
        _Lose(lock);
        return answered;
    }
    if (_AsyncUnwatched() && m_onAsync)
    {
        const std::function<void()> onAsync = m_onAsync;
        lock.unlock();
        onAsync();
    }
    return true;
}

bool HostConnection::_AsyncUnwatched() const
{
    return !m_reading && !m_gone && !m_sinks.empty();
}

void HostConnection::Cancel(uint32_t tag)
{
    std::vector<uint8_t> body(4);
    Put32(body.data(), tag);
    _Send(Type::Cancel, 0, body);
}

HostConnection::Outcome HostConnection::_Wait(uint32_t tag, Clock::time_point deadline, Reply& reply)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;)
    {
        auto arrived = m_arrived.find(tag);
        if (arrived != m_arrived.end())
        {
            reply = std::move(arrived->second);
            m_arrived.erase(arrived);
            return Done;
        }
        if (m_gone)
            return Gone;
        if (Clock::now() >= deadline)
            return TimedOut;
        if (m_reading)
        {
            m_changed.wait_until(lock, deadline);
            continue;
        }
        m_reading = true;
        lock.unlock();
        _Read(deadline);
        lock.lock();
        m_reading = false;
        m_changed.notify_all();
        if (_AsyncUnwatched() && m_onAsync)
        {
            const std::function<void()> onAsync = m_onAsync;
            lock.unlock();
            onAsync();
            lock.lock();
        }
    }
}

void HostConnection::_Read(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    // Deadlines far away are waited for a second at a time.
    pollfd p{m_socket, POLLIN, 0};
    const int ready = poll(&p, 1, static_cast<int>(std::clamp<long long>(left + 1, 0, 1000)));
    if (ready <= 0)
        return;
    ReadAvailable();
}

bool HostConnection::ReadAvailable()
{
    // Only the holder of the reader role gets here, so the buffer is its alone.
    std::vector<uint8_t>& chunk = m_chunk;
    chunk.resize(kReadChunk);
    bool read = false;
    for (;;)
    {
        const ssize_t got = recv(m_socket, chunk.data(), chunk.size(), MSG_DONTWAIT);
        std::unique_lock<std::mutex> lock(m_mutex);
        if (got > 0)
        {
            read = true;
            m_reader.Append(chunk.data(), static_cast<size_t>(got));
            _Dispatch(lock);
            if (static_cast<size_t>(got) < chunk.size())
                return read;
            continue;
        }
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            return read;
        _Lose(lock);
        return read;
    }
}

void HostConnection::_Dispatch(std::unique_lock<std::mutex>& lock)
{
    std::vector<std::pair<Sink, Reply>> ready;
    Frame frame;
    FrameReader::Result result;
    while ((result = m_reader.Next(frame)) == FrameReader::Complete)
    {
        Reply reply;
        if (!ParseReply(frame.body, reply))
        {
            result = FrameReader::Broken;
            break;
        }
        auto sink = m_sinks.find(frame.tag);
        if (sink != m_sinks.end())
        {
            ready.emplace_back(std::move(sink->second), std::move(reply));
            m_sinks.erase(sink);
        }
        else if (m_waiting.count(frame.tag))
            m_arrived[frame.tag] = std::move(reply);
    }
    m_changed.notify_all();
    if (!ready.empty())
    {
        lock.unlock();
        for (auto& [sink, reply] : ready)
            sink(Done, std::move(reply));
        lock.lock();
    }
    if (result == FrameReader::Broken)
        _Lose(lock);
}

void HostConnection::_Lose(std::unique_lock<std::mutex>& lock)
{
    if (m_gone)
        return;
    m_gone = true;
    // Nothing more can come: the device is told so by the socket closing.
    shutdown(m_socket, SHUT_RDWR);
    std::map<uint32_t, Sink> sinks;
    sinks.swap(m_sinks);
    std::function<void()> onGone = m_onGone;
    m_changed.notify_all();
    lock.unlock();
    for (auto& item : sinks)
        item.second(Gone, Reply());
    if (onGone)
        onGone();
    lock.lock();
}

int HostConnection::Watch(bool& reading)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    reading = false;
    if (m_reading || m_gone)
        return -1;
    reading = !m_sinks.empty();
    m_reading = reading;
    return m_socket;
}

void HostConnection::HungUp()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_reading || m_gone)
            return;
        m_reading = true;
    }
    // What the device sent before it left, then the end.
    while (ReadAvailable() && !IsGone())
    {
    }
    EndRead();
}

void HostConnection::EndRead()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_reading = false;
    m_changed.notify_all();
}

bool HostConnection::IsGone()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_gone;
}

void HostConnection::SetOnGone(std::function<void()> onGone)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onGone = std::move(onGone);
}

void HostConnection::SetOnAsync(std::function<void()> onAsync)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_onAsync = std::move(onAsync);
}

} // namespace vusb
