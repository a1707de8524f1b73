#include "ModulePort.h"

#include <cstdio>

namespace vcam::gentl {

std::string ModulePort::Url::Text() const
{
    char location[48];
    std::snprintf(location, sizeof location, ";%llx;%llx", static_cast<unsigned long long>(address),
                  static_cast<unsigned long long>(size));
    return "Local:" + fileName + location;
}

} // namespace vcam::gentl
