#include "StreamModule.h"

#include "ProducerError.h"

#include <algorithm>
#include <cstring>

namespace vcam::gentl {

namespace {

constexpr auto kIdlePoll = std::chrono::milliseconds(10);

std::vector<uint8_t> newBufferEvent(BufferModule& buffer)
{
    EVENT_NEW_BUFFER_DATA data{buffer.Handle(), buffer.UserPointer()};
    std::vector<uint8_t> bytes(sizeof data);
    std::memcpy(bytes.data(), &data, sizeof data);
    return bytes;
}

ModulePort::Identity identityOf(const std::string& id, const std::string& tlType)
{
    ModulePort::Identity identity;
    identity.id = id;
    identity.vendor = "Zorvan Technologies";
    identity.model = "pellix-gentl";
    identity.tlType = tlType;
    identity.module = "TLDataStream";
    identity.version = "1.0";
    identity.name = "TLDataStreamPort";
    return identity;
}

} // namespace

StreamModule::StreamModule(HandleRegistry& registry, void* parent, std::string id, std::string tlType, Source source)
    : Module(Kind::Stream)
    , m_registry(registry)
    , m_parent(parent)
    , m_id(std::move(id))
    , m_tlType(std::move(tlType))
    , m_source(std::move(source))
    , m_nodeMap(identityOf(m_id, m_tlType), "TLDataStream.xml")
{
    auto locked = [this](auto get) {
        return [this, get] {
            std::lock_guard<std::mutex> lock(m_mutex);
            return static_cast<int64_t>(get());
        };
    };
    m_nodeMap.AddString("StreamID", [this] { return m_id; });
    m_nodeMap.AddEnumeration("StreamType", {{"Mixed", 0}}, [] { return 0; });
    m_nodeMap.AddEnumeration("StreamBufferHandlingMode", {{"OldestFirst", 0}}, [] { return 0; });
    m_nodeMap.AddInteger("StreamAnnouncedBufferCount", locked([this] { return m_announced.size(); }));
    m_nodeMap.AddInteger("StreamInputBufferCount", locked([this] { return m_input.size(); }));
    m_nodeMap.AddInteger("StreamDeliveredFrameCount", locked([this] { return m_delivered; }));
    m_nodeMap.AddInteger("StreamLostFrameCount", locked([this] { return m_underruns; }));
    m_nodeMap.AddInteger("StreamStartedFrameCount", locked([this] { return m_started; }));
    m_nodeMap.AddBoolean("StreamIsGrabbing", [this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_running;
    });
}

StreamModule::~StreamModule()
{
    Close();
}

void StreamModule::Close()
{
    _Join();
    std::vector<std::shared_ptr<BufferModule>> buffers;
    std::shared_ptr<EventQueue> events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        buffers.swap(m_announced);
        m_input.clear();
        events = std::move(m_newBuffer);
    }
    for (const auto& buffer : buffers)
        m_registry.Remove(buffer->Handle());
    if (events)
    {
        events->Kill();
        m_registry.Remove(events->Handle());
    }
}

void StreamModule::_Join()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id())
        m_thread.join();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_running = false;
    m_stopping = false;
}

std::shared_ptr<BufferModule> StreamModule::_Buffer(BUFFER_HANDLE handle)
{
    for (const auto& buffer : m_announced)
        if (buffer->Handle() == handle)
            return buffer;
    return nullptr;
}

GC_ERROR StreamModule::Announce(void* base, size_t size, void* userPointer, BUFFER_HANDLE* handle)
{
    if (!handle || size == 0)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "a buffer needs a size and a place for its handle");
    auto buffer = std::make_shared<BufferModule>(base, size, userPointer);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& other : m_announced)
            if (base && other->Base() == base)
                return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "this memory is announced already");
        m_announced.push_back(buffer);
    }
    m_registry.Add(buffer);
    *handle = buffer->Handle();
    return GC_ERR_SUCCESS;
}

