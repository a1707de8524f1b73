// Writes pictures of the main window on the simulator's cameras into the current
// folder, for looking at the window without clicking through it, and prints the
// window's size with each:
//   camera-list.png, view-menu.png (the View menu open),
//   dock-closed.png, dock-closed-menu.png, dock-closed-right-click.png (the camera
//   list closed by its own button, then the View menu, then a right click into the
//   window), log-error.png (a camera taken by another program just before it is
//   opened), camera-open.png, view-menu-camera-open.png, assistant-hidden-menu.png
//   (the assistant switched off in the View menu), log-hidden.png (the log view
//   switched off with a camera open), camera-reopened.png (the log after closing and opening the camera again a
//   few times), return-key.png (Return pressed on the selected camera).
// Menus are separate windows, so those pictures are taken of the screen. Not a test;
// run it under xvfb-run or any display.
// An argument sets the font size in points, for the look on a desktop with larger
// fonts than Qt's own default.
//
//   window_screens [POINTS]

#include "app/MainWindow.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QStyleFactory>
#include <QTreeView>

#include <cstdio>
#include <functional>
#include <sim/SimWorld.h>

namespace {

void settle(const std::function<bool()>& done = [] { return true; })
{
    QElapsedTimer patience;
    patience.start();
    while (!done() && patience.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    // Lets plug and access events from the SDK's thread arrive and the window repaint.
    QElapsedTimer calm;
    calm.start();
    while (calm.elapsed() < 300)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

bool select(MainWindow& window, const QString& prefix)
{
    auto* tree = window.findChild<QTreeView*>("treeView");
    QAbstractItemModel* model = tree->model();
    std::function<QModelIndex(const QModelIndex&)> find = [&](const QModelIndex& parent) -> QModelIndex {
        for (int row = 0; row < model->rowCount(parent); ++row)
        {
            const QModelIndex child = model->index(row, 0, parent);
            if (model->rowCount(child) == 0 && child.data().toString().startsWith(prefix))
                return child;
            const QModelIndex found = find(child);
            if (found.isValid())
                return found;
        }
        return {};
    };
    const QModelIndex leaf = find(QModelIndex());
    if (!leaf.isValid())
        return false;
    tree->setCurrentIndex(leaf);
    return true;
}

bool open(MainWindow& window, const QString& prefix)
{
    if (!select(window, prefix))
        return false;
    window.findChild<QPushButton*>("btnOpenCamera")->click();
    return true;
}

void report(const QWidget& window, const char* name, bool saved)
{
    std::printf("%s %s (window %dx%d)\n", saved ? "wrote" : "could not write", name, window.width(),
                window.height());
}

bool save(QWidget& window, const char* name)
{
    settle();
    const bool saved = window.grab().save(name);
    report(window, name, saved);
    return saved;
}

// The window and whatever popup is open over it, as the screen shows them.
bool saveScreen(QWidget& window, const char* name)
{
    QRect area = window.frameGeometry();
    if (QWidget* popup = QApplication::activePopupWidget())
        area = area.united(popup->geometry());
    const bool saved = window.screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).save(name);
    report(window, name, saved);
    return saved;
}

bool saveViewMenu(MainWindow& window, const char* name)
{
    QAction* view = window.menuBar()->actions().value(0);
    window.menuBar()->setActiveAction(view);
    settle();
    const bool saved = saveScreen(window, name);
    view->menu()->close();
    settle();
    return saved;
}

QAction* viewAction(MainWindow& window, const QString& text)
{
    for (QAction* action : window.menuBar()->actions().value(0)->menu()->actions())
        if (action->text() == text)
            return action;
    return nullptr;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("GRB_SIMULATOR"))
        qputenv("GRB_SIMULATOR", "demo");
    QApplication::setStyle(QStyleFactory::create("fusion"));
    QApplication app(argc, argv);
    if (argc > 1)
        QApplication::setFont(QFont(QApplication::font().family(), QString(argv[1]).toInt()));
    QApplication::setApplicationName("Zorvan Pellix File Access Assistant");
    QApplication::setApplicationVersion("1.0.0.2142e15");

    MainWindow window;
    window.setDefaultWindowTitle(QApplication::applicationName());
    window.show();
    auto* panel = window.findChild<CameraDiscoveryWidget*>();
    settle([&] { return panel->GetApiController() && panel->findChild<QLabel*>("lblRefreshInfo")->isHidden(); });
    bool ok = save(window, "camera-list.png");
    ok = saveViewMenu(window, "view-menu.png") && ok;

    auto* cameraList = window.findChild<QDockWidget*>("dockCameraList");
    cameraList->findChild<QAbstractButton*>("qt_dockwidget_closebutton")->click();
    ok = save(window, "dock-closed.png") && ok;
    ok = saveViewMenu(window, "dock-closed-menu.png") && ok;
    const QPoint inside(window.width() / 2, window.height() / 2);
    QContextMenuEvent rightClick(QContextMenuEvent::Mouse, inside, window.mapToGlobal(inside));
    QApplication::sendEvent(&window, &rightClick);
    settle();
    ok = saveScreen(window, "dock-closed-right-click.png") && ok;
    if (QWidget* popup = QApplication::activePopupWidget())
        popup->close();
    if (cameraList->isHidden())
        viewAction(window, "Camera List")->trigger();
    if (cameraList->isHidden())
        viewAction(window, "Camera List")->trigger();

    grb::sim::SimWorld::Active()->SetHeldByOther("DEV_1AB22C0F", true);
    ok = open(window, "RZ-12M") && save(window, "log-error.png") && ok;
    ok = open(window, "qda640") && save(window, "camera-open.png") && ok;
    ok = saveViewMenu(window, "view-menu-camera-open.png") && ok;
    viewAction(window, "File Access Assistant")->trigger();
    ok = saveViewMenu(window, "assistant-hidden-menu.png") && ok;
    viewAction(window, "File Access Assistant")->trigger();
    viewAction(window, "Log View")->trigger();
    ok = save(window, "log-hidden.png") && ok;
    viewAction(window, "Log View")->trigger();
    for (int round = 0; round < 4; ++round)
    {
        window.findChild<QWidget*>("PXCFileAccess")->findChild<QPushButton*>("btnCloseCamera")->click();
        settle();
        ok = open(window, "qda640") && ok;
    }
    ok = save(window, "camera-reopened.png") && ok;

    window.findChild<QWidget*>("PXCFileAccess")->findChild<QPushButton*>("btnCloseCamera")->click();
    settle();
    ok = select(window, "qda640") && ok;
    auto* tree = window.findChild<QTreeView*>("treeView");
    tree->setFocus();
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(tree, &press);
    ok = save(window, "return-key.png") && ok;
    return ok ? 0 : 1;
}
