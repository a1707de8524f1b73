#include "GentlSession.h"

#include "GentlError.h"

namespace grb::gentl {

GentlSession::GentlSession(std::shared_ptr<GentlLibrary> library, DEV_HANDLE device, std::shared_ptr<GentlPort> remote,
                           std::shared_ptr<aravis::AravisConnection> connection, std::unique_ptr<GentlStream> stream,
                           std::string noStream, bool writable)
    : m_library(std::move(library))
    , m_device(device)
    , m_remote(std::move(remote))
    , m_connection(std::move(connection))
    , m_features(m_connection)
    , m_stream(std::move(stream))
    , m_noStream(std::move(noStream))
    , m_writable(writable)
{
}

GentlSession::~GentlSession()
{
    Close();
}

NodeMap* GentlSession::StreamFeatures(uint32_t index)
{
    return index == 0 && m_stream ? m_stream->Features() : nullptr;
}

GrbErrorType GentlSession::ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (m_closed)
        return GentlError::Fail(GrbErrorTransportLayer, "the camera is closed");
    std::string why;
    const GrbErrorType err = m_remote->Read(address, buffer, size, why);
    if (err == GrbErrorSuccess)
        done = size;
    return err;
}

GrbErrorType GentlSession::WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (m_closed)
        return GentlError::Fail(GrbErrorTransportLayer, "the camera is closed");
    if (!m_writable)
        return GentlError::Fail(GrbErrorInvalidAccess, "the camera is open for reading only");
    std::string why;
    const GrbErrorType err = m_remote->Write(address, buffer, size, why);
    if (err == GrbErrorSuccess)
        done = size;
    return err;
}

GrbErrorType GentlSession::AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame)
{
    if (m_closed)
        return GentlError::Fail(GrbErrorTransportLayer, "the camera is closed");
    if (!m_writable)
        return GentlError::Fail(GrbErrorInvalidAccess, "the camera is open for reading only");
    if (!m_stream)
        return GentlError::Fail(GrbErrorNotSupported, m_noStream);
    return m_stream->AcquireSingleFrame(m_features, timeoutMs, frame);
}

void GentlSession::Close()
{
    if (m_closed.exchange(true))
        return;
    if (m_stream)
        m_stream->Close();
    m_connection->Close();
    const PDevClose close = m_library->Functions().DevClose;
    const DEV_HANDLE device = m_device;
    m_library->Call("DevClose", [close, device] { return close(device); });
}

} // namespace grb::gentl
