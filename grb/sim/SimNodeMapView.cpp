#include "SimNodeMapView.h"

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

GrbErrorType SimNodeMapView::_On(const std::function<GrbErrorType(SimNodeMap&)>& f)
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

GrbErrorType SimNodeMapView::Describe(const std::string& name, unsigned, FeatureDescription& description)
{
    return _On([&](SimNodeMap& map) -> GrbErrorType {
        const SimFeature* f = map.Find(name);
        if (!f)
            return GrbErrorNotFound;
        description = SimNodeMap::Describe(*f);
        // A camera opened read-only still answers; writes are refused.
        description.writable = description.writable && m_writable;
        return GrbErrorSuccess;
    });
}

GrbErrorType SimNodeMapView::Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value)
{
    return _On([&](SimNodeMap& map) -> GrbErrorType {
        switch (type)
        {
        case GrbFeatureDataInt:
            return map.GetInt(name, value.integer);
        case GrbFeatureDataFloat:
            return map.GetFloat(name, value.real);
        case GrbFeatureDataBool:
            return map.GetBool(name, value.boolean);
        case GrbFeatureDataEnum:
            return map.GetEnumInt(name, value.integer);
        case GrbFeatureDataString:
            return map.GetString(name, value.text);
        case GrbFeatureDataRaw:
            return map.GetRaw(name, value.bytes);
        default:
            return GrbErrorWrongType;
        }
    });
}

GrbErrorType SimNodeMapView::Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value)
{
    if (!m_writable)
        return GrbErrorInvalidAccess;
    return _On([&](SimNodeMap& map) -> GrbErrorType {
        switch (type)
        {
        case GrbFeatureDataInt:
            return map.SetInt(name, value.integer);
        case GrbFeatureDataFloat:
            return map.SetFloat(name, value.real);
        case GrbFeatureDataBool:
            return map.SetBool(name, value.boolean);
        case GrbFeatureDataEnum:
            return map.SetEnumInt(name, value.integer);
        case GrbFeatureDataString:
            return map.SetString(name, value.text);
        case GrbFeatureDataRaw:
            return map.SetRaw(name, value.bytes.data(), static_cast<uint32_t>(value.bytes.size()));
        default:
            return GrbErrorWrongType;
        }
    });
}

GrbErrorType SimNodeMapView::Execute(const std::string& name)
{
    if (!m_writable)
        return GrbErrorInvalidAccess;
    return _On([&](SimNodeMap& map) { return map.RunCommand(name); });
}

GrbErrorType SimNodeMapView::IsDone(const std::string& name, bool& done)
{
    return _On([&](SimNodeMap& map) { return map.IsCommandDone(name, done); });
}

} // namespace grb::sim
