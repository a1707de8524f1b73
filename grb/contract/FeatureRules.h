#ifndef GRB_CONTRACT_FEATURERULES_H
#define GRB_CONTRACT_FEATURERULES_H

#include "FeatureDescription.h"

#include <string>

namespace grb {

// GenICam's rules for reading and writing a feature, written once: the SDK checks every
// transport layer's features with them, and the simulator's device model, a camera of
// its own, checks the writes it is sent.
class FeatureRules
{
public:
    // -10 for another type, -6 when the access is not allowed now.
    static GrbErrorType CheckAccess(const FeatureDescription& feature, GrbFeatureDataType type, bool write);
    // -11 for a value the feature does not take: out of range or off the increment (a
    // float within a millionth of a step counts as on it), an entry that does not exist
    // or is not available, a text or a raw value longer than the feature.
    static GrbErrorType CheckValue(const FeatureDescription& feature, const FeatureValue& value);
    // -11 for raw bytes more than the feature holds.
    static GrbErrorType CheckRawLength(const FeatureDescription& feature, size_t length);
    // The entry by name or by value; null when there is none.
    static const EnumEntryInfo* Entry(const FeatureDescription& feature, const std::string& name);
    static const EnumEntryInfo* Entry(const FeatureDescription& feature, int64_t value);
};

} // namespace grb

#endif
