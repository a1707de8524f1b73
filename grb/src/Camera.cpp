#include <GrbCPP/Camera.h>
#include <GrbCPP/Frame.h>
#include <GrbCPP/Interface.h>
#include <GrbCPP/Stream.h>
#include <GrbCPP/TransportLayer.h>

#include "Core.h"
#include "TextBuffer.h"

namespace GrbCPP {

namespace {

GrbErrorType text(GrbHandle camera, grb::DeviceRecord::Field field, char* buffer, unsigned int& length)
{
    std::string value;
    GrbErrorType err = grb::Core::Instance().CameraText(camera, field, value);
    return err != GrbErrorSuccess ? err : grb::CopyText(value, buffer, length);
}

} // namespace

Camera::Camera(GrbHandle handle)
    : FeatureContainer(handle)
{
}

GrbErrorType Camera::Open(GrbAccessModeType accessMode)
{
    return grb::Core::Instance().OpenCamera(m_handle, accessMode);
}

GrbErrorType Camera::Close()
{
    return grb::Core::Instance().CloseCamera(m_handle);
}

GrbErrorType Camera::GetID(char* buffer, unsigned int& length, bool extended) const
{
    return text(m_handle, extended ? grb::DeviceRecord::ExtendedId : grb::DeviceRecord::Id, buffer, length);
}

GrbErrorType Camera::GetModel(char* buffer, unsigned int& length) const
{
    return text(m_handle, grb::DeviceRecord::Model, buffer, length);
}

GrbErrorType Camera::GetName(char* buffer, unsigned int& length) const
{
    return text(m_handle, grb::DeviceRecord::Name, buffer, length);
}

GrbErrorType Camera::GetSerialNumber(char* buffer, unsigned int& length) const
{
    return text(m_handle, grb::DeviceRecord::Serial, buffer, length);
}

GrbErrorType Camera::GetInterface(InterfacePtr& cameraInterface) const
{
    GrbHandle handle = nullptr;
    GrbErrorType err = grb::Core::Instance().CameraInterface(m_handle, handle);
    if (err == GrbErrorSuccess)
        cameraInterface = std::make_shared<Interface>(handle);
    return err;
}

GrbErrorType Camera::GetTransportLayer(TransportLayerPtr& transportLayer) const
{
    GrbHandle handle = nullptr;
    GrbErrorType err = grb::Core::Instance().CameraTransportLayer(m_handle, handle);
    if (err == GrbErrorSuccess)
        transportLayer = std::make_shared<TransportLayer>(handle);
    return err;
}

GrbErrorType Camera::GetTransportLayerType(GrbTransportLayerType& type) const
{
    grb::DeviceRecord record;
    GrbErrorType err = grb::Core::Instance().CameraRecord(m_handle, record);
    if (err == GrbErrorSuccess)
        type = record.transportLayerType;
    return err;
}

GrbErrorType Camera::GetPermittedAccess(GrbAccessModeType& accessMode) const
{
    grb::DeviceRecord record;
    GrbErrorType err = grb::Core::Instance().CameraRecord(m_handle, record);
    if (err != GrbErrorSuccess)
        return err;
    if (GrbErrorType fault = record.fieldErrors[grb::DeviceRecord::PermittedAccess])
        return fault;
    accessMode = record.permittedAccess;
    return GrbErrorSuccess;
}

GrbErrorType Camera::GetStreams(StreamPtr* streams, unsigned int& count) const
{
    std::vector<GrbHandle> handles;
    GrbErrorType err = grb::Core::Instance().CameraStreams(m_handle, handles);
    if (err != GrbErrorSuccess)
        return err;
    if (!streams)
    {
        count = static_cast<unsigned int>(handles.size());
        return GrbErrorSuccess;
    }
    unsigned int filled = 0;
    for (; filled < count && filled < handles.size(); ++filled)
        streams[filled] = std::make_shared<Stream>(handles[filled]);
    count = filled;
    return GrbErrorSuccess;
}

GrbErrorType Camera::AcquireSingleImage(FramePtr& frame, unsigned int timeoutMs, FrameAllocationMode allocationMode)
{
    (void)allocationMode; // frames are always allocated by the SDK
    grb::FrameData data;
    GrbErrorType err = grb::Core::Instance().AcquireSingleFrame(m_handle, timeoutMs, data);
    if (err == GrbErrorSuccess)
        frame = std::make_shared<Frame>(std::move(data.buffer), data.width, data.height, data.status);
    return err;
}

GrbErrorType Camera::ReadMemory(uint64_t address, void* buffer, uint32_t size, uint32_t& sizeComplete) const
{
    return grb::Core::Instance().ReadMemory(m_handle, address, static_cast<uint8_t*>(buffer), size, sizeComplete);
}

GrbErrorType Camera::WriteMemory(uint64_t address, const void* buffer, uint32_t size, uint32_t& sizeComplete)
{
    return grb::Core::Instance().WriteMemory(m_handle, address, static_cast<const uint8_t*>(buffer), size,
                                             sizeComplete);
}

} // namespace GrbCPP
