#ifndef VCAM_GIGE_DEVICEADDRESSSPACE_H
#define VCAM_GIGE_DEVICEADDRESSSPACE_H

#include "ControlChannel.h"
#include "GvcpPeer.h"
#include "StreamChannel.h"

#include <VirtualDevice.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vcam {

// The camera as its GigE Vision address space shows it: device memory with the
// bootstrap registers (the stream channel's among them) laid over it, then the virtual
// device's GenICam file and feature registers. Every access is checked against the
// layout and the control channel; what the model refuses comes back as a GVCP status.
// The frames the acquisition makes go to the stream channel. Not locked: one thread
// serves the camera.
class DeviceAddressSpace
{
public:
    using Clock = std::chrono::steady_clock;

    // camera: extended id, id or serial of the world's camera to serve; ownAddress in host order.
    DeviceAddressSpace(std::shared_ptr<grb::sim::SimWorld> world, std::string camera, uint32_t ownAddress,
                       ControlChannel& control, StreamChannel& stream);

    // Lays out the registers and writes the GenICam file; false with the reason.
    bool Build(std::string& error);
    // Whether the device is on the bus (not gone for a reset or unplugged).
    bool Present();

    // GVCP statuses. A read fills count bytes of data.
    uint16_t Read(const GvcpPeer& peer, uint32_t address, uint32_t count, uint8_t* data);
    // written: bytes taken before a failure; completionMs: how long the operation the
    // write started takes before it completes (0: at once).
    uint16_t Write(const GvcpPeer& peer, uint32_t address, const uint8_t* data, uint32_t count, Clock::time_point now,
                   uint32_t& written, uint32_t& completionMs);

    // The first bootstrap bytes, which a discovery acknowledge carries to anyone asking.
    std::vector<uint8_t> DiscoveryData();

    // Hands the frames due by now to the stream channel. Without an application in
    // control nobody receives them: the channel closes and the acquisition stops.
    void StreamFrames(Clock::time_point now);
    // When the acquisition has its next frame; Clock::time_point::max() while none is to come.
    Clock::time_point NextFrameDue();

    const RegisterMap& Map() const { return m_device.Map(); }
    const std::string& Xml() const { return m_device.Xml(); }

private:
    void _ReadBootstrap(grb::sim::SimDevice& device, uint32_t address, uint32_t count, uint8_t* data);
    uint16_t _WriteBootstrap(grb::sim::SimDevice& device, const GvcpPeer& peer, uint32_t address, const uint8_t* data,
                             uint32_t count, Clock::time_point now);
    std::vector<uint8_t> _BootstrapValue(grb::sim::SimDevice& device, uint32_t address, uint32_t size);

    VirtualDevice m_device;
    uint32_t m_ownAddress;
    ControlChannel& m_control;
    StreamChannel& m_stream;
    bool m_built = false;
    uint8_t m_mac[6] = {};
    uint32_t m_configuration = 0;
};

} // namespace vcam

#endif
