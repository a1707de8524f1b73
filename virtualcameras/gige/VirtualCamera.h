#ifndef VCAM_GIGE_VIRTUALCAMERA_H
#define VCAM_GIGE_VIRTUALCAMERA_H

#include "ControlChannel.h"
#include "DeviceAddressSpace.h"
#include "GvcpHandler.h"
#include "GvcpServer.h"
#include "StreamChannel.h"

#include <ServedCamera.h>
#include <VirtualCameraOptions.h>
#include <sim/SimWorld.h>

#include <atomic>
#include <memory>
#include <string>

namespace vcam {

// One camera of the simulator's device model, served over GigE Vision: its own simulator
// world, control and stream channel, address space and server.
class VirtualCamera
{
public:
    // Null with the reason when the options name no camera that can be served.
    static std::unique_ptr<VirtualCamera> Create(const VirtualCameraOptions& options, std::string& error);
    static std::unique_ptr<VirtualCamera> Create(ServedCamera served, const VirtualCameraOptions& options,
                                                 std::string& error);
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    std::shared_ptr<grb::sim::SimWorld> World() const { return m_world; }
    DeviceAddressSpace& AddressSpace() { return *m_space; }
    GvcpHandler& Handler() { return *m_handler; }
    StreamChannel& Stream() { return *m_stream; }
    const std::string& Serial() const { return m_serial; }

    // Opens the sockets; false with the reason.
    bool Listen(std::string& error);
    void Serve(const std::atomic<bool>& stop, GvcpServer::Clock::time_point deadline);

private:
    VirtualCamera() = default;

    std::shared_ptr<grb::sim::SimWorld> m_world;
    std::string m_serial;
    uint32_t m_address = 0;
    std::unique_ptr<ControlChannel> m_control;
    std::unique_ptr<StreamChannel> m_stream;
    std::unique_ptr<DeviceAddressSpace> m_space;
    std::unique_ptr<GvcpHandler> m_handler;
    std::unique_ptr<GvcpServer> m_server;
};

} // namespace vcam

#endif
