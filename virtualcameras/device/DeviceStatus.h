#ifndef VCAM_DEVICE_DEVICESTATUS_H
#define VCAM_DEVICE_DEVICESTATUS_H

#include <GrbC/GrbCTypes.h>

#include <cstdint>

namespace vcam {

// The status a camera answers a register access with. GigE Vision and USB3 Vision
// share these codes (both take them from GenCP).
namespace status {
constexpr uint16_t kSuccess = 0x0000;
constexpr uint16_t kNotImplemented = 0x8001;
constexpr uint16_t kInvalidParameter = 0x8002;
constexpr uint16_t kInvalidAddress = 0x8003;
constexpr uint16_t kWriteProtect = 0x8004;
constexpr uint16_t kBadAlignment = 0x8005;
constexpr uint16_t kAccessDenied = 0x8006;
constexpr uint16_t kBusy = 0x8007;
constexpr uint16_t kError = 0x8FFF;
} // namespace status

// What the device model's refusal looks like on the wire.
inline uint16_t StatusOf(GrbErrorType err)
{
    switch (err)
    {
    case GrbErrorSuccess:
        return status::kSuccess;
    case GrbErrorInvalidValue:
    case GrbErrorBadParameter:
    case GrbErrorWrongType:
        return status::kInvalidParameter;
    case GrbErrorInvalidAccess:
        return status::kWriteProtect;
    case GrbErrorNotFound:
        return status::kInvalidAddress;
    case GrbErrorResources:
        return status::kBusy;
    case GrbErrorNotImplemented:
        return status::kNotImplemented;
    default:
        return status::kError;
    }
}

} // namespace vcam

#endif
