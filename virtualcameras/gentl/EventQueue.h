#ifndef VCAM_GENTL_EVENTQUEUE_H
#define VCAM_GENTL_EVENTQUEUE_H

#include "InfoBuffer.h"
#include "Module.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace vcam::gentl {

// The events of one type a module fires, queued until the consumer takes them.
class EventQueue : public Module
{
public:
    EventQueue(EVENT_TYPE type, size_t dataSize);

    EVENT_TYPE Type() const { return m_type; }
    void Push(std::vector<uint8_t> data);
    // Waits up to timeoutMs for the next event: GC_ERR_TIMEOUT when none came,
    // GC_ERR_ABORT when the wait was killed.
    GC_ERROR Get(void* buffer, size_t* size, uint64_t timeoutMs);
    void Flush();
    void Kill();
    GC_ERROR Info(EVENT_INFO_CMD command, InfoBuffer& out);

private:
    EVENT_TYPE m_type;
    size_t m_dataSize;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<std::vector<uint8_t>> m_queue;
    uint64_t m_fired = 0;
    unsigned m_kills = 0;
};

} // namespace vcam::gentl

#endif
