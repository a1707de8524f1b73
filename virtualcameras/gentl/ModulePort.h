#ifndef VCAM_GENTL_MODULEPORT_H
#define VCAM_GENTL_MODULEPORT_H

#include <gentl/GenTLApi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vcam::gentl {

// A register space a consumer reads and writes through GCReadPort and GCWritePort,
// with the GenICam description that tells what lies where.
class ModulePort
{
public:
    struct Identity
    {
        std::string id;
        std::string vendor;
        std::string model;
        std::string tlType;
        // TLSystem, TLInterface, TLDevice, TLDataStream or Device (the remote device).
        std::string module;
        std::string version;
        std::string name;
        bool littleEndian = true;
    };

    // Where the description is: "Local:NAME;ADDRESS;LENGTH" (hexadecimal) in this port.
    struct Url
    {
        std::string fileName;
        uint64_t address = 0;
        uint64_t size = 0;
        std::string Text() const;
    };

    virtual ~ModulePort() = default;

    virtual GC_ERROR Read(uint64_t address, void* data, size_t size) = 0;
    virtual GC_ERROR Write(uint64_t address, const void* data, size_t size) = 0;
    virtual Identity PortIdentity() = 0;
    virtual std::vector<Url> Urls() = 0;
};

} // namespace vcam::gentl

#endif
