#ifndef VCAM_GIGE_GVCPPEER_H
#define VCAM_GIGE_GVCPPEER_H

#include <gvcp/GvcpProtocol.h>

#include <cstdint>

namespace vcam {

namespace gvcp = grb::gvcp;

// Where a control message came from: IPv4 address and UDP port, in host order. The
// control channel belongs to one such sender.
struct GvcpPeer
{
    uint32_t address = 0;
    uint16_t port = 0;

    bool operator==(const GvcpPeer& other) const { return address == other.address && port == other.port; }
    bool operator!=(const GvcpPeer& other) const { return !(*this == other); }
    bool IsLoopback() const { return (address >> 24) == 127; }
};

} // namespace vcam

#endif