GC_ERROR StreamModule::Revoke(BUFFER_HANDLE handle, void** base, void** userPointer)
{
    std::shared_ptr<BufferModule> buffer;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        buffer = _Buffer(handle);
        if (!buffer)
            return ProducerError::Fail(GC_ERR_INVALID_HANDLE, "no such buffer on this stream");
        if (buffer->queued)
            return ProducerError::Fail(GC_ERR_BUSY, "the buffer is queued");
        m_announced.erase(std::find(m_announced.begin(), m_announced.end(), buffer));
    }
    if (base)
        *base = buffer->Owned() ? nullptr : buffer->Base();
    if (userPointer)
        *userPointer = buffer->UserPointer();
    m_registry.Remove(handle);
    return GC_ERR_SUCCESS;
}

GC_ERROR StreamModule::Queue(BUFFER_HANDLE handle)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::shared_ptr<BufferModule> buffer = _Buffer(handle);
        if (!buffer)
            return ProducerError::Fail(GC_ERR_INVALID_HANDLE, "no such buffer on this stream");
        if (buffer->queued)
            return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the buffer is queued already");
        buffer->queued = true;
        buffer->delivered = false;
        buffer->newData = false;
        m_input.push_back(buffer);
    }
    m_wake.notify_all();
    return GC_ERR_SUCCESS;
}

void StreamModule::_Deliver(const std::shared_ptr<BufferModule>& buffer)
{
    buffer->queued = false;
    buffer->delivered = true;
    if (m_newBuffer)
        m_newBuffer->Push(newBufferEvent(*buffer));
}

GC_ERROR StreamModule::Flush(ACQ_QUEUE_TYPE operation)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (operation)
    {
    case ACQ_QUEUE_INPUT_TO_OUTPUT:
        for (const auto& buffer : m_input)
        {
            buffer->newData = false;
            _Deliver(buffer);
        }
        m_input.clear();
        return GC_ERR_SUCCESS;
    case ACQ_QUEUE_OUTPUT_DISCARD:
    case ACQ_QUEUE_ALL_DISCARD:
        if (m_newBuffer)
            m_newBuffer->Flush();
        for (const auto& buffer : m_announced)
        {
            buffer->delivered = false;
            if (operation == ACQ_QUEUE_ALL_DISCARD)
                buffer->queued = false;
        }
        if (operation == ACQ_QUEUE_ALL_DISCARD)
            m_input.clear();
        return GC_ERR_SUCCESS;
    case ACQ_QUEUE_ALL_TO_INPUT:
    case ACQ_QUEUE_UNQUEUED_TO_INPUT:
        if (operation == ACQ_QUEUE_ALL_TO_INPUT && m_newBuffer)
            m_newBuffer->Flush();
        for (const auto& buffer : m_announced)
        {
            if (buffer->queued || (operation == ACQ_QUEUE_UNQUEUED_TO_INPUT && buffer->delivered))
                continue;
            buffer->queued = true;
            buffer->delivered = false;
            m_input.push_back(buffer);
        }
        m_wake.notify_all();
        return GC_ERR_SUCCESS;
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown queue operation");
    }
}

GC_ERROR StreamModule::Start(ACQ_START_FLAGS flags, uint64_t count)
{
    if (flags != ACQ_START_FLAGS_DEFAULT)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown start flags");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_running || m_thread.joinable())
        return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the acquisition runs already");
    m_running = true;
    m_toAcquire = count;
    ++m_started;
    m_thread = std::thread([this] { _Run(); });
    return GC_ERR_SUCCESS;
}

GC_ERROR StreamModule::Stop(ACQ_STOP_FLAGS flags)
{
    if (flags != ACQ_STOP_FLAGS_DEFAULT && flags != ACQ_STOP_FLAGS_KILL)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown stop flags");
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_running && !m_thread.joinable())
            return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the acquisition is not running");
    }
    _Join();
    return GC_ERR_SUCCESS;
}

