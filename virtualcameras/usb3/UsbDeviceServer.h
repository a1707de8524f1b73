#ifndef VCAM_USB3_USBDEVICESERVER_H
#define VCAM_USB3_USBDEVICESERVER_H

#include "UsbFunction.h"

#include <FrameReader.h>
#include <UsbWire.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vcam {

// A virtual USB device on the virtual bus: a listening Unix-domain socket in the
// rendezvous directory while the device is present, and the USB side of every host
// connected to it: greeting, standard requests on endpoint 0, interface claims (one
// connection at a time per interface), halts, and bulk transfers handed to the
// function. One thread serves it; every message is untrusted.
class UsbDeviceServer
{
public:
    using Clock = std::chrono::steady_clock;

    // heldElsewhere: an application out of reach holds every interface for good.
    UsbDeviceServer(UsbFunction& function, std::string socketPath, bool heldElsewhere = false);
    ~UsbDeviceServer();
    UsbDeviceServer(const UsbDeviceServer&) = delete;
    UsbDeviceServer& operator=(const UsbDeviceServer&) = delete;

    // Goes on the bus now; false with the reason (another device there, a path too long).
    bool Attach(std::string& error);
    // Serves until stop is set or the deadline has passed, following the device as it
    // leaves and comes back; leaves the bus at the end.
    void Run(const std::atomic<bool>& stop, Clock::time_point deadline);
    bool Attached() const { return m_listener >= 0; }

private:
    struct PendingIn
    {
        uint32_t tag;
        uint8_t endpoint;
        uint32_t length;
    };
    struct Connection
    {
        int fd = -1;
        bool greeted = false;
        vusb::FrameReader reader{false};
        std::vector<uint8_t> out;
        std::deque<PendingIn> pending;
    };

    void _Detach();
    void _Accept();
    // False when the connection is to be closed.
    bool _Receive(Connection& c, Clock::time_point now);
    bool _Handle(Connection& c, const vusb::Frame& frame, Clock::time_point now);
    void _Control(Connection& c, const vusb::Frame& frame);
    vusb::Status _Usable(const Connection& c, uint8_t endpoint) const;
    void _ServePending(Clock::time_point now);
    void _Reply(Connection& c, uint32_t tag, vusb::Status status, uint32_t count, const uint8_t* data, size_t size);
    bool _Flush(Connection& c);
    void _Close(int fd);

    UsbFunction& m_function;
    std::string m_path;
    bool m_heldElsewhere;
    int m_listener = -1;
    uint64_t m_session = 0;
    std::map<int, std::unique_ptr<Connection>> m_connections;
    std::map<uint8_t, int> m_claims; // interface -> connection
    std::set<uint8_t> m_halted;
    Clock::time_point m_leaving = Clock::time_point::max();
    std::vector<uint8_t> m_chunk;
};

} // namespace vcam

#endif
