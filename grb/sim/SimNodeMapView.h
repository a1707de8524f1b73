#ifndef GRB_SIM_SIMNODEMAPVIEW_H
#define GRB_SIM_SIMNODEMAPVIEW_H

#include "SimWorld.h"

#include "../src/NodeMap.h"

#include <memory>

namespace grb::sim {

// A session's view of the camera's or one stream's features: every call goes through
// the world's lock and fails once the device has left.
class SimNodeMapView : public NodeMap
{
public:
    // stream -1: the camera's own features.
    SimNodeMapView(std::shared_ptr<SimWorld> world, size_t index, uint64_t generation, int stream, bool writable);

    GrbErrorType Info(const std::string& name, FeatureInfo& info) override;
    GrbErrorType GetInt(const std::string& name, int64_t& value) override;
    GrbErrorType SetInt(const std::string& name, int64_t value) override;
    GrbErrorType GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc) override;
    GrbErrorType GetFloat(const std::string& name, double& value) override;
    GrbErrorType SetFloat(const std::string& name, double value) override;
    GrbErrorType GetFloatRange(const std::string& name, double& min, double& max, double& inc,
                               bool& hasIncrement) override;
    GrbErrorType GetBool(const std::string& name, bool& value) override;
    GrbErrorType SetBool(const std::string& name, bool value) override;
    GrbErrorType GetEnum(const std::string& name, std::string& entry) override;
    GrbErrorType SetEnum(const std::string& name, const std::string& entry) override;
    GrbErrorType GetEnumInt(const std::string& name, int64_t& value) override;
    GrbErrorType SetEnumInt(const std::string& name, int64_t value) override;
    GrbErrorType GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries) override;
    GrbErrorType GetString(const std::string& name, std::string& value) override;
    GrbErrorType SetString(const std::string& name, const std::string& value) override;
    GrbErrorType RunCommand(const std::string& name) override;
    GrbErrorType IsCommandDone(const std::string& name, bool& done) override;
    GrbErrorType GetRawLength(const std::string& name, uint32_t& length) override;
    GrbErrorType GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length) override;
    GrbErrorType SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length) override;

private:
    GrbErrorType _Read(const std::function<GrbErrorType(SimNodeMap&)>& f);
    GrbErrorType _Write(const std::function<GrbErrorType(SimNodeMap&)>& f);

    std::shared_ptr<SimWorld> m_world;
    size_t m_index;
    uint64_t m_generation;
    int m_stream;
    bool m_writable;
};

} // namespace grb::sim

#endif
