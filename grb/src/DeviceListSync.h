#ifndef GRB_SRC_DEVICELISTSYNC_H
#define GRB_SRC_DEVICELISTSYNC_H

#include "EventThread.h"
#include "HandleTable.h"

#include <contract/DeviceListObserver.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace grb {

// Keeps the handle table's cameras and interfaces as the transport layers report them
// and turns each change into list events: the cost of a change does not grow with the
// number of cameras. Works under the core's lock, which it is given.
class DeviceListSync : public DeviceListObserver
{
public:
    DeviceListSync(std::mutex& mutex, HandleTable& table, EventThread& events);

    // The cameras present when a layer starts are the first list, not plug-in events.
    // Called with the lock held; changes reported before are in it already.
    void Populate(TransportLayerDriver& driver, const std::vector<DeviceRecord>& devices);
    // Changes are taken only while active (from the first list to the shut-down).
    void SetActive(bool active);
    // Forgets the interfaces, for the next session.
    void Clear();

    void DeviceArrived(TransportLayerDriver& driver, const DeviceRecord& device) override;
    void DeviceLeft(TransportLayerDriver& driver, const std::string& extendedId) override;
    void DeviceChanged(TransportLayerDriver& driver, const DeviceRecord& device) override;

private:
    struct Event
    {
        bool camera;
        GrbHandle handle;
        ListEventReason reason;
    };
    using Events = std::vector<Event>;

    void _Arrive(const DeviceRecord& device, TransportLayerDriver& driver, Events& events);
    void _Leave(HandleEntry& camera, GrbHandle handle, Events& events);
    void _Apply(const std::function<void(Events&)>& change);

    std::mutex& m_mutex;
    HandleTable& m_table;
    EventThread& m_events;
    bool m_active = false;
    struct Interface
    {
        GrbHandle handle = nullptr;
        size_t cameras = 0;
    };
    std::map<std::string, Interface> m_interfaces;
};

} // namespace grb

#endif