void StreamModule::_Run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    uint64_t acquired = 0;
    while (!m_stopping && (m_toAcquire == GENTL_INFINITE || acquired < m_toAcquire))
    {
        if (m_input.empty())
        {
            m_wake.wait_for(lock, kIdlePoll);
            continue;
        }
        lock.unlock();
        grb::sim::SimFrame frame;
        const Clock::time_point now = Clock::now();
        Clock::time_point next = now + kIdlePoll;
        const bool taken = m_source.take(now, frame, next);
        lock.lock();
        if (!taken)
        {
            m_wake.wait_until(lock, std::min(next, Clock::now() + kIdlePoll));
            continue;
        }
        if (m_input.empty())
        {
            ++m_underruns;
            continue;
        }
        std::shared_ptr<BufferModule> buffer = m_input.front();
        m_input.pop_front();
        buffer->Fill(frame);
        _Deliver(buffer);
        ++m_delivered;
        ++acquired;
    }
    m_running = false;
}

GC_ERROR StreamModule::Info(STREAM_INFO_CMD command, InfoBuffer& out)
{
    if (command == STREAM_INFO_PAYLOAD_SIZE)
        return out.PutSize(static_cast<size_t>(m_source.payloadSize()));
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (command)
    {
    case STREAM_INFO_ID:
        return out.Put(m_id);
    case STREAM_INFO_NUM_DELIVERED:
        return out.PutUint64(m_delivered);
    case STREAM_INFO_NUM_UNDERRUN:
        return out.PutUint64(m_underruns);
    case STREAM_INFO_NUM_ANNOUNCED:
        return out.PutSize(m_announced.size());
    case STREAM_INFO_NUM_QUEUED:
        return out.PutSize(m_input.size());
    case STREAM_INFO_NUM_AWAIT_DELIVERY:
        return out.PutSize(static_cast<size_t>(
            std::count_if(m_announced.begin(), m_announced.end(), [](const auto& b) { return b->delivered; })));
    case STREAM_INFO_NUM_STARTED:
        return out.PutUint64(m_started);
    case STREAM_INFO_IS_GRABBING:
        return out.PutBool(m_running);
    case STREAM_INFO_DEFINES_PAYLOADSIZE:
        return out.PutBool(true);
    case STREAM_INFO_TLTYPE:
        return out.Put(m_tlType);
    case STREAM_INFO_BUF_ANNOUNCE_MIN:
    case STREAM_INFO_BUF_ALIGNMENT:
        return out.PutSize(1);
    case STREAM_INFO_NUM_CHUNKS_MAX:
        return ProducerError::Fail(GC_ERR_NOT_AVAILABLE, "the frames carry no chunks");
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown stream info command");
    }
}

