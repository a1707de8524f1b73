#ifndef VUSB_HOSTCONNECTION_H
#define VUSB_HOSTCONNECTION_H

#include <FrameReader.h>
#include <UsbWire.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vusb {

// The host's end of one connection to a virtual USB device, shared by every thread
// that uses the device. There is no reader thread: whoever waits for an answer reads
// the socket for everyone while no one else does, and hands each answer to the thread
// or the asynchronous transfer waiting for it. When the device leaves, everything
// waiting fails with Gone.
class HostConnection
{
public:
    using Clock = std::chrono::steady_clock;
    enum Outcome
    {
        Done,
        TimedOut,
        Gone
    };
    // Called, on whichever thread read it, with the answer to an asynchronous request, or
    // with Gone when the device left first.
    using Sink = std::function<void(Outcome, Reply&&)>;

    // Connects and greets the device; null (and errno) when no device answers there.
    static std::shared_ptr<HostConnection> Open(const std::string& path, uint64_t& session);
    ~HostConnection();
    HostConnection(const HostConnection&) = delete;
    HostConnection& operator=(const HostConnection&) = delete;

    // A request and its answer. On TimedOut a BulkIn is cancelled, and what the device
    // had sent by then still comes back as Done.
    Outcome Call(Type type, const std::vector<uint8_t>& body, Clock::time_point deadline, Reply& reply);
    // A request whose answer goes to sink; false (sink not called) when the device is gone.
    bool Start(Type type, const std::vector<uint8_t>& body, Sink sink, uint32_t& tag);
    void Cancel(uint32_t tag);

    // For an event loop: the socket to wait on, or -1 when there is none to watch (the
    // device is gone, or another thread reads and so watches it). reading true: the loop
    // now reads for everyone (answers to asynchronous requests are due), waits for data
    // and calls ReadAvailable and then EndRead. reading false: it waits only for the
    // device to hang up, and then calls HungUp; synchronous callers read their own
    // answers, which no other thread then has to hand over.
    int Watch(bool& reading);
    // Reads what is there without waiting and hands it out; false when nothing was there.
    bool ReadAvailable();
    void EndRead();
    // The socket was seen hung up: takes in what is left and the end, unless another
    // thread reads (and so sees it).
    void HungUp();

    bool IsGone();
    // Called once, on the reading thread, when the device leaves.
    void SetOnGone(std::function<void()> onGone);
    // Called when an event loop should watch again: an asynchronous request is out with
    // no thread reading, or a synchronous reader stopped reading while one is out.
    void SetOnAsync(std::function<void()> onAsync);

private:
    explicit HostConnection(int socket);
    bool _Send(Type type, uint32_t tag, const std::vector<uint8_t>& body);
    Outcome _Wait(uint32_t tag, Clock::time_point deadline, Reply& reply);
    // Reads until something arrives or the deadline; the caller holds the reader role.
    void _Read(Clock::time_point deadline);
    void _Dispatch(std::unique_lock<std::mutex>& lock);
    void _Lose(std::unique_lock<std::mutex>& lock);
    // With the lock held: whether an event loop must be told to watch again.
    bool _AsyncUnwatched() const;

    int m_socket;
    std::atomic<uint32_t> m_nextTag{1};
    std::mutex m_sendMutex;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_reading = false;
    bool m_gone = false;
    FrameReader m_reader{true};
    std::vector<uint8_t> m_chunk;
    std::set<uint32_t> m_waiting;
    std::map<uint32_t, Reply> m_arrived;
    std::map<uint32_t, Sink> m_sinks;
    std::function<void()> m_onGone;
    std::function<void()> m_onAsync;
};

} // namespace vusb

#endif
