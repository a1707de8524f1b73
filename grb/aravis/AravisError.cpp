#include "AravisError.h"

#include <arv.h>

namespace grb::aravis {

namespace {

thread_local std::string t_lastMessage;

GQuark sdkDomain()
{
    return g_quark_from_static_string("grb-sdk-error");
}

GrbErrorType deviceCode(int code)
{
    switch (code)
    {
    case ARV_DEVICE_ERROR_WRONG_FEATURE:
        return GrbErrorWrongType;
    case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
    case ARV_DEVICE_ERROR_NOT_FOUND:
        return GrbErrorNotFound;
    case ARV_DEVICE_ERROR_TIMEOUT:
        return GrbErrorTimeout;
    case ARV_DEVICE_ERROR_INVALID_PARAMETER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT:
        return GrbErrorBadParameter;
    case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL:
        return GrbErrorNotSupported;
    case ARV_DEVICE_ERROR_NOT_CONTROLLER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
        return GrbErrorInvalidAccess;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED:
        return GrbErrorNotImplemented;
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY:
        return GrbErrorResources;
    case ARV_DEVICE_ERROR_UNKNOWN:
        return GrbErrorInternalFault;
    default: // not connected, protocol and transfer errors, no GenICam description
        return GrbErrorTransportLayer;
    }
}

GrbErrorType genicamCode(int code)
{
    switch (code)
    {
    case ARV_GC_ERROR_NODE_NOT_FOUND:
        return GrbErrorNotFound;
    case ARV_GC_ERROR_OUT_OF_RANGE:
    case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
    case ARV_GC_ERROR_EMPTY_ENUMERATION:
        return GrbErrorInvalidValue;
    case ARV_GC_ERROR_READ_ONLY:
        return GrbErrorInvalidAccess;
    case ARV_GC_ERROR_INVALID_LENGTH:
        return GrbErrorBadParameter;
    case ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED:
    case ARV_GC_ERROR_GET_AS_STRING_UNDEFINED:
        return GrbErrorWrongType;
    case ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION:
        return GrbErrorNotImplemented;
    default: // the camera's description itself is broken
        return GrbErrorInternalFault;
    }
}

} // namespace

GrbErrorType AravisError::Take(GError* error)
{
    if (!error)
        return GrbErrorSuccess;
    GrbErrorType code = GrbErrorTransportLayer;
    if (error->domain == sdkDomain())
        code = error->code;
    else if (error->domain == ARV_DEVICE_ERROR)
        code = deviceCode(error->code);
    else if (error->domain == ARV_GC_ERROR)
        code = genicamCode(error->code);
    else if (error->domain == G_IO_ERROR && error->code == G_IO_ERROR_TIMED_OUT)
        code = GrbErrorTimeout;
    t_lastMessage = error->message ? error->message : "";
    g_error_free(error);
    return code;
}

GrbErrorType AravisError::Fail(GrbErrorType code, const std::string& message)
{
    t_lastMessage = message;
    return code;
}

void AravisError::Raise(GError** error, GrbErrorType code, const std::string& message)
{
    g_set_error_literal(error, sdkDomain(), code, message.c_str());
}

std::string AravisError::LastMessage()
{
    return t_lastMessage;
}

} // namespace grb::aravis
