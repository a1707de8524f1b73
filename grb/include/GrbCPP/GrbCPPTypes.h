#ifndef GRBCPP_GRBCPPTYPES_H
#define GRBCPP_GRBCPPTYPES_H

#include <GrbC/GrbCTypes.h>

#include <memory>

namespace GrbCPP {

class Camera;
class Interface;
class TransportLayer;
class Stream;
class Frame;
class Feature;
class FeatureContainer;
class ICameraListObserver;
class IInterfaceListObserver;

using CameraPtr = std::shared_ptr<Camera>;
using InterfacePtr = std::shared_ptr<Interface>;
using TransportLayerPtr = std::shared_ptr<TransportLayer>;
using StreamPtr = std::shared_ptr<Stream>;
using FramePtr = std::shared_ptr<Frame>;
using FeaturePtr = std::shared_ptr<Feature>;
using FeatureContainerPtr = std::shared_ptr<FeatureContainer>;
using ICameraListObserverPtr = std::shared_ptr<ICameraListObserver>;
using IInterfaceListObserverPtr = std::shared_ptr<IInterfaceListObserver>;

enum UpdateTriggerType
{
    UpdateTriggerPluggedIn = 0,
    UpdateTriggerPluggedOut = 1,
    UpdateTriggerOpenStateChanged = 3
};

enum FrameAllocationMode
{
    FrameAllocation_AnnounceFrame = 0,
    FrameAllocation_AllocAndAnnounceFrame = 1
};

} // namespace GrbCPP

#endif
