#ifndef VCAM_DEVICE_SERVEDCAMERA_H
#define VCAM_DEVICE_SERVEDCAMERA_H

#include "VirtualCameraOptions.h"

#include <sim/SimWorld.h>

#include <memory>
#include <string>

namespace vcam {

// The one camera a virtual camera program serves, whatever its transport: taken by
// serial, id or extended id from a description or the demo set, changed as the command
// line asks, alone in a simulator world of its own.
struct ServedCamera
{
    std::shared_ptr<grb::sim::SimWorld> world;
    std::string extendedId;
    std::string serial;
    GrbTransportLayerType transport = GrbTransportLayerUnknown;
    bool heldByOther = false;

    // False with the reason when the options name no camera that can be served.
    static bool Load(const VirtualCameraOptions& options, ServedCamera& served, std::string& error);
};

} // namespace vcam

#endif
