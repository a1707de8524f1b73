#ifndef GRBCPP_ENUMENTRY_H
#define GRBCPP_ENUMENTRY_H

#include <GrbC/GrbCTypes.h>

#include <string>

namespace GrbCPP {

// One entry of an enumeration feature, as it was when the entries were fetched.
class EnumEntry
{
public:
    EnumEntry() = default;
    EnumEntry(std::string name, int64_t value);

    GrbErrorType GetName(std::string& name) const;
    GrbErrorType GetValue(int64_t& value) const;

private:
    std::string m_name;
    int64_t m_value = 0;
    bool m_valid = false;
};

} // namespace GrbCPP

#endif
