#ifndef DEVICE_PXCAMERAMANAGER_H
#define DEVICE_PXCAMERAMANAGER_H

#include "device/PXCamera.h"
#include "sdk/ApiController.h"

#include <QObject>
#include <QString>

#include <memory>

// Opens cameras by extended id as PXCamera objects (owned by the caller) and closes them.
class PXCameraManager : public QObject
{
    Q_OBJECT

public:
    PXCameraManager(std::shared_ptr<ApiController> apiController, QObject* parent = nullptr);

    PXCamera* Open(const QString& cameraId);
    bool Close(const QString& cameraId);

private:
    std::shared_ptr<ApiController> m_apiController;
};

#endif
