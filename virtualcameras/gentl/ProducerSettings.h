#ifndef VCAM_GENTL_PRODUCERSETTINGS_H
#define VCAM_GENTL_PRODUCERSETTINGS_H

#include <sim/SimCameraConfig.h>

#include <string>
#include <vector>

namespace vcam::gentl {

// What the producer serves: the cameras of the simulator description named by
// PELLIX_GENTL_DESCRIPTION, or the simulator's demo set when it is unset or "demo".
class ProducerSettings
{
public:
    static constexpr const char* kDescriptionVariable = "PELLIX_GENTL_DESCRIPTION";

    // False with the reason when the description is refused.
    bool Load(std::string& error);

    const std::vector<grb::sim::SimCameraConfig>& Cameras() const { return m_cameras; }
    // Names this set of cameras across processes: two processes loading the same
    // description share their cameras' locks.
    const std::string& Key() const { return m_key; }

private:
    std::vector<grb::sim::SimCameraConfig> m_cameras;
    std::string m_key;
};

} // namespace vcam::gentl

#endif
