#include "BasicMainWindow.h"

#include "device/PXCameraManager.h"
#include "discovery/CameraDiscoveryWidget.h"
#include "sdk/ApiController.h"

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QIcon>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollBar>
#include <QStringList>

namespace {

// A camera reboots after a firmware update and is reported gone while it does; this many
// removal reports are put down to that before one counts.
constexpr quint8 kIgnoredDisconnectsDuringUpdate = 3;

void toggleDock(QMainWindow* window, QAction* action, QDockWidget* dock)
{
    QObject::connect(
        action, &QAction::triggered, action,
        [window, dock](bool checked) {
            dock->setVisible(checked);
            window->adjustSize();
        },
        Qt::DirectConnection);
}

} // namespace

BasicMainWindow::BasicMainWindow(QWidget* parent)
    : QMainWindow(parent)
    , listLog(new QListWidget(this))
{
    listLog->setObjectName("listLog");
    // Long lines wrap rather than scroll sideways; the log gives up room down to two
    // lines, for the docks below it in a window of the minimum size.
    listLog->setWordWrap(true);
    listLog->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    listLog->setMinimumHeight(listLog->fontMetrics().height() * 5 / 2);

    Q_INIT_RESOURCE(resources);
    setWindowIcon(QIcon(":/Images/res/Zorvan.ico"));

    m_viewMenu = menuBar()->addMenu(tr("&View"));
    QMenu* helpMenu = menuBar()->addMenu(tr("&Help"));
    auto* actionAbout = new QAction(tr("About"), this);
    connect(actionAbout, &QAction::triggered, this, &BasicMainWindow::_showAbout);
    helpMenu->addAction(actionAbout);
    auto* actionAboutQt = new QAction(tr("About Qt"), this);
    connect(actionAboutQt, &QAction::triggered, qApp, &QApplication::aboutQt);
    helpMenu->addAction(actionAboutQt);

    m_cameraListDock = new QDockWidget(tr("Camera List"), this);
    m_cameraListDock->setObjectName("dockCameraList");
    m_cameraDiscovery = new CameraDiscoveryWidget(this);
    qRegisterMetaType<LogType>("LogType");

    connect(m_cameraDiscovery, &CameraDiscoveryWidget::CameraOpened, this, &BasicMainWindow::OnCameraOpenRequested);
    connect(m_cameraDiscovery, &CameraDiscoveryWidget::CameraClosed, this, &BasicMainWindow::OnCameraCloseRequested);
    connect(m_cameraDiscovery, &CameraDiscoveryWidget::CameraRemoved, this, &BasicMainWindow::OnCameraDisconnected);
    connect(m_cameraDiscovery, &CameraDiscoveryWidget::ApiError, this,
            [this](const QString& message) { OnLogMessage(message, Error); });
    connect(m_cameraDiscovery, &CameraDiscoveryWidget::ApiControllerAvailable, this,
            &BasicMainWindow::OnApiControllerAvailable);
    connect(this, &BasicMainWindow::CameraCloseRequested, this,
            [this] { m_cameraDiscovery->OnCameraStatusChanged(false); });
    connect(this, &BasicMainWindow::CameraFirmwareUpdateStarted, this,
            [this](bool started) { m_firmwareUpdateRunning = started; });

    m_cameraListDock->setWidget(m_cameraDiscovery);
    addDockWidget(Qt::BottomDockWidgetArea, m_cameraListDock);
    m_cameraListDock->setContentsMargins(5, 5, 5, 5);

    // Starts unchecked although the dock is visible, and does not follow the dock's own
    // close button; only the log view's action does.
    auto* actionCameraList = new QAction(tr("Camera List"), this);
    actionCameraList->setCheckable(true);
    toggleDock(this, actionCameraList, m_cameraListDock);
    m_viewMenu->addAction(actionCameraList);

    m_logViewDock = new QDockWidget(tr("Log View"), this);
    m_logViewDock->setObjectName("dockLogView");
    m_logViewDock->setContentsMargins(5, 5, 5, 5);
    m_logViewDock->setWidget(listLog);
    addDockWidget(Qt::TopDockWidgetArea, m_logViewDock);
    m_logViewDock->hide();

    auto* actionLogView = new QAction(tr("Log View"), this);
    actionLogView->setCheckable(true);
    toggleDock(this, actionLogView, m_logViewDock);
    m_viewMenu->addAction(actionLogView);
    connect(m_logViewDock, &QDockWidget::visibilityChanged, actionLogView, &QAction::setChecked);
    connect(actionLogView, &QAction::triggered, this, [this](bool checked) {
        if (checked)
            _giveLogViewItsShare();
    });

    // The newest line stays in view when the list is resized, hidden and shown again, or
    // gets new lines, unless the user has scrolled up to older ones.
    QScrollBar* logScroll = listLog->verticalScrollBar();
    connect(logScroll, &QScrollBar::rangeChanged, this, [this, logScroll](int, int maximum) {
        if (m_logShowsNewest)
            logScroll->setValue(maximum);
    });
    connect(logScroll, &QScrollBar::valueChanged, this,
            [this, logScroll](int value) { m_logShowsNewest = value == logScroll->maximum(); });

    setMinimumSize(600, 600);
}

