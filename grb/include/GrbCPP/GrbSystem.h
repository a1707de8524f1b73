#ifndef GRBCPP_GRBSYSTEM_H
#define GRBCPP_GRBSYSTEM_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

// The process-wide SDK session. Every call may come from any thread.
//
// Transport layers: the real ones load by default. The environment variable
// GRB_SIMULATOR, read by Startup, selects the simulator instead and loads nothing
// else: "demo" for the built-in set of cameras, or the path of a description file.
class GrbSystem
{
public:
    static GrbSystem& GetInstance();

    GrbErrorType Startup();
    GrbErrorType Shutdown();
    GrbErrorType QueryVersion(GrbVersionInfo& version) const;
    // What kept the last Startup from loading a transport layer (a simulator description
    // that cannot be read, say), as UTF-8 text; empty when nothing did. Two-call read.
    GrbErrorType GetStartupMessage(char* buffer, unsigned int& length) const;

    GrbErrorType RegisterCameraListObserver(const ICameraListObserverPtr& observer);
    GrbErrorType UnregisterCameraListObserver(const ICameraListObserverPtr& observer);
    GrbErrorType RegisterInterfaceListObserver(const IInterfaceListObserverPtr& observer);
    GrbErrorType UnregisterInterfaceListObserver(const IInterfaceListObserverPtr& observer);

    // Count-then-fill: a null array returns the count of present cameras; with an
    // array, count is its size on entry and the number filled on return.
    GrbErrorType GetCameras(CameraPtr* cameras, unsigned int& count);
    // Plain or extended id of any camera seen since Startup, also after it left.
    GrbErrorType GetCameraByID(const char* id, CameraPtr& camera);

private:
    GrbSystem() = default;
};

} // namespace GrbCPP

#endif
