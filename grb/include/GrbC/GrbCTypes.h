// Plain types shared by the handle interface and the object interface of the camera SDK.
#ifndef GRBC_GRBCTYPES_H
#define GRBC_GRBCTYPES_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t GrbErrorType;

enum GrbErrorCode
{
    GrbErrorSuccess = 0,
    GrbErrorInternalFault = -1,
    GrbErrorApiNotStarted = -2,
    GrbErrorNotFound = -3,
    GrbErrorBadHandle = -4,
    GrbErrorDeviceNotOpen = -5,
    GrbErrorInvalidAccess = -6,
    GrbErrorBadParameter = -7,
    GrbErrorStructSize = -8,
    GrbErrorMoreData = -9,
    GrbErrorWrongType = -10,
    GrbErrorInvalidValue = -11,
    GrbErrorTimeout = -12,
    GrbErrorTransportLayer = -13,
    GrbErrorResources = -14,
    GrbErrorInvalidCall = -15,
    GrbErrorNoTransportLayer = -16,
    GrbErrorNotImplemented = -17,
    GrbErrorNotSupported = -18
};

typedef void* GrbHandle;

typedef uint32_t GrbAccessModeType;
enum GrbAccessModeCode
{
    GrbAccessModeNone = 0,
    GrbAccessModeFull = 1,
    GrbAccessModeRead = 2,
    GrbAccessModeUnknown = 4,
    GrbAccessModeExclusive = 8
};

typedef uint32_t GrbFeatureDataType;
enum GrbFeatureDataCode
{
    GrbFeatureDataUnknown = 0,
    GrbFeatureDataInt = 1,
    GrbFeatureDataFloat = 2,
    GrbFeatureDataEnum = 3,
    GrbFeatureDataString = 4,
    GrbFeatureDataBool = 5,
    GrbFeatureDataCommand = 6,
    GrbFeatureDataRaw = 7,
    GrbFeatureDataNone = 8
};

typedef uint32_t GrbTransportLayerType;
enum GrbTransportLayerCode
{
    GrbTransportLayerUnknown = 0,
    GrbTransportLayerGEV = 1,
    GrbTransportLayerU3V = 2,
    GrbTransportLayerCXP = 3,
    GrbTransportLayerCL = 4,
    GrbTransportLayerMixed = 5,
    GrbTransportLayerCustom = 6
};

typedef int32_t GrbFrameStatusType;
enum GrbFrameStatusCode
{
    GrbFrameStatusComplete = 0,
    GrbFrameStatusIncomplete = -1,
    GrbFrameStatusTooSmall = -2,
    GrbFrameStatusInvalid = -3
};

typedef struct GrbVersionInfo
{
    uint32_t major;
    uint32_t minor;
    uint32_t patch;
} GrbVersionInfo;

#define GRB_INFO_TEXT_LENGTH 128

// Texts are NUL-terminated UTF-8, cut to fit.
typedef struct GrbCameraInfo
{
    char cameraIdString[GRB_INFO_TEXT_LENGTH];
    char cameraIdExtended[GRB_INFO_TEXT_LENGTH];
    char cameraName[GRB_INFO_TEXT_LENGTH];
    char modelName[GRB_INFO_TEXT_LENGTH];
    char serialString[GRB_INFO_TEXT_LENGTH];
    char interfaceIdString[GRB_INFO_TEXT_LENGTH];
    GrbTransportLayerType transportLayerType;
    GrbAccessModeType permittedAccess;
} GrbCameraInfo;

typedef struct GrbFeatureInfo
{
    char name[GRB_INFO_TEXT_LENGTH];
    GrbFeatureDataType featureDataType;
    bool isReadable;
    bool isWritable;
} GrbFeatureInfo;

#ifdef __cplusplus
}
#endif

#endif
