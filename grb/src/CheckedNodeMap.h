#ifndef GRB_SRC_CHECKEDNODEMAP_H
#define GRB_SRC_CHECKEDNODEMAP_H

#include <contract/NodeMap.h>

#include <cstdint>
#include <string>
#include <vector>

namespace grb {

struct FeatureInfo
{
    GrbFeatureDataType type = GrbFeatureDataUnknown;
    bool readable = false;
    bool writable = false;
};

// The typed feature calls of both SDK interfaces over one transport layer's node map,
// with GenICam's rules checked here, once for every transport layer: the type, the
// access, ranges and increments, entries and their availability, lengths.
class CheckedNodeMap
{
public:
    explicit CheckedNodeMap(NodeMap& map);

    // -3 when there is no such feature.
    GrbErrorType Info(const std::string& name, FeatureInfo& info);
    // The type alone, which is cheaper to have than the access.
    GrbErrorType Type(const std::string& name, GrbFeatureDataType& type);

    GrbErrorType GetInt(const std::string& name, int64_t& value);
    GrbErrorType SetInt(const std::string& name, int64_t value);
    GrbErrorType GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc);

    GrbErrorType GetFloat(const std::string& name, double& value);
    GrbErrorType SetFloat(const std::string& name, double value);
    // hasIncrement false when the feature has no fixed increment.
    GrbErrorType GetFloatRange(const std::string& name, double& min, double& max, double& inc, bool& hasIncrement);

    GrbErrorType GetBool(const std::string& name, bool& value);
    GrbErrorType SetBool(const std::string& name, bool value);

    GrbErrorType GetEnum(const std::string& name, std::string& entry);
    GrbErrorType SetEnum(const std::string& name, const std::string& entry);
    GrbErrorType GetEnumInt(const std::string& name, int64_t& value);
    GrbErrorType SetEnumInt(const std::string& name, int64_t value);
    // In the device's own order.
    GrbErrorType GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries);

    GrbErrorType GetString(const std::string& name, std::string& value);
    GrbErrorType SetString(const std::string& name, const std::string& value);

    GrbErrorType RunCommand(const std::string& name);
    GrbErrorType IsCommandDone(const std::string& name, bool& done);

    GrbErrorType GetRawLength(const std::string& name, uint32_t& length);
    // Fills at most length bytes; length returns the count filled.
    GrbErrorType GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length);
    GrbErrorType SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length);

private:
    // Described with details, and the access allowed to a feature of this type.
    GrbErrorType _Allowed(const std::string& name, GrbFeatureDataType type, bool write, unsigned details,
                          FeatureDescription& description);
    GrbErrorType _Describe(const std::string& name, GrbFeatureDataType type, unsigned details,
                           FeatureDescription& description);
    GrbErrorType _Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value,
                       FeatureDescription* description = nullptr);
    GrbErrorType _Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value);

    NodeMap& m_map;
};

} // namespace grb

#endif
