#ifndef GRB_ARAVIS_ARAVISSTREAMNODEMAP_H
#define GRB_ARAVIS_ARAVISSTREAMNODEMAP_H

#include "AravisConnection.h"

#include <contract/NodeMap.h>

#include <memory>

namespace grb::aravis {

// The first stream's features. Aravis streams GigE Vision over UDP only, so
// GVSPProtocol reads "UDP", and GVSPAdjustPacketSize runs Aravis's packet-size
// negotiation, complete when the run returns. A USB3 Vision stream has neither.
class AravisStreamNodeMap : public NodeMap
{
public:
    explicit AravisStreamNodeMap(std::shared_ptr<AravisConnection> connection);

    GrbErrorType Describe(const std::string& name, unsigned details, FeatureDescription& description) override;
    GrbErrorType Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value) override;
    GrbErrorType Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value) override;
    GrbErrorType Execute(const std::string& name) override;
    GrbErrorType IsDone(const std::string& name, bool& done) override;

private:
    std::shared_ptr<AravisConnection> m_connection;
};

} // namespace grb::aravis

#endif
