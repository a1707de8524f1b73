#include "MainWindow.h"

#include "assistant/PXCFileAccess.h"
#include "device/PXCamera.h"

#include <QAction>
#include <QDockWidget>
#include <QEvent>
#include <QIcon>
#include <QMenu>
#include <QMenuBar>
#include <QScrollArea>
#include <QStyle>

#include <algorithm>

MainWindow::MainWindow(QWidget* parent)
    : BasicMainWindow(parent)
{
    setWindowIcon(QIcon(":/Images/res/Zorvan.ico"));

    m_fileAccess = new PXCFileAccess(this);
    m_fileAccess->setEnabled(false);

    m_fileAccessDock = new QDockWidget(tr("File Access Assistant"), this);
    m_fileAccessDock->setObjectName("dockFileAccess");
    m_fileAccessDock->setTitleBarWidget(new QWidget(m_fileAccessDock));
    // The panel scrolls where the window has not the room for it (large fonts, the log
    // view open during a transfer), rather than being cut off or making the window grow.
    m_fileAccessScroll = new QScrollArea(m_fileAccessDock);
    m_fileAccessScroll->setObjectName("scrollFileAccess");
    m_fileAccessScroll->setFrameShape(QFrame::NoFrame);
    m_fileAccessScroll->setWidgetResizable(true);
    m_fileAccessScroll->setWidget(m_fileAccess);
    m_fileAccessDock->setWidget(m_fileAccessScroll);
    m_fileAccessDock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    m_fileAccessDock->setAllowedAreas(Qt::BottomDockWidgetArea);
    m_fileAccessDock->setFloating(false);
    addDockWidget(Qt::BottomDockWidgetArea, m_fileAccessDock);
    // Qt disables a dock's toggle action along with its close button; the menu entry
    // still shows and hides the assistant.
    m_fileAccessDock->toggleViewAction()->setEnabled(true);
    m_viewMenu->addAction(m_fileAccessDock->toggleViewAction());
    m_fileAccessDock->hide();

    connect(this, &BasicMainWindow::CameraOpened, this, &MainWindow::onInitAssistant);
    connect(this, &BasicMainWindow::CameraClosed, this, &MainWindow::onResetAssistant);
    connect(m_fileAccess, &PXCFileAccess::deviceReset, this, &MainWindow::onResetAssistant);
    connect(m_fileAccess, &PXCFileAccess::cameraCloseRequested, this, &BasicMainWindow::CameraCloseRequested);
    connect(m_fileAccess, &PXCFileAccess::sendLogMessage, this, &MainWindow::OnLogMessage);
    connect(m_fileAccess, &PXCFileAccess::cameraFirmwareUpdateStarted, this,
            &BasicMainWindow::CameraFirmwareUpdateStarted);

    m_fileAccess->installEventFilter(this);
    connect(m_logViewDock, &QDockWidget::visibilityChanged, this, &MainWindow::_fitAssistantHeight);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_fileAccess && event->type() == QEvent::LayoutRequest)
        _fitAssistantHeight();
    return BasicMainWindow::eventFilter(watched, event);
}

void MainWindow::resizeEvent(QResizeEvent* event)
{
    BasicMainWindow::resizeEvent(event);
    _fitAssistantHeight();
}

void MainWindow::_fitAssistantHeight()
{
    // The assistant claims the height its panel needs, so that the log view gives up
    // room first, as far as the window has it beside the menu bar and the log view at
    // its least; only beyond that does the panel scroll.
    int room = height() - menuBar()->height();
    if (m_logViewDock->isVisible() && !m_logViewDock->isFloating())
        room -= m_logViewDock->minimumSizeHint().height() + style()->pixelMetric(QStyle::PM_DockWidgetSeparatorExtent);
    m_fileAccessScroll->setMinimumHeight(std::max(0, std::min(m_fileAccess->minimumSizeHint().height(), room)));
}

MainWindow::~MainWindow()
{
    // The assistant goes before the camera list panel, whose destructor shuts the SDK
    // down: a transfer still running ends, and the camera is released, while the SDK
    // is up. The log view's dock, which the base leaves to Qt, is hidden as it goes,
    // after this part of the window is gone: it no longer reaches it.
    disconnect(m_logViewDock, &QDockWidget::visibilityChanged, this, &MainWindow::_fitAssistantHeight);
    m_fileAccess->removeEventFilter(this);
    delete m_fileAccessDock;
}

void MainWindow::onInitAssistant(PXCamera* cam)
{
    if (!cam)
    {
        onResetAssistant();
        return;
    }
    if (m_fileAccess->Init(cam))
    {
        m_cameraListDock->hide();
        m_fileAccess->setEnabled(true);
        m_fileAccessDock->show();
        setWindowTitle(QStringLiteral("%1 - %2").arg(m_defaultWindowTitle, cam->GetCameraName()));
        return;
    }
    // The refusal goes the way of the panel's own lines and close requests.
    emit m_fileAccess->sendLogMessage("Camera not supported, file access control is unavailable.", Error);
    emit m_fileAccess->cameraCloseRequested();
}

void MainWindow::onResetAssistant()
{
    setWindowTitle(m_defaultWindowTitle);
    m_fileAccess->Reset();
    m_fileAccess->setEnabled(false);
    m_cameraListDock->show();
    m_fileAccessDock->hide();
}
