#include "EventQueue.h"

#include "ProducerError.h"

#include <chrono>
#include <cstring>

namespace vcam::gentl {

EventQueue::EventQueue(EVENT_TYPE type, size_t dataSize)
    : Module(Kind::Event)
    , m_type(type)
    , m_dataSize(dataSize)
{
}

void EventQueue::Push(std::vector<uint8_t> data)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(std::move(data));
        ++m_fired;
    }
    m_arrived.notify_all();
}

GC_ERROR EventQueue::Get(void* buffer, size_t* size, uint64_t timeoutMs)
{
    if (!size)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no size given");
    if (!buffer || *size < m_dataSize)
    {
        *size = m_dataSize;
        return ProducerError::Fail(buffer ? GC_ERR_BUFFER_TOO_SMALL : GC_ERR_INVALID_PARAMETER,
                                   "the event data needs a buffer of its size");
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    auto ready = [this] { return !m_queue.empty() || m_kills > 0; };
    if (timeoutMs == GENTL_INFINITE)
        m_arrived.wait(lock, ready);
    else if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready))
        return ProducerError::Fail(GC_ERR_TIMEOUT, "no event within the time-out");
    if (m_kills > 0)
    {
        --m_kills;
        return ProducerError::Fail(GC_ERR_ABORT, "the wait was killed");
    }
    const std::vector<uint8_t> data = std::move(m_queue.front());
    m_queue.pop_front();
    std::memcpy(buffer, data.data(), data.size());
    *size = data.size();
    return GC_ERR_SUCCESS;
}

void EventQueue::Flush()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.clear();
}

void EventQueue::Kill()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_kills;
    }
    m_arrived.notify_all();
}

GC_ERROR EventQueue::Info(EVENT_INFO_CMD command, InfoBuffer& out)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (command)
    {
    case EVENT_EVENT_TYPE:
        return out.PutInt32(m_type);
    case EVENT_NUM_IN_QUEUE:
        return out.PutSize(m_queue.size());
    case EVENT_NUM_FIRED:
        return out.PutUint64(m_fired);
    case EVENT_SIZE_MAX:
        return out.PutSize(m_dataSize);
    case EVENT_INFO_DATA_SIZE_MAX:
        return out.PutSize(0);
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown event info command");
    }
}

} // namespace vcam::gentl
