#ifndef GRB_GENTLCONSUMER_GENTLFUNCTIONS_H
#define GRB_GENTLCONSUMER_GENTLFUNCTIONS_H

#include <gentl/GenTLApi.h>

#include <string>
#include <vector>

namespace grb::gentl {

// A producer's functions as found in its library; null where it has none.
struct GentlFunctions
{
#define GENTL_MEMBER(name, parameters) P##name name = nullptr;
    GENTL_FUNCTIONS(GENTL_MEMBER)
#undef GENTL_MEMBER

    // Looks every function up in the dlopen handle.
    void Resolve(void* library);
    // What the transport layer cannot work without: the library, system, interface and
    // device calls and port access with the description's location.
    std::vector<std::string> MissingForControl() const;
    // What single-image acquisition needs besides; a producer without them has no streams.
    std::vector<std::string> MissingForStreams() const;
};

} // namespace grb::gentl

#endif
