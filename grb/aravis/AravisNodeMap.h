#ifndef GRB_ARAVIS_ARAVISNODEMAP_H
#define GRB_ARAVIS_ARAVISNODEMAP_H

#include "AravisConnection.h"

#include <contract/NodeMap.h>

#include <functional>
#include <memory>

typedef struct _ArvGcFeatureNode ArvGcFeatureNode;

namespace grb::aravis {

// A camera's GenICam features through Aravis. Its description tells the access as it
// is now (availability, lock, the actual access mode, a read-only session), which
// Aravis's own access mode gets wrong for read-write features.
class AravisNodeMap : public NodeMap
{
public:
    explicit AravisNodeMap(std::shared_ptr<AravisConnection> connection);

    GrbErrorType Describe(const std::string& name, unsigned details, FeatureDescription& description) override;
    GrbErrorType Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value) override;
    GrbErrorType Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value) override;
    GrbErrorType ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity, uint32_t& length) override;
    GrbErrorType WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length) override;
    GrbErrorType Execute(const std::string& name) override;
    GrbErrorType IsDone(const std::string& name, bool& done) override;

private:
    // Runs f on the named feature; -3 when the camera has none.
    GrbErrorType _With(const std::string& name, const std::function<GrbErrorType(ArvGcFeatureNode* node)>& f);

    std::shared_ptr<AravisConnection> m_connection;
};

} // namespace grb::aravis

#endif