GC_ERROR StreamModule::BufferId(uint32_t index, BUFFER_HANDLE* handle)
{
    if (!handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the handle");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index >= m_announced.size())
        return ProducerError::Fail(GC_ERR_INVALID_INDEX, "no buffer with that index");
    *handle = m_announced[index]->Handle();
    return GC_ERR_SUCCESS;
}

GC_ERROR StreamModule::BufferInfo(BUFFER_HANDLE handle, BUFFER_INFO_CMD command, InfoBuffer& out)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::shared_ptr<BufferModule> b = _Buffer(handle);
    if (!b)
        return ProducerError::Fail(GC_ERR_INVALID_HANDLE, "no such buffer on this stream");
    switch (command)
    {
    case BUFFER_INFO_BASE:
        return out.PutPointer(b->Base());
    case BUFFER_INFO_SIZE:
        return out.PutSize(b->Size());
    case BUFFER_INFO_USER_PTR:
        return out.PutPointer(b->UserPointer());
    case BUFFER_INFO_TIMESTAMP:
    case BUFFER_INFO_TIMESTAMP_NS:
        return out.PutUint64(b->timestampNs);
    case BUFFER_INFO_NEW_DATA:
        return out.PutBool(b->newData);
    case BUFFER_INFO_IS_QUEUED:
        return out.PutBool(b->queued);
    case BUFFER_INFO_IS_ACQUIRING:
        return out.PutBool(false);
    case BUFFER_INFO_IS_INCOMPLETE:
        return out.PutBool(b->incomplete);
    case BUFFER_INFO_TLTYPE:
        return out.Put(m_tlType);
    case BUFFER_INFO_SIZE_FILLED:
    case BUFFER_INFO_DATA_SIZE:
        return out.PutSize(b->filled);
    case BUFFER_INFO_WIDTH:
        return out.PutSize(b->width);
    case BUFFER_INFO_HEIGHT:
    case BUFFER_INFO_DELIVERED_IMAGEHEIGHT:
        return out.PutSize(b->height);
    case BUFFER_INFO_XOFFSET:
        return out.PutSize(b->offsetX);
    case BUFFER_INFO_YOFFSET:
        return out.PutSize(b->offsetY);
    case BUFFER_INFO_XPADDING:
    case BUFFER_INFO_YPADDING:
    case BUFFER_INFO_IMAGEOFFSET:
    case BUFFER_INFO_DELIVERED_CHUNKPAYLOADSIZE:
        return out.PutSize(0);
    case BUFFER_INFO_FRAMEID:
        return out.PutUint64(b->frameId);
    case BUFFER_INFO_IMAGEPRESENT:
        return out.PutBool(b->newData);
    case BUFFER_INFO_PAYLOADTYPE:
        return out.PutSize(PAYLOAD_TYPE_IMAGE);
    case BUFFER_INFO_PIXELFORMAT:
        return out.PutUint64(b->pixelFormat);
    case BUFFER_INFO_PIXELFORMAT_NAMESPACE:
        return out.PutUint64(PIXELFORMAT_NAMESPACE_PFNC_32BIT);
    case BUFFER_INFO_PIXEL_ENDIANNESS:
        return out.PutInt32(PIXELENDIANNESS_LITTLE);
    case BUFFER_INFO_DATA_LARGER_THAN_BUFFER:
        return out.PutBool(b->larger);
    case BUFFER_INFO_CONTAINS_CHUNKDATA:
        return out.PutBool(false);
    case BUFFER_INFO_CHUNKLAYOUTID:
    case BUFFER_INFO_FILENAME:
        return ProducerError::Fail(GC_ERR_NOT_AVAILABLE, "the frames carry no chunks or files");
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown buffer info command");
    }
}

GC_ERROR StreamModule::RegisterEvent(EVENT_TYPE type, EVENT_HANDLE* handle)
{
    if (!handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the handle");
    if (type != EVENT_NEW_BUFFER)
        return ProducerError::Fail(GC_ERR_NOT_IMPLEMENTED, "a data stream fires new-buffer events only");
    std::shared_ptr<EventQueue> events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_newBuffer)
            return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "new-buffer events are registered already");
        m_newBuffer = std::make_shared<EventQueue>(EVENT_NEW_BUFFER, sizeof(EVENT_NEW_BUFFER_DATA));
        events = m_newBuffer;
    }
    m_registry.Add(events);
    *handle = events->Handle();
    return GC_ERR_SUCCESS;
}

GC_ERROR StreamModule::UnregisterEvent(EVENT_TYPE type)
{
    std::shared_ptr<EventQueue> events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (type != EVENT_NEW_BUFFER || !m_newBuffer)
            return ProducerError::Fail(GC_ERR_NOT_AVAILABLE, "no such event is registered");
        events = std::move(m_newBuffer);
    }
    events->Kill();
    m_registry.Remove(events->Handle());
    return GC_ERR_SUCCESS;
}

} // namespace vcam::gentl
