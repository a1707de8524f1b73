#ifndef VCAM_GENTL_DEVICEIDENTITY_H
#define VCAM_GENTL_DEVICEIDENTITY_H

#include "InfoBuffer.h"

#include <contract/DeviceRecord.h>

#include <string>

namespace vcam::gentl {

// What an interface tells of one of its cameras without opening it, and what the
// device module tells of itself once open: the same answers to the same queries.
struct DeviceIdentity
{
    std::string extendedId; // the simulator's name of the camera
    std::string id;
    std::string vendor;
    std::string model;
    std::string tlType;
    std::string userName;
    std::string serial;
    std::string version;
    DEVICE_ACCESS_STATUS accessStatus = DEVICE_ACCESS_STATUS_UNKNOWN;

    // From the simulator's record of the camera.
    static DeviceIdentity Of(const grb::DeviceRecord& record, const std::string& vendor, const std::string& firmware);
    // The transport type's GenTL name: GEV, U3V or Custom.
    static std::string TlTypeOf(GrbTransportLayerType type);

    std::string DisplayName() const;
    GC_ERROR Answer(DEVICE_INFO_CMD command, InfoBuffer& out) const;
};

} // namespace vcam::gentl

#endif
