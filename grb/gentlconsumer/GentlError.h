#ifndef GRB_GENTLCONSUMER_GENTLERROR_H
#define GRB_GENTLCONSUMER_GENTLERROR_H

#include <gentl/GenTLApi.h>

#include <GrbC/GrbCTypes.h>

#include <string>

namespace grb::gentl {

// The one translation of GenTL error codes into SDK codes, and the text of the last
// failure, kept per thread since the codes cannot carry it.
class GentlError
{
public:
    static GrbErrorType Code(GC_ERROR error);
    // The standard's name of a code ("GC_ERR_IO"), or its number.
    static std::string Name(GC_ERROR error);
    static GrbErrorType Fail(GrbErrorType code, const std::string& message);
    static std::string LastMessage();
};

} // namespace grb::gentl

#endif
