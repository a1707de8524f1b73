#ifndef GRB_ARAVIS_ARAVISNODEMAP_H
#define GRB_ARAVIS_ARAVISNODEMAP_H

#include "AravisConnection.h"

#include "../src/NodeMap.h"

#include <memory>

typedef struct _ArvGcFeatureNode ArvGcFeatureNode;

namespace grb::aravis {

// A camera's GenICam features through Aravis. Access is checked before Aravis is
// asked (availability, lock, the actual access mode, a read-only session), and
// values against range and increment, so refusals have the SDK's codes.
class AravisNodeMap : public NodeMap
{
public:
    explicit AravisNodeMap(std::shared_ptr<AravisConnection> connection);

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
    enum class Use
    {
        Describe,
        Read,
        Write
    };
    // Runs f on the named feature of the given type after the access check for use.
    GrbErrorType _With(const std::string& name, GrbFeatureDataType type, Use use,
                       const std::function<GrbErrorType(ArvGcFeatureNode* node)>& f);
    GrbErrorType _SetEntry(const std::string& name, const std::function<bool(const EnumEntryInfo&)>& match,
                           const std::string& wanted);

    std::shared_ptr<AravisConnection> m_connection;
};

} // namespace grb::aravis

#endif
