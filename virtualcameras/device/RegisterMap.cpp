#include "RegisterMap.h"

#include <algorithm>

namespace vcam {

namespace {

// Register lengths of the model's feature types; 0 leaves the feature unmapped.
uint32_t lengthOf(const grb::sim::SimFeature& feature)
{
    switch (feature.type)
    {
    case GrbFeatureDataInt:
    case GrbFeatureDataFloat:
    case GrbFeatureDataEnum:
        return 8;
    case GrbFeatureDataBool:
    case GrbFeatureDataCommand:
        return 4;
    case GrbFeatureDataString:
        return std::max<uint32_t>(feature.stringMaxLength, 1);
    case GrbFeatureDataRaw:
        return static_cast<uint32_t>(std::min<size_t>(feature.raw.size(), UINT32_MAX));
    default:
        return 0;
    }
}

} // namespace

RegisterMap::RegisterMap(const std::vector<const grb::sim::SimFeature*>& features)
{
    uint64_t next = kFeatureBase;
    for (const grb::sim::SimFeature* feature : features)
    {
        const uint32_t length = feature ? lengthOf(*feature) : 0;
        // The address space is 32 bits wide: what does not fit is left out.
        const uint64_t span = (uint64_t(length) + 3) & ~uint64_t(3);
        if (length == 0 || next + span > UINT32_MAX)
            continue;
        Register r;
        r.feature = feature->name;
        r.type = feature->type;
        r.address = static_cast<uint32_t>(next);
        r.length = length;
        r.span = static_cast<uint32_t>(span);
        // A command's register is read back to tell whether the command is done.
        r.readable = feature->readable || feature->type == GrbFeatureDataCommand;
        r.writable = feature->writable;
        m_registers.push_back(std::move(r));
        next += span;
    }
}

const RegisterMap::Register* RegisterMap::At(uint64_t address) const
{
    auto after = std::upper_bound(m_registers.begin(), m_registers.end(), address,
                                  [](uint64_t a, const Register& r) { return a < r.address; });
    if (after == m_registers.begin())
        return nullptr;
    const Register& r = *std::prev(after);
    return address < uint64_t(r.address) + r.span ? &r : nullptr;
}

const RegisterMap::Register* RegisterMap::Find(const std::string& feature) const
{
    for (const auto& r : m_registers)
        if (r.feature == feature)
            return &r;
    return nullptr;
}

} // namespace vcam
