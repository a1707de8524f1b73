#ifndef MAINWINDOW_H
#define MAINWINDOW_H

#include "BasicMainWindow.h"

class PXCFileAccess;
class PXCamera;
class QDockWidget;
class QScrollArea;

// This tool's main window: the shared shell plus a fixed bottom dock with the file
// access assistant, shown instead of the camera list while a camera is open.
class MainWindow : public BasicMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

public slots:
    void onInitAssistant(PXCamera* cam);
    void onResetAssistant();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void _fitAssistantHeight();

    PXCFileAccess* m_fileAccess = nullptr;
    QDockWidget* m_fileAccessDock = nullptr;
    QScrollArea* m_fileAccessScroll = nullptr;
};

#endif
