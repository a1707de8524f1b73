#ifndef SDK_CAMERAOBSERVER_H
#define SDK_CAMERAOBSERVER_H

#include <GrbCPP/GrbCPPTypes.h>
#include <GrbCPP/ICameraListObserver.h>

#include <QMetaType>
#include <QObject>

Q_DECLARE_METATYPE(GrbCPP::CameraPtr)
Q_DECLARE_METATYPE(GrbCPP::UpdateTriggerType)

// Turns the SDK's camera list callback, which comes on an SDK thread, into a signal;
// receivers in other threads get it queued.
class CameraObserver : public QObject, public GrbCPP::ICameraListObserver
{
    Q_OBJECT

public:
    CameraObserver();

    void CameraListChanged(GrbCPP::CameraPtr pCam, GrbCPP::UpdateTriggerType reason) override;

signals:
    void CameraListChangedSignal(GrbCPP::CameraPtr pCam, GrbCPP::UpdateTriggerType reason);
};

#endif
