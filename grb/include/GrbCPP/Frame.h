#ifndef GRBCPP_FRAME_H
#define GRBCPP_FRAME_H

#include <GrbCPP/GrbCPPTypes.h>

#include <vector>

namespace GrbCPP {

class Frame
{
public:
    Frame(std::vector<unsigned char> buffer, uint32_t width, uint32_t height, GrbFrameStatusType status);

    GrbErrorType GetReceiveStatus(GrbFrameStatusType& status) const;
    GrbErrorType GetBuffer(const unsigned char*& buffer) const;
    GrbErrorType GetBufferSize(uint32_t& size) const;
    GrbErrorType GetWidth(uint32_t& width) const;
    GrbErrorType GetHeight(uint32_t& height) const;

private:
    std::vector<unsigned char> m_buffer;
    uint32_t m_width;
    uint32_t m_height;
    GrbFrameStatusType m_status;
};

} // namespace GrbCPP

#endif
