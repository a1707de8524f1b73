#ifndef GRB_SIM_SIMNODEMAP_H
#define GRB_SIM_SIMNODEMAP_H

#include "SimFeature.h"

#include <contract/FeatureDescription.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace grb::sim {

// The features of a device or a stream, as the device keeps them: the checks of
// FeatureRules on every access, the device's own behaviour behind the values, and the
// simulated faults. Not locked: its owner serialises calls.
class SimNodeMap
{
public:
    SimFeature& AddInt(const std::string& name, int64_t value, int64_t min, int64_t max, int64_t inc = 1);
    SimFeature& AddFloat(const std::string& name, double value, double min, double max, double inc = 0.0);
    SimFeature& AddBool(const std::string& name, bool value);
    SimFeature& AddEnum(const std::string& name, std::vector<SimEnumEntry> entries, int64_t value);
    SimFeature& AddString(const std::string& name, const std::string& value, uint32_t maxLength = 255);
    SimFeature& AddCommand(const std::string& name);
    SimFeature& AddRaw(const std::string& name, uint32_t length);
    void Remove(const std::string& name);

    SimFeature* Find(const std::string& name);
    static FeatureDescription Describe(const SimFeature& feature);
    // Definitions in the order they were added.
    std::vector<const SimFeature*> Features() const;

    GrbErrorType GetInt(const std::string& name, int64_t& value);
    GrbErrorType SetInt(const std::string& name, int64_t value);
    GrbErrorType GetFloat(const std::string& name, double& value);
    GrbErrorType SetFloat(const std::string& name, double value);
    GrbErrorType GetBool(const std::string& name, bool& value);
    GrbErrorType SetBool(const std::string& name, bool value);
    GrbErrorType GetEnum(const std::string& name, std::string& entry);
    GrbErrorType SetEnum(const std::string& name, const std::string& entry);
    GrbErrorType GetEnumInt(const std::string& name, int64_t& value);
    GrbErrorType SetEnumInt(const std::string& name, int64_t value);
    GrbErrorType GetString(const std::string& name, std::string& value);
    GrbErrorType SetString(const std::string& name, const std::string& value);
    GrbErrorType RunCommand(const std::string& name);
    GrbErrorType IsCommandDone(const std::string& name, bool& done);
    GrbErrorType GetRaw(const std::string& name, std::vector<uint8_t>& value);
    GrbErrorType SetRaw(const std::string& name, const uint8_t* data, uint32_t length);
    // A piece of a raw feature, for a transport that maps it to registers and moves it in
    // packets. The piece must lie inside the feature; each piece counts as one access,
    // and a written piece's end is what the last raw write put in.
    GrbErrorType GetRawPart(const std::string& name, uint32_t offset, uint8_t* buffer, uint32_t length);
    GrbErrorType SetRawPart(const std::string& name, uint32_t offset, const uint8_t* data, uint32_t length);

    // For the device model: value changes that bypass access modes, ranges and faults.
    void Store(const std::string& name, int64_t value);
    void Store(const std::string& name, const std::string& value);

private:
    GrbErrorType _Access(const std::string& name, GrbFeatureDataType type, bool write, SimFeature*& feature);

    std::map<std::string, std::unique_ptr<SimFeature>> m_features;
    std::vector<std::string> m_order;
};

} // namespace grb::sim

#endif
