#ifndef GRB_SIM_SIMFRAME_H
#define GRB_SIM_SIMFRAME_H

#include <cstdint>
#include <vector>

namespace grb::sim {

// One image of the device model's test pattern, as a transport sends it.
struct SimFrame
{
    // Counts from 1 in each session of the device, as GigE Vision block ids do.
    uint64_t id = 0;
    // Nanoseconds since the device came on the bus.
    uint64_t timestampNs = 0;
    // The pixel format's code (PFNC), as PixelFormat's entry value gives it.
    uint32_t pixelFormat = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t offsetX = 0;
    uint32_t offsetY = 0;
    std::vector<uint8_t> data;
};

} // namespace grb::sim

#endif
