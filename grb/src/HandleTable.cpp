#include "HandleTable.h"

namespace grb {

GrbHandle HandleTable::Add(HandleEntry entry)
{
    const uintptr_t id = m_next++;
    m_entries.emplace(id, std::move(entry));
    return reinterpret_cast<GrbHandle>(id);
}

HandleEntry* HandleTable::Get(GrbHandle handle, HandleKind kind)
{
    auto it = m_entries.find(reinterpret_cast<uintptr_t>(handle));
    return it == m_entries.end() || it->second.kind != kind ? nullptr : &it->second;
}

HandleEntry* HandleTable::CameraOf(GrbHandle handle)
{
    auto it = m_entries.find(reinterpret_cast<uintptr_t>(handle));
    if (it == m_entries.end())
        return nullptr;
    HandleEntry& entry = it->second;
    if (entry.kind == HandleKind::Camera)
        return &entry;
    return entry.camera ? Get(entry.camera, HandleKind::Camera) : nullptr;
}

GrbHandle HandleTable::MergeCamera(const DeviceRecord& record, TransportLayerDriver* driver)
{
    auto known = m_byExtendedId.find(record.extendedId);
    if (known != m_byExtendedId.end())
    {
        HandleEntry* entry = Get(known->second, HandleKind::Camera);
        entry->record = record;
        entry->driver = driver;
        return known->second;
    }
    HandleEntry entry;
    entry.record = record;
    entry.driver = driver;
    const GrbHandle handle = Add(std::move(entry));
    m_byExtendedId[record.extendedId] = handle;
    m_byId.emplace(record.id, handle);
    return handle;
}

GrbHandle HandleTable::FindCamera(const std::string& id) const
{
    auto it = m_byExtendedId.find(id);
    if (it != m_byExtendedId.end())
        return it->second;
    it = m_byId.find(id);
    return it == m_byId.end() ? nullptr : it->second;
}

GrbHandle HandleTable::CameraByExtendedId(const std::string& extendedId) const
{
    auto it = m_byExtendedId.find(extendedId);
    return it == m_byExtendedId.end() ? nullptr : it->second;
}

std::vector<std::shared_ptr<DeviceSession>> HandleTable::TakeSessions()
{
    std::vector<std::shared_ptr<DeviceSession>> sessions;
    for (auto& item : m_entries)
        if (item.second.session)
            sessions.push_back(std::move(item.second.session));
    return sessions;
}

void HandleTable::Clear()
{
    m_entries.clear();
    m_byExtendedId.clear();
    m_byId.clear();
}

} // namespace grb
