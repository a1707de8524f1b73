#ifndef VUSB_FRAMEREADER_H
#define VUSB_FRAMEREADER_H

#include "UsbWire.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vusb {

// Cuts the bytes of one connection into messages. A header that is not ours, of
// another version, with a type that does not go this way or a body beyond the limit
// makes the connection unusable: the reader then reports Broken for good.
class FrameReader
{
public:
    enum Result
    {
        Complete,
        NeedMore,
        Broken
    };

    // fromDevice: the messages come from a device (Reply only); else from a host.
    explicit FrameReader(bool fromDevice);

    void Append(const uint8_t* data, size_t size);
    // The next whole message, if one is there.
    Result Next(Frame& frame);
    // Bytes a message started but not yet complete still needs, at least 1.
    size_t Wanted() const;

private:
    bool _Acceptable(uint8_t type) const;

    bool m_fromDevice;
    bool m_broken = false;
    std::vector<uint8_t> m_buffer;
    size_t m_start = 0;
};

} // namespace vusb

#endif
