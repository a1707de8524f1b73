#ifndef GRBCPP_IINTERFACELISTOBSERVER_H
#define GRBCPP_IINTERFACELISTOBSERVER_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

// Called on a thread of the SDK, never from inside a caller's SDK call.
class IInterfaceListObserver
{
public:
    virtual ~IInterfaceListObserver() = default;
    virtual void InterfaceListChanged(InterfacePtr pInterface, UpdateTriggerType reason) = 0;
};

} // namespace GrbCPP

#endif
