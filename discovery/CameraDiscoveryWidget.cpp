#include "CameraDiscoveryWidget.h"

#include "CameraTreeModel.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbSystem.h>

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QSpacerItem>
#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

const QString& refreshInProgressText()
{
    static const QString text = QObject::tr("Refresh in progress...");
    return text;
}

// Takes the controller by plain pointer: a share held by the task would outlive the
// task's end, and the panel's destructor waits only for that end before it lets go.
QVector<CameraInfoMap> scanCameras(ApiController* controller, bool compatibleOnly)
{
    QVector<CameraInfoMap> cameras;
    for (const GrbCPP::CameraPtr& camera : controller->UpdateCamerasList())
    {
        if (!camera)
            continue;
        CameraInfoMap info = controller->GetCameraInfo(camera);
        const QString model = info.value("Model Name").toString().trimmed();
        QString family;
        if (compatibleOnly && (model.isEmpty() || !IsCameraModelCompatible(model, family)))
            continue;
        cameras.append(info);
    }
    return cameras;
}

} // namespace

CameraDiscoveryWidget::CameraDiscoveryWidget(QWidget* parent)
    : QWidget(parent)
{
    treeView = new QTreeView(this);
    treeView->setObjectName("treeView");
    treeView->setHeaderHidden(true);
    m_model = new CameraTreeModel(this);
    treeView->setModel(m_model);

    chkCompatibleOnly = new QCheckBox(tr("Compatible only"), this);
    chkCompatibleOnly->setObjectName("chkCompatibleOnly");
    chkCompatibleOnly->setToolTip(tr("Show compatible cameras only"));
    chkCompatibleOnly->setChecked(true);
    connect(chkCompatibleOnly, &QCheckBox::stateChanged, this, &CameraDiscoveryWidget::RefreshCameraList);

    // Connected before it is checked on purpose: the handler runs once now, finds no
    // controller yet and reports to nobody.
    chkAutoRefresh = new QCheckBox(tr("Auto refresh"), this);
    chkAutoRefresh->setObjectName("chkAutoRefresh");
    chkAutoRefresh->setToolTip(tr("Enable or disable the automatic refresh of the list of cameras"));
    connect(chkAutoRefresh, &QCheckBox::stateChanged, this, &CameraDiscoveryWidget::on_chkAutoRefresh_stateChanged);
    chkAutoRefresh->setChecked(true);

    btnOpenCamera = new QPushButton(tr("Open Selected Camera"), this);
    btnOpenCamera->setObjectName("btnOpenCamera");
    btnOpenCamera->setEnabled(false);
    connect(btnOpenCamera, &QPushButton::clicked, this, [this] { OnCameraStatusChanged(true); });
    connect(treeView, &QTreeView::doubleClicked, this, [this] { OnCameraStatusChanged(true); });
    treeView->installEventFilter(this); // Return opens the selected camera as well

    auto* btnRefresh = new QPushButton(tr("Refresh"), this);
    btnRefresh->setObjectName("btnRefresh");
    connect(btnRefresh, &QPushButton::clicked, this, &CameraDiscoveryWidget::RefreshCameraList);

    auto* buttonPage = new QWidget(this);
    auto* buttonRow = new QHBoxLayout(buttonPage);
    buttonRow->setContentsMargins(0, 0, 0, 0);
    buttonRow->addWidget(chkCompatibleOnly);
    buttonRow->addWidget(chkAutoRefresh);
    buttonRow->addWidget(btnOpenCamera);
    buttonRow->addWidget(btnRefresh);

    auto* btnCloseCamera = new QPushButton(tr("Close Camera"), this);
    btnCloseCamera->setObjectName("btnCloseCamera");
    auto* closePage = new QWidget(this);
    auto* closeRow = new QHBoxLayout(closePage);
    closeRow->setContentsMargins(0, 0, 0, 0);
    closeRow->addItem(new QSpacerItem(0, 0, QSizePolicy::Expanding, QSizePolicy::Minimum));
    closeRow->addWidget(btnCloseCamera);
    connect(btnCloseCamera, &QPushButton::clicked, this, [this] { OnCameraStatusChanged(false); });

    stackedWidget = new QStackedWidget(this);
    stackedWidget->setObjectName("stackedWidget");
    stackedWidget->addWidget(buttonPage);
    stackedWidget->addWidget(closePage);
    stackedWidget->setCurrentIndex(0);
    auto* controlRow = new QHBoxLayout;
    controlRow->addItem(new QSpacerItem(0, 0, QSizePolicy::Expanding, QSizePolicy::Minimum));
    controlRow->addWidget(stackedWidget);
    controlRow->setStretch(0, 1);

    lblRefreshInfo = new QLabel(refreshInProgressText(), this);
    lblRefreshInfo->setObjectName("lblRefreshInfo");
    lblRefreshInfo->setVisible(true);

    auto* panelLayout = new QVBoxLayout(this);
    panelLayout->setContentsMargins(0, 0, 0, 0);
    panelLayout->addWidget(lblRefreshInfo);
    panelLayout->addWidget(treeView, 1);
    panelLayout->addLayout(controlRow);
    panelLayout->addItem(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding));

    connect(this, &CameraDiscoveryWidget::CameraOpened, this, [this](const QString& extendedId) {
        m_openedId = extendedId;
        stackedWidget->setCurrentIndex(1);
        treeView->setEnabled(false);
    });
    connect(this, &CameraDiscoveryWidget::CameraClosed, this, [this] {
        m_openedId.clear();
        stackedWidget->setCurrentIndex(0);
        treeView->setEnabled(true);
    });

    connect(treeView->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) {
                btnOpenCamera->setEnabled(current.isValid() && !m_model->hasChildren(current));
            });
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &CameraDiscoveryWidget::_expandTree);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &CameraDiscoveryWidget::_expandTree);

    connect(this, &CameraDiscoveryWidget::GrbSystemReady, this, &CameraDiscoveryWidget::InitApiController);

    // The wait cursor belongs to the GUI thread, so it is set here rather than in the task.
    _setWaitCursor();
    m_startupWatcher = new QFutureWatcher<void>(this);
    connect(m_startupWatcher, &QFutureWatcher<void>::finished, this, &CameraDiscoveryWidget::GrbSystemReady);
    m_startupWatcher->setFuture(QtConcurrent::run([] { GrbCPP::GrbSystem::GetInstance().Startup(); }));
}

