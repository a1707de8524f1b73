#ifndef DEVICE_PXCAMERAFEATURE_H
#define DEVICE_PXCAMERAFEATURE_H

#include "device/PXFeatureContainer.h"

#include <GrbCPP/Camera.h>

// The features of one open camera.
class PXCameraFeature : public PXFeatureContainer
{
    Q_OBJECT

public:
    explicit PXCameraFeature(std::shared_ptr<GrbCPP::Camera> camera, QObject* parent = nullptr);
};

#endif
