#include "MainWindow.h"

#include "device/PXCamera.h"

#include <QIcon>

MainWindow::MainWindow(QWidget* parent)
    : BasicMainWindow(parent)
{
    setWindowIcon(QIcon(":/Images/res/Zorvan.ico"));
    connect(this, &BasicMainWindow::CameraOpened, this, &MainWindow::onInitAssistant);
    connect(this, &BasicMainWindow::CameraClosed, this, &MainWindow::onResetAssistant);
}

MainWindow::~MainWindow() = default;

void MainWindow::onInitAssistant(PXCamera* cam)
{
    if (!cam)
    {
        onResetAssistant();
        return;
    }
    m_camera.reset(cam);
    setWindowTitle(QStringLiteral("%1 - %2").arg(m_defaultWindowTitle, cam->GetCameraName()));
}

void MainWindow::onResetAssistant()
{
    setWindowTitle(m_defaultWindowTitle);
    m_camera.reset();
}
