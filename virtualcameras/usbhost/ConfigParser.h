#ifndef VUSB_CONFIGPARSER_H
#define VUSB_CONFIGPARSER_H

#include <libusb.h>

#include <cstddef>
#include <cstdint>

namespace vusb {

// A device's configuration descriptor, as its bytes come off the bus, turned into
// libusb's tree of interfaces, alternate settings and endpoints; descriptors the tree
// has no field for become the "extra" bytes of the one they follow. The bytes are
// untrusted: anything that does not hold together is refused.
class ConfigParser
{
public:
    // Null when the bytes are not a configuration descriptor; else free with Free.
    static libusb_config_descriptor* Parse(const uint8_t* bytes, size_t size);
    static void Free(libusb_config_descriptor* config);
};

} // namespace vusb

#endif
