#ifndef GRB_ARAVIS_ARAVISDISCOVERY_H
#define GRB_ARAVIS_ARAVISDISCOVERY_H

#include "AravisDeviceInfo.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace grb::aravis {

// The one thread that asks Aravis for its device list. Aravis refills that list
// without a lock, so nothing else may touch it: every round is copied out at once
// and published as a snapshot. Shared by the GigE Vision and USB3 Vision layers.
class AravisDiscovery
{
public:
    static std::shared_ptr<AravisDiscovery> Acquire();
    ~AravisDiscovery();
    AravisDiscovery(const AravisDiscovery&) = delete;
    AravisDiscovery& operator=(const AravisDiscovery&) = delete;

    // The first subscriber starts the thread; returns once a first round is done.
    // listChanged is called on the discovery thread, with no lock held, after a
    // round whose snapshot differs from the one before.
    uint64_t Subscribe(std::function<void()> listChanged);
    // The last one leaving stops the thread.
    void Unsubscribe(uint64_t token);

    std::vector<AravisDeviceInfo> Devices(GrbTransportLayerType type);
    bool Find(const std::string& extendedId, AravisDeviceInfo& info);

    // A camera this process holds reads as controlled on the wire; it is reported as
    // fully accessible instead, like a free one.
    void SetOpenHere(const std::string& extendedId, bool open);
    // Asks for a round now, e.g. after a camera dropped this process's control.
    void Wake();

    static std::string LibraryPath();

private:
    AravisDiscovery() = default;
    void _Run();
    std::vector<AravisDeviceInfo> _Round(const std::set<std::string>& openHere);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<uint64_t, std::function<void()>> m_subscribers;
    uint64_t m_nextToken = 1;
    std::set<std::string> m_openHere;
    std::vector<AravisDeviceInfo> m_devices;
    uint64_t m_rounds = 0;
    bool m_stop = false;
    bool m_joining = false;
    bool m_wake = false;
    std::thread m_thread;
};

} // namespace grb::aravis

#endif
