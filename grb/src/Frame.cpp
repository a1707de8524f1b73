#include <GrbCPP/Frame.h>

namespace GrbCPP {

Frame::Frame(std::vector<unsigned char> buffer, uint32_t width, uint32_t height, GrbFrameStatusType status)
    : m_buffer(std::move(buffer))
    , m_width(width)
    , m_height(height)
    , m_status(status)
{
}

GrbErrorType Frame::GetReceiveStatus(GrbFrameStatusType& status) const
{
    status = m_status;
    return GrbErrorSuccess;
}

GrbErrorType Frame::GetBuffer(const unsigned char*& buffer) const
{
    buffer = m_buffer.data();
    return GrbErrorSuccess;
}

GrbErrorType Frame::GetBufferSize(uint32_t& size) const
{
    size = static_cast<uint32_t>(m_buffer.size());
    return GrbErrorSuccess;
}

GrbErrorType Frame::GetWidth(uint32_t& width) const
{
    width = m_width;
    return GrbErrorSuccess;
}

GrbErrorType Frame::GetHeight(uint32_t& height) const
{
    height = m_height;
    return GrbErrorSuccess;
}

} // namespace GrbCPP
