#ifndef GRB_NODEMAP_H
#define GRB_NODEMAP_H

#include <GrbC/GrbCTypes.h>

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

struct EnumEntryInfo
{
    std::string name;
    int64_t value = 0;
    bool available = true;
};

// The GenICam features of a camera or a stream, by name. Part of the contract each
// transport layer implements; every call may come from any thread.
class NodeMap
{
public:
    virtual ~NodeMap() = default;

    // -3 when there is no such feature.
    virtual GrbErrorType Info(const std::string& name, FeatureInfo& info) = 0;

    virtual GrbErrorType GetInt(const std::string& name, int64_t& value) = 0;
    virtual GrbErrorType SetInt(const std::string& name, int64_t value) = 0;
    virtual GrbErrorType GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc) = 0;

    virtual GrbErrorType GetFloat(const std::string& name, double& value) = 0;
    virtual GrbErrorType SetFloat(const std::string& name, double value) = 0;
    // hasIncrement false when the feature has no fixed increment.
    virtual GrbErrorType GetFloatRange(const std::string& name, double& min, double& max, double& inc,
                                       bool& hasIncrement) = 0;

    virtual GrbErrorType GetBool(const std::string& name, bool& value) = 0;
    virtual GrbErrorType SetBool(const std::string& name, bool value) = 0;

    virtual GrbErrorType GetEnum(const std::string& name, std::string& entry) = 0;
    virtual GrbErrorType SetEnum(const std::string& name, const std::string& entry) = 0;
    virtual GrbErrorType GetEnumInt(const std::string& name, int64_t& value) = 0;
    virtual GrbErrorType SetEnumInt(const std::string& name, int64_t value) = 0;
    // In the device's own order.
    virtual GrbErrorType GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries) = 0;

    virtual GrbErrorType GetString(const std::string& name, std::string& value) = 0;
    virtual GrbErrorType SetString(const std::string& name, const std::string& value) = 0;

    virtual GrbErrorType RunCommand(const std::string& name) = 0;
    virtual GrbErrorType IsCommandDone(const std::string& name, bool& done) = 0;

    virtual GrbErrorType GetRawLength(const std::string& name, uint32_t& length) = 0;
    // Fills at most length bytes; length returns the count filled.
    virtual GrbErrorType GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length) = 0;
    virtual GrbErrorType SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length) = 0;
};

} // namespace grb

#endif
