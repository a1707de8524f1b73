#ifndef CAMERADISCOVERYWIDGET_H
#define CAMERADISCOVERYWIDGET_H

#include "sdk/CameraInfoMap.h"
#include "sdk/CameraModelCompatibility.h"

#include <QFutureWatcher>
#include <QPointer>
#include <QVector>
#include <QWidget>

#include <memory>

class ApiController;
class CameraTreeModel;
class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class QTreeView;

// The camera list panel: starts and shuts down the camera SDK, creates the SDK
// controller, scans cameras on a worker thread, keeps the tree current and turns the
// user's open and close requests into signals carrying the camera's extended id.
class CameraDiscoveryWidget : public QWidget
{
    Q_OBJECT

public:
    explicit CameraDiscoveryWidget(QWidget* parent = nullptr);
    ~CameraDiscoveryWidget() override;

    std::shared_ptr<ApiController> GetApiController() const;
    void OnCameraListReady(const QVector<CameraInfoMap>& cameras);
    void Update_lblRefreshInfo();

public slots:
    void RefreshCameraList();
    void InitApiController();
    void OnCameraStatusChanged(bool open);
    void OnCameraOpenFailed();

signals:
    void CameraOpened(const QString& extendedId);
    void CameraClosed(const QString& extendedId, const QString& cameraName);
    void CameraRemoved(const QString& extendedId, const QString& cameraName);
    void ApiError(QString message);
    void GrbSystemReady();
    void ApiControllerAvailable(std::shared_ptr<ApiController> controller);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    void on_chkAutoRefresh_stateChanged(int state);
    void _onCameraAdded(const CameraInfoMap& camera);
    void _onCameraRemoved(const CameraInfoMap& camera);

private:
    void _expandTree();
    void _setWaitCursor();
    void _restoreCursor();

    std::shared_ptr<ApiController> m_apiController;
    QTreeView* treeView = nullptr;
    CameraTreeModel* m_model = nullptr;
    QStackedWidget* stackedWidget = nullptr;
    QPushButton* btnOpenCamera = nullptr;
    QCheckBox* chkAutoRefresh = nullptr;
    QCheckBox* chkCompatibleOnly = nullptr;
    QLabel* lblRefreshInfo = nullptr;
    bool m_refreshInProgress = false;
    // The camera this panel asked to open and has not seen closed or leave; empty if none.
    QString m_openedId;
    // Wait cursors this panel has set and not yet taken back (start-up, scans).
    int m_waitCursors = 0;

    QFutureWatcher<void>* m_startupWatcher = nullptr;
    QPointer<QFutureWatcher<QVector<CameraInfoMap>>> m_scanWatcher;
};

#endif
