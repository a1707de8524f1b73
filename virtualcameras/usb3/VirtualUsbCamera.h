#ifndef VCAM_USB3_VIRTUALUSBCAMERA_H
#define VCAM_USB3_VIRTUALUSBCAMERA_H

#include "U3vCamera.h"
#include "UsbDeviceServer.h"

#include <ServedCamera.h>

#include <atomic>
#include <memory>
#include <string>

namespace vcam {

// One camera of the simulator's device model served as a USB3 Vision device on the
// virtual USB bus: its own simulator world, the camera function and the bus side.
class VirtualUsbCamera
{
public:
    // Null with the reason when the camera is not a USB3 Vision camera.
    static std::unique_ptr<VirtualUsbCamera> Create(ServedCamera served, std::string& error);
    VirtualUsbCamera(const VirtualUsbCamera&) = delete;
    VirtualUsbCamera& operator=(const VirtualUsbCamera&) = delete;

    std::shared_ptr<grb::sim::SimWorld> World() const { return m_world; }
    U3vCamera& Camera() { return *m_camera; }
    const std::string& Serial() const { return m_serial; }
    // The socket in the rendezvous directory while the camera is on the bus.
    const std::string& SocketPath() const { return m_path; }

    // Goes on the bus; false with the reason.
    bool Attach(std::string& error);
    void Serve(const std::atomic<bool>& stop, UsbDeviceServer::Clock::time_point deadline);

private:
    VirtualUsbCamera() = default;

    std::shared_ptr<grb::sim::SimWorld> m_world;
    std::string m_serial;
    std::string m_path;
    bool m_heldByOther = false;
    std::unique_ptr<U3vCamera> m_camera;
    std::unique_ptr<UsbDeviceServer> m_server;
};

} // namespace vcam

#endif
