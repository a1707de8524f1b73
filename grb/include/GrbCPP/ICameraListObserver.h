#ifndef GRBCPP_ICAMERALISTOBSERVER_H
#define GRBCPP_ICAMERALISTOBSERVER_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

// Called on a thread of the SDK, never from inside a caller's SDK call.
class ICameraListObserver
{
public:
    virtual ~ICameraListObserver() = default;
    virtual void CameraListChanged(CameraPtr pCam, UpdateTriggerType reason) = 0;
};

} // namespace GrbCPP

#endif
