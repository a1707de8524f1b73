#include "NodeMap.h"

#include <algorithm>
#include <cstring>

namespace grb {

GrbErrorType NodeMap::ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity, uint32_t& length)
{
    FeatureValue value;
    const GrbErrorType err = Read(name, GrbFeatureDataRaw, value);
    if (err != GrbErrorSuccess)
        return err;
    length = std::min<uint32_t>(capacity, static_cast<uint32_t>(value.bytes.size()));
    if (length > 0)
        std::memcpy(buffer, value.bytes.data(), length);
    return GrbErrorSuccess;
}

GrbErrorType NodeMap::WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length)
{
    FeatureValue value;
    if (length > 0)
        value.bytes.assign(bytes, bytes + length);
    return Write(name, GrbFeatureDataRaw, value);
}

} // namespace grb
