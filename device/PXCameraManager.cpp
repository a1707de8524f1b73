#include "PXCameraManager.h"

PXCameraManager::PXCameraManager(std::shared_ptr<ApiController> apiController, QObject* parent)
    : QObject(parent)
    , m_apiController(std::move(apiController))
{
}

PXCamera* PXCameraManager::Open(const QString& cameraId)
{
    if (!m_apiController)
        return nullptr;
    GrbCPP::CameraPtr camera = m_apiController->OpenCamera(cameraId);
    return camera ? new PXCamera(camera, nullptr) : nullptr;
}

bool PXCameraManager::Close(const QString& cameraId)
{
    return m_apiController && m_apiController->CloseCamera(cameraId) == GrbErrorSuccess;
}
