#include "app/BasicMainWindow.h"
#include "app/MainWindow.h"
#include "device/PXCamera.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QAbstractButton>
#include <QDockWidget>
#include <QImageReader>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

#include <memory>
#include <vector>
#include <sim/SimWorld.h>

namespace {

const char* const kCameras = R"(camera id=CAM_A model=qda640MXGE serial=1001 name="Alpha" transport=gige interface=eth0
camera id=CAM_C model=RZ-12M serial=1003 name="Gamma" transport=usb3 interface=usb0
)";

// The shell as a host sees it; it keeps the cameras it is handed, as the assistant does.
class Shell : public BasicMainWindow
{
public:
    using BasicMainWindow::OnCameraSelected;
    using BasicMainWindow::OnLogMessage;
    Shell() { connect(this, &BasicMainWindow::CameraOpened, [this](PXCamera* camera) { cameras.emplace_back(camera); }); }
    std::vector<std::unique_ptr<PXCamera>> cameras;
};

void waitForCameras(QMainWindow& window)
{
    auto* panel = window.findChild<CameraDiscoveryWidget*>();
    QTRY_VERIFY(panel->GetApiController() && panel->findChild<QLabel*>("lblRefreshInfo")->isHidden());
}

// Selects the camera whose row starts with prefix (one camera per interface here) and opens it.
void openCamera(QMainWindow& window, const QString& prefix)
{
    auto* tree = window.findChild<QTreeView*>("treeView");
    for (int tl = 0; tl < tree->model()->rowCount(); ++tl)
    {
        const QModelIndex camera = tree->model()->index(0, 0, tree->model()->index(0, 0, tree->model()->index(tl, 0)));
        if (camera.data().toString().startsWith(prefix))
            tree->setCurrentIndex(camera);
    }
    QTest::mouseClick(window.findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
}

QAction* menuAction(QMainWindow& window, const QString& text)
{
    for (QAction* menu : window.menuBar()->actions())
        for (QAction* action : menu->menu()->actions())
            if (action->text() == text)
                return action;
    return nullptr;
}

} // namespace

class TestBasicMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void frame();
    void logColours_data();
    void logColours();
    void dockActions();
    void openCloseAndSelect();
    void sdkErrorsBecomeRedLines();
    void disconnectDuringFirmwareUpdate();
    void onlyTheOpenCameraCounts();
    void aboutBox();
    void mainWindowTitleNamesOpenCamera();

private:
    QStringList logLines() const;
    QDockWidget* dock(const char* name) const { return m_window->findChild<QDockWidget*>(name); }

    QTemporaryDir m_dir;
    std::unique_ptr<Shell> m_window;
};

