// Writes pictures of the file access assistant on the demo cameras into the current
// folder, for looking at it without clicking through it: assistant-userfile.png,
// assistant-slot.png, assistant-firmware.png, assistant-transfer.png (a download
// slowed down by the simulator, caught halfway), assistant-firmware-running.png and
// assistant-firmware-refused.png (an image the camera refuses at its end), and
// assistant-transfer-with-log.png (the same download with the log view open).
// Not a test; run it under xvfb-run or any display.
//
//   assistant_screens

#include "DialogScript.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTreeView>
#include <QTreeWidget>

#include <cstdio>
#include <functional>
#include <sim/SimWorld.h>

namespace {

const char* const kCamera = "DEV_0F3100A1";

void settle(const std::function<bool()>& done = [] { return true; }, int patienceMs = 10000)
{
    QElapsedTimer patience;
    patience.start();
    while (!done() && patience.elapsed() < patienceMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QElapsedTimer calm;
    calm.start();
    while (calm.elapsed() < 300)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

bool save(QWidget& window, const char* name)
{
    settle();
    const bool saved = window.grab().save(name);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", name);
    return saved;
}

bool open(MainWindow& window, const QString& prefix)
{
    auto* tree = window.findChild<QTreeView*>("treeView");
    QAbstractItemModel* model = tree->model();
    std::function<QModelIndex(const QModelIndex&)> find = [&](const QModelIndex& parent) -> QModelIndex {
        for (int row = 0; row < model->rowCount(parent); ++row)
        {
            const QModelIndex child = model->index(row, 0, parent);
            const QModelIndex found = model->rowCount(child) == 0 ? child : find(child);
            if (found.isValid() && found.data().toString().startsWith(prefix))
                return found;
        }
        return {};
    };
    const QModelIndex camera = find(QModelIndex());
    if (!camera.isValid())
        return false;
    tree->setCurrentIndex(camera);
    window.findChild<QPushButton*>("btnOpenCamera")->click();
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("GRB_SIMULATOR"))
        qputenv("GRB_SIMULATOR", "demo");
    QStandardPaths::setTestModeEnabled(true);
    QApplication::setStyle(QStyleFactory::create("fusion"));
    QApplication app(argc, argv);
    QApplication::setApplicationName("Zorvan Pellix File Access Assistant");
    QApplication::setApplicationVersion("1.0.0.2142e15");
    QTemporaryDir downloads;

    MainWindow window;
    window.setDefaultWindowTitle(QApplication::applicationName());
    window.show();
    auto* cameras = window.findChild<CameraDiscoveryWidget*>();
    settle([&] { return cameras->GetApiController() && cameras->findChild<QLabel*>("lblRefreshInfo")->isHidden(); });
    if (!open(window, "qda640"))
        return 1;
    auto* panel = window.findChild<PXCFileAccess*>();
    auto* selector = panel->findChild<QComboBox*>("comboBox");
    bool ok = save(window, "assistant-userfile.png");
    selector->setCurrentText("UserSet1");
    ok = save(window, "assistant-slot.png") && ok;
    selector->setCurrentText("Firmware");
    ok = save(window, "assistant-firmware.png") && ok;

    // Every FileOperationExecute now completes late, so each chunk waits one two-second
    // poll: the 200 KiB file takes four of them.
    auto world = grb::sim::SimWorld::Active();
    world->SetCommandDelay(kCamera, "FileOperationExecute", 100);
    selector->setCurrentText("Userfile");
    auto* files = panel->findChild<QTreeWidget*>("treeWidget");
    files->findItems("shading_correction.bin", Qt::MatchExactly).value(0)->setSelected(true);
    DialogScript script;
    script.choose(downloads.path());
    panel->findChild<QPushButton*>("btnSave")->click();
    auto* bar = panel->findChild<QProgressBar*>("fileAccessProgressBar");
    settle([&] { return bar->isVisible() && bar->value() >= 25; }, 20000);
    ok = save(window, "assistant-transfer.png") && ok;
    settle([&] { return selector->isEnabled(); }, 30000);

    // An image the camera refuses at its end; the camera stays open.
    {
        QFile image(downloads.filePath("next.ge3"));
        image.open(QIODevice::WriteOnly);
        image.write("not a firmware image\n" + QByteArray(150000, 'f'));
    }
    selector->setCurrentText("Firmware");
    script.choose(downloads.filePath("next.ge3")).press(QMessageBox::Ok);
    panel->findChild<QPushButton*>("btnFirwUpgrade")->click();
    settle([] { return false; }, 2500);
    ok = save(window, "assistant-firmware-running.png") && ok;
    settle([&] { return script.finished(); }, 30000);
    ok = save(window, "assistant-firmware-refused.png") && ok;
    selector->setCurrentText("Userfile");
    files->findItems("shading_correction.bin", Qt::MatchExactly).value(0)->setSelected(true);
    script.choose(downloads.path()).press(QMessageBox::Yes);
    panel->findChild<QPushButton*>("btnSave")->click();
    settle([&] { return bar->isVisible() && bar->value() >= 25; }, 20000);
    ok = save(window, "assistant-transfer-with-log.png") && ok;
    settle([&] { return selector->isEnabled(); }, 30000);
    return ok ? 0 : 1;
}
