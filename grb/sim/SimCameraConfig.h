#ifndef GRB_SIM_SIMCAMERACONFIG_H
#define GRB_SIM_SIMCAMERACONFIG_H

#include "SimFeature.h"

#include <GrbC/GrbCTypes.h>

#include <cstdint>
#include <string>
#include <vector>

namespace grb::sim {

struct SimFileConfig
{
    std::string selector;
    std::string name;
    std::vector<uint8_t> data;
};

// A fault a description switches on, as tests do with SimWorld's switches.
struct SimFaultConfig
{
    enum class Kind
    {
        UnplugAfterChunks, // the device leaves after count more file Read or Write operations
        CommandDelay, // the command completes delayMs after it runs (< 0: never)
        ShortRead, // raw reads return at most count bytes
        FailAccess, // the count-th access fails with code
    };
    Kind kind = Kind::UnplugAfterChunks;
    std::string feature;
    int stream = -1; // -1: the camera's own features
    int64_t count = 0;
    int delayMs = 0;
    GrbErrorType code = GrbErrorTransportLayer;
    int line = 0; // of the description, for error messages
};

// One simulated camera as a description or the demo set gives it.
struct SimCameraConfig
{
    std::string extendedId;
    std::string id;
    std::string model;
    std::string name;
    std::string serial;
    std::string interfaceId;
    std::string vendor = "Zorvan Technologies";
    std::string firmware = "Firmware 1.0.0";
    GrbTransportLayerType transport = GrbTransportLayerGEV;
    bool heldByOther = false;
    uint64_t capacity = 16u * 1024u * 1024u;
    uint32_t bufferSize = 65536;
    bool accessLengthWritable = true;
    // FileAccessBuffer is as long as FileAccessLength says, as on many cameras.
    bool bufferFollowsLength = false;
    std::string streamProtocol = "UDP";
    int resetDelayMs = 1000;
    std::vector<std::string> slotNames;
    std::vector<std::string> without;
    std::vector<SimFileConfig> files;
    // Extra camera features, added after the standard ones (a same name replaces).
    std::vector<SimFeature> extraFeatures;
    std::vector<SimFaultConfig> faults;
};

} // namespace grb::sim

#endif
