#include "SimNodeMapView.h"

#include <algorithm>
#include <cstring>

namespace grb::sim {

SimNodeMapView::SimNodeMapView(std::shared_ptr<SimWorld> world, size_t index, uint64_t generation, int stream,
                               bool writable)
    : m_world(std::move(world))
    , m_index(index)
    , m_generation(generation)
    , m_stream(stream)
    , m_writable(writable)
{
}

GrbErrorType SimNodeMapView::_Read(const std::function<GrbErrorType(SimNodeMap&)>& f)
{
    const int stream = m_stream;
    return m_world->Call(m_index, m_generation, [&](SimDevice& device) -> GrbErrorType {
        if (stream < 0)
            return f(device.Features());
        if (static_cast<size_t>(stream) >= device.Streams().size())
            return GrbErrorNotFound;
        return f(device.Streams()[static_cast<size_t>(stream)]);
    });
}

GrbErrorType SimNodeMapView::_Write(const std::function<GrbErrorType(SimNodeMap&)>& f)
{
    // A camera opened read-only still answers; writes are refused.
    if (!m_writable)
        return _Read([](SimNodeMap&) -> GrbErrorType { return GrbErrorInvalidAccess; });
    return _Read(f);
}

GrbErrorType SimNodeMapView::Info(const std::string& name, FeatureInfo& info)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        info.type = f->type;
        info.readable = f->readable;
        info.writable = f->writable && m_writable;
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::GetInt(const std::string& name, int64_t& value)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetInt(name, value); });
}

GrbErrorType SimNodeMapView::SetInt(const std::string& name, int64_t value)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetInt(name, value); });
}

GrbErrorType SimNodeMapView::GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        if (f->type != GrbFeatureDataInt)
            return GrbErrorWrongType;
        min = f->intMin;
        max = f->intMax;
        inc = f->intInc;
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::GetFloat(const std::string& name, double& value)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetFloat(name, value); });
}

GrbErrorType SimNodeMapView::SetFloat(const std::string& name, double value)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetFloat(name, value); });
}

GrbErrorType SimNodeMapView::GetFloatRange(const std::string& name, double& min, double& max, double& inc,
                                           bool& hasIncrement)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        if (f->type != GrbFeatureDataFloat)
            return GrbErrorWrongType;
        min = f->floatMin;
        max = f->floatMax;
        inc = f->floatInc;
        hasIncrement = f->hasFloatInc;
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::GetBool(const std::string& name, bool& value)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetBool(name, value); });
}

GrbErrorType SimNodeMapView::SetBool(const std::string& name, bool value)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetBool(name, value); });
}

GrbErrorType SimNodeMapView::GetEnum(const std::string& name, std::string& entry)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetEnum(name, entry); });
}

GrbErrorType SimNodeMapView::SetEnum(const std::string& name, const std::string& entry)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetEnum(name, entry); });
}

GrbErrorType SimNodeMapView::GetEnumInt(const std::string& name, int64_t& value)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetEnumInt(name, value); });
}

GrbErrorType SimNodeMapView::SetEnumInt(const std::string& name, int64_t value)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetEnumInt(name, value); });
}

GrbErrorType SimNodeMapView::GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        if (f->type != GrbFeatureDataEnum)
            return GrbErrorWrongType;
        entries.clear();
        for (const auto& e : f->entries)
            entries.push_back({e.name, e.value, e.available});
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::GetString(const std::string& name, std::string& value)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.GetString(name, value); });
}

GrbErrorType SimNodeMapView::SetString(const std::string& name, const std::string& value)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetString(name, value); });
}

GrbErrorType SimNodeMapView::RunCommand(const std::string& name)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.RunCommand(name); });
}

GrbErrorType SimNodeMapView::IsCommandDone(const std::string& name, bool& done)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType { return map.IsCommandDone(name, done); });
}

GrbErrorType SimNodeMapView::GetRawLength(const std::string& name, uint32_t& length)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        if (f->type != GrbFeatureDataRaw)
            return GrbErrorWrongType;
        length = static_cast<uint32_t>(f->raw.size());
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length)
{
    return _Read([&](SimNodeMap& map) -> GrbErrorType {
        std::vector<uint8_t> value;
        GrbErrorType err = map.GetRaw(name, value);
        if (err != GrbErrorSuccess)
            return err;
        length = std::min<uint32_t>(length, static_cast<uint32_t>(value.size()));
        if (length > 0)
            std::memcpy(buffer, value.data(), length);
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length)
{
    return _Write([&](SimNodeMap& map) -> GrbErrorType { return map.SetRaw(name, buffer, length); });
}

} // namespace grb::sim
