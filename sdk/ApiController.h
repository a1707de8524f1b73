#ifndef SDK_APICONTROLLER_H
#define SDK_APICONTROLLER_H

#include "sdk/CameraInfoMap.h"

#include <GrbCPP/GrbCPP.h>

#include <QMutex>
#include <QObject>
#include <QString>

#include <memory>
#include <string>
#include <vector>

class CameraObserver;
class InterfaceObserver;

// The program's one owner of the camera SDK session: list observers, the cached
// camera list, camera records, open and close, and error texts. Lives in the GUI
// thread; UpdateCamerasList and GetCameraInfo are also called from a worker thread.
class ApiController : public QObject
{
    Q_OBJECT

public:
    explicit ApiController(QObject* parent = nullptr);
    ~ApiController() override;

    QString ErrorCodeToMessage(GrbErrorType code) const;
    void emitApiError(GrbErrorType code, const QString& context);
    GrbErrorType enableAutomaticDiscovery(bool enable);
    std::string GetVersion() const;
    // Why the SDK's start-up could not load a transport layer (a simulator description
    // with an error, say); empty when it could.
    QString GetStartupMessage() const;

    std::vector<GrbCPP::CameraPtr> UpdateCamerasList();
    std::vector<GrbCPP::CameraPtr> GetCameraModel();
    CameraInfoMap GetCameraInfo(GrbCPP::CameraPtr camera);
    GrbCPP::CameraPtr GetCameraPtr(const QString& cameraExtId);
    GrbCPP::CameraPtr OpenCamera(const QString& cameraExtId);
    GrbErrorType CloseCamera(const QString& cameraExtId);

public slots:
    void OnCameraListChanged(GrbCPP::CameraPtr pCamera, GrbCPP::UpdateTriggerType reason);

signals:
    void CameraAdded(CameraInfoMap cameraInfo);
    void CameraRemoved(CameraInfoMap cameraInfo);
    void CameraOpenStateChanged(CameraInfoMap cameraInfo);
    void ApiError(QString error);

private:
    GrbCPP::GrbSystem& m_system;
    std::shared_ptr<CameraObserver> m_cameraObserver;
    std::shared_ptr<InterfaceObserver> m_interfaceObserver;
    std::vector<GrbCPP::CameraPtr> m_cameras;
    QMutex m_listMutex;
};

#endif
