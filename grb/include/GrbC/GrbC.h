// The handle interface of the camera SDK. A handle names a camera (open for feature
// access) or one of its streams; features are addressed by name on a handle.
#ifndef GRBC_GRBC_H
#define GRBC_GRBC_H

#include <GrbC/GrbCTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

// idString: plain or extended camera id. sizeofCameraInfo must be sizeof(GrbCameraInfo).
GrbErrorType GrbCameraInfoQuery(const char* idString, GrbCameraInfo* info, uint32_t sizeofCameraInfo);

GrbErrorType GrbFeatureInfoQuery(GrbHandle handle, const char* name, GrbFeatureInfo* info,
                                 uint32_t sizeofFeatureInfo);

GrbErrorType GrbFeatureIntGet(GrbHandle handle, const char* name, int64_t* value);
GrbErrorType GrbFeatureIntSet(GrbHandle handle, const char* name, int64_t value);
GrbErrorType GrbFeatureFloatGet(GrbHandle handle, const char* name, double* value);
GrbErrorType GrbFeatureFloatSet(GrbHandle handle, const char* name, double value);
GrbErrorType GrbFeatureBoolGet(GrbHandle handle, const char* name, bool* value);
GrbErrorType GrbFeatureBoolSet(GrbHandle handle, const char* name, bool value);
// The entry name stays valid while the handle is.
GrbErrorType GrbFeatureEnumGet(GrbHandle handle, const char* name, const char** value);
GrbErrorType GrbFeatureEnumSet(GrbHandle handle, const char* name, const char* value);
// Call with a null buffer to learn the size (terminating NUL included) in *sizeFilled.
GrbErrorType GrbFeatureStringGet(GrbHandle handle, const char* name, char* buffer, uint32_t bufferSize,
                                 uint32_t* sizeFilled);
GrbErrorType GrbFeatureStringSet(GrbHandle handle, const char* name, const char* value);
GrbErrorType GrbFeatureCommandRun(GrbHandle handle, const char* name);
GrbErrorType GrbFeatureCommandIsDone(GrbHandle handle, const char* name, bool* isDone);

#ifdef __cplusplus
}
#endif

#endif
