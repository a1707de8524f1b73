#include "CommandMemo.h"

namespace grb {

void CommandMemo::_Forget()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_writes;
    m_map = nullptr;
    m_name.clear();
}

uint64_t CommandMemo::Mark() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_writes;
}

void CommandMemo::Remember(const NodeMap& map, const std::string& name, uint64_t mark)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (mark != m_writes)
        return;
    m_map = &map;
    m_name = name;
}

bool CommandMemo::KnownDone(const NodeMap& map, const std::string& name) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_map == &map && m_name == name;
}

} // namespace grb
