#ifndef GRB_CONTRACT_DEVICELISTOBSERVER_H
#define GRB_CONTRACT_DEVICELISTOBSERVER_H

#include "DeviceRecord.h"

#include <string>

namespace grb {

class TransportLayerDriver;

// What a transport layer reports as its devices come and go, one device at a time.
// Called from any thread, never while the transport layer holds a lock of its own.
class DeviceListObserver
{
public:
    virtual ~DeviceListObserver() = default;
    virtual void DeviceArrived(TransportLayerDriver& driver, const DeviceRecord& device) = 0;
    virtual void DeviceLeft(TransportLayerDriver& driver, const std::string& extendedId) = 0;
    // Still present, with other details (who may control it, what can be read of it).
    virtual void DeviceChanged(TransportLayerDriver& driver, const DeviceRecord& device) = 0;
};

} // namespace grb

#endif
