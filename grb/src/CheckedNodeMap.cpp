#include "CheckedNodeMap.h"

#include <contract/FeatureRules.h>

#include <algorithm>
#include <cstring>

namespace grb {

CheckedNodeMap::CheckedNodeMap(NodeMap& map)
    : m_map(map)
{
}

GrbErrorType CheckedNodeMap::_Describe(const std::string& name, GrbFeatureDataType type, unsigned details,
                                       FeatureDescription& description)
{
    const GrbErrorType err = m_map.Describe(name, details, description);
    if (err != GrbErrorSuccess)
        return err;
    return description.type == type ? GrbErrorSuccess : GrbErrorWrongType;
}

GrbErrorType CheckedNodeMap::_Allowed(const std::string& name, GrbFeatureDataType type, bool write, unsigned details,
                                      FeatureDescription& description)
{
    const GrbErrorType err = m_map.Describe(name, details, description);
    return err != GrbErrorSuccess ? err : FeatureRules::CheckAccess(description, type, write);
}

GrbErrorType CheckedNodeMap::_Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value,
                                   FeatureDescription* description)
{
    FeatureDescription d;
    const unsigned details = type == GrbFeatureDataEnum ? FeatureDescription::Entries : FeatureDescription::Access;
    GrbErrorType err = _Allowed(name, type, false, details, d);
    if (err == GrbErrorSuccess)
        err = m_map.Read(name, type, value);
    if (description)
        *description = std::move(d);
    return err;
}

GrbErrorType CheckedNodeMap::_Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value)
{
    FeatureDescription d;
    const unsigned details =
        FeatureDescription::Limits | (type == GrbFeatureDataEnum ? FeatureDescription::Entries : 0u);
    GrbErrorType err = _Allowed(name, type, true, details, d);
    if (err == GrbErrorSuccess)
        err = FeatureRules::CheckValue(d, value);
    return err == GrbErrorSuccess ? m_map.Write(name, type, value) : err;
}

GrbErrorType CheckedNodeMap::Info(const std::string& name, FeatureInfo& info)
{
    FeatureDescription d;
    const GrbErrorType err = m_map.Describe(name, FeatureDescription::Access, d);
    // A command has no value to read, whatever access its register has.
    if (err == GrbErrorSuccess)
        info = {d.type, d.readable && d.type != GrbFeatureDataCommand, d.writable};
    return err;
}

GrbErrorType CheckedNodeMap::Type(const std::string& name, GrbFeatureDataType& type)
{
    FeatureDescription d;
    const GrbErrorType err = m_map.Describe(name, FeatureDescription::TypeOnly, d);
    if (err == GrbErrorSuccess)
        type = d.type;
    return err;
}

GrbErrorType CheckedNodeMap::GetInt(const std::string& name, int64_t& value)
{
    FeatureValue v;
    const GrbErrorType err = _Read(name, GrbFeatureDataInt, v);
    if (err == GrbErrorSuccess)
        value = v.integer;
    return err;
}

GrbErrorType CheckedNodeMap::SetInt(const std::string& name, int64_t value)
{
    FeatureValue v;
    v.integer = value;
    return _Write(name, GrbFeatureDataInt, v);
}

GrbErrorType CheckedNodeMap::GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc)
{
    FeatureDescription d;
    const GrbErrorType err = _Describe(name, GrbFeatureDataInt, FeatureDescription::Limits, d);
    if (err == GrbErrorSuccess)
    {
        min = d.intMin;
        max = d.intMax;
        inc = d.intInc;
    }
    return err;
}

GrbErrorType CheckedNodeMap::GetFloat(const std::string& name, double& value)
{
    FeatureValue v;
    const GrbErrorType err = _Read(name, GrbFeatureDataFloat, v);
    if (err == GrbErrorSuccess)
        value = v.real;
    return err;
}

GrbErrorType CheckedNodeMap::SetFloat(const std::string& name, double value)
{
    FeatureValue v;
    v.real = value;
    return _Write(name, GrbFeatureDataFloat, v);
}

GrbErrorType CheckedNodeMap::GetFloatRange(const std::string& name, double& min, double& max, double& inc,
                                           bool& hasIncrement)
{
    FeatureDescription d;
    const GrbErrorType err = _Describe(name, GrbFeatureDataFloat, FeatureDescription::Limits, d);
    if (err == GrbErrorSuccess)
    {
        min = d.floatMin;
        max = d.floatMax;
        inc = d.floatInc;
        hasIncrement = d.hasFloatInc;
    }
    return err;
}

