#ifndef GRB_SRC_COMMANDMEMONODEMAP_H
#define GRB_SRC_COMMANDMEMONODEMAP_H

#include "CommandMemo.h"

#include <contract/NodeMap.h>

namespace grb {

// A camera's (or stream's) node map that answers a completion query from the camera's
// memo when it can, and keeps the memo in step with every write and command run.
class CommandMemoNodeMap : public NodeMap
{
public:
    CommandMemoNodeMap(NodeMap& map, CommandMemo& memo);

    GrbErrorType Describe(const std::string& name, unsigned details, FeatureDescription& description) override;
    GrbErrorType Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value) override;
    GrbErrorType Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value) override;
    GrbErrorType ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity, uint32_t& length) override;
    GrbErrorType WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length) override;
    GrbErrorType Execute(const std::string& name) override;
    GrbErrorType IsDone(const std::string& name, bool& done) override;

private:
    NodeMap& m_map;
    CommandMemo& m_memo;
};

} // namespace grb

#endif
