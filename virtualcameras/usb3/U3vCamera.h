#ifndef VCAM_USB3_U3VCAMERA_H
#define VCAM_USB3_U3VCAMERA_H

#include "U3vAddressSpace.h"
#include "U3vControlHandler.h"
#include "U3vStreamChannel.h"
#include "UsbFunction.h"

#include <deque>
#include <memory>
#include <string>

namespace vcam {

// A USB3 Vision camera as a USB function: its descriptors, the control protocol on the
// control endpoints (acknowledges wait in order until due), nothing on the event
// endpoint, and the streaming protocol on the stream endpoint.
class U3vCamera : public UsbFunction
{
public:
    U3vCamera(std::shared_ptr<grb::sim::SimWorld> world, std::string camera);

    // Lays out the registers and writes the GenICam file; false with the reason.
    bool Build(std::string& error);
    U3vAddressSpace& AddressSpace() { return m_space; }

    std::vector<uint8_t> Descriptor(uint8_t type, uint8_t index) override;
    bool HasInterface(uint8_t interface) const override;
    int InterfaceOf(uint8_t endpoint) const override;
    bool Receive(uint8_t endpoint, const uint8_t* data, size_t size, Clock::time_point now) override;
    Sent Send(uint8_t endpoint, size_t maxLength, Clock::time_point now, std::vector<uint8_t>& data) override;
    Clock::time_point NextEvent(Clock::time_point now) override;
    bool Quiet() const override;
    void Released(uint8_t interface) override;
    void EndpointReset(uint8_t endpoint) override;
    bool Present() override;

private:
    struct Due
    {
        Clock::time_point at;
        std::vector<uint8_t> bytes;
    };

    U3vAddressSpace m_space;
    U3vControlHandler m_handler;
    U3vStreamChannel m_stream;
    std::deque<Due> m_acks;
};

} // namespace vcam

#endif
