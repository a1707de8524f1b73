#include "SimNodeMap.h"

#include <contract/FeatureRules.h>

#include <algorithm>
#include <cstring>

namespace grb::sim {

namespace {

SimFeature& insert(std::map<std::string, std::unique_ptr<SimFeature>>& features, std::vector<std::string>& order,
                   const std::string& name, GrbFeatureDataType type)
{
    auto& slot = features[name];
    if (!slot)
        order.push_back(name);
    slot = std::make_unique<SimFeature>();
    slot->name = name;
    slot->type = type;
    return *slot;
}

const SimEnumEntry* entryByName(const SimFeature& f, const std::string& name)
{
    for (const auto& e : f.entries)
        if (e.name == name)
            return &e;
    return nullptr;
}

const SimEnumEntry* entryByValue(const SimFeature& f, int64_t value)
{
    for (const auto& e : f.entries)
        if (e.value == value)
            return &e;
    return nullptr;
}

// A write the device takes after its value was checked against the feature's rules.
GrbErrorType checked(const SimFeature& f, const FeatureValue& value)
{
    return FeatureRules::CheckValue(SimNodeMap::Describe(f), value);
}

} // namespace

SimFeature& SimNodeMap::AddInt(const std::string& name, int64_t value, int64_t min, int64_t max, int64_t inc)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataInt);
    f.intValue = value;
    f.intMin = min;
    f.intMax = max;
    f.intInc = inc < 1 ? 1 : inc;
    return f;
}

SimFeature& SimNodeMap::AddFloat(const std::string& name, double value, double min, double max, double inc)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataFloat);
    f.floatValue = value;
    f.floatMin = min;
    f.floatMax = max;
    f.floatInc = inc;
    f.hasFloatInc = inc > 0.0;
    return f;
}

SimFeature& SimNodeMap::AddBool(const std::string& name, bool value)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataBool);
    f.boolValue = value;
    return f;
}

SimFeature& SimNodeMap::AddEnum(const std::string& name, std::vector<SimEnumEntry> entries, int64_t value)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataEnum);
    f.entries = std::move(entries);
    f.enumValue = value;
    return f;
}

SimFeature& SimNodeMap::AddString(const std::string& name, const std::string& value, uint32_t maxLength)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataString);
    f.stringValue = value;
    f.stringMaxLength = maxLength;
    return f;
}

SimFeature& SimNodeMap::AddCommand(const std::string& name)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataCommand);
    f.readable = false;
    return f;
}

SimFeature& SimNodeMap::AddRaw(const std::string& name, uint32_t length)
{
    SimFeature& f = insert(m_features, m_order, name, GrbFeatureDataRaw);
    f.raw.assign(length, 0);
    return f;
}

void SimNodeMap::Remove(const std::string& name)
{
    m_features.erase(name);
    m_order.erase(std::remove(m_order.begin(), m_order.end(), name), m_order.end());
}

SimFeature* SimNodeMap::Find(const std::string& name)
{
    auto it = m_features.find(name);
    return it == m_features.end() ? nullptr : it->second.get();
}

std::vector<const SimFeature*> SimNodeMap::Features() const
{
    std::vector<const SimFeature*> result;
    for (const auto& name : m_order)
        result.push_back(m_features.at(name).get());
    return result;
}

FeatureDescription SimNodeMap::Describe(const SimFeature& f)
{
    FeatureDescription d;
    d.type = f.type;
    d.readable = f.readable;
    d.writable = f.writable;
    d.intMin = f.intMin;
    d.intMax = f.intMax;
    d.intInc = f.intInc;
    d.floatMin = f.floatMin;
    d.floatMax = f.floatMax;
    d.floatInc = f.floatInc;
    d.hasFloatInc = f.hasFloatInc;
    for (const auto& e : f.entries)
        d.entries.push_back({e.name, e.value, e.available});
    d.length = f.type == GrbFeatureDataString ? f.stringMaxLength : static_cast<uint32_t>(f.raw.size());
    return d;
}

GrbErrorType SimNodeMap::_Access(const std::string& name, GrbFeatureDataType type, bool write, SimFeature*& feature)
{
    feature = Find(name);
    if (!feature)
        return GrbErrorNotFound;
    FeatureDescription access;
    access.type = feature->type;
    access.readable = feature->readable;
    access.writable = feature->writable;
    if (GrbErrorType err = FeatureRules::CheckAccess(access, type, write))
        return err;
    ++feature->accessCount;
    if (feature->failOnAccess != 0 && feature->accessCount == feature->failOnAccess)
        return feature->failCode;
    if (!write && feature->beforeRead)
        return feature->beforeRead(*feature);
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetInt(const std::string& name, int64_t& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataInt, false, f);
    if (err == GrbErrorSuccess)
        value = f->intValue;
    return err;
}

GrbErrorType SimNodeMap::SetInt(const std::string& name, int64_t value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataInt, true, f);
    if (err != GrbErrorSuccess)
        return err;
    FeatureValue v;
    v.integer = value;
    if ((err = checked(*f, v)) != GrbErrorSuccess)
        return err;
    f->intValue = value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetFloat(const std::string& name, double& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataFloat, false, f);
    if (err == GrbErrorSuccess)
        value = f->floatValue;
    return err;
}

