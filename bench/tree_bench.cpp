// Fills the camera list panel from simulated cameras and times it: one full scan, from
// its start to the filled tree, then every camera unplugged and plugged in again, one
// single update each. Runs with 1000 and 10 000 cameras so the growth shows: ten times
// the cameras should take ten times as long, no more.
//
// The updates are timed twice: handed straight to the SDK controller's list-change
// slot, as its SDK observer does (the panel's own cost), and through the simulator,
// where each plug event travels from the device model through the SDK's list, its
// event thread and the controller into the tree.
//
//   bench_tree

// Before any Qt header: the simulator's camera config has a member named like Qt's "slots" keyword.
#include <sim/SimWorld.h>

#include "discovery/CameraDiscoveryWidget.h"
#include "sdk/ApiController.h"

#include <GrbCPP/GrbCPP.h>

#include <QAbstractItemModel>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>
#include <QTreeView>

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

QString cameraId(int i)
{
    return QString("B%1").arg(i, 5, 10, QChar('0'));
}

QString description(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
    {
        const bool gige = i % 2 == 0;
        text += QString("camera id=%1 model=qda640MXGE serial=%2 transport=%3 interface=%4%5\n")
                    .arg(cameraId(i))
                    .arg(100000 + i)
                    .arg(gige ? "gige" : "usb3", gige ? "eth" : "usb")
                    .arg(i % 4);
    }
    return text;
}

// Runs the event loop until done() holds; false after a minute without it.
bool waitUntil(const std::function<bool()>& done)
{
    QElapsedTimer patience;
    patience.start();
    while (!done())
    {
        if (patience.elapsed() > 60000)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

int leafCount(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex())
{
    int leaves = 0;
    for (int row = 0; row < model.rowCount(parent); ++row)
    {
        const QModelIndex child = model.index(row, 0, parent);
        leaves += model.rowCount(child) == 0 ? 1 : leafCount(model, child);
    }
    return leaves;
}

// Milliseconds.
struct Figures
{
    double scan = 0;
    double unplugs = 0;
    double plugs = 0;
    double simulatedUnplugs = 0;
    double simulatedPlugs = 0;
};

double milliseconds(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

bool run(int count, Figures& figures)
{
    QTemporaryDir dir;
    QFile file(dir.filePath("cameras.txt"));
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly))
        return false;
    file.write(description(count).toUtf8());
    file.close();
    qputenv("GRB_SIMULATOR", file.fileName().toLocal8Bit());

    CameraDiscoveryWidget panel;
    panel.show();
    auto* label = panel.findChild<QLabel*>("lblRefreshInfo");
    QAbstractItemModel* model = panel.findChild<QTreeView*>("treeView")->model();
    if (!waitUntil([&] { return panel.GetApiController() && label->isHidden(); }))
        return false;

    QElapsedTimer timer;
    timer.start();
    panel.RefreshCameraList();
    if (!waitUntil([&] { return label->isHidden(); }) || leafCount(*model) != count)
        return false;
    figures.scan = milliseconds(timer);

    std::shared_ptr<ApiController> controller = panel.GetApiController();
    std::vector<GrbCPP::CameraPtr> cameras;
    for (int i = 0; i < count; ++i)
    {
        GrbCPP::CameraPtr camera;
        GrbCPP::GrbSystem::GetInstance().GetCameraByID(cameraId(i).toUtf8().constData(), camera);
        cameras.push_back(camera);
    }
    timer.restart();
    for (const GrbCPP::CameraPtr& camera : cameras)
        controller->OnCameraListChanged(camera, GrbCPP::UpdateTriggerPluggedOut);
    figures.unplugs = milliseconds(timer);
    if (model->rowCount() != 0)
        return false;
    timer.restart();
    for (const GrbCPP::CameraPtr& camera : cameras)
        controller->OnCameraListChanged(camera, GrbCPP::UpdateTriggerPluggedIn);
    figures.plugs = milliseconds(timer);
    if (leafCount(*model) != count)
        return false;

    int removed = 0;
    int added = 0;
    QObject::connect(&panel, &CameraDiscoveryWidget::CameraRemoved, [&] { ++removed; });
    QObject::connect(controller.get(), &ApiController::CameraAdded, [&] { ++added; });
    auto world = grb::sim::SimWorld::Active();
    timer.restart();
    for (int i = 0; i < count; ++i)
        world->Unplug(cameraId(i).toStdString());
    if (!waitUntil([&] { return removed == count; }))
        return false;
    figures.simulatedUnplugs = milliseconds(timer);
    timer.restart();
    for (int i = 0; i < count; ++i)
        world->Plug(cameraId(i).toStdString());
    if (!waitUntil([&] { return added == count; }))
        return false;
    figures.simulatedPlugs = milliseconds(timer);
    return leafCount(*model) == count;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    std::printf("%-8s %10s %24s %30s\n", "", "", "panel updates [ms]", "through the simulator [ms]");
    std::printf("%-8s %10s %12s %12s %15s %15s\n", "cameras", "scan [ms]", "unplugs", "plugs", "unplugs", "plugs");
    for (int count : {1000, 10000})
    {
        Figures f;
        if (!run(count, f))
        {
            std::fprintf(stderr, "the run with %d cameras did not finish\n", count);
            return 1;
        }
        std::printf("%-8d %10.1f %12.1f %12.1f %15.1f %15.1f\n", count, f.scan, f.unplugs, f.plugs,
                    f.simulatedUnplugs, f.simulatedPlugs);
        std::fflush(stdout);
    }
    return 0;
}
