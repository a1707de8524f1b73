#include "InterfaceObserver.h"

InterfaceObserver::InterfaceObserver()
    : QObject(nullptr)
{
}

void InterfaceObserver::InterfaceListChanged(GrbCPP::InterfacePtr pInterface, GrbCPP::UpdateTriggerType reason)
{
    emit InterfaceListChangedSignal(pInterface, reason);
}
