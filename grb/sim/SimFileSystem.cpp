#include "SimFileSystem.h"

#include <algorithm>

namespace grb::sim {

SimFileSystem::SimFileSystem(uint64_t capacity, std::vector<std::string> slotNames)
    : m_capacity(capacity)
    , m_slotOrder(std::move(slotNames))
{
}

std::vector<std::string> SimFileSystem::SelectorEntries() const
{
    std::vector<std::string> entries{kUserfile};
    entries.insert(entries.end(), m_slotOrder.begin(), m_slotOrder.end());
    entries.emplace_back(kFirmware);
    return entries;
}

bool SimFileSystem::IsSlot(const std::string& selector) const
{
    return std::find(m_slotOrder.begin(), m_slotOrder.end(), selector) != m_slotOrder.end();
}

uint64_t SimFileSystem::Used() const
{
    uint64_t used = 0;
    for (const auto& f : m_userfiles)
        used += f.data.size();
    for (const auto& s : m_slots)
        used += s.second.data.size();
    return used;
}

uint64_t SimFileSystem::Free() const
{
    uint64_t used = Used();
    return used >= m_capacity ? 0 : m_capacity - used;
}

std::vector<std::string> SimFileSystem::Names(const std::string& selector) const
{
    std::vector<std::string> names;
    if (selector == kUserfile)
    {
        for (const auto& f : m_userfiles)
            names.push_back(f.name);
    }
    else
    {
        auto it = m_slots.find(selector);
        if (it != m_slots.end())
            names.push_back(it->second.name);
    }
    return names;
}

std::vector<uint8_t>* SimFileSystem::Find(const std::string& selector, const std::string& name)
{
    if (selector == kUserfile)
    {
        for (auto& f : m_userfiles)
            if (f.name == name)
                return &f.data;
        return nullptr;
    }
    auto it = m_slots.find(selector);
    return it == m_slots.end() ? nullptr : &it->second.data;
}

std::vector<uint8_t>* SimFileSystem::Create(const std::string& selector, const std::string& name)
{
    if (selector == kUserfile)
    {
        if (name.empty())
            return nullptr;
        if (std::vector<uint8_t>* existing = Find(selector, name))
        {
            existing->clear();
            return existing;
        }
        m_userfiles.push_back({name, {}});
        return &m_userfiles.back().data;
    }
    if (!IsSlot(selector))
        return nullptr;
    NamedFile& slot = m_slots[selector];
    slot.name = selector;
    slot.data.clear();
    return &slot.data;
}

bool SimFileSystem::Remove(const std::string& selector, const std::string& name)
{
    if (selector == kUserfile)
    {
        auto it = std::find_if(m_userfiles.begin(), m_userfiles.end(),
                               [&](const NamedFile& f) { return f.name == name; });
        if (it == m_userfiles.end())
            return false;
        m_userfiles.erase(it);
        return true;
    }
    return m_slots.erase(selector) > 0;
}

} // namespace grb::sim
