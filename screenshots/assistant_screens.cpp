// Writes pictures of the file access assistant on the demo cameras into the current
// folder, for looking at it without clicking through it, and prints the window's size
// with each: assistant-userfile.png, assistant-long-name.png (a file with a long name
// uploaded), assistant-save-dialog.png (the screen while the directory dialog of a
// download is open), assistant-slot.png, assistant-firmware.png, assistant-transfer.png (a
// download slowed down by the simulator, caught halfway),
// assistant-transfer-with-log.png (the same download with the log view open),
// assistant-firmware-running.png and assistant-firmware-refused.png (an image the
// camera refuses at its end). Not a test; run it under xvfb-run or any display.
// An argument sets the font size in points, for the look on a desktop with larger
// fonts than Qt's own default.
//
//   assistant_screens [POINTS]

#include "DialogScript.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QApplication>
#include <QComboBox>
#include <QMenu>
#include <QMenuBar>
#include <QElapsedTimer>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>
#include <QScreen>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTimer>
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
    std::printf("%s %s (window %dx%d)\n", saved ? "wrote" : "could not write", name, window.width(),
                window.height());
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
    if (argc > 1)
        QApplication::setFont(QFont(QApplication::font().family(), QString(argv[1]).toInt()));
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
    // The directory dialog of a download as the screen shows it, with where it opened.
    QTimer::singleShot(1000, &window, [&] {
        QWidget* dialog = QApplication::activeModalWidget();
        const QRect at = dialog ? dialog->frameGeometry() : QRect();
        const bool saved = window.screen()->grabWindow(0).save("assistant-save-dialog.png");
        std::printf("%s assistant-save-dialog.png (window at %d,%d %dx%d, dialog at %d,%d %dx%d)\n",
                    saved ? "wrote" : "could not write", window.frameGeometry().x(), window.frameGeometry().y(),
                    window.frameGeometry().width(), window.frameGeometry().height(), at.x(), at.y(), at.width(),
                    at.height());
        ok = saved && dialog && ok;
        if (dialog)
            dialog->close();
    });
    panel->findChild<QPushButton*>("btnSave")->click();
    DialogScript script;
    const QString longName =
        downloads.filePath("conveyor3_inspection_left_flat_field_shading_correction_2024-05-17_rev12.bin");
    {
        QFile file(longName);
        file.open(QIODevice::WriteOnly);
        file.write(QByteArray(3000, 's'));
    }
    script.choose(longName);
    panel->findChild<QPushButton*>("btnUpload")->click();
    settle([&] { return script.finished() && selector->isEnabled(); });
    ok = save(window, "assistant-long-name.png") && ok;
    selector->setCurrentText("UserSet1");
    ok = save(window, "assistant-slot.png") && ok;
    selector->setCurrentText("Firmware");
    ok = save(window, "assistant-firmware.png") && ok;

    // Every FileOperationExecute now completes later than the SDK waits for it, so each
    // chunk waits one two-second poll: the 200 KiB file takes four of them.
    grb::sim::SimWorld::Active()->SetCommandDelay(kCamera, "FileOperationExecute", 300);
    selector->setCurrentText("Userfile");
    auto* files = panel->findChild<QTreeWidget*>("treeWidget");
    auto* bar = panel->findChild<QProgressBar*>("fileAccessProgressBar");
    auto download = [&](const char* picture) {
        files->findItems("shading_correction.bin", Qt::MatchExactly).value(0)->setSelected(true);
        script.choose(downloads.path());
        if (QFile::exists(downloads.filePath("shading_correction.bin")))
            script.press(QMessageBox::Yes);
        panel->findChild<QPushButton*>("btnSave")->click();
        settle([&] { return bar->isVisible() && bar->value() >= 25; }, 20000);
        const bool saved = save(window, picture);
        settle([&] { return selector->isEnabled(); }, 30000);
        return saved;
    };
    ok = download("assistant-transfer.png") && ok;
    for (QAction* action : window.menuBar()->actions().value(0)->menu()->actions())
        if (action->text() == "Log View")
            action->trigger(); // as the user switches it on
    ok = download("assistant-transfer-with-log.png") && ok;

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
    return ok ? 0 : 1;
}
