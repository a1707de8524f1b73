#include "VirtualCamera.h"

namespace vcam {

std::unique_ptr<VirtualCamera> VirtualCamera::Create(const VirtualCameraOptions& options, std::string& error)
{
    ServedCamera served;
    if (!ServedCamera::Load(options, served, error))
        return nullptr;
    return Create(std::move(served), options, error);
}

std::unique_ptr<VirtualCamera> VirtualCamera::Create(ServedCamera served, const VirtualCameraOptions& options,
                                                     std::string& error)
{
    if (served.transport != GrbTransportLayerGEV)
    {
        error = "camera " + options.serial + " is not a GigE Vision camera";
        return nullptr;
    }
    if (options.address == 0 && !options.printXml)
    {
        error = "--address is required for a GigE Vision camera";
        return nullptr;
    }
    std::unique_ptr<VirtualCamera> camera(new VirtualCamera());
    camera->m_serial = served.serial;
    camera->m_address = options.address;
    camera->m_world = served.world;
    camera->m_control = std::make_unique<ControlChannel>(served.heldByOther);
    camera->m_stream = std::make_unique<StreamChannel>();
    camera->m_space = std::make_unique<DeviceAddressSpace>(camera->m_world, served.extendedId, options.address,
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
