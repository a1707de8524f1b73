#ifndef VCAM_USB3_U3VDESCRIPTORS_H
#define VCAM_USB3_U3VDESCRIPTORS_H

#include <cstdint>
#include <string>
#include <vector>

namespace vcam {

// The USB descriptors of a USB3 Vision camera: a SuperSpeed device of the miscellaneous
// class whose one configuration has the control interface (with the device info
// descriptor that names the camera's strings), the event interface and the streaming
// interface, grouped by an interface association.
class U3vDescriptors
{
public:
    static constexpr uint16_t kVendorId = 0x5058;
    static constexpr uint16_t kProductId = 0x0003;
    static constexpr uint8_t kControlInterface = 0;
    static constexpr uint8_t kEventInterface = 1;
    static constexpr uint8_t kStreamInterface = 2;
    static constexpr uint8_t kControlOut = 0x01;
    static constexpr uint8_t kControlIn = 0x81;
    static constexpr uint8_t kEventIn = 0x82;
    static constexpr uint8_t kStreamIn = 0x83;

    // The strings a camera has, by their descriptor index.
    enum StringIndex : uint8_t
    {
        kLanguages = 0,
        kManufacturer = 1,
        kProduct = 2,
        kSerialNumber = 3,
        kGuid = 4,
        kDeviceVersion = 5,
        kManufacturerInfo = 6,
        kUserDefinedName = 7,
        kStringCount = 8
    };

    static std::vector<uint8_t> Device();
    static std::vector<uint8_t> Configuration();
    // A string descriptor of UTF-8 text (as UTF-16LE, cut to what fits); index 0 is the
    // list of languages.
    static std::vector<uint8_t> String(uint8_t index, const std::string& text);
    // The camera's GUID: the vendor id and eight hex digits drawn from its identity.
    static std::string Guid(const std::string& identity);
};

} // namespace vcam

#endif
