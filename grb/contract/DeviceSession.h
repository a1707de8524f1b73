#ifndef GRB_CONTRACT_DEVICESESSION_H
#define GRB_CONTRACT_DEVICESESSION_H

#include "NodeMap.h"

#include <cstdint>
#include <vector>

namespace grb {

struct FrameData
{
    std::vector<uint8_t> buffer;
    uint32_t width = 0;
    uint32_t height = 0;
    GrbFrameStatusType status = GrbFrameStatusInvalid;
};

// One open camera of a transport layer. Closed by the core exactly once.
class DeviceSession
{
public:
    virtual ~DeviceSession() = default;

    virtual NodeMap& Features() = 0;
    virtual uint32_t StreamCount() = 0;
    virtual NodeMap* StreamFeatures(uint32_t index) = 0;

    virtual GrbErrorType ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done) = 0;
    virtual GrbErrorType WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done) = 0;
    virtual GrbErrorType AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame) = 0;

    virtual void Close() = 0;
};

} // namespace grb

#endif
