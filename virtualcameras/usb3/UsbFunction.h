#ifndef VCAM_USB3_USBFUNCTION_H
#define VCAM_USB3_USBFUNCTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vcam {

// What a virtual USB device does, as the bus side (UsbDeviceServer) asks it: its
// descriptors, which endpoints its interfaces own, data the host sends and data it
// has for the host. The bus side handles connections, claims, halts and endpoint 0.
class UsbFunction
{
public:
    using Clock = std::chrono::steady_clock;
    enum class Sent
    {
        Nothing, // nothing ready yet: the host's request waits
        Data,
        Overflow // the next message is longer than the host asked for
    };

    virtual ~UsbFunction() = default;

    // A standard descriptor (device 1, configuration 2, string 3), empty when there is none.
    virtual std::vector<uint8_t> Descriptor(uint8_t type, uint8_t index) = 0;
    virtual bool HasInterface(uint8_t interface) const = 0;
    // The interface an endpoint (with its direction bit) belongs to, or -1.
    virtual int InterfaceOf(uint8_t endpoint) const = 0;

    // False to stall the endpoint's transfer.
    virtual bool Receive(uint8_t endpoint, const uint8_t* data, size_t size, Clock::time_point now) = 0;
    virtual Sent Send(uint8_t endpoint, size_t maxLength, Clock::time_point now, std::vector<uint8_t>& data) = 0;
    // When something not ready yet will be, without the host doing anything (a late
    // acknowledge, a frame); what is ready already waits for the host to ask.
    virtual Clock::time_point NextEvent(Clock::time_point now) = 0;
    // Nothing is waiting to be sent.
    virtual bool Quiet() const = 0;

    // The interface is no longer claimed (released, or its host went away).
    virtual void Released(uint8_t interface) = 0;
    // The endpoint's halt was cleared: what it held is dropped.
    virtual void EndpointReset(uint8_t endpoint) = 0;
    // Whether the device is on the bus.
    virtual bool Present() = 0;
};

} // namespace vcam

#endif