CameraDiscoveryWidget::~CameraDiscoveryWidget()
{
    // Neither the start-up task nor a scan may still use the SDK or the controller.
    m_startupWatcher->waitForFinished();
    if (m_scanWatcher)
        m_scanWatcher->waitForFinished();
    GrbCPP::GrbSystem::GetInstance().Shutdown();
    m_apiController.reset();
    while (m_waitCursors > 0)
        _restoreCursor();
}

std::shared_ptr<ApiController> CameraDiscoveryWidget::GetApiController() const
{
    return m_apiController;
}

void CameraDiscoveryWidget::InitApiController()
{
    m_apiController = std::make_shared<ApiController>(this);
    ApiController* controller = m_apiController.get();
    connect(controller, &ApiController::ApiError, this, &CameraDiscoveryWidget::ApiError);
    connect(controller, &ApiController::CameraOpenStateChanged, m_model, &CameraTreeModel::OnCameraAccessChanged);
    connect(controller, &ApiController::CameraRemoved, m_model, &CameraTreeModel::OnCameraRemoved);
    connect(controller, &ApiController::CameraAdded, this, &CameraDiscoveryWidget::_onCameraAdded);
    connect(controller, &ApiController::CameraRemoved, this, &CameraDiscoveryWidget::_onCameraRemoved);
    // A start-up that could not load a transport layer would otherwise show only as an
    // empty list: its reason goes to the log.
    const QString startup = m_apiController->GetStartupMessage();
    if (!startup.isEmpty())
        emit ApiError(tr("Camera SDK start-up: %1").arg(startup));

    m_apiController->enableAutomaticDiscovery(chkAutoRefresh->isChecked());
    emit ApiControllerAvailable(m_apiController);
    _restoreCursor();
    RefreshCameraList();
}

void CameraDiscoveryWidget::RefreshCameraList()
{
    if (m_refreshInProgress || !m_apiController)
        return;
    _setWaitCursor();
    m_refreshInProgress = true;
    lblRefreshInfo->setText(refreshInProgressText());
    lblRefreshInfo->setVisible(true);
    btnOpenCamera->setEnabled(false);
    m_model->Init({});

    auto* watcher = new QFutureWatcher<QVector<CameraInfoMap>>(this);
    connect(watcher, &QFutureWatcher<QVector<CameraInfoMap>>::finished, this, [this, watcher] {
        OnCameraListReady(watcher->result());
        watcher->deleteLater();
    });
    m_scanWatcher = watcher;
    const bool compatibleOnly = chkCompatibleOnly->isChecked();
    watcher->setFuture(QtConcurrent::run(scanCameras, m_apiController.get(), compatibleOnly));
}

