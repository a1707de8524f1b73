#include <GrbCPP/EnumEntry.h>

namespace GrbCPP {

EnumEntry::EnumEntry(std::string name, int64_t value)
    : m_name(std::move(name))
    , m_value(value)
    , m_valid(true)
{
}

GrbErrorType EnumEntry::GetName(std::string& name) const
{
    if (!m_valid)
        return GrbErrorInvalidCall;
    name = m_name;
    return GrbErrorSuccess;
}

GrbErrorType EnumEntry::GetValue(int64_t& value) const
{
    if (!m_valid)
        return GrbErrorInvalidCall;
    value = m_value;
    return GrbErrorSuccess;
}

} // namespace GrbCPP
