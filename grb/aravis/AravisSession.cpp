#include "AravisSession.h"

#include "AravisError.h"

#include <arv.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace grb::aravis {

namespace {

constexpr uint64_t kWord = 4;

uint64_t alignDown(uint64_t address)
{
    return address & ~(kWord - 1);
}

uint64_t alignUp(uint64_t address)
{
    return (address + kWord - 1) & ~(kWord - 1);
}

GrbFrameStatusType frameStatus(ArvBufferStatus status)
{
    switch (status)
    {
    case ARV_BUFFER_STATUS_SUCCESS:
        return GrbFrameStatusComplete;
    case ARV_BUFFER_STATUS_SIZE_MISMATCH:
        return GrbFrameStatusTooSmall;
    case ARV_BUFFER_STATUS_MISSING_PACKETS:
    case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
    case ARV_BUFFER_STATUS_FILLING:
    case ARV_BUFFER_STATUS_ABORTED:
        return GrbFrameStatusIncomplete;
    default:
        return GrbFrameStatusInvalid;
    }
}

} // namespace

AravisSession::AravisSession(std::shared_ptr<AravisConnection> connection, std::shared_ptr<AravisDiscovery> discovery,
                             std::string extendedId)
    : m_connection(std::move(connection))
    , m_discovery(std::move(discovery))
    , m_extendedId(std::move(extendedId))
    , m_features(m_connection)
    , m_stream(m_connection)
{
}

AravisSession::~AravisSession()
{
    Close();
}

uint32_t AravisSession::StreamCount()
{
    return m_connection->StreamCount();
}

NodeMap* AravisSession::StreamFeatures(uint32_t index)
{
    // Only the first stream has features of its own.
    return index == 0 && StreamCount() > 0 ? &m_stream : nullptr;
}

GrbErrorType AravisSession::_CheckRange(uint64_t address, uint32_t size)
{
    // GigE Vision addresses are 32 bits wide; the end is kept word-aligned and below the limit.
    const uint64_t limit = m_connection->Type() == GrbTransportLayerGEV ? uint64_t(1) << 32 : alignDown(~uint64_t(0));
    if (size > limit || address > limit - size)
        return AravisError::Fail(GrbErrorBadParameter, "the memory range lies outside the camera's address space");
    return GrbErrorSuccess;
}

GrbErrorType AravisSession::ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    if (GrbErrorType err = _CheckRange(address, size))
        return err;
    const uint64_t start = alignDown(address);
    std::vector<uint8_t> block(static_cast<size_t>(alignUp(address + size) - start));
    GrbErrorType err = m_connection->Run([&](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        GError* error = nullptr;
        arv_device_read_memory(device, start, static_cast<guint32>(block.size()), block.data(), &error);
        return AravisError::Take(error);
    });
    if (err != GrbErrorSuccess)
        return err;
    std::memcpy(buffer, block.data() + (address - start), size);
    done = size;
    return GrbErrorSuccess;
}

GrbErrorType AravisSession::WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    if (!m_connection->Writable())
        return AravisError::Fail(GrbErrorInvalidAccess, "the camera is open for reading only");
    if (GrbErrorType err = _CheckRange(address, size))
        return err;
    const uint64_t start = alignDown(address);
    const uint64_t end = alignUp(address + size);
    std::vector<uint8_t> block(static_cast<size_t>(end - start));
    GrbErrorType err = m_connection->Run([&](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        GError* error = nullptr;
        if (start < address)
            arv_device_read_memory(device, start, kWord, block.data(), &error);
        const uint64_t lastWord = end - kWord;
        if (!error && end > address + size && (lastWord != start || start == address))
            arv_device_read_memory(device, lastWord, kWord, block.data() + (lastWord - start), &error);
        if (error)
            return AravisError::Take(error);
        std::memcpy(block.data() + (address - start), buffer, size);
        arv_device_write_memory(device, start, static_cast<guint32>(block.size()), block.data(), &error);
        return AravisError::Take(error);
    });
    if (err == GrbErrorSuccess)
        done = size;
    return err;
}

GrbErrorType AravisSession::AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame)
{
    if (!m_connection->Writable())
        return AravisError::Fail(GrbErrorInvalidAccess, "the camera is open for reading only");
    return m_connection->Run([&](ArvDevice*, ArvCamera* camera) -> GrbErrorType {
        GError* error = nullptr;
        // Aravis waits forever on 0.
        ArvBuffer* buffer = arv_camera_acquisition(camera, std::max<guint64>(timeoutMs, 1) * 1000, &error);
        if (!buffer)
            return error ? AravisError::Take(error) : AravisError::Fail(GrbErrorTimeout, "no frame arrived");
        AravisError::Take(error);
        const ArvBufferStatus status = arv_buffer_get_status(buffer);
        GrbErrorType err = GrbErrorSuccess;
        if (status == ARV_BUFFER_STATUS_TIMEOUT)
            err = AravisError::Fail(GrbErrorTimeout, "the frame did not arrive in time");
        else
        {
            size_t size = 0;
            const auto* data = static_cast<const uint8_t*>(arv_buffer_get_data(buffer, &size));
            frame.buffer.assign(data, data + (data ? size : 0));
            const bool image = arv_buffer_get_payload_type(buffer) == ARV_BUFFER_PAYLOAD_TYPE_IMAGE;
            frame.width = image ? static_cast<uint32_t>(arv_buffer_get_image_width(buffer)) : 0;
            frame.height = image ? static_cast<uint32_t>(arv_buffer_get_image_height(buffer)) : 0;
            frame.status = frameStatus(status);
        }
        g_object_unref(buffer);
        return err;
    });
}

void AravisSession::Close()
{
    m_connection->Close();
    m_discovery->SetOpenHere(m_extendedId, false);
}

} // namespace grb::aravis
