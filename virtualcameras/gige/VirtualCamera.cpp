#include "VirtualCamera.h"

#include <sim/SimDescription.h>

#include <algorithm>

namespace vcam {

std::unique_ptr<VirtualCamera> VirtualCamera::Create(const VirtualCameraOptions& options, std::string& error)
{
    std::vector<grb::sim::SimCameraConfig> cameras;
    if (options.description.empty())
        cameras = grb::sim::SimDescription::Demo();
    else if (!grb::sim::SimDescription::Load(options.description, cameras, error))
        return nullptr;
    auto chosen = std::find_if(cameras.begin(), cameras.end(), [&](const grb::sim::SimCameraConfig& c) {
        return c.serial == options.serial || c.id == options.serial || c.extendedId == options.serial;
    });
    if (chosen == cameras.end())
    {
        error = "no camera " + options.serial + " in " +
                (options.description.empty() ? std::string("the demo set") : options.description);
        return nullptr;
    }
    if (chosen->transport != GrbTransportLayerGEV)
    {
        error = "camera " + options.serial + " is not a GigE Vision camera";
        return nullptr;
    }
    // Moved, not copied: the camera's files may be large.
    grb::sim::SimCameraConfig config = std::move(*chosen);
    if (options.bufferSize != 0)
        config.bufferSize = options.bufferSize;
    if (options.bufferFollowsLength)
        config.bufferFollowsLength = true;
    if (options.resetDelayMs >= 0)
        config.resetDelayMs = options.resetDelayMs;
    const std::string extendedId = config.extendedId;
    const bool heldByOther = config.heldByOther;

    std::unique_ptr<VirtualCamera> camera(new VirtualCamera());
    camera->m_serial = config.serial;
    camera->m_address = options.address;
    std::vector<grb::sim::SimCameraConfig> served;
    served.push_back(std::move(config));
    camera->m_world = std::make_shared<grb::sim::SimWorld>(std::move(served));
    for (const auto& [feature, delayMs] : options.commandDelays)
        if (!camera->m_world->SetCommandDelay(extendedId, feature, delayMs))
        {
            error = "the camera has no command " + feature;
            return nullptr;
        }
    camera->m_control = std::make_unique<ControlChannel>(heldByOther);
    camera->m_stream = std::make_unique<StreamChannel>();
    camera->m_space = std::make_unique<DeviceAddressSpace>(camera->m_world, extendedId, options.address,
                                                            *camera->m_control, *camera->m_stream);
    if (!camera->m_space->Build(error))
        return nullptr;
    camera->m_handler = std::make_unique<GvcpHandler>(*camera->m_space, *camera->m_control, *camera->m_stream);
    return camera;
}

bool VirtualCamera::Listen(std::string& error)
{
    m_server = std::make_unique<GvcpServer>(*m_handler, *m_stream);
    return m_server->Open(m_address, error);
}

void VirtualCamera::Serve(const std::atomic<bool>& stop, GvcpServer::Clock::time_point deadline)
{
    if (m_server)
        m_server->Run(stop, deadline);
}

} // namespace vcam
