#include "VirtualUsbCamera.h"

#include <Rendezvous.h>

namespace vcam {

std::unique_ptr<VirtualUsbCamera> VirtualUsbCamera::Create(ServedCamera served, std::string& error)
{
    if (served.transport != GrbTransportLayerU3V)
    {
        error = "camera " + served.serial + " is not a USB3 Vision camera";
        return nullptr;
    }
    std::unique_ptr<VirtualUsbCamera> camera(new VirtualUsbCamera());
    camera->m_world = served.world;
    camera->m_serial = served.serial;
    camera->m_heldByOther = served.heldByOther;
    camera->m_camera = std::make_unique<U3vCamera>(served.world, served.extendedId);
    if (!camera->m_camera->Build(error))
        return nullptr;
    return camera;
}

bool VirtualUsbCamera::Attach(std::string& error)
{
    const std::string directory = vusb::Rendezvous::Directory();
    if (!vusb::Rendezvous::Prepare(directory, error))
        return false;
    m_path = vusb::Rendezvous::SocketPath(directory, m_serial);
    m_server = std::make_unique<UsbDeviceServer>(*m_camera, m_path, m_heldByOther);
    return m_server->Attach(error);
}

void VirtualUsbCamera::Serve(const std::atomic<bool>& stop, UsbDeviceServer::Clock::time_point deadline)
{
    if (m_server)
        m_server->Run(stop, deadline);
}

} // namespace vcam