BasicMainWindow::~BasicMainWindow()
{
    // The manager goes first; the camera list panel, a child, then shuts the SDK down.
    m_cameraManager.reset();
}

QSize BasicMainWindow::sizeHint() const
{
    // Once shown, the window is as large as the user made it: adjustSize() after a dock
    // is shown or hidden keeps that size, and the docks share it.
    return isVisible() ? size() : QMainWindow::sizeHint();
}

void BasicMainWindow::setDefaultWindowTitle(const QString& title)
{
    m_defaultWindowTitle = title;
    setWindowTitle(title);
}

void BasicMainWindow::OnApiControllerAvailable(std::shared_ptr<ApiController> newController)
{
    m_cameraManager = std::make_shared<PXCameraManager>(newController, this);
}

void BasicMainWindow::OnCameraSelected(bool isSelected, QString cameraId)
{
    OnLogMessage(isSelected ? tr("Camera selected: %1").arg(cameraId) : tr("Camera unselected: %1").arg(cameraId),
                 Info);
    emit CameraSelected(isSelected, cameraId);
}

void BasicMainWindow::OnLogMessage(const QString& message, LogType type)
{
    auto* item = new QListWidgetItem(message);
    QBrush brush;
    if (type == Error)
        brush = QBrush(QColor("red"));
    else if (type == Warning)
        brush = QBrush(QColor("yellow"));
    item->setForeground(brush);
    listLog->addItem(item);
    listLog->scrollToItem(item);
    m_logShowsNewest = true;
    if (type == Error)
    {
        m_logViewDock->setVisible(true);
        adjustSize();
        _giveLogViewItsShare();
    }
}

void BasicMainWindow::OnCameraOpenRequested(const QString& cameraExtId)
{
    setCursor(Qt::WaitCursor);
    if (PXCamera* camera = m_cameraManager ? m_cameraManager->Open(cameraExtId) : nullptr)
    {
        m_openCameraId = cameraExtId;
        OnLogMessage(tr("Camera opened: %1").arg(camera->GetCameraName()), Info);
        emit CameraOpened(camera);
    }
    else
    {
        // The controller has already reported why; the camera list just takes its
        // controls back.
        m_cameraDiscovery->OnCameraOpenFailed();
    }
    unsetCursor();
}

void BasicMainWindow::OnCameraCloseRequested(const QString& cameraExtId, const QString& cameraId)
{
    setCursor(Qt::WaitCursor);
    if (m_cameraManager && m_cameraManager->Close(cameraExtId))
    {
        if (cameraExtId == m_openCameraId)
            m_openCameraId.clear();
        emit CameraClosed(cameraId);
        OnLogMessage(tr("Camera closed: %1").arg(cameraId), Info);
    }
    unsetCursor();
}

void BasicMainWindow::OnCameraDisconnected(const QString& cameraExtId, const QString& cameraId)
{
    // With several cameras only the open one's departure closes it and resets the window,
    // and only its reports count during a firmware update.
    if (!m_openCameraId.isEmpty() && cameraExtId != m_openCameraId)
        return;
    // The count is only reset here, so what one update leaves over carries into the next.
    if (m_firmwareUpdateRunning && m_ignoredDisconnects < kIgnoredDisconnectsDuringUpdate)
    {
        ++m_ignoredDisconnects;
        return;
    }
    m_ignoredDisconnects = 0;
    setCursor(Qt::WaitCursor);
    if (m_cameraManager && m_cameraManager->Close(cameraExtId))
    {
        m_openCameraId.clear();
        emit CameraClosed(cameraId);
        OnLogMessage(tr("Camera disconnected: %1 (%2)").arg(cameraId, cameraExtId), Info);
    }
    unsetCursor();
}

void BasicMainWindow::_giveLogViewItsShare()
{
    // At least a quarter of the window, as far as the docks below can spare it: a
    // transfer's progress bar may have taken the room, and not given it back. Without
    // a central widget the window's height is shared out among the docks, so those
    // below are given the rest.
    if (m_logViewDock->height() >= height() / 4)
        return;
    QList<QDockWidget*> docks{m_logViewDock};
    QList<int> heights{height() / 4};
    for (QDockWidget* dock : findChildren<QDockWidget*>())
        if (dock->isVisible() && dockWidgetArea(dock) == Qt::BottomDockWidgetArea)
        {
            docks << dock;
            heights << height() - heights.first();
        }
    resizeDocks(docks, heights, Qt::Vertical);
}

void BasicMainWindow::_showAbout()
{
    const QStringList lines = {
        tr("%1 is a Qt application using the GrbCPP API.").arg(m_defaultWindowTitle),
        tr("Version: %1").arg(QApplication::applicationVersion()),
        QString(),
        tr("Copyright © Zorvan Technologies GmbH. All rights reserved."),
    };
    QMessageBox::about(this, tr("About"), lines.join("\n"));
}
