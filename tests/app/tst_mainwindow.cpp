// The main window on simulated cameras: the shell's frame, docks, log and camera flows,
// the assistant's two looks, a refused camera, cameras that leave (also in the middle
// of a transfer or a firmware update), a name beyond ASCII, and a window that keeps its
// size and its newest log line in view.
#include "DialogScript.h"
#include "LocalFiles.h"
#include "SelectCamera.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "device/PXCameraManager.h"
#include "discovery/CameraDiscoveryWidget.h"
#include "sdk/ApiController.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDockWidget>
#include <QImageReader>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeView>
#include <QTreeWidget>
#include <QtTest>

#include <memory>
#include <sim/SimWorld.h>

namespace {

const char* const kCameras = R"(camera id=CAM_A model=qda640MXGE serial=1001 name="Alpha" transport=gige interface=eth0 reset-delay=100
file selector=Userfile name=big.bin size=262144 seed=5
camera id=CAM_C model=RZ-12M serial=1003 name="Gamma" transport=usb3 interface=usb0
camera id=BARE model=qda640CXGE name="Bare" transport=gige interface=eth1 without=FileSelector
)";

// The shell's log slots are the host's to call.
class Window : public MainWindow
{
public:
    using BasicMainWindow::OnCameraSelected;
    using BasicMainWindow::OnLogMessage;
};