void CameraDiscoveryWidget::OnCameraListReady(const QVector<CameraInfoMap>& cameras)
{
    m_model->Init(cameras);
    _expandTree();
    treeView->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_refreshInProgress = false;
    Update_lblRefreshInfo();
    _restoreCursor();
}

void CameraDiscoveryWidget::Update_lblRefreshInfo()
{
    const bool empty = m_model->rowCount() == 0;
    lblRefreshInfo->setVisible(empty);
    if (empty)
        lblRefreshInfo->setText(
            tr("No %1cameras found").arg(chkCompatibleOnly->isChecked() ? tr("compatible ") : QString()));
}

void CameraDiscoveryWidget::OnCameraStatusChanged(bool open)
{
    const QModelIndex current = treeView->currentIndex();
    auto* model = qobject_cast<CameraTreeModel*>(treeView->model());
    if (!model || !current.isValid() || model->hasChildren(current))
        return;
    const QString extendedId = model->GetCameraExtId(current);
    if (open)
        emit CameraOpened(extendedId);
    else
        emit CameraClosed(extendedId, model->GetCameraName(current));
}

bool CameraDiscoveryWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == treeView && event->type() == QEvent::KeyPress)
    {
        const int key = static_cast<QKeyEvent*>(event)->key();
        // As a double click: only where the row is enabled.
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && (treeView->currentIndex().flags() & Qt::ItemIsEnabled))
        {
            OnCameraStatusChanged(true);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void CameraDiscoveryWidget::OnCameraOpenFailed()
{
    // Without this the panel would offer "Close Camera" for a camera that never opened
    // and keep the list locked until the user pressed it.
    m_openedId.clear();
    stackedWidget->setCurrentIndex(0);
    treeView->setEnabled(true);
}

void CameraDiscoveryWidget::on_chkAutoRefresh_stateChanged(int state)
{
    const bool on = state == Qt::Checked;
    if (!m_apiController || m_apiController->enableAutomaticDiscovery(on) != 0)
        emit ApiError(tr("Failed to %1 the automatic refresh of cameras").arg(on ? tr("enable") : tr("disable")));
}

void CameraDiscoveryWidget::_setWaitCursor()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    ++m_waitCursors;
}

void CameraDiscoveryWidget::_restoreCursor()
{
    QApplication::restoreOverrideCursor();
    --m_waitCursors;
}

void CameraDiscoveryWidget::_expandTree()
{
    // The two branch levels one by one rather than QTreeView::expandAll(), which also
    // records every camera row as expanded: each such record is walked again on every
    // later insertion and removal, and a thousand cameras made plug events slow.
    for (int tl = 0; tl < m_model->rowCount(); ++tl)
    {
        const QModelIndex transportLayer = m_model->index(tl, 0);
        treeView->expand(transportLayer);
        for (int row = 0; row < m_model->rowCount(transportLayer); ++row)
            treeView->expand(m_model->index(row, 0, transportLayer));
    }
}

void CameraDiscoveryWidget::_onCameraAdded(const CameraInfoMap& camera)
{
    QString family;
    if (chkCompatibleOnly->isChecked() && !IsCameraModelCompatible(camera.value("Model Name").toString(), family))
        return;
    m_model->OnCameraAdded(camera);
    Update_lblRefreshInfo();
}

void CameraDiscoveryWidget::_onCameraRemoved(const CameraInfoMap& camera)
{
    const QString extendedId = camera.value("Extended ID").toString();
    // With several cameras, one leaving that is not the open one leaves the controls of
    // the open one as they are.
    const bool other = !m_openedId.isEmpty() && extendedId != m_openedId;
    if (!other)
    {
        m_openedId.clear();
        stackedWidget->setCurrentIndex(0);
    }
    emit CameraRemoved(extendedId, camera.value("Camera Name").toString());
    if (!other)
        treeView->setEnabled(true);
    Update_lblRefreshInfo();
}
