#ifndef MAINWINDOW_H
#define MAINWINDOW_H

#include "BasicMainWindow.h"

#include <memory>

class PXCamera;

// This tool's main window over the shared shell. Until the file access assistant
// takes cameras over, it holds the open camera itself and names it in the title.
class MainWindow : public BasicMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

public slots:
    void onInitAssistant(PXCamera* cam);
    void onResetAssistant();

private:
    std::unique_ptr<PXCamera> m_camera;
};

#endif