void TestBasicMainWindow::initTestCase()
{
    QFile file(m_dir.filePath("cameras.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(kCameras);
    qputenv("GRB_SIMULATOR", file.fileName().toLocal8Bit());
    // The main window's assistant keeps its settings store under the test locations.
    QStandardPaths::setTestModeEnabled(true);
    QApplication::setApplicationVersion("1.0.0.2142e15");
    qRegisterMetaType<PXCamera*>();
}

void TestBasicMainWindow::init()
{
    m_window = std::make_unique<Shell>();
    m_window->setDefaultWindowTitle("Shell");
    m_window->show();
    waitForCameras(*m_window);
}

void TestBasicMainWindow::cleanup()
{
    while (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    m_window.reset();
}

QStringList TestBasicMainWindow::logLines() const
{
    QStringList lines;
    auto* log = m_window->findChild<QListWidget*>("listLog");
    for (int row = 0; row < log->count(); ++row)
        lines << log->item(row)->text();
    return lines;
}

void TestBasicMainWindow::frame()
{
    QStringList menus;
    for (QAction* menu : m_window->menuBar()->actions())
    {
        menus << menu->text();
        for (QAction* action : menu->menu()->actions())
            menus << action->text() + (action->isCheckable() ? (action->isChecked() ? "[x]" : "[ ]") : "");
    }
    QCOMPARE(menus, (QStringList{"&View", "Camera List[ ]", "Log View[ ]", "&Help", "About", "About Qt"}));
    QCOMPARE(dock("dockCameraList")->windowTitle(), QString("Camera List"));
    QCOMPARE(m_window->dockWidgetArea(dock("dockCameraList")), Qt::BottomDockWidgetArea);
    QCOMPARE(dock("dockLogView")->windowTitle(), QString("Log View"));
    QCOMPARE(m_window->dockWidgetArea(dock("dockLogView")), Qt::TopDockWidgetArea);
    QVERIFY(dock("dockLogView")->isHidden());
    m_window->resize(300, 200);
    QCOMPARE(m_window->size().expandedTo(QSize(600, 600)), m_window->size());

    QVERIFY(!m_window->windowIcon().isNull());
    QImageReader ico(":/Images/res/Zorvan.ico");
    QList<int> sizes;
    do
        sizes << ico.read().width();
    while (ico.jumpToNextImage());
    QCOMPARE(sizes, (QList<int>{16, 32, 48, 256}));
    QCOMPARE(QImage(":/Images/res/save.png").size(), QSize(32, 32));
}

void TestBasicMainWindow::logColours_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QBrush>("foreground");
    QTest::newRow("info") << int(Info) << QBrush();
    QTest::newRow("warning") << int(Warning) << QBrush(QColor("yellow"));
    QTest::newRow("error") << int(Error) << QBrush(QColor("red"));
    QTest::newRow("out of range") << 7 << QBrush();
}

void TestBasicMainWindow::logColours()
{
    QFETCH(int, type);
    QFETCH(QBrush, foreground);
    m_window->OnLogMessage("first", Info);
    m_window->OnLogMessage("  exactly as given  ", LogType(type));
    QCOMPARE(logLines(), (QStringList{"first", "  exactly as given  "}));
    QCOMPARE(m_window->findChild<QListWidget*>("listLog")->item(1)->foreground(), foreground);
    QCOMPARE(dock("dockLogView")->isVisible(), type == Error);
    QCOMPARE(menuAction(*m_window, "Log View")->isChecked(), type == Error);
}

void TestBasicMainWindow::dockActions()
{
    auto closeButton = [](QDockWidget* dock) { return dock->findChild<QAbstractButton*>("qt_dockwidget_closebutton"); };
    QAction* logView = menuAction(*m_window, "Log View");
    logView->trigger();
    QVERIFY(dock("dockLogView")->isVisible());
    QTest::mouseClick(closeButton(dock("dockLogView")), Qt::LeftButton);
    QVERIFY(!logView->isChecked());

    QAction* cameraList = menuAction(*m_window, "Camera List");
    cameraList->trigger();
    QTest::mouseClick(closeButton(dock("dockCameraList")), Qt::LeftButton);
    QVERIFY(dock("dockCameraList")->isHidden());
    QVERIFY(cameraList->isChecked()); // does not follow its dock
}

void TestBasicMainWindow::openCloseAndSelect()
{
    QSignalSpy closed(m_window.get(), &BasicMainWindow::CameraClosed);
    openCamera(*m_window, "qda640");
    QCOMPARE(m_window->cameras.size(), size_t(1));
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor); // the wait cursor is gone again
    QTest::mouseClick(m_window->findChild<QPushButton*>("btnCloseCamera"), Qt::LeftButton);
    QCOMPARE(closed.last(), QVariantList{"Alpha"});
    emit m_window->CameraCloseRequested(); // the assistant's close goes to the list's selection
    QCOMPARE(closed.count(), 2);

    QSignalSpy selected(m_window.get(), &BasicMainWindow::CameraSelected);
    m_window->OnCameraSelected(true, "X");
    m_window->OnCameraSelected(false, "X");
    QCOMPARE(selected.last(), (QVariantList{false, "X"}));
    QCOMPARE(logLines(), (QStringList{"Camera opened: Alpha", "Camera closed: Alpha", "Camera closed: Alpha",
                                      "Camera selected: X", "Camera unselected: X"}));
    QVERIFY(dock("dockLogView")->isHidden());
}

void TestBasicMainWindow::sdkErrorsBecomeRedLines()
{
    QSignalSpy opened(m_window.get(), &BasicMainWindow::CameraOpened);
    // Taken by another program after the list was made; its row has not greyed out yet.
    QVERIFY(grb::sim::SimWorld::Active()->SetHeldByOther("CAM_C", true));
    openCamera(*m_window, "RZ-12M");
    QCOMPARE(opened.count(), 0);
    QCOMPARE(logLines(), QStringList{"Failed to open camera SIM-U3V::CAM_C (error: Invalid access.)"});
    QCOMPARE(m_window->findChild<QListWidget*>("listLog")->item(0)->foreground(), QBrush(QColor("red")));
    QVERIFY(dock("dockLogView")->isVisible());
    // The list gives its controls back rather than offering to close what never opened.
    QCOMPARE(m_window->findChild<QStackedWidget*>("stackedWidget")->currentIndex(), 0);
    QVERIFY(m_window->findChild<QTreeView*>("treeView")->isEnabled());

    QVERIFY(grb::sim::SimWorld::Active()->FailIdentity("CAM_A", grb::DeviceRecord::Name, GrbErrorTransportLayer));
    QTest::mouseClick(m_window->findChild<QPushButton*>("btnRefresh"), Qt::LeftButton);
    QTRY_COMPARE(logLines().size(), 2);
    QCOMPARE(logLines().last(), QString("Failed to get camera name for CAM_A (error: TL error.)"));
}

void TestBasicMainWindow::disconnectDuringFirmwareUpdate()
{
    auto world = grb::sim::SimWorld::Active();
    QSignalSpy removed(m_window->findChild<CameraDiscoveryWidget*>(), &CameraDiscoveryWidget::CameraRemoved);
    QSignalSpy closed(m_window.get(), &BasicMainWindow::CameraClosed);
    openCamera(*m_window, "qda640");
    emit m_window->CameraFirmwareUpdateStarted(true);
    for (int reboot = 1; reboot <= 4; ++reboot)
    {
        QVERIFY(world->Unplug("CAM_A"));
        QTRY_COMPARE(removed.count(), reboot);
        QCOMPARE(closed.count(), reboot == 4 ? 1 : 0);
        QVERIFY(world->Plug("CAM_A"));
    }
    QCOMPARE(logLines(), (QStringList{"Camera opened: Alpha", "Camera disconnected: Alpha (SIM-GEV::CAM_A)"}));

    // Without an update every report counts, open camera or not.
    emit m_window->CameraFirmwareUpdateStarted(false);
    QVERIFY(world->Unplug("CAM_C"));
    QTRY_COMPARE(closed.count(), 2);
    QCOMPARE(logLines().last(), QString("Camera disconnected: Gamma (SIM-U3V::CAM_C)"));
}

// With several cameras, another one leaving (unplugged, or reset by another program)
// leaves the open camera open, and does not count toward the reports a firmware update
// puts down to the reboot.
void TestBasicMainWindow::onlyTheOpenCameraCounts()
{
    auto world = grb::sim::SimWorld::Active();
    QSignalSpy removed(m_window->findChild<CameraDiscoveryWidget*>(), &CameraDiscoveryWidget::CameraRemoved);
    QSignalSpy closed(m_window.get(), &BasicMainWindow::CameraClosed);
    openCamera(*m_window, "qda640");
    QVERIFY(world->Unplug("CAM_C"));
    QTRY_COMPARE(removed.count(), 1);
    QCOMPARE(closed.count(), 0);

    emit m_window->CameraFirmwareUpdateStarted(true);
    QVERIFY(world->Plug("CAM_C"));
    QVERIFY(world->Unplug("CAM_C"));
    QTRY_COMPARE(removed.count(), 2);
    for (int reboot = 1; reboot <= 4; ++reboot)
    {
        QVERIFY(world->Unplug("CAM_A"));
        QTRY_COMPARE(removed.count(), 2 + reboot);
        QCOMPARE(closed.count(), reboot == 4 ? 1 : 0);
        QVERIFY(world->Plug("CAM_A"));
    }
    QCOMPARE(logLines(), (QStringList{"Camera opened: Alpha", "Camera disconnected: Alpha (SIM-GEV::CAM_A)"}));
}

void TestBasicMainWindow::aboutBox()
{
    QString title, text;
    QTimer::singleShot(0, this, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
        {
            title = box->windowTitle();
            text = box->text();
            box->accept();
        }
    });
    menuAction(*m_window, "About")->trigger();
    QCOMPARE(title, QString("About"));
    const QStringList lines = text.split('\n');
    QCOMPARE(lines.mid(0, 3), (QStringList{"Shell is a Qt application using the GrbCPP API.",
                                           "Version: 1.0.0.2142e15", ""}));
    QVERIFY(lines.size() == 4 && lines[3].contains("Zorvan Technologies"));
}

void TestBasicMainWindow::mainWindowTitleNamesOpenCamera()
{
    m_window.reset();
    MainWindow window;
    window.setDefaultWindowTitle("Assistant");
    window.show();
    waitForCameras(window);
    openCamera(window, "RZ-12M");
    QCOMPARE(window.windowTitle(), QString("Assistant - Gamma"));
    QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_C"));
    QTRY_COMPARE(window.windowTitle(), QString("Assistant"));
}

QTEST_MAIN(TestBasicMainWindow)
#include "tst_basicmainwindow.moc"
