#include "ProducerSettings.h"

#include <sim/SimDescription.h>

#include <climits>
#include <cstdlib>

namespace vcam::gentl {

bool ProducerSettings::Load(std::string& error)
{
    const char* variable = std::getenv(kDescriptionVariable);
    const std::string path = variable ? variable : "";
    if (path.empty() || path == "demo")
    {
        m_cameras = grb::sim::SimDescription::Demo();
        m_key = "demo";
        return true;
    }
    if (!grb::sim::SimDescription::Load(path, m_cameras, error))
    {
        error = std::string(kDescriptionVariable) + ": " + error;
        return false;
    }
    char resolved[PATH_MAX];
    m_key = realpath(path.c_str(), resolved) ? resolved : path;
    return true;
}

} // namespace vcam::gentl
