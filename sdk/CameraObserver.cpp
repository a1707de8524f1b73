#include "CameraObserver.h"

CameraObserver::CameraObserver()
    : QObject(nullptr)
{
}

void CameraObserver::CameraListChanged(GrbCPP::CameraPtr pCam, GrbCPP::UpdateTriggerType reason)
{
    emit CameraListChangedSignal(pCam, reason);
}
