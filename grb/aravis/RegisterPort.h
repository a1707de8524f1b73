#ifndef GRB_ARAVIS_REGISTERPORT_H
#define GRB_ARAVIS_REGISTERPORT_H

#include <GrbC/GrbCTypes.h>

#include <cstdint>
#include <string>

namespace grb::aravis {

// A register space that Aravis's GenICam engine can run over: any transport that
// reads and writes a camera's (or a module's) memory by address.
class RegisterPort
{
public:
    virtual ~RegisterPort() = default;
    // why: the reason of a failure, for the log.
    virtual GrbErrorType Read(uint64_t address, void* data, uint32_t size, std::string& why) = 0;
    virtual GrbErrorType Write(uint64_t address, const void* data, uint32_t size, std::string& why) = 0;
};

} // namespace grb::aravis

#endif
