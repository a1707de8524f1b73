#include "MainWindow.h"

#include "assistant/PXCFileAccess.h"
#include "device/PXCamera.h"

#include <QAction>
#include <QDockWidget>
#include <QIcon>
#include <QMenu>

MainWindow::MainWindow(QWidget* parent)
    : BasicMainWindow(parent)
{
    setWindowIcon(QIcon(":/Images/res/Zorvan.ico"));

    m_fileAccess = new PXCFileAccess(this);
    m_fileAccess->setEnabled(false);

    m_fileAccessDock = new QDockWidget(tr("File Access Assistant"), this);
    m_fileAccessDock->setObjectName("dockFileAccess");
    m_fileAccessDock->setTitleBarWidget(new QWidget(m_fileAccessDock));
    m_fileAccessDock->setWidget(m_fileAccess);
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
}

MainWindow::~MainWindow()
{
    // The assistant goes before the camera list panel, whose destructor shuts the SDK
    // down: a transfer still running ends, and the camera is released, while the SDK
    // is up.
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
