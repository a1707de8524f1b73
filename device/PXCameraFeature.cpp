#include "PXCameraFeature.h"

PXCameraFeature::PXCameraFeature(std::shared_ptr<GrbCPP::Camera> camera, QObject* parent)
    : PXFeatureContainer(std::move(camera), parent)
{
}
