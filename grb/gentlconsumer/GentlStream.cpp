#include "GentlStream.h"

#include "GentlDescription.h"
#include "GentlError.h"
#include "GentlPort.h"

#include <chrono>
#include <cstring>
#include <vector>

namespace grb::gentl {

namespace {

constexpr int kBuffers = 2;

std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const auto& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

// Keeps the first failure of a sequence.
void keep(GrbErrorType& first, GrbErrorType err)
{
    if (first == GrbErrorSuccess)
        first = err;
}

} // namespace

GentlStream::GentlStream(std::shared_ptr<GentlLibrary> library, DS_HANDLE stream)
    : m_library(std::move(library))
    , m_stream(stream)
{
}

GentlStream::~GentlStream()
{
    Close();
}

std::unique_ptr<GentlStream> GentlStream::Open(std::shared_ptr<GentlLibrary> library, DEV_HANDLE device,
                                               std::string& why)
{
    if (!library->MissingForStreams().empty())
    {
        why = library->Name() + " has no data streams here: it lacks " + joined(library->MissingForStreams());
        return nullptr;
    }
    const GentlFunctions& f = library->Functions();
    auto count = std::make_shared<uint32_t>(0);
    const PDevGetNumDataStreams number = f.DevGetNumDataStreams;
    if (library->Call("DevGetNumDataStreams", [number, device, count] { return number(device, count.get()); }) !=
            GrbErrorSuccess ||
        *count == 0)
    {
        why = *count == 0 ? library->Name() + ": the camera has no data stream" : GentlError::LastMessage();
        return nullptr;
    }
    std::string id;
    const PDevGetDataStreamID streamId = f.DevGetDataStreamID;
    auto handle = std::make_shared<DS_HANDLE>(nullptr);
    const PDevOpenDataStream openStream = f.DevOpenDataStream;
    if (library->Text("DevGetDataStreamID", [streamId, device](INFO_DATATYPE* t, void* b, size_t* s) {
            *t = INFO_DATATYPE_STRING;
            return streamId(device, 0, static_cast<char*>(b), s);
        }, id) != GrbErrorSuccess ||
        library->Call("DevOpenDataStream", [openStream, device, id, handle] {
            return openStream(device, id.c_str(), handle.get());
        }, std::chrono::milliseconds(0), [close = f.DSClose, handle] { close(*handle); }) != GrbErrorSuccess)
    {
        why = GentlError::LastMessage();
        return nullptr;
    }
    std::unique_ptr<GentlStream> stream(new GentlStream(library, *handle));
    // A stream without a description that reads still streams; it has no features.
    auto port = std::make_shared<GentlPort>(library, *handle);
    std::string xml;
    if (GentlDescription::Fetch(*port, xml) == GrbErrorSuccess &&
        aravis::AravisConnection::OverPort(port, xml, GrbTransportLayerUnknown, true, stream->m_connection) ==
            GrbErrorSuccess)
        stream->m_features = std::make_unique<aravis::AravisNodeMap>(stream->m_connection);
    else
        why = GentlError::LastMessage();
    return stream;
}

void GentlStream::Close()
{
    if (m_connection)
        m_connection->Close();
    if (!m_stream)
        return;
    const PDSClose close = m_library->Functions().DSClose;
    const DS_HANDLE stream = m_stream;
    m_stream = nullptr;
    m_library->Call("DSClose", [close, stream] { return close(stream); });
}

GrbErrorType GentlStream::_PayloadSize(NodeMap& camera, uint64_t& size)
{
    const PDSGetInfo info = m_library->Functions().DSGetInfo;
    const DS_HANDLE stream = m_stream;
    int64_t fromStream = 0;
    if (m_library->Integer("DSGetInfo", [info, stream](INFO_DATATYPE* t, void* b, size_t* s) {
            return info(stream, STREAM_INFO_PAYLOAD_SIZE, t, b, s);
        }, fromStream) == GrbErrorSuccess &&
        fromStream > 0)
    {
        size = uint64_t(fromStream);
        return GrbErrorSuccess;
    }
    FeatureValue value;
    if (camera.Read("PayloadSize", GrbFeatureDataInt, value) == GrbErrorSuccess && value.integer > 0)
    {
        size = uint64_t(value.integer);
        return GrbErrorSuccess;
    }
    return GentlError::Fail(GrbErrorTransportLayer, m_library->Name() + ": neither the stream nor the camera tells the "
                                                                        "size of a frame");
}

GrbErrorType GentlStream::AcquireSingleFrame(NodeMap& camera, uint32_t timeoutMs, FrameData& frame)
{
    if (!m_stream)
        return GentlError::Fail(GrbErrorTransportLayer, "the data stream is closed");
    const GentlFunctions& f = m_library->Functions();
    const DS_HANDLE stream = m_stream;
    uint64_t payload = 0;
    if (GrbErrorType err = _PayloadSize(camera, payload))
        return err;

    std::vector<BUFFER_HANDLE> buffers;
    auto event = std::make_shared<EVENT_HANDLE>(nullptr);
    GrbErrorType err = GrbErrorSuccess;
    const PDSAllocAndAnnounceBuffer announce = f.DSAllocAndAnnounceBuffer;
    const PDSQueueBuffer queue = f.DSQueueBuffer;
    for (int i = 0; i < kBuffers && err == GrbErrorSuccess; ++i)
    {
        auto buffer = std::make_shared<BUFFER_HANDLE>(nullptr);
        err = m_library->Call("DSAllocAndAnnounceBuffer", [announce, stream, payload, buffer] {
            return announce(stream, size_t(payload), nullptr, buffer.get());
        });
        if (err == GrbErrorSuccess)
        {
            buffers.push_back(*buffer);
            const BUFFER_HANDLE handle = *buffer;
            err = m_library->Call("DSQueueBuffer", [queue, stream, handle] { return queue(stream, handle); });
        }
    }
    const PGCRegisterEvent registerEvent = f.GCRegisterEvent;
    if (err == GrbErrorSuccess)
        err = m_library->Call("GCRegisterEvent",
                              [registerEvent, stream, event] { return registerEvent(stream, EVENT_NEW_BUFFER, event.get()); });
    const PDSStartAcquisition start = f.DSStartAcquisition;
    bool started = false;
    if (err == GrbErrorSuccess)
    {
        err = m_library->Call("DSStartAcquisition", [start, stream] { return start(stream, ACQ_START_FLAGS_DEFAULT, 1); });
        started = err == GrbErrorSuccess;
    }
    if (err == GrbErrorSuccess)
    {
        // One frame where the camera can be told so; a camera without the setting runs
        // on and is stopped below.
        FeatureDescription mode;
        if (camera.Describe("AcquisitionMode", FeatureDescription::Entries, mode) == GrbErrorSuccess && mode.writable)
            for (const EnumEntryInfo& entry : mode.entries)
                if (entry.name == "SingleFrame" && entry.available)
                {
                    FeatureValue value;
                    value.integer = entry.value;
                    camera.Write("AcquisitionMode", GrbFeatureDataEnum, value);
                }
        err = camera.Execute("AcquisitionStart");
    }
    if (err == GrbErrorSuccess)
        err = _Wait(timeoutMs, frame, *event);

    // Everything back as it was, whatever failed; the first failure is the one reported.
    GrbErrorType cleanup = GrbErrorSuccess;
    if (started)
    {
        camera.Execute("AcquisitionStop");
        const PDSStopAcquisition stop = f.DSStopAcquisition;
        keep(cleanup, m_library->Call("DSStopAcquisition", [stop, stream] { return stop(stream, ACQ_STOP_FLAGS_KILL); }));
    }
    const PDSFlushQueue flush = f.DSFlushQueue;
    keep(cleanup, m_library->Call("DSFlushQueue", [flush, stream] { return flush(stream, ACQ_QUEUE_ALL_DISCARD); }));
    const PDSRevokeBuffer revoke = f.DSRevokeBuffer;
    for (BUFFER_HANDLE buffer : buffers)
        keep(cleanup, m_library->Call("DSRevokeBuffer", [revoke, stream, buffer] {
            return revoke(stream, buffer, nullptr, nullptr);
        }));
    if (*event)
    {
        const PGCUnregisterEvent unregisterEvent = f.GCUnregisterEvent;
        keep(cleanup, m_library->Call("GCUnregisterEvent",
                                      [unregisterEvent, stream] { return unregisterEvent(stream, EVENT_NEW_BUFFER); }));
    }
    return err != GrbErrorSuccess ? err : cleanup;
}

GrbErrorType GentlStream::_Wait(uint32_t timeoutMs, FrameData& frame, EVENT_HANDLE event)
{
    const GentlFunctions& f = m_library->Functions();
    struct Delivery
    {
        EVENT_NEW_BUFFER_DATA data{};
        size_t size = sizeof(EVENT_NEW_BUFFER_DATA);
    };
    auto delivery = std::make_shared<Delivery>();
    const PEventGetData getData = f.EventGetData;
    // The producer waits for the frame itself: its call may take the frame's time-out.
    if (GrbErrorType err = m_library->Call("EventGetData", [getData, event, delivery, timeoutMs] {
            return getData(event, &delivery->data, &delivery->size, timeoutMs);
        }, std::chrono::milliseconds(timeoutMs)))
        return err;
    if (delivery->size != sizeof(EVENT_NEW_BUFFER_DATA))
        return GentlError::Fail(GrbErrorTransportLayer, m_library->Name() + ": a new-buffer event of the wrong size");

    const PDSGetBufferInfo info = f.DSGetBufferInfo;
    const DS_HANDLE stream = m_stream;
    const BUFFER_HANDLE buffer = delivery->data.BufferHandle;
    auto query = [&](BUFFER_INFO_CMD command, int64_t& value) {
        return m_library->Integer("DSGetBufferInfo", [info, stream, buffer, command](INFO_DATATYPE* t, void* b, size_t* s) {
            return info(stream, buffer, command, t, b, s);
        }, value);
    };
    int64_t size = 0, filled = 0, width = 0, height = 0, incomplete = 0, base = 0;
    GrbErrorType err = query(BUFFER_INFO_SIZE, size);
    if (err == GrbErrorSuccess)
        err = query(BUFFER_INFO_SIZE_FILLED, filled);
    if (err == GrbErrorSuccess)
        err = query(BUFFER_INFO_BASE, base);
    if (err != GrbErrorSuccess)
        return err;
    query(BUFFER_INFO_WIDTH, width);
    query(BUFFER_INFO_HEIGHT, height);
    query(BUFFER_INFO_IS_INCOMPLETE, incomplete);
    if (base == 0 || filled < 0 || filled > size)
        return GentlError::Fail(GrbErrorTransportLayer, m_library->Name() + ": the delivered buffer's place or fill "
                                                                            "does not add up");
    const auto* data = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(base));
    frame.buffer.assign(data, data + filled);
    frame.width = static_cast<uint32_t>(width);
    frame.height = static_cast<uint32_t>(height);
    frame.status = incomplete ? GrbFrameStatusIncomplete : GrbFrameStatusComplete;
    return GrbErrorSuccess;
}

} // namespace grb::gentl
