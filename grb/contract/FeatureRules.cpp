#include "FeatureRules.h"

#include <cmath>

namespace grb {

GrbErrorType FeatureRules::CheckAccess(const FeatureDescription& feature, GrbFeatureDataType type, bool write)
{
    if (feature.type != type)
        return GrbErrorWrongType;
    return (write ? feature.writable : feature.readable) ? GrbErrorSuccess : GrbErrorInvalidAccess;
}

GrbErrorType FeatureRules::CheckValue(const FeatureDescription& feature, const FeatureValue& value)
{
    bool valid = true;
    switch (feature.type)
    {
    case GrbFeatureDataInt: {
        const int64_t v = value.integer;
        const int64_t inc = feature.intInc < 1 ? 1 : feature.intInc;
        // In unsigned arithmetic: the distance from the minimum may not fit a signed one.
        valid = v >= feature.intMin && v <= feature.intMax &&
                (static_cast<uint64_t>(v) - static_cast<uint64_t>(feature.intMin)) % static_cast<uint64_t>(inc) == 0;
        break;
    }
    case GrbFeatureDataFloat: {
        const double v = value.real;
        valid = !std::isnan(v) && v >= feature.floatMin && v <= feature.floatMax;
        if (valid && feature.hasFloatInc && feature.floatInc > 0)
        {
            const double steps = (v - feature.floatMin) / feature.floatInc;
            valid = std::fabs(steps - std::round(steps)) <= 1e-6;
        }
        break;
    }
    case GrbFeatureDataEnum: {
        const EnumEntryInfo* entry = Entry(feature, value.integer);
        valid = entry && entry->available;
        break;
    }
    case GrbFeatureDataString:
        valid = value.text.size() <= feature.length;
        break;
    case GrbFeatureDataRaw:
        return CheckRawLength(feature, value.bytes.size());
    default:
        break;
    }
    return valid ? GrbErrorSuccess : GrbErrorInvalidValue;
}

GrbErrorType FeatureRules::CheckRawLength(const FeatureDescription& feature, size_t length)
{
    return length <= feature.length ? GrbErrorSuccess : GrbErrorInvalidValue;
}

const EnumEntryInfo* FeatureRules::Entry(const FeatureDescription& feature, const std::string& name)
{
    for (const auto& entry : feature.entries)
        if (entry.name == name)
            return &entry;
    return nullptr;
}

const EnumEntryInfo* FeatureRules::Entry(const FeatureDescription& feature, int64_t value)
{
    for (const auto& entry : feature.entries)
        if (entry.value == value)
            return &entry;
    return nullptr;
}

} // namespace grb
