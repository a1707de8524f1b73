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
    std::string streamProtocol = "UDP";
    int resetDelayMs = 1000;
    std::vector<std::string> slotNames;
    std::vector<std::string> without;
    std::vector<SimFileConfig> files;
    // Extra camera features, added after the standard ones (a same name replaces).
    std::vector<SimFeature> extraFeatures;
};

} // namespace grb::sim

#endif
