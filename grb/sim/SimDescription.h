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
//          [held=yes|no] [capacity=BYTES] [buffer=BYTES] [buffer-length=fixed|follows]
//          [access-length=rw|ro] [protocol=UDP|TCP] [reset-delay=MS] [slots=A,B]
//          [without=Feature,Feature]
//   file selector=Userfile|SLOT name=N (text="..." | size=BYTES [seed=N])
//   feature name=N type=int|float|bool|enum|string|command|raw [value=V] [min=V] [max=V]
//          [inc=V] [access=rw|ro|wo] [entries=A:1,B:2,C:3:unavailable] [length=BYTES]
//          [delay=MS]
//   fault unplug-after-chunks=N                 the camera leaves after N file reads or writes
//   fault feature=CMD [stream=N] delay=MS       the command completes MS ms after it runs (-1: never)
//   fault feature=RAW short-read=BYTES          reads of the raw feature return at most BYTES
//   fault feature=F [stream=N] fail-access=N [code=C]
//                                               the Nth access to F fails with SDK code C (-13)
//
// buffer-length=follows makes FileAccessBuffer as long as FileAccessLength was last set,
// as on many cameras. file, feature and fault belong to the camera above them; faults
// that belong to the device (delay, short-read) outlast a reset. Quoted values take \"
// \\ and \n. Parsing is strict: the first bad line refuses the whole description.
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
