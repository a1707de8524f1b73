// Writes pictures of the main window on the simulator's cameras into the current
// folder, for looking at the window without clicking through it: camera-list.png,
// log-error.png (a camera taken by another program just before it is opened) and
// camera-open.png. Not a test; run it under xvfb-run or any display.
//
//   window_screens

#include "app/MainWindow.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
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

bool open(MainWindow& window, const QString& prefix)
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
    window.findChild<QPushButton*>("btnOpenCamera")->click();
    return true;
}

bool save(QWidget& window, const char* name)
{
    settle();
    const bool saved = window.grab().save(name);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", name);
    return saved;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("GRB_SIMULATOR"))
        qputenv("GRB_SIMULATOR", "demo");
    QApplication::setStyle(QStyleFactory::create("fusion"));
    QApplication app(argc, argv);
    QApplication::setApplicationName("Zorvan Pellix File Access Assistant");
    QApplication::setApplicationVersion("1.0.0.2142e15");

    MainWindow window;
    window.setDefaultWindowTitle(QApplication::applicationName());
    window.show();
    auto* panel = window.findChild<CameraDiscoveryWidget*>();
    settle([&] { return panel->GetApiController() && panel->findChild<QLabel*>("lblRefreshInfo")->isHidden(); });
    bool ok = save(window, "camera-list.png");

    grb::sim::SimWorld::Active()->SetHeldByOther("DEV_1AB22C0F", true);
    ok = open(window, "RZ-12M") && save(window, "log-error.png") && ok;
    ok = open(window, "qda640") && save(window, "camera-open.png") && ok;
    return ok ? 0 : 1;
}
