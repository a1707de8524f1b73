#ifndef VCAM_GENTL_STREAMMODULE_H
#define VCAM_GENTL_STREAMMODULE_H

#include "BufferModule.h"
#include "EventQueue.h"
#include "HandleRegistry.h"
#include "InfoBuffer.h"
#include "ModuleNodeMap.h"

#include <sim/SimFrame.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vcam::gentl {

// A device's data stream: the buffers the consumer announced, the input queue they wait
// in, and a thread that fills the first waiting buffer with each frame the camera makes
// and hands it out as a new-buffer event.
class StreamModule : public Module
{
public:
    using Clock = std::chrono::steady_clock;
    // What the stream asks the device for.
    struct Source
    {
        // The frame due by now, if one is; next: when the following one is due.
        std::function<bool(Clock::time_point now, grb::sim::SimFrame& frame, Clock::time_point& next)> take;
        std::function<uint64_t()> payloadSize;
    };

    StreamModule(HandleRegistry& registry, void* parent, std::string id, std::string tlType, Source source);
    ~StreamModule() override;

    // Stops the acquisition and takes the buffers' and events' handles away.
    void Close();
    ModulePort* Port() override { return &m_nodeMap; }
    const std::string& Id() const { return m_id; }
    void* ParentHandle() const { return m_parent; }

    GC_ERROR Announce(void* base, size_t size, void* userPointer, BUFFER_HANDLE* handle);
    GC_ERROR Revoke(BUFFER_HANDLE handle, void** base, void** userPointer);
    GC_ERROR Queue(BUFFER_HANDLE handle);
    GC_ERROR Flush(ACQ_QUEUE_TYPE operation);
    GC_ERROR Start(ACQ_START_FLAGS flags, uint64_t count);
    GC_ERROR Stop(ACQ_STOP_FLAGS flags);
    GC_ERROR Info(STREAM_INFO_CMD command, InfoBuffer& out);
    GC_ERROR BufferId(uint32_t index, BUFFER_HANDLE* handle);
    GC_ERROR BufferInfo(BUFFER_HANDLE handle, BUFFER_INFO_CMD command, InfoBuffer& out);
    GC_ERROR RegisterEvent(EVENT_TYPE type, EVENT_HANDLE* handle);
    GC_ERROR UnregisterEvent(EVENT_TYPE type);

private:
    std::shared_ptr<BufferModule> _Buffer(BUFFER_HANDLE handle);
    void _Deliver(const std::shared_ptr<BufferModule>& buffer);
    void _Run();
    void _Join();

    HandleRegistry& m_registry;
    void* m_parent;
    std::string m_id;
    std::string m_tlType;
    Source m_source;
    ModuleNodeMap m_nodeMap;

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::shared_ptr<BufferModule>> m_announced;
    std::deque<std::shared_ptr<BufferModule>> m_input;
    std::shared_ptr<EventQueue> m_newBuffer;
    bool m_running = false;
    bool m_stopping = false;
    uint64_t m_toAcquire = 0;
    uint64_t m_delivered = 0;
    uint64_t m_underruns = 0;
    uint64_t m_started = 0;
    std::thread m_thread;
};

} // namespace vcam::gentl

#endif
