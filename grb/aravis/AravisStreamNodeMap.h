#ifndef GRB_ARAVIS_ARAVISSTREAMNODEMAP_H
#define GRB_ARAVIS_ARAVISSTREAMNODEMAP_H

#include "AravisConnection.h"

#include "../src/NodeMap.h"

#include <memory>

namespace grb::aravis {

// The first stream's features. Aravis streams GigE Vision over UDP only, so
// GVSPProtocol reads "UDP", and GVSPAdjustPacketSize runs Aravis's packet-size
// negotiation, complete when the run returns. A USB3 Vision stream has neither.
class AravisStreamNodeMap : public NodeMap
{
public:
    explicit AravisStreamNodeMap(std::shared_ptr<AravisConnection> connection);

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
    // -3 for a feature this stream lacks, -10 for one of another type, -13 when closed.
    GrbErrorType _Check(const std::string& name, GrbFeatureDataType type);

    std::shared_ptr<AravisConnection> m_connection;
};

} // namespace grb::aravis

#endif
