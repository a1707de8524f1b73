#include <GrbCPP/Feature.h>

#include "CommandCompletion.h"
#include "Core.h"
#include "TextBuffer.h"

#include <algorithm>

namespace GrbCPP {

namespace {

using grb::FeatureInfo;
using NodeMap = grb::CheckedNodeMap;

// Runs f with the feature's type, so typed calls can pick the right node access.
GrbErrorType typed(GrbHandle container, const std::string& name,
                   const std::function<GrbErrorType(NodeMap&, GrbFeatureDataType)>& f)
{
    return grb::Core::Instance().WithFeatures(container, [&](NodeMap& map) -> GrbErrorType {
        GrbFeatureDataType type = GrbFeatureDataUnknown;
        GrbErrorType err = map.Type(name, type);
        return err != GrbErrorSuccess ? err : f(map, type);
    });
}

} // namespace

Feature::Feature(GrbHandle container, std::string name)
    : m_container(container)
    , m_name(std::move(name))
{
}

GrbErrorType Feature::GetName(std::string& name) const
{
    name = m_name;
    return GrbErrorSuccess;
}

GrbErrorType Feature::GetDataType(GrbFeatureDataType& type) const
{
    return typed(m_container, m_name, [&](NodeMap&, GrbFeatureDataType t) -> GrbErrorType {
        type = t;
        return GrbErrorSuccess;
    });
}

GrbErrorType Feature::IsReadable(bool& readable) const
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType {
        FeatureInfo info;
        GrbErrorType err = map.Info(m_name, info);
        readable = info.readable;
        return err;
    });
}

GrbErrorType Feature::IsWritable(bool& writable) const
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType {
        FeatureInfo info;
        GrbErrorType err = map.Info(m_name, info);
        writable = info.writable;
        return err;
    });
}

GrbErrorType Feature::GetValue(int64_t& value) const
{
    return typed(m_container, m_name, [&](NodeMap& map, GrbFeatureDataType t) -> GrbErrorType {
        return t == GrbFeatureDataEnum ? map.GetEnumInt(m_name, value) : map.GetInt(m_name, value);
    });
}

GrbErrorType Feature::SetValue(int64_t value)
{
    return typed(m_container, m_name, [&](NodeMap& map, GrbFeatureDataType t) -> GrbErrorType {
        return t == GrbFeatureDataEnum ? map.SetEnumInt(m_name, value) : map.SetInt(m_name, value);
    });
}

GrbErrorType Feature::GetRange(int64_t& minimum, int64_t& maximum) const
{
    int64_t increment = 0;
    return grb::Core::Instance().WithFeatures(
        m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetIntRange(m_name, minimum, maximum, increment); });
}

GrbErrorType Feature::GetIncrement(int64_t& increment) const
{
    int64_t minimum = 0;
    int64_t maximum = 0;
    return grb::Core::Instance().WithFeatures(
        m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetIntRange(m_name, minimum, maximum, increment); });
}

GrbErrorType Feature::GetValue(double& value) const
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetFloat(m_name, value); });
}

GrbErrorType Feature::SetValue(double value)
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType { return map.SetFloat(m_name, value); });
}

GrbErrorType Feature::GetRange(double& minimum, double& maximum) const
{
    double increment = 0;
    bool hasIncrement = false;
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType {
        return map.GetFloatRange(m_name, minimum, maximum, increment, hasIncrement);
    });
}

GrbErrorType Feature::GetIncrement(double& increment) const
{
    double minimum = 0;
    double maximum = 0;
    bool hasIncrement = false;
    GrbErrorType err = grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType {
        return map.GetFloatRange(m_name, minimum, maximum, increment, hasIncrement);
    });
    return err == GrbErrorSuccess && !hasIncrement ? GrbErrorNotSupported : err;
}

GrbErrorType Feature::GetValue(bool& value) const
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetBool(m_name, value); });
}

GrbErrorType Feature::SetValue(bool value)
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType { return map.SetBool(m_name, value); });
}

GrbErrorType Feature::GetValue(char* buffer, unsigned int& length) const
{
    std::string text;
    GrbErrorType err = typed(m_container, m_name, [&](NodeMap& map, GrbFeatureDataType t) -> GrbErrorType {
        return t == GrbFeatureDataEnum ? map.GetEnum(m_name, text) : map.GetString(m_name, text);
    });
    return err != GrbErrorSuccess ? err : grb::CopyText(text, buffer, length);
}

GrbErrorType Feature::SetValue(const char* value)
{
    if (!value)
        return GrbErrorBadParameter;
    return typed(m_container, m_name, [&](NodeMap& map, GrbFeatureDataType t) -> GrbErrorType {
        return t == GrbFeatureDataEnum ? map.SetEnum(m_name, value) : map.SetString(m_name, value);
    });
}

GrbErrorType Feature::GetEntries(std::vector<EnumEntry>& entries) const
{
    std::vector<grb::EnumEntryInfo> infos;
    GrbErrorType err = grb::Core::Instance().WithFeatures(
        m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetEnumEntries(m_name, infos); });
    if (err != GrbErrorSuccess)
        return err;
    entries.clear();
    for (const auto& info : infos)
        entries.emplace_back(info.name, info.value);
    return GrbErrorSuccess;
}

GrbErrorType Feature::IsValueAvailable(const char* entryName, bool& available) const
{
    if (!entryName)
        return GrbErrorBadParameter;
    std::vector<grb::EnumEntryInfo> infos;
    GrbErrorType err = grb::Core::Instance().WithFeatures(
        m_container, [&](NodeMap& map) -> GrbErrorType { return map.GetEnumEntries(m_name, infos); });
    if (err != GrbErrorSuccess)
        return err;
    auto it = std::find_if(infos.begin(), infos.end(),
                           [entryName](const grb::EnumEntryInfo& info) { return info.name == entryName; });
    if (it == infos.end())
        return GrbErrorNotFound;
    available = it->available;
    return GrbErrorSuccess;
}

GrbErrorType Feature::RunCommand()
{
    return grb::Core::Instance().WithFeatures(m_container,
                                              [&](NodeMap& map) { return grb::RunCommandAndSettle(map, m_name); });
}

GrbErrorType Feature::IsCommandDone(bool& done) const
{
    return grb::Core::Instance().WithFeatures(m_container,
                                              [&](NodeMap& map) -> GrbErrorType { return map.IsCommandDone(m_name, done); });
}

GrbErrorType Feature::GetValue(unsigned char* buffer, unsigned int& length) const
{
    return grb::Core::Instance().WithFeatures(m_container, [&](NodeMap& map) -> GrbErrorType {
        if (!buffer)
        {
            uint32_t size = 0;
            GrbErrorType err = map.GetRawLength(m_name, size);
            length = size;
            return err;
        }
        uint32_t filled = length;
        GrbErrorType err = map.GetRaw(m_name, buffer, filled);
        if (err == GrbErrorSuccess)
            length = filled;
        return err;
    });
}

GrbErrorType Feature::SetValue(const unsigned char* buffer, unsigned int length)
{
    if (!buffer && length > 0)
        return GrbErrorBadParameter;
    return grb::Core::Instance().WithFeatures(m_container,
                                              [&](NodeMap& map) -> GrbErrorType { return map.SetRaw(m_name, buffer, length); });
}

} // namespace GrbCPP
