#ifndef CLI_CLISESSION_H
#define CLI_CLISESSION_H

#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"
#include "sdk/CameraInfoMap.h"

#include <QObject>
#include <QString>
#include <QHash>
#include <QMutex>
#include <QThread>
#include <QVector>

#include <memory>

// The program's camera SDK session: start-up (on the simulator when asked), the
// session owner ApiController, the camera manager, and shut-down. Error texts of the
// controller are kept per thread, so a worker can tell why its own call failed.
class CliSession : public QObject
{
    Q_OBJECT

public:
    CliSession();
    ~CliSession() override;

    // simulation: empty for the real transport layers, else "demo" or a description
    // file, which selects the simulator before the SDK starts.
    bool Start(const QString& simulation, QString& error);
    void Stop();

    std::shared_ptr<ApiController> Controller() const { return m_controller; }
    PXCameraManager* Manager() const { return m_manager.get(); }

    // The present cameras, freshly enumerated.
    QVector<CameraInfoMap> Cameras();

    // The last error the controller reported on the calling thread, then forgotten.
    QString TakeApiError();

private:
    std::shared_ptr<ApiController> m_controller;
    std::unique_ptr<PXCameraManager> m_manager;
    QMutex m_errorMutex;
    QHash<QThread*, QString> m_lastError;
    bool m_started = false;
};

#endif
