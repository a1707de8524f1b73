#ifndef BASICMAINWINDOW_H
#define BASICMAINWINDOW_H

#include "assistant/LogType.h"

#include <QMainWindow>
#include <QString>

#include <memory>

class ApiController;
class CameraDiscoveryWidget;
class PXCamera;
class PXCameraManager;
class QDockWidget;
class QListWidget;
class QMenu;

// The frame every tool of the family shares: the camera list and log view docks, the
// View and Help menus, the About box, and opening, closing and losing cameras. The
// single sink of log lines for the whole application.
class BasicMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit BasicMainWindow(QWidget* parent = nullptr);
    ~BasicMainWindow() override;

    QSize sizeHint() const override;
    void setDefaultWindowTitle(const QString& title);

signals:
    void CameraSelected(bool state, const QString& cameraId);
    void CameraOpened(PXCamera* cam);
    void CameraClosed(const QString& cameraName);
    void CameraCloseRequested();
    void CameraFirmwareUpdateStarted(bool started);

public slots:
    void OnApiControllerAvailable(std::shared_ptr<ApiController> newController);

protected slots:
    void OnCameraSelected(bool isSelected, QString cameraId);
    void OnLogMessage(const QString& message, LogType type);
    void OnCameraOpenRequested(const QString& cameraExtId);
    void OnCameraCloseRequested(const QString& cameraExtId, const QString& cameraId);
    void OnCameraDisconnected(const QString& cameraExtId, const QString& cameraId);

protected:
    QListWidget* listLog = nullptr;
    CameraDiscoveryWidget* m_cameraDiscovery = nullptr;
    std::shared_ptr<PXCameraManager> m_cameraManager;
    QMenu* m_viewMenu = nullptr;
    QDockWidget* m_cameraListDock = nullptr;
    QDockWidget* m_logViewDock = nullptr;
    QString m_defaultWindowTitle;
    quint8 m_ignoredDisconnects = 0;
    bool m_firmwareUpdateRunning = false;
    // The camera opened through the manager and not yet closed; empty if none.
    QString m_openCameraId;

private:
    void _giveLogViewItsShare();
    void _showAbout();

    // Whether the log list is scrolled to its newest line and is to stay there.
    bool m_logShowsNewest = true;
};

#endif
