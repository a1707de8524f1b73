#ifndef VUSB_HOSTCONTEXT_H
#define VUSB_HOSTCONTEXT_H

#include "HostConnection.h"

#include <libusb.h>

#include <deque>
#include <mutex>
#include <vector>

namespace vusb {

// A libusb context over the virtual bus: the devices it has seen in the rendezvous
// directory, the devices it has open, asynchronous transfers in flight, and hot-plug
// callbacks. Completions and hot-plug events are handed to their callbacks only
// inside HandleEvents, as libusb does.
class HostContext
{
public:
    // Looks at the bus again; each device returned carries a reference for the caller.
    std::vector<libusb_device*> Devices();
    int Open(libusb_device* device, libusb_device_handle** handle);
    void Close(libusb_device_handle* handle);

    int Submit(libusb_transfer* transfer);
    int Cancel(libusb_transfer* transfer);
    int HandleEvents(const timeval* timeout);

    int RegisterHotplug(int events, int flags, int vendor, int product, int deviceClass,
                        libusb_hotplug_callback_fn callback, void* userData, libusb_hotplug_callback_handle* handle);
    void DeregisterHotplug(libusb_hotplug_callback_handle handle);

protected:
    HostContext();
    virtual ~HostContext();

private:
    struct Hotplug
    {
        int id;
        int events;
        int vendor;
        int product;
        int deviceClass;
        libusb_hotplug_callback_fn callback;
        void* userData;
        bool removed;
    };
    struct Event
    {
        libusb_device* device; // with a reference of its own
        libusb_hotplug_event event;
    };
    using Clock = HostConnection::Clock;

    void _Completed(libusb_transfer* transfer, HostConnection::Outcome outcome, Reply&& reply);
    // With the lock held: the device is no longer on the bus.
    void _Left(libusb_device* device);
    void _Queue(libusb_device* device, libusb_hotplug_event event);
    bool _Wants(const Hotplug& hotplug, libusb_device* device, libusb_hotplug_event event) const;
    // Runs the callbacks of what has happened; the number run.
    int _Deliver();
    void _CheckBus(Clock::time_point now);
    void _Wake();

    std::mutex m_mutex;
    // On the bus as last seen, each with a reference.
    std::vector<libusb_device*> m_devices;
    std::vector<libusb_device_handle*> m_handles;
    std::vector<libusb_transfer*> m_inFlight;
    std::deque<libusb_transfer*> m_completed;
    std::vector<Hotplug> m_hotplugs;
    int m_nextHotplug = 1;
    std::deque<Event> m_events;
    int m_wake = -1;
    Clock::time_point m_nextCheck;
};

} // namespace vusb

#endif
