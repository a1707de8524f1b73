#ifndef GRB_ARAVIS_ARAVISDEVICEINFO_H
#define GRB_ARAVIS_ARAVISDEVICEINFO_H

#include <GrbC/GrbCTypes.h>

#include <string>
#include <tuple>

namespace grb::aravis {

// One camera of a discovery round, copied out of Aravis's device list at once.
struct AravisDeviceInfo
{
    GrbTransportLayerType type = GrbTransportLayerUnknown;
    std::string extendedId;
    std::string id;
    std::string vendor;
    std::string model;
    std::string name;
    std::string serial;
    std::string interfaceId;
    // GigE Vision: the camera's IPv4 address and the local one that reaches it.
    std::string deviceAddress;
    std::string localAddress;
    GrbAccessModeType permittedAccess = GrbAccessModeNone;
    // Non-zero when the camera's control channel privilege could not be read.
    GrbErrorType accessError = GrbErrorSuccess;

    bool operator==(const AravisDeviceInfo& o) const
    {
        return std::tie(type, extendedId, id, vendor, model, name, serial, interfaceId, deviceAddress, localAddress,
                        permittedAccess, accessError) ==
               std::tie(o.type, o.extendedId, o.id, o.vendor, o.model, o.name, o.serial, o.interfaceId,
                        o.deviceAddress, o.localAddress, o.permittedAccess, o.accessError);
    }
    bool operator!=(const AravisDeviceInfo& o) const { return !(*this == o); }
};

} // namespace grb::aravis

#endif
