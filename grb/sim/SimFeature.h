#ifndef GRB_SIM_SIMFEATURE_H
#define GRB_SIM_SIMFEATURE_H

#include <GrbC/GrbCTypes.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace grb::sim {

struct SimEnumEntry
{
    std::string name;
    int64_t value = 0;
    bool available = true;
};

// One GenICam feature of the device model: its definition, its value and the
// simulated faults aimed at it.
struct SimFeature
{
    std::string name;
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    bool readable = true;
    bool writable = true;

    int64_t intValue = 0;
    int64_t intMin = 0;
    int64_t intMax = 0;
    int64_t intInc = 1;

    double floatValue = 0.0;
    double floatMin = 0.0;
    double floatMax = 0.0;
    double floatInc = 0.0;
    bool hasFloatInc = false;

    bool boolValue = false;

    std::string stringValue;
    uint32_t stringMaxLength = 255;

    std::vector<SimEnumEntry> entries;
    int64_t enumValue = 0;

    std::vector<uint8_t> raw;
    // Bytes the last raw write put in.
    uint32_t rawWritten = 0;
    // Fault: raw reads return at most this many bytes (0: off).
    uint32_t rawReadLimit = 0;

    // Command completion: 0 done at once, > 0 done that many ms after the run, < 0 never.
    int commandDelayMs = 0;
    bool commandRunning = false;
    std::chrono::steady_clock::time_point commandRunAt;

    // Device behaviour behind the value: refresh before a read, react after a write,
    // carry out a command. A non-zero result fails the access.
    std::function<GrbErrorType(SimFeature&)> beforeRead;
    std::function<GrbErrorType(SimFeature&)> afterWrite;
    std::function<GrbErrorType(SimFeature&)> onCommand;

    // Fault: the access numbered failOnAccess (counted by accessCount) fails with failCode.
    uint64_t accessCount = 0;
    uint64_t failOnAccess = 0;
    GrbErrorType failCode = GrbErrorTransportLayer;
};

} // namespace grb::sim

#endif
