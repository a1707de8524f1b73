#ifndef VCAM_DEVICE_IDENTITYTEXTS_H
#define VCAM_DEVICE_IDENTITYTEXTS_H

#include <sim/SimDevice.h>

#include <cstdint>
#include <string>

namespace vcam {

// Where a transport's bootstrap registers hold the device's identity texts. GigE Vision
// and USB3 Vision lay them out at addresses of their own but fill them alike, from the
// device model's features.
struct IdentityTexts
{
    uint64_t manufacturer;
    uint64_t model;
    uint64_t version;
    uint64_t manufacturerInfo;
    uint64_t serial;
    uint64_t userName;

    // The feature whose text the register at address holds, or nullptr.
    const char* FeatureAt(uint64_t address) const
    {
        const std::pair<uint64_t, const char*> fields[] = {
            {manufacturer, "DeviceVendorName"},     {model, "DeviceModelName"},
            {version, "DeviceFirmwareVersion"},     {manufacturerInfo, "DeviceManufacturerInfo"},
            {serial, "DeviceSerialNumber"},         {userName, "DeviceUserID"},
        };
        for (const auto& field : fields)
            if (field.first == address)
                return field.second;
        return nullptr;
    }
};

// A feature's text, empty when the model cannot give it.
inline std::string FeatureText(grb::sim::SimDevice& device, const char* feature)
{
    std::string value;
    if (device.Features().GetString(feature, value) != GrbErrorSuccess)
        value.clear();
    return value;
}

} // namespace vcam

#endif
