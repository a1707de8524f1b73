#ifndef GRB_CONTRACT_DEVICESNAPSHOT_H
#define GRB_CONTRACT_DEVICESNAPSHOT_H

#include "DeviceListObserver.h"

#include <map>
#include <string>
#include <vector>

namespace grb {

// For a transport layer that learns its devices as whole lists (a discovery round):
// keeps the last list and reports what the next one changed, device by device.
class DeviceSnapshot
{
public:
    void Update(const std::vector<DeviceRecord>& devices, TransportLayerDriver& driver,
                DeviceListObserver& observer);
    // Takes devices as the list known so far, reporting nothing.
    void Reset(const std::vector<DeviceRecord>& devices);

private:
    std::map<std::string, DeviceRecord> m_devices;
};

} // namespace grb

#endif
