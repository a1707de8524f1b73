#include "DeviceSnapshot.h"

namespace grb {

namespace {

bool sameDetails(const DeviceRecord& a, const DeviceRecord& b)
{
    return a.permittedAccess == b.permittedAccess && a.fieldErrors == b.fieldErrors && a.name == b.name;
}

} // namespace

void DeviceSnapshot::Reset(const std::vector<DeviceRecord>& devices)
{
    m_devices.clear();
    for (const DeviceRecord& device : devices)
        m_devices.emplace(device.extendedId, device);
}

void DeviceSnapshot::Update(const std::vector<DeviceRecord>& devices, TransportLayerDriver& driver,
                            DeviceListObserver& observer)
{
    std::map<std::string, DeviceRecord> next;
    for (const DeviceRecord& device : devices)
        next.emplace(device.extendedId, device);
    for (const auto& [id, device] : m_devices)
        if (!next.count(id))
            observer.DeviceLeft(driver, id);
    for (const auto& [id, device] : next)
    {
        auto known = m_devices.find(id);
        if (known == m_devices.end())
            observer.DeviceArrived(driver, device);
        else if (!sameDetails(known->second, device))
            observer.DeviceChanged(driver, device);
    }
    m_devices = std::move(next);
}

} // namespace grb
