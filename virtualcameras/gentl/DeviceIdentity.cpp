#include "DeviceIdentity.h"

#include "ProducerError.h"

namespace vcam::gentl {

DeviceIdentity DeviceIdentity::Of(const grb::DeviceRecord& record, const std::string& vendor,
                                  const std::string& firmware)
{
    DeviceIdentity d;
    d.extendedId = record.extendedId;
    d.id = record.id;
    d.vendor = vendor;
    d.model = record.model;
    d.tlType = TlTypeOf(record.transportLayerType);
    d.userName = record.name;
    d.serial = record.serial;
    d.version = firmware;
    return d;
}

std::string DeviceIdentity::TlTypeOf(GrbTransportLayerType type)
{
    switch (type)
    {
    case GrbTransportLayerGEV:
        return "GEV";
    case GrbTransportLayerU3V:
        return "U3V";
    case GrbTransportLayerCXP:
        return "CXP";
    default:
        return "Custom";
    }
}

std::string DeviceIdentity::DisplayName() const
{
    return vendor + " " + model + " (" + serial + ")";
}

GC_ERROR DeviceIdentity::Answer(DEVICE_INFO_CMD command, InfoBuffer& out) const
{
    switch (command)
    {
    case DEVICE_INFO_ID:
        return out.Put(id);
    case DEVICE_INFO_VENDOR:
        return out.Put(vendor);
    case DEVICE_INFO_MODEL:
        return out.Put(model);
    case DEVICE_INFO_TLTYPE:
        return out.Put(tlType);
    case DEVICE_INFO_DISPLAYNAME:
        return out.Put(DisplayName());
    case DEVICE_INFO_ACCESS_STATUS:
        return out.PutInt32(accessStatus);
    case DEVICE_INFO_USER_DEFINED_NAME:
        return out.Put(userName);
    case DEVICE_INFO_SERIAL_NUMBER:
        return out.Put(serial);
    case DEVICE_INFO_VERSION:
        return out.Put(version);
    case DEVICE_INFO_TIMESTAMP_FREQUENCY:
        return out.PutUint64(1000000000ull);
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown device info command");
    }
}

} // namespace vcam::gentl
