#ifndef GRB_SIM_SIMNODEMAPVIEW_H
#define GRB_SIM_SIMNODEMAPVIEW_H

#include "SimWorld.h"

#include <contract/NodeMap.h>

#include <functional>
#include <memory>

namespace grb::sim {

// A session's view of the camera's or one stream's features: every call goes through
// the world's lock and fails once the device has left.
class SimNodeMapView : public NodeMap
{
public:
    // stream -1: the camera's own features.
    SimNodeMapView(std::shared_ptr<SimWorld> world, size_t index, uint64_t generation, int stream, bool writable);

    GrbErrorType Describe(const std::string& name, unsigned details, FeatureDescription& description) override;
    GrbErrorType Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value) override;
    GrbErrorType Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value) override;
    GrbErrorType Execute(const std::string& name) override;
    GrbErrorType IsDone(const std::string& name, bool& done) override;

private:
    GrbErrorType _On(const std::function<GrbErrorType(SimNodeMap&)>& f);

    std::shared_ptr<SimWorld> m_world;
    size_t m_index;
    uint64_t m_generation;
    int m_stream;
    bool m_writable;
};

} // namespace grb::sim

#endif
