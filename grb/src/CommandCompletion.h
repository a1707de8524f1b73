#ifndef GRB_COMMANDCOMPLETION_H
#define GRB_COMMANDCOMPLETION_H

#include "CheckedNodeMap.h"

#include <string>

namespace grb {

// Runs a command and gives it a short, bounded time to complete before returning, as
// cameras that need a few milliseconds per command are common: a caller's first
// completion query then already sees it done. A command that takes longer is left
// running; whether it ever completes is the caller's to ask.
GrbErrorType RunCommandAndSettle(CheckedNodeMap& map, const std::string& name);

} // namespace grb

#endif
