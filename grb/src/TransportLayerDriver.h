#ifndef GRB_TRANSPORTLAYERDRIVER_H
#define GRB_TRANSPORTLAYERDRIVER_H

#include "DeviceRecord.h"
#include "DeviceSession.h"

#include <functional>
#include <memory>
#include <vector>

namespace grb {

// The contract of one transport layer. Handles, text reads, error mapping and the
// observers live above it, once for all layers.
class TransportLayerDriver
{
public:
    virtual ~TransportLayerDriver() = default;

    // Done discovering when it returns. listChanged may be called from any thread,
    // never while the driver holds a lock of its own, whenever the list of devices
    // or a device's access may have changed.
    virtual GrbErrorType Start(std::function<void()> listChanged) = 0;
    virtual void Stop() = 0;

    virtual GrbErrorType Enumerate(std::vector<DeviceRecord>& devices) = 0;
    virtual GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode,
                              std::unique_ptr<DeviceSession>& session) = 0;

    // A fault the layer wants the version query to report; only the simulator has one.
    virtual GrbErrorType VersionQueryFault() { return GrbErrorSuccess; }
};

} // namespace grb

#endif
