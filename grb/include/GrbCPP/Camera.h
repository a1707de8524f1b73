#ifndef GRBCPP_CAMERA_H
#define GRBCPP_CAMERA_H

#include <GrbCPP/FeatureContainer.h>

namespace GrbCPP {

// One camera as the SDK knows it since Startup, present or departed. Its features
// are reachable while it is open.
class Camera : public FeatureContainer
{
public:
    explicit Camera(GrbHandle handle);

    GrbErrorType Open(GrbAccessModeType accessMode);
    // Closing a camera that has left succeeds and releases it; -5 when not open.
    GrbErrorType Close();

    // Texts in two calls: a null buffer returns the size (NUL included) in length;
    // a buffer that is too small gives -9 with the size needed.
    GrbErrorType GetID(char* buffer, unsigned int& length, bool extended = false) const;
    GrbErrorType GetModel(char* buffer, unsigned int& length) const;
    GrbErrorType GetName(char* buffer, unsigned int& length) const;
    GrbErrorType GetSerialNumber(char* buffer, unsigned int& length) const;

    GrbErrorType GetInterface(InterfacePtr& cameraInterface) const;
    GrbErrorType GetTransportLayer(TransportLayerPtr& transportLayer) const;
    GrbErrorType GetTransportLayerType(GrbTransportLayerType& type) const;
    GrbErrorType GetPermittedAccess(GrbAccessModeType& accessMode) const;

    // Count-then-fill: a null array returns the count.
    GrbErrorType GetStreams(StreamPtr* streams, unsigned int& count) const;

    GrbErrorType AcquireSingleImage(FramePtr& frame, unsigned int timeoutMs,
                                    FrameAllocationMode allocationMode = FrameAllocation_AnnounceFrame);

    GrbErrorType ReadMemory(uint64_t address, void* buffer, uint32_t size, uint32_t& sizeComplete) const;
    GrbErrorType WriteMemory(uint64_t address, const void* buffer, uint32_t size, uint32_t& sizeComplete);
};

} // namespace GrbCPP

#endif
