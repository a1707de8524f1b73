#ifndef GRB_SIM_SIMDESCRIPTION_H
#define GRB_SIM_SIMDESCRIPTION_H

#include "SimCameraConfig.h"

#include <string>
#include <vector>

namespace grb::sim {

// The text format that describes simulated cameras, one statement a line:
//
//   # a comment
//   camera id=DEV_1 model=qda640MXGE [serial=S] [ext=EXT] [name="Two words"]
//          [transport=gige|usb3] [interface=IF] [vendor=V] [firmware="Firmware 1.0"]
//          [held=yes|no] [capacity=BYTES] [buffer=BYTES] [access-length=rw|ro]
//          [protocol=UDP|TCP] [reset-delay=MS] [slots=A,B] [without=Feature,Feature]
//   file selector=Userfile|SLOT name=N (text="..." | size=BYTES [seed=N])
//   feature name=N type=int|float|bool|enum|string|command|raw [value=V] [min=V] [max=V]
//          [inc=V] [access=rw|ro|wo] [entries=A:1,B:2,C:3:unavailable] [length=BYTES]
//          [delay=MS]
//
// file and feature belong to the camera above them. Quoted values take \" \\ and \n.
// Parsing is strict: the first bad line refuses the whole description.
class SimDescription
{
public:
    // False with "line N: what is wrong" in error; cameras is then left unchanged.
    static bool Parse(const std::string& text, std::vector<SimCameraConfig>& cameras, std::string& error);
    static bool Load(const std::string& path, std::vector<SimCameraConfig>& cameras, std::string& error);
    // The built-in "demo" set.
    static std::vector<SimCameraConfig> Demo();
    static const char* DemoText();
    // Deterministic file content for size=/seed= lines.
    static std::vector<uint8_t> Pattern(uint64_t size, uint32_t seed);
};

} // namespace grb::sim

#endif
