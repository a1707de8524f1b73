#include "CommandMemoNodeMap.h"

namespace grb {

CommandMemoNodeMap::CommandMemoNodeMap(NodeMap& map, CommandMemo& memo)
    : m_map(map)
    , m_memo(memo)
{
}

GrbErrorType CommandMemoNodeMap::Describe(const std::string& name, unsigned details, FeatureDescription& description)
{
    return m_map.Describe(name, details, description);
}

GrbErrorType CommandMemoNodeMap::Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value)
{
    return m_map.Read(name, type, value);
}

GrbErrorType CommandMemoNodeMap::Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value)
{
    return m_memo.Writing([&] { return m_map.Write(name, type, value); });
}

GrbErrorType CommandMemoNodeMap::ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity,
                                         uint32_t& length)
{
    return m_map.ReadRaw(name, buffer, capacity, length);
}

GrbErrorType CommandMemoNodeMap::WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length)
{
    return m_memo.Writing([&] { return m_map.WriteRaw(name, bytes, length); });
}

GrbErrorType CommandMemoNodeMap::Execute(const std::string& name)
{
    return m_memo.Writing([&] { return m_map.Execute(name); });
}

GrbErrorType CommandMemoNodeMap::IsDone(const std::string& name, bool& done)
{
    if (m_memo.KnownDone(m_map, name))
    {
        done = true;
        return GrbErrorSuccess;
    }
    const uint64_t mark = m_memo.Mark();
    const GrbErrorType err = m_map.IsDone(name, done);
    if (err == GrbErrorSuccess && done)
        m_memo.Remember(m_map, name, mark);
    return err;
}

} // namespace grb