GrbErrorType SimNodeMap::SetFloat(const std::string& name, double value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataFloat, true, f);
    if (err != GrbErrorSuccess)
        return err;
    FeatureValue v;
    v.real = value;
    if ((err = checked(*f, v)) != GrbErrorSuccess)
        return err;
    f->floatValue = value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetBool(const std::string& name, bool& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataBool, false, f);
    if (err == GrbErrorSuccess)
        value = f->boolValue;
    return err;
}

GrbErrorType SimNodeMap::SetBool(const std::string& name, bool value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataBool, true, f);
    if (err != GrbErrorSuccess)
        return err;
    f->boolValue = value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetEnum(const std::string& name, std::string& entry)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataEnum, false, f);
    if (err != GrbErrorSuccess)
        return err;
    const SimEnumEntry* e = entryByValue(*f, f->enumValue);
    if (!e)
        return GrbErrorInvalidValue;
    entry = e->name;
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::SetEnum(const std::string& name, const std::string& entry)
{
    // Access first, as for every other write: a read-only feature refuses any name.
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataEnum, true, f);
    if (err != GrbErrorSuccess)
        return err;
    const SimEnumEntry* e = entryByName(*f, entry);
    if (!e || !e->available)
        return GrbErrorInvalidValue;
    f->enumValue = e->value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetEnumInt(const std::string& name, int64_t& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataEnum, false, f);
    if (err == GrbErrorSuccess)
        value = f->enumValue;
    return err;
}

GrbErrorType SimNodeMap::SetEnumInt(const std::string& name, int64_t value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataEnum, true, f);
    if (err != GrbErrorSuccess)
        return err;
    FeatureValue v;
    v.integer = value;
    if ((err = checked(*f, v)) != GrbErrorSuccess)
        return err;
    f->enumValue = value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetString(const std::string& name, std::string& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataString, false, f);
    if (err == GrbErrorSuccess)
        value = f->stringValue;
    return err;
}

GrbErrorType SimNodeMap::SetString(const std::string& name, const std::string& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataString, true, f);
    if (err != GrbErrorSuccess)
        return err;
    FeatureValue v;
    v.text = value;
    if ((err = checked(*f, v)) != GrbErrorSuccess)
        return err;
    f->stringValue = value;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::RunCommand(const std::string& name)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataCommand, true, f);
    if (err != GrbErrorSuccess)
        return err;
    if (f->onCommand)
    {
        err = f->onCommand(*f);
        if (err != GrbErrorSuccess)
            return err;
    }
    f->commandRunning = true;
    f->commandRunAt = std::chrono::steady_clock::now();
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::IsCommandDone(const std::string& name, bool& done)
{
    SimFeature* f = Find(name);
    if (!f)
        return GrbErrorNotFound;
    if (f->type != GrbFeatureDataCommand)
        return GrbErrorWrongType;
    if (!f->commandRunning || f->commandDelayMs == 0)
        done = true;
    else if (f->commandDelayMs < 0)
        done = false;
    else
        done = std::chrono::steady_clock::now() - f->commandRunAt >= std::chrono::milliseconds(f->commandDelayMs);
    if (done)
        f->commandRunning = false;
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetRaw(const std::string& name, std::vector<uint8_t>& value)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataRaw, false, f);
    if (err != GrbErrorSuccess)
        return err;
    size_t length = f->raw.size();
    if (f->rawReadLimit != 0 && f->rawReadLimit < length)
        length = f->rawReadLimit;
    value.assign(f->raw.begin(), f->raw.begin() + static_cast<std::ptrdiff_t>(length));
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::SetRaw(const std::string& name, const uint8_t* data, uint32_t length)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataRaw, true, f);
    if (err != GrbErrorSuccess)
        return err;
    if (length > f->raw.size() || (length > 0 && !data))
        return GrbErrorInvalidValue;
    if (length > 0)
        std::memcpy(f->raw.data(), data, length);
    f->rawWritten = length;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

GrbErrorType SimNodeMap::GetRawPart(const std::string& name, uint32_t offset, uint8_t* buffer, uint32_t length)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataRaw, false, f);
    if (err != GrbErrorSuccess)
        return err;
    if (offset > f->raw.size() || length > f->raw.size() - offset || (length > 0 && !buffer))
        return GrbErrorInvalidValue;
    if (length > 0)
        std::memcpy(buffer, f->raw.data() + offset, length);
    return GrbErrorSuccess;
}

GrbErrorType SimNodeMap::SetRawPart(const std::string& name, uint32_t offset, const uint8_t* data, uint32_t length)
{
    SimFeature* f = nullptr;
    GrbErrorType err = _Access(name, GrbFeatureDataRaw, true, f);
    if (err != GrbErrorSuccess)
        return err;
    if (offset > f->raw.size() || length > f->raw.size() - offset || (length > 0 && !data))
        return GrbErrorInvalidValue;
    if (length > 0)
        std::memcpy(f->raw.data() + offset, data, length);
    f->rawWritten = offset + length;
    return f->afterWrite ? f->afterWrite(*f) : GrbErrorSuccess;
}

void SimNodeMap::Store(const std::string& name, int64_t value)
{
    if (SimFeature* f = Find(name))
    {
        if (f->type == GrbFeatureDataEnum)
            f->enumValue = value;
        else
            f->intValue = value;
    }
}

void SimNodeMap::Store(const std::string& name, const std::string& value)
{
    SimFeature* f = Find(name);
    if (!f)
        return;
    if (f->type == GrbFeatureDataEnum)
    {
        if (const SimEnumEntry* e = entryByName(*f, value))
            f->enumValue = e->value;
    }
    else
        f->stringValue = value;
}

} // namespace grb::sim
