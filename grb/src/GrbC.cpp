#include <GrbC/GrbC.h>

#include "CommandCompletion.h"
#include "Core.h"

#include <cstring>

using grb::Core;
using NodeMap = grb::CheckedNodeMap;

namespace {

void copyField(char (&target)[GRB_INFO_TEXT_LENGTH], const std::string& text)
{
    std::strncpy(target, text.c_str(), GRB_INFO_TEXT_LENGTH - 1);
    target[GRB_INFO_TEXT_LENGTH - 1] = '\0';
}

GrbErrorType onFeatures(GrbHandle handle, const char* name, const void* out,
                        const std::function<GrbErrorType(NodeMap&)>& f)
{
    if (!name || !out)
        return GrbErrorBadParameter;
    return Core::Instance().WithFeatures(handle, f);
}

} // namespace

extern "C" {

GrbErrorType GrbCameraInfoQuery(const char* idString, GrbCameraInfo* info, uint32_t sizeofCameraInfo)
{
    if (!idString || !info)
        return GrbErrorBadParameter;
    if (sizeofCameraInfo != sizeof(GrbCameraInfo))
        return GrbErrorStructSize;
    GrbHandle camera = nullptr;
    GrbErrorType err = Core::Instance().FindCamera(idString, camera);
    grb::DeviceRecord r;
    if (err == GrbErrorSuccess)
        err = Core::Instance().CameraRecord(camera, r);
    if (err != GrbErrorSuccess)
        return err;
    std::memset(info, 0, sizeof(GrbCameraInfo));
    using F = grb::DeviceRecord;
    // A field the camera cannot tell stays empty.
    auto text = [&r](F::Field field, const std::string& value) { return r.fieldErrors[field] ? std::string() : value; };
    copyField(info->cameraIdString, text(F::Id, r.id));
    copyField(info->cameraIdExtended, text(F::ExtendedId, r.extendedId));
    copyField(info->cameraName, text(F::Name, r.name));
    copyField(info->modelName, text(F::Model, r.model));
    copyField(info->serialString, text(F::Serial, r.serial));
    copyField(info->interfaceIdString, text(F::InterfaceId, r.interfaceId));
    info->transportLayerType = r.transportLayerType;
    info->permittedAccess = r.fieldErrors[F::PermittedAccess] ? GrbAccessModeType{GrbAccessModeNone} : r.permittedAccess;
    return GrbErrorSuccess;
}

GrbErrorType GrbFeatureInfoQuery(GrbHandle handle, const char* name, GrbFeatureInfo* info, uint32_t sizeofFeatureInfo)
{
    if (info && sizeofFeatureInfo != sizeof(GrbFeatureInfo))
        return GrbErrorStructSize;
    return onFeatures(handle, name, info, [&](NodeMap& map) -> GrbErrorType {
        grb::FeatureInfo i;
        GrbErrorType err = map.Info(name, i);
        if (err != GrbErrorSuccess)
            return err;
        std::memset(info, 0, sizeof(GrbFeatureInfo));
        copyField(info->name, name);
        info->featureDataType = i.type;
        info->isReadable = i.readable;
        info->isWritable = i.writable;
        return GrbErrorSuccess;
    });
}

GrbErrorType GrbFeatureIntGet(GrbHandle handle, const char* name, int64_t* value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType { return map.GetInt(name, *value); });
}

GrbErrorType GrbFeatureIntSet(GrbHandle handle, const char* name, int64_t value)
{
    return onFeatures(handle, name, name, [&](NodeMap& map) -> GrbErrorType { return map.SetInt(name, value); });
}

GrbErrorType GrbFeatureFloatGet(GrbHandle handle, const char* name, double* value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType { return map.GetFloat(name, *value); });
}

GrbErrorType GrbFeatureFloatSet(GrbHandle handle, const char* name, double value)
{
    return onFeatures(handle, name, name, [&](NodeMap& map) -> GrbErrorType { return map.SetFloat(name, value); });
}

GrbErrorType GrbFeatureBoolGet(GrbHandle handle, const char* name, bool* value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType { return map.GetBool(name, *value); });
}

GrbErrorType GrbFeatureBoolSet(GrbHandle handle, const char* name, bool value)
{
    return onFeatures(handle, name, name, [&](NodeMap& map) -> GrbErrorType { return map.SetBool(name, value); });
}

GrbErrorType GrbFeatureEnumGet(GrbHandle handle, const char* name, const char** value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType {
        std::string entry;
        GrbErrorType err = map.GetEnum(name, entry);
        if (err != GrbErrorSuccess)
            return err;
        *value = Core::Instance().Keep(handle, entry);
        return *value ? GrbErrorSuccess : GrbErrorBadHandle;
    });
}

GrbErrorType GrbFeatureEnumSet(GrbHandle handle, const char* name, const char* value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType { return map.SetEnum(name, value); });
}

GrbErrorType GrbFeatureStringGet(GrbHandle handle, const char* name, char* buffer, uint32_t bufferSize,
                                 uint32_t* sizeFilled)
{
    return onFeatures(handle, name, sizeFilled, [&](NodeMap& map) -> GrbErrorType {
        std::string text;
        GrbErrorType err = map.GetString(name, text);
        if (err != GrbErrorSuccess)
            return err;
        const uint32_t needed = static_cast<uint32_t>(text.size()) + 1;
        *sizeFilled = needed;
        if (!buffer)
            return GrbErrorSuccess;
        if (bufferSize < needed)
            return GrbErrorMoreData;
        std::memcpy(buffer, text.c_str(), needed);
        return GrbErrorSuccess;
    });
}

GrbErrorType GrbFeatureStringSet(GrbHandle handle, const char* name, const char* value)
{
    return onFeatures(handle, name, value, [&](NodeMap& map) -> GrbErrorType { return map.SetString(name, value); });
}

GrbErrorType GrbFeatureCommandRun(GrbHandle handle, const char* name)
{
    return onFeatures(handle, name, name, [&](NodeMap& map) { return grb::RunCommandAndSettle(map, name); });
}

GrbErrorType GrbFeatureCommandIsDone(GrbHandle handle, const char* name, bool* isDone)
{
    return onFeatures(handle, name, isDone, [&](NodeMap& map) -> GrbErrorType { return map.IsCommandDone(name, *isDone); });
}

} // extern "C"
