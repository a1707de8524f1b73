#ifndef GRB_ARAVIS_ARAVISPORTDEVICE_H
#define GRB_ARAVIS_ARAVISPORTDEVICE_H

#include "RegisterPort.h"

#include <memory>
#include <string>

typedef struct _ArvDevice ArvDevice;

namespace grb::aravis {

// An Aravis device whose memory is a register port of ours, with Aravis's GenICam
// engine built over it from the description given: every feature access Aravis makes
// becomes a read or write of the port.
class AravisPortDevice
{
public:
    // Null when the description is not a GenICam document.
    static ArvDevice* New(std::shared_ptr<RegisterPort> port, const std::string& xml);
};

} // namespace grb::aravis

#endif
