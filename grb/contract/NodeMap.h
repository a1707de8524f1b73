#ifndef GRB_CONTRACT_NODEMAP_H
#define GRB_CONTRACT_NODEMAP_H

#include "FeatureDescription.h"

#include <string>

namespace grb {

// The GenICam features of a camera or a stream, as one transport layer reaches them:
// it describes a feature and moves raw values; the rules (access, range, increment,
// entries, lengths) are checked above it. Every call may come from any thread.
class NodeMap
{
public:
    virtual ~NodeMap() = default;

    // -3 when there is no such feature. details: FeatureDescription::Detail flags.
    virtual GrbErrorType Describe(const std::string& name, unsigned details, FeatureDescription& description) = 0;
    // Of a feature already found to have this type and to allow the access. A raw
    // feature reads its whole current content.
    virtual GrbErrorType Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value) = 0;
    virtual GrbErrorType Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value) = 0;
    // The same for a raw feature, straight from or to the caller's bytes, for a transport
    // layer that can spare the copy: a file moves through one chunk after another. The
    // read fills at most capacity bytes; length: the count filled.
    virtual GrbErrorType ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity, uint32_t& length);
    virtual GrbErrorType WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length);
    virtual GrbErrorType Execute(const std::string& name) = 0;
    // Needs no access: a command that cannot tell is done.
    virtual GrbErrorType IsDone(const std::string& name, bool& done) = 0;
};

} // namespace grb

#endif
