#ifndef GRB_CONTRACT_DEVICERECORD_H
#define GRB_CONTRACT_DEVICERECORD_H

#include <GrbC/GrbCTypes.h>

#include <array>
#include <string>

namespace grb {

// What a transport layer knows of a camera without opening it.
struct DeviceRecord
{
    enum Field
    {
        ExtendedId,
        Id,
        Model,
        Name,
        Serial,
        InterfaceId,
        TransportLayer,
        TransportLayerName,
        TransportLayerPath,
        PermittedAccess,
        FieldCount
    };

    std::string extendedId;
    std::string id;
    std::string model;
    std::string name;
    std::string serial;
    std::string interfaceId;
    std::string transportLayerName;
    std::string transportLayerPath;
    GrbTransportLayerType transportLayerType = GrbTransportLayerUnknown;
    GrbAccessModeType permittedAccess = GrbAccessModeNone;
    // Non-zero where reading a field fails; set by simulated faults.
    std::array<GrbErrorType, FieldCount> fieldErrors{};
};

} // namespace grb

#endif
