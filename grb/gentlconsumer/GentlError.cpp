#include "GentlError.h"

namespace grb::gentl {

namespace {

thread_local std::string t_lastMessage;

} // namespace

GrbErrorType GentlError::Code(GC_ERROR error)
{
    switch (error)
    {
    case GC_ERR_SUCCESS:
        return GrbErrorSuccess;
    case GC_ERR_NOT_IMPLEMENTED:
        return GrbErrorNotImplemented;
    case GC_ERR_RESOURCE_IN_USE:
    case GC_ERR_ACCESS_DENIED:
        return GrbErrorInvalidAccess;
    case GC_ERR_INVALID_ID:
    case GC_ERR_NO_DATA:
        return GrbErrorNotFound;
    case GC_ERR_INVALID_PARAMETER:
    case GC_ERR_INVALID_BUFFER:
    case GC_ERR_INVALID_ADDRESS:
    case GC_ERR_INVALID_INDEX:
        return GrbErrorBadParameter;
    case GC_ERR_TIMEOUT:
        return GrbErrorTimeout;
    case GC_ERR_BUFFER_TOO_SMALL:
        return GrbErrorMoreData;
    case GC_ERR_INVALID_VALUE:
        return GrbErrorInvalidValue;
    case GC_ERR_NOT_AVAILABLE:
        return GrbErrorNotSupported;
    case GC_ERR_RESOURCE_EXHAUSTED:
    case GC_ERR_OUT_OF_MEMORY:
    case GC_ERR_BUSY:
        return GrbErrorResources;
    default: // GC_ERR_ERROR, GC_ERR_IO, GC_ERR_ABORT, a handle or state the producer lost, its own codes
        return GrbErrorTransportLayer;
    }
}

std::string GentlError::Name(GC_ERROR error)
{
    static const char* const names[] = {"GC_ERR_ERROR",          "GC_ERR_NOT_INITIALIZED", "GC_ERR_NOT_IMPLEMENTED",
                                        "GC_ERR_RESOURCE_IN_USE", "GC_ERR_ACCESS_DENIED",   "GC_ERR_INVALID_HANDLE",
                                        "GC_ERR_INVALID_ID",      "GC_ERR_NO_DATA",         "GC_ERR_INVALID_PARAMETER",
                                        "GC_ERR_IO",              "GC_ERR_TIMEOUT",         "GC_ERR_ABORT",
                                        "GC_ERR_INVALID_BUFFER",  "GC_ERR_NOT_AVAILABLE",   "GC_ERR_INVALID_ADDRESS",
                                        "GC_ERR_BUFFER_TOO_SMALL", "GC_ERR_INVALID_INDEX",  "GC_ERR_PARSING_CHUNK_DATA",
                                        "GC_ERR_INVALID_VALUE",   "GC_ERR_RESOURCE_EXHAUSTED", "GC_ERR_OUT_OF_MEMORY",
                                        "GC_ERR_BUSY",            "GC_ERR_AMBIGUOUS"};
    if (error == GC_ERR_SUCCESS)
        return "GC_ERR_SUCCESS";
    const int index = GC_ERR_ERROR - error;
    if (index >= 0 && index < int(sizeof names / sizeof *names))
        return names[index];
    return "error " + std::to_string(error);
}

GrbErrorType GentlError::Fail(GrbErrorType code, const std::string& message)
{
    t_lastMessage = message;
    return code;
}

std::string GentlError::LastMessage()
{
    return t_lastMessage;
}

} // namespace grb::gentl
