#ifndef GRB_CONTRACT_TRANSPORTLAYERDRIVER_H
#define GRB_CONTRACT_TRANSPORTLAYERDRIVER_H

#include "DeviceListObserver.h"
#include "DeviceRecord.h"
#include "DeviceSession.h"

#include <memory>
#include <vector>

namespace grb {

// The contract of one transport layer. Handles, texts, error mapping, GenICam's rules
// and the list observers live above it, once for all layers.
class TransportLayerDriver
{
public:
    virtual ~TransportLayerDriver() = default;

    // Done discovering when it returns; changes after that go to observer until Stop.
    virtual GrbErrorType Start(DeviceListObserver& observer) = 0;
    virtual void Stop() = 0;

    virtual GrbErrorType Enumerate(std::vector<DeviceRecord>& devices) = 0;
    virtual GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode,
                              std::unique_ptr<DeviceSession>& session) = 0;

    // A fault the layer wants the version query to report; only the simulator has one.
    virtual GrbErrorType VersionQueryFault() { return GrbErrorSuccess; }
};

} // namespace grb

#endif
