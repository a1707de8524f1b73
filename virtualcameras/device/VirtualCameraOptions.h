#ifndef VCAM_DEVICE_VIRTUALCAMERAOPTIONS_H
#define VCAM_DEVICE_VIRTUALCAMERAOPTIONS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vcam {

// What the command line asks of the virtual camera.
struct VirtualCameraOptions
{
    uint32_t address = 0; // host order
    std::string serial;
    std::string description; // empty: the simulator's demo set
    uint32_t bufferSize = 0; // 0: as described
    bool bufferFollowsLength = false; // else as described
    int resetDelayMs = -1; // < 0: as described
    std::vector<std::pair<std::string, int>> commandDelays;
    unsigned lifetimeSeconds = 0; // 0: until interrupted
    bool printXml = false;
    bool help = false;
    bool version = false;

    // False with the reason in error.
    static bool Parse(const std::vector<std::string>& arguments, VirtualCameraOptions& options, std::string& error);
    static const char* Usage();
};

} // namespace vcam

#endif