QByteArray deviceFile(const char* camera, const char* name)
{
    std::vector<uint8_t> data;
    if (!grb::sim::SimWorld::Active()->ReadFile(camera, "Userfile", name, data))
        return "<absent>";
    return QByteArray(reinterpret_cast<const char*>(data.data()), int(data.size()));
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT


private:
    template <typename T> T* panel(const char* name) const { return m_panel->findChild<T*>(name); }
    QDockWidget* dock(const char* name) const { return m_window->findChild<QDockWidget*>(name); }
    QListWidget* log() const { return m_window->findChild<QListWidget*>("listLog"); }
    void open(const QString& prefix)
    {
        QTRY_VERIFY(SelectCamera(*m_window, prefix));
        QTest::mouseClick(m_window->findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
    }
    void click(const char* button) { QTest::mouseClick(panel<QPushButton>(button), Qt::LeftButton); }
    void waitIdle() { QTRY_VERIFY(panel<QComboBox>("comboBox")->isEnabled()); }
    bool cameraListLook() const
    {
        return m_window->windowTitle() == "Assistant" && dock("dockCameraList")->isVisible() &&
               dock("dockFileAccess")->isHidden() && !m_panel->isEnabled();
    }

    QTemporaryDir m_dir;
    QByteArray m_description;
    std::unique_ptr<Window> m_window;
    PXCFileAccess* m_panel = nullptr;

    QAction* menuAction(const QString& text) const
    {
        for (QAction* menu : m_window->menuBar()->actions())
            for (QAction* action : menu->menu()->actions())
                if (action->text() == text)
                    return action;
        return nullptr;
    }

    void clickRow(const QString& name)
    {
        auto* tree = panel<QTreeWidget>("treeWidget");
        QTreeWidgetItem* item = tree->findItems(name, Qt::MatchExactly).value(0);
        QVERIFY(item);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
        QVERIFY(item->isSelected());
    }

    QStringList logLines() const
    {
        QStringList lines;
        for (int row = 0; row < log()->count(); ++row)
            lines << QString(log()->item(row)->foreground() == QBrush(QColor("red")) ? "E " : "I ") + log()->item(row)->text();
        return lines;
    }

private slots:
    void initTestCase()
    {
        m_description = QFile::encodeName(m_dir.filePath("cameras.txt"));
        QVERIFY(WriteLocal(m_description, kCameras));
        QStandardPaths::setTestModeEnabled(true);
        QApplication::setApplicationVersion("1.0.0.2142e15");
        qRegisterMetaType<PXCamera*>();
        // The desktop's usual size rather than the offscreen platform's larger one (see cleanup).
        QApplication::setFont(QFont("DejaVu Sans", 9));
    }

    void init()
    {
        qputenv("GRB_SIMULATOR", m_description);
        m_window = std::make_unique<Window>();
        m_window->setDefaultWindowTitle("Assistant");
        m_window->show();
        m_panel = m_window->findChild<PXCFileAccess*>();
        auto* cameras = m_window->findChild<CameraDiscoveryWidget*>();
        QTRY_VERIFY(cameras->GetApiController() && cameras->findChild<QLabel*>("lblRefreshInfo")->isHidden());
    }

    void cleanup()
    {
        while (QWidget* modal = QApplication::activeModalWidget())
            modal->close();
        m_window.reset();
        QApplication::setFont(QFont("DejaVu Sans", 9));
    }

    void frame()
    {
        QStringList menus;
        for (QAction* menu : m_window->menuBar()->actions())
        {
            menus << menu->text();
            for (QAction* action : menu->menu()->actions())
                menus << action->text() + (action->isCheckable() ? (action->isChecked() ? "[x]" : "[ ]") : "") +
                             (action->isEnabled() ? "" : " (disabled)");
        }
        QCOMPARE(menus, (QStringList{"&View", "Camera List[ ]", "Log View[ ]", "File Access Assistant[ ]", "&Help",
                                     "About", "About Qt"}));
        QCOMPARE(menuAction("File Access Assistant"), dock("dockFileAccess")->toggleViewAction());
        for (const auto& [name, title, area] : {std::tuple{"dockCameraList", "Camera List", Qt::BottomDockWidgetArea},
                                                {"dockLogView", "Log View", Qt::TopDockWidgetArea},
                                                {"dockFileAccess", "File Access Assistant", Qt::BottomDockWidgetArea}})
        {
            QCOMPARE(dock(name)->windowTitle(), QString(title));
            QCOMPARE(m_window->dockWidgetArea(dock(name)), area);
        }
        QDockWidget* assistant = dock("dockFileAccess");
        QVERIFY(assistant->titleBarWidget() && assistant->titleBarWidget()->metaObject() == &QWidget::staticMetaObject);
        QCOMPARE(assistant->features(), QDockWidget::NoDockWidgetFeatures);
        QCOMPARE(assistant->allowedAreas(), Qt::BottomDockWidgetArea);
        QVERIFY(cameraListLook() && dock("dockLogView")->isHidden());
        m_window->resize(300, 200);
        QCOMPARE(m_window->size(), QSize(600, 600));

        QVERIFY(!m_window->windowIcon().isNull());
        QImageReader ico(":/Images/res/Zorvan.ico");
        QList<int> sizes;
        do
            sizes << ico.read().width();
        while (ico.jumpToNextImage());
        QCOMPARE(sizes, (QList<int>{16, 32, 48, 256}));
        QCOMPARE(QImage(":/Images/res/save.png").size(), QSize(32, 32));
    }

    void logColours_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QBrush>("foreground");
        QTest::newRow("info") << int(Info) << QBrush();
        QTest::newRow("warning") << int(Warning) << QBrush(QColor("yellow"));
        QTest::newRow("error") << int(Error) << QBrush(QColor("red"));
        QTest::newRow("out of range") << 7 << QBrush();
    }

    void logColours()
    {
        QFETCH(int, type);
        QFETCH(QBrush, foreground);
        m_window->OnLogMessage("first", Info);
        m_window->OnLogMessage("  exactly as given  ", LogType(type));
        QCOMPARE(log()->item(1)->text(), QString("  exactly as given  "));
        QCOMPARE(log()->item(1)->foreground(), foreground);
        QCOMPARE(dock("dockLogView")->isVisible(), type == Error);
        QCOMPARE(menuAction("Log View")->isChecked(), type == Error);
    }

    void dockActions()
    {
        auto closeButton = [](QDockWidget* dock) { return dock->findChild<QAbstractButton*>("qt_dockwidget_closebutton"); };
        QAction* logView = menuAction("Log View");
        logView->trigger();
        QVERIFY(dock("dockLogView")->isVisible());
        QTest::mouseClick(closeButton(dock("dockLogView")), Qt::LeftButton);
        QVERIFY(!logView->isChecked());

        QAction* cameraList = menuAction("Camera List");
        cameraList->trigger();
        QTest::mouseClick(closeButton(dock("dockCameraList")), Qt::LeftButton);
        QVERIFY(dock("dockCameraList")->isHidden());
        QVERIFY(cameraList->isChecked()); // does not follow its dock

        // The assistant has no close button; its menu entry shows and hides it all the same.
        QAction* assistant = menuAction("File Access Assistant");
        QVERIFY(assistant->isEnabled());
        assistant->trigger();
        QVERIFY(dock("dockFileAccess")->isVisible() && assistant->isChecked());
        assistant->trigger();
        QVERIFY(dock("dockFileAccess")->isHidden() && !assistant->isChecked());
    }

    void looksOpenCloseAndDisconnect()
    {
        QSignalSpy closed(m_window.get(), &BasicMainWindow::CameraClosed);
        open("qda640M");
        QCOMPARE(m_window->windowTitle(), QString("Assistant - Alpha"));
        QVERIFY(dock("dockCameraList")->isHidden() && dock("dockFileAccess")->isVisible() && m_panel->isEnabled());
        QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor); // the wait cursor is gone again
        click("btnCloseCamera");
        QVERIFY(cameraListLook());
        QCOMPARE(closed.last(), QVariantList{"Alpha"});
        emit m_window->CameraCloseRequested(); // the assistant's close goes to the list's selection
        QCOMPARE(closed.count(), 2);

        open("qda640M");
        QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_A"));
        QTRY_VERIFY(cameraListLook());
        m_window->onInitAssistant(nullptr);
        QVERIFY(cameraListLook());

        QSignalSpy selected(m_window.get(), &BasicMainWindow::CameraSelected);
        m_window->OnCameraSelected(true, "X");
        m_window->OnCameraSelected(false, "X");
        QCOMPARE(selected.last(), (QVariantList{false, "X"}));
        QCOMPARE(logLines(), (QStringList{"I Camera opened: Alpha", "I Camera closed: Alpha", "I Camera closed: Alpha",
                                          "I Camera opened: Alpha", "I Camera disconnected: Alpha (SIM-GEV::CAM_A)",
                                          "I Camera selected: X", "I Camera unselected: X"}));
        QVERIFY(dock("dockLogView")->isHidden());
    }

    void refusedCamera()
    {
        open("qda640C");
        QCOMPARE(logLines(), (QStringList{"I Camera opened: Bare",
                                          "E Camera not supported, file access control is unavailable.",
                                          "I Camera closed: Bare"}));
        QVERIFY(cameraListLook());
    }

    void sdkErrorsBecomeRedLines()
    {
        QSignalSpy opened(m_window.get(), &BasicMainWindow::CameraOpened);
        // Taken by another program after the list was made; its row has not greyed out yet.
        QVERIFY(grb::sim::SimWorld::Active()->SetHeldByOther("CAM_C", true));
        open("RZ-12M");
        QCOMPARE(opened.count(), 0);
        QCOMPARE(logLines(), QStringList{"E Failed to open camera SIM-U3V::CAM_C (error: Invalid access.)"});
        QVERIFY(dock("dockLogView")->isVisible());
        // The list gives its controls back rather than offering to close what never opened.
        QCOMPARE(m_window->findChild<QStackedWidget*>("stackedWidget")->currentIndex(), 0);
        QVERIFY(m_window->findChild<QTreeView*>("treeView")->isEnabled());
    }

    // During a firmware update the open camera's first three departures are put down to its
    // reboot; another camera leaving neither closes it nor counts.
    void disconnectsDuringFirmwareUpdate()
    {
        auto world = grb::sim::SimWorld::Active();
        QSignalSpy removed(m_window->findChild<CameraDiscoveryWidget*>(), &CameraDiscoveryWidget::CameraRemoved);
        QSignalSpy closed(m_window.get(), &BasicMainWindow::CameraClosed);
        open("qda640M");
        emit m_window->CameraFirmwareUpdateStarted(true);
        QVERIFY(world->Unplug("CAM_C"));
        QTRY_COMPARE(removed.count(), 1);
        for (int reboot = 1; reboot <= 4; ++reboot)
        {
            QVERIFY(world->Unplug("CAM_A"));
            QTRY_COMPARE(removed.count(), 1 + reboot);
            QCOMPARE(closed.count(), reboot == 4 ? 1 : 0);
            QVERIFY(world->Plug("CAM_A"));
        }
        QCOMPARE(logLines(), (QStringList{"I Camera opened: Alpha", "I Camera disconnected: Alpha (SIM-GEV::CAM_A)"}));
        // Without an update every report of the open camera counts at once.
        emit m_window->CameraFirmwareUpdateStarted(false);
        open("qda640M");
        QVERIFY(world->Unplug("CAM_A"));
        QTRY_COMPARE(closed.count(), 2);
    }

    void aboutBox()
    {
        DialogScript script;
        script.press(QMessageBox::Ok);
        menuAction("About")->trigger();
        QVERIFY(script.finished());
        const QStringList lines = script.seen.value(0).split('|');
        QCOMPARE(lines.value(0), QString("About"));
        const QStringList text = lines.value(1).split('\n');
        QCOMPARE(text.mid(0, 3), (QStringList{"Assistant is a Qt application using the GrbCPP API.",
                                              "Version: 1.0.0.2142e15", ""}));
        QVERIFY(text.size() == 4 && text[3].contains("Zorvan Technologies"));
    }

    // The window keeps the size it was given while cameras open and close, the log view
    // comes and goes and a transfer shows its progress bar; the assistant stays inside the
    // window (at the usual font size its progress bar shows without scrolling, at a larger
    // one the panel scrolls), and the log keeps its newest line in view through all of it.
    void sizeAndNewestLogLineStay_data()
    {
        QTest::addColumn<int>("points");
        QTest::newRow("9 pt") << 9;
        QTest::newRow("12 pt") << 12;
    }

    void sizeAndNewestLogLineStay()
    {
        QFETCH(int, points);
        m_window.reset();
        QApplication::setFont(QFont("DejaVu Sans", points));
        init();
        const QSize size = m_window->size();
        QCOMPARE(size, QSize(600, 600));
        auto inside = [&](QWidget* widget) {
            return QRect(QPoint(), size).contains(QRect(widget->mapTo(m_window.get(), QPoint()), widget->size()));
        };
        auto newestShown = [&] {
            return dock("dockLogView")->isHidden() || log()->count() == 0 ||
                   log()->viewport()->rect().contains(log()->visualItemRect(log()->item(log()->count() - 1)));
        };
        // Once the layout has settled.
        auto check = [&](const char* step) {
            QTRY_VERIFY2(!dock("dockFileAccess")->isVisible() || inside(dock("dockFileAccess")), step);
            QTRY_VERIFY2(newestShown(), step);
            QVERIFY2(m_window->size() == size && m_window->sizeHint() == size, step);
        };
        menuAction("Log View")->trigger();
        for (int round = 0; round < 4; ++round)
        {
            open("qda640M");
            check("camera opened");
            click("btnCloseCamera");
            check("camera closed");
        }
        open("qda640M");
        menuAction("Log View")->trigger();
        check("log view off");
        menuAction("Log View")->trigger();
        check("log view on");

        QVERIFY(grb::sim::SimWorld::Active()->SetCommandDelay("CAM_A", "FileOperationExecute", 150));
        DialogScript script;
        script.choose(m_dir.path()).press(QMessageBox::Yes);
        clickRow("big.bin");
        click("btnSave");
        auto* bar = panel<QProgressBar>("fileAccessProgressBar");
        QTRY_VERIFY(bar->isVisible());
        check("transfer");
        QTRY_COMPARE(inside(bar), points == 9);
        waitIdle();
        check("transfer done");
    }

    void unplugDuringTransfer_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QStringList>("log"); // after "Camera opened: Alpha", in any order
        const QString gone = "I Camera disconnected: Alpha (SIM-GEV::CAM_A)";
        QTest::newRow("download over a local file") << "download" << QStringList{gone};
        QTest::newRow("upload") << "upload" << QStringList{"E Upload Local Map 'big.bin' failed: 0 bytes written.", gone};
        // A camera is expected to drop off while it takes a firmware image: the window keeps it.
        QTest::newRow("firmware") << "firmware" << QStringList{"E Upload Local Map 'big.ge3' failed: 0 bytes written."};
    }

    void unplugDuringTransfer()
    {
        QFETCH(QString, action);
        QFETCH(QStringList, log);
        const QString local = m_dir.filePath(action + "/big." + (action == "firmware" ? "ge3" : "bin"));
        const QByteArray old = "PELLIX-FIRMWARE 9.9\n" + QByteArray(200000, 'o');
        QVERIFY(QDir().mkpath(QFileInfo(local).path()) && WriteLocal(local, old));
        open("qda640M");
        QVERIFY(grb::sim::SimWorld::Active()->UnplugAfterChunks("CAM_A", 1));
        DialogScript script;
        if (action == "download")
        {
            script.choose(QFileInfo(local).path()).press(QMessageBox::Yes);
            clickRow("big.bin");
            click("btnSave");
        }
        else if (action == "upload")
        {
            script.choose(local);
            click("btnUpload");
        }
        else
        {
            panel<QComboBox>("comboBox")->setCurrentText("Firmware");
            script.choose(local).press(QMessageBox::Ok);
            click("btnFirwUpgrade");
        }
        QTRY_VERIFY(script.finished());
        QTRY_COMPARE(logLines().size(), 1 + log.size());
        QStringList lines = logLines().mid(1);
        lines.sort();
        log.sort();
        QCOMPARE(lines, log);
        QCOMPARE(cameraListLook(), action != "firmware");
        if (action == "firmware")
            QCOMPARE(script.seen.last(), QString("Firmware Update|<p align='center'>Errors occured during firmware update<br>|Ok"));
        QCOMPARE(ReadLocal(local), old);
        QCOMPARE(QDir(QFileInfo(local).path()).entryList(QDir::Files | QDir::Hidden), QStringList{QFileInfo(local).fileName()});
    }

    void firmwareUpdateResetsTheCamera()
    {
        QVERIFY(QDir().mkpath(m_dir.filePath("fw")) && WriteLocal(m_dir.filePath("fw/next.ge3"), "PELLIX-FIRMWARE Firmware 2.0\n"));
        open("qda640M");
        QSignalSpy back(m_window->findChild<CameraDiscoveryWidget*>()->GetApiController().get(), &ApiController::CameraAdded);
        panel<QComboBox>("comboBox")->setCurrentText("Firmware");
        DialogScript script;
        script.choose(m_dir.filePath("fw/next.ge3")).press(QMessageBox::Ok);
        click("btnFirwUpgrade");
        QTRY_VERIFY(script.finished());
        QVERIFY(script.seen.last().contains("Firmware Update successful!"));
        QVERIFY(cameraListLook());
        QTRY_COMPARE(back.count(), 1);
        open("qda640M");
        QCOMPARE(panel<QLabel>("lblCameraName")->text(), QString("Alpha\nFirmware: Firmware 2.0\n"));
        QCOMPARE(logLines(), (QStringList{"I Camera opened: Alpha", "I Upload Local Map 'next.ge3': 29 bytes written.",
                                          "I Camera disconnected: Alpha (SIM-GEV::CAM_A)", "I Camera opened: Alpha"}));
    }

    // "Close Camera" while a download runs ends the download through its abort path before
    // the camera is closed: the device file is closed, so the next client finds none left open.
    void closeDuringTransfer()
    {
        QVERIFY(grb::sim::SimWorld::Active()->SetCommandDelay("CAM_A", "FileOperationExecute", 60));
        open("qda640M");
        const QString target = m_dir.filePath("closing");
        QDir().mkpath(target);
        DialogScript script;
        script.choose(target);
        clickRow("big.bin");
        click("btnSave");
        QTRY_VERIFY(panel<QProgressBar>("fileAccessProgressBar")->isVisible());
        click("btnCloseCamera");
        QVERIFY(cameraListLook());
        QCOMPARE(logLines(), (QStringList{"I Camera opened: Alpha", "I Camera closed: Alpha"}));

        PXCameraManager manager(m_window->findChild<CameraDiscoveryWidget*>()->GetApiController());
        std::unique_ptr<PXCamera> camera(manager.Open("SIM-GEV::CAM_A"));
        QVERIFY(camera);
        long bytes = 0;
        QVERIFY(camera->DownloadDeviceFile(qPrintable(target + "/again.bin"), "big.bin", "Userfile", &bytes));
        QVERIFY(!camera->LastTransferReport().openRecovered);
        camera.reset();
        QVERIFY(manager.Close("SIM-GEV::CAM_A"));
    }

    // A name beyond ASCII goes to the camera as it is, and is listed so.
    void nonAsciiNameUploaded()
    {
        open("qda640M");
        const QString upload = m_dir.filePath(QStringLiteral("Übersicht_Maße.txt"));
        QVERIFY(WriteLocal(upload, "Maße\n"));
        DialogScript script;
        script.choose(upload);
        click("btnUpload");
        waitIdle();
        QCOMPARE(deviceFile("CAM_A", "Übersicht_Maße.txt"), QByteArray("Maße\n"));
        QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("Übersicht_Maße.txt", Qt::MatchExactly).isEmpty());
    }

    // A description the simulator cannot use leaves the list empty, and says why in the log.
    void badDescriptionIsLogged()
    {
        m_window.reset();
        const QString broken = m_dir.filePath("broken.txt");
        QVERIFY(WriteLocal(broken, "camera id=A model=qda640MXGE\nfile selector=Userfile name=x text=a\nfile "
                                   "selector=Userfile name=x text=b\n"));
        qputenv("GRB_SIMULATOR", QFile::encodeName(broken));
        m_window = std::make_unique<Window>();
        m_window->show();
        QTRY_VERIFY(m_window->findChild<CameraDiscoveryWidget*>()->GetApiController());
        QTRY_VERIFY(!logLines().isEmpty());
        QVERIFY2(logLines().first().startsWith("E Camera SDK start-up: ") &&
                     logLines().first().contains("line 3: file x is described twice"),
                 qPrintable(logLines().first()));
        QVERIFY(dock("dockLogView")->isVisible());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
