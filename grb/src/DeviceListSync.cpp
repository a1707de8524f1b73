#include "DeviceListSync.h"

namespace grb {

namespace {

std::string interfaceKey(const DeviceRecord& r)
{
    return r.transportLayerName + '\n' + r.transportLayerPath + '\n' + r.interfaceId;
}

} // namespace

DeviceListSync::DeviceListSync(std::mutex& mutex, HandleTable& table, EventThread& events)
    : m_mutex(mutex)
    , m_table(table)
    , m_events(events)
{
}

void DeviceListSync::SetActive(bool active)
{
    m_active = active;
}

void DeviceListSync::Clear()
{
    m_interfaces.clear();
}

void DeviceListSync::Populate(TransportLayerDriver& driver, const std::vector<DeviceRecord>& devices)
{
    Events ignored;
    for (const DeviceRecord& device : devices)
        _Arrive(device, driver, ignored);
}

void DeviceListSync::_Apply(const std::function<void(Events&)>& change)
{
    Events events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // Before the first list is taken, it will hold this change already.
        if (!m_active)
            return;
        change(events);
    }
    for (const Event& event : events)
        m_events.Post(event.camera, event.handle, event.reason);
}

void DeviceListSync::_Arrive(const DeviceRecord& device, TransportLayerDriver& driver, Events& events)
{
    const GrbHandle handle = m_table.MergeCamera(device, &driver);
    HandleEntry* camera = m_table.Get(handle, HandleKind::Camera);
    if (camera->present)
        return;
    camera->present = true;
    events.push_back({true, handle, ListEventReason::PluggedIn});
    Interface& iface = m_interfaces[interfaceKey(device)];
    if (iface.cameras++ == 0)
    {
        HandleEntry entry;
        entry.kind = HandleKind::Interface;
        entry.record = device;
        entry.record.fieldErrors = {};
        iface.handle = m_table.Add(std::move(entry));
        events.push_back({false, iface.handle, ListEventReason::PluggedIn});
    }
}

void DeviceListSync::_Leave(HandleEntry& camera, GrbHandle handle, Events& events)
{
    if (!camera.present)
        return;
    camera.present = false;
    ++camera.departures;
    events.push_back({true, handle, ListEventReason::PluggedOut});
    auto iface = m_interfaces.find(interfaceKey(camera.record));
    if (iface != m_interfaces.end() && --iface->second.cameras == 0)
    {
        events.push_back({false, iface->second.handle, ListEventReason::PluggedOut});
        m_interfaces.erase(iface);
    }
}

void DeviceListSync::DeviceArrived(TransportLayerDriver& driver, const DeviceRecord& device)
{
    _Apply([&](Events& events) {
        const GrbHandle known = m_table.CameraByExtendedId(device.extendedId);
        const HandleEntry* camera = known ? m_table.Get(known, HandleKind::Camera) : nullptr;
        if (camera && camera->present)
        {
            const GrbAccessModeType access = camera->record.permittedAccess;
            m_table.MergeCamera(device, &driver);
            if (access != device.permittedAccess)
                events.push_back({true, known, ListEventReason::OpenStateChanged});
            return;
        }
        _Arrive(device, driver, events);
    });
}

void DeviceListSync::DeviceLeft(TransportLayerDriver&, const std::string& extendedId)
{
    _Apply([&](Events& events) {
        const GrbHandle handle = m_table.CameraByExtendedId(extendedId);
        if (HandleEntry* camera = handle ? m_table.Get(handle, HandleKind::Camera) : nullptr)
            _Leave(*camera, handle, events);
    });
}

void DeviceListSync::DeviceChanged(TransportLayerDriver& driver, const DeviceRecord& device)
{
    DeviceArrived(driver, device);
}

} // namespace grb