GrbErrorType CheckedNodeMap::GetBool(const std::string& name, bool& value)
{
    FeatureValue v;
    const GrbErrorType err = _Read(name, GrbFeatureDataBool, v);
    if (err == GrbErrorSuccess)
        value = v.boolean;
    return err;
}

GrbErrorType CheckedNodeMap::SetBool(const std::string& name, bool value)
{
    FeatureValue v;
    v.boolean = value;
    return _Write(name, GrbFeatureDataBool, v);
}

GrbErrorType CheckedNodeMap::GetEnum(const std::string& name, std::string& entry)
{
    FeatureValue v;
    FeatureDescription d;
    GrbErrorType err = _Read(name, GrbFeatureDataEnum, v, &d);
    if (err != GrbErrorSuccess)
        return err;
    const EnumEntryInfo* current = FeatureRules::Entry(d, v.integer);
    if (!current)
        return GrbErrorInvalidValue;
    entry = current->name;
    return GrbErrorSuccess;
}

GrbErrorType CheckedNodeMap::SetEnum(const std::string& name, const std::string& entry)
{
    FeatureDescription d;
    GrbErrorType err = m_map.Describe(name, FeatureDescription::Entries, d);
    if (err == GrbErrorSuccess)
        err = FeatureRules::CheckAccess(d, GrbFeatureDataEnum, true);
    if (err != GrbErrorSuccess)
        return err;
    const EnumEntryInfo* wanted = FeatureRules::Entry(d, entry);
    if (!wanted || !wanted->available)
        return GrbErrorInvalidValue;
    FeatureValue v;
    v.integer = wanted->value;
    return m_map.Write(name, GrbFeatureDataEnum, v);
}

GrbErrorType CheckedNodeMap::GetEnumInt(const std::string& name, int64_t& value)
{
    FeatureValue v;
    const GrbErrorType err = _Read(name, GrbFeatureDataEnum, v);
    if (err == GrbErrorSuccess)
        value = v.integer;
    return err;
}

GrbErrorType CheckedNodeMap::SetEnumInt(const std::string& name, int64_t value)
{
    FeatureValue v;
    v.integer = value;
    return _Write(name, GrbFeatureDataEnum, v);
}

GrbErrorType CheckedNodeMap::GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries)
{
    FeatureDescription d;
    const GrbErrorType err = _Describe(name, GrbFeatureDataEnum, FeatureDescription::Entries, d);
    if (err == GrbErrorSuccess)
        entries = std::move(d.entries);
    return err;
}

GrbErrorType CheckedNodeMap::GetString(const std::string& name, std::string& value)
{
    FeatureValue v;
    const GrbErrorType err = _Read(name, GrbFeatureDataString, v);
    if (err == GrbErrorSuccess)
        value = std::move(v.text);
    return err;
}

GrbErrorType CheckedNodeMap::SetString(const std::string& name, const std::string& value)
{
    FeatureValue v;
    v.text = value;
    return _Write(name, GrbFeatureDataString, v);
}

GrbErrorType CheckedNodeMap::RunCommand(const std::string& name)
{
    FeatureDescription d;
    const GrbErrorType err = _Allowed(name, GrbFeatureDataCommand, true, FeatureDescription::Access, d);
    return err == GrbErrorSuccess ? m_map.Execute(name) : err;
}

GrbErrorType CheckedNodeMap::IsCommandDone(const std::string& name, bool& done)
{
    return m_map.IsDone(name, done);
}

GrbErrorType CheckedNodeMap::GetRawLength(const std::string& name, uint32_t& length)
{
    FeatureDescription d;
    const GrbErrorType err = _Describe(name, GrbFeatureDataRaw, FeatureDescription::Limits, d);
    if (err == GrbErrorSuccess)
        length = d.length;
    return err;
}

GrbErrorType CheckedNodeMap::GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length)
{
    FeatureDescription d;
    GrbErrorType err = _Allowed(name, GrbFeatureDataRaw, false, FeatureDescription::Access, d);
    if (err != GrbErrorSuccess)
        return err;
    uint32_t filled = 0;
    err = m_map.ReadRaw(name, buffer, length, filled);
    if (err == GrbErrorSuccess)
        length = filled;
    return err;
}

GrbErrorType CheckedNodeMap::SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length)
{
    if (length > 0 && !buffer)
        return GrbErrorBadParameter;
    FeatureDescription d;
    GrbErrorType err = _Allowed(name, GrbFeatureDataRaw, true, FeatureDescription::Limits, d);
    if (err == GrbErrorSuccess)
        err = FeatureRules::CheckRawLength(d, length);
    return err == GrbErrorSuccess ? m_map.WriteRaw(name, buffer, length) : err;
}

} // namespace grb
