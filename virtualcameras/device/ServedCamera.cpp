#include "ServedCamera.h"

#include <sim/SimDescription.h>

#include <algorithm>

namespace vcam {

bool ServedCamera::Load(const VirtualCameraOptions& options, ServedCamera& served, std::string& error)
{
    std::vector<grb::sim::SimCameraConfig> cameras;
    if (options.description.empty())
        cameras = grb::sim::SimDescription::Demo();
    else if (!grb::sim::SimDescription::Load(options.description, cameras, error))
        return false;
    auto chosen = std::find_if(cameras.begin(), cameras.end(), [&](const grb::sim::SimCameraConfig& c) {
        return c.serial == options.serial || c.id == options.serial || c.extendedId == options.serial;
    });
    if (chosen == cameras.end())
    {
        error = "no camera " + options.serial + " in " +
                (options.description.empty() ? std::string("the demo set") : options.description);
        return false;
    }
    // Moved, not copied: the camera's files may be large.
    grb::sim::SimCameraConfig config = std::move(*chosen);
    if (options.bufferSize != 0)
        config.bufferSize = options.bufferSize;
    if (options.bufferFollowsLength)
        config.bufferFollowsLength = true;
    if (options.resetDelayMs >= 0)
        config.resetDelayMs = options.resetDelayMs;

    served = ServedCamera();
    served.extendedId = config.extendedId;
    served.serial = config.serial;
    served.transport = config.transport;
    served.heldByOther = config.heldByOther;
    std::vector<grb::sim::SimCameraConfig> one;
    one.push_back(std::move(config));
    served.world = std::make_shared<grb::sim::SimWorld>(std::move(one));
    for (const auto& [feature, delayMs] : options.commandDelays)
        if (!served.world->SetCommandDelay(served.extendedId, feature, delayMs))
        {
            error = "the camera has no command " + feature;
            return false;
        }
    return true;
}

} // namespace vcam
