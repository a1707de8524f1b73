// The main window with the file access assistant on simulated cameras: its two looks,
// a refused camera, cameras that leave (also in the middle of a transfer), the firmware
// update's reset, and one round trip end to end on the demo cameras.
#include "DialogScript.h"
#include "SelectCamera.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "discovery/CameraDiscoveryWidget.h"
#include "device/PXCameraManager.h"
#include "sdk/ApiController.h"

#include <QComboBox>
#include <QDockWidget>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeView>
#include <QTreeWidget>
#include <QtTest>

#include <functional>
#include <memory>
#include <sim/SimWorld.h>

namespace {

const char* const kCameras = R"(camera id=CAM_A model=qda640MXGE name="Alpha" transport=gige interface=eth0 reset-delay=100
file selector=Userfile name=big.bin size=262144 seed=5
file selector=Userfile name="Kalibrierung_Größe_µm.txt" text="Größe: 12 µm\n"
camera id=BARE model=qda640CXGE name="Bare" transport=gige interface=eth1 without=FileSelector
)";

QByteArray readLocal(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<absent>");
}

void writeLocal(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

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

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void looksAndDisconnect();
    void refusedCamera();
    void unplugDuringTransfer_data();
    void unplugDuringTransfer();
    void firmwareUpdateResetsTheCamera();
    void closeDuringTransfer();
    void nonAsciiNamesRoundTrip();
    void badDescriptionIsLogged();
    void endToEndOnDemoCameras();

private:
    template <typename T> T* panel(const char* name) const { return m_panel->findChild<T*>(name); }
    QDockWidget* dock(const char* name) const { return m_window->findChild<QDockWidget*>(name); }
    void open(const QString& prefix)
    {
        QTRY_VERIFY(SelectCamera(*m_window, prefix));
        QTest::mouseClick(m_window->findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
    }
    void click(const char* button) { QTest::mouseClick(panel<QPushButton>(button), Qt::LeftButton); }
    void clickRow(const QString& name);
    void waitIdle() { QTRY_VERIFY(panel<QComboBox>("comboBox")->isEnabled()); }
    QStringList logLines() const;
    bool cameraListLook() const
    {
        return m_window->windowTitle() == "Assistant" && dock("dockCameraList")->isVisible() &&
               dock("dockFileAccess")->isHidden() && !m_panel->isEnabled();
    }

    QTemporaryDir m_dir;
    QByteArray m_description;
    QByteArray m_simulator; // what the next window's SDK runs on
    std::unique_ptr<MainWindow> m_window;
    PXCFileAccess* m_panel = nullptr;
};

void TestMainWindow::initTestCase()
{
    QFile file(m_dir.filePath("cameras.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(kCameras);
    m_simulator = m_description = QFile::encodeName(file.fileName());
    QStandardPaths::setTestModeEnabled(true);
}

void TestMainWindow::init()
{
    qputenv("GRB_SIMULATOR", m_simulator);
    m_window = std::make_unique<MainWindow>();
    m_window->setDefaultWindowTitle("Assistant");
    m_window->show();
    m_panel = m_window->findChild<PXCFileAccess*>();
    auto* cameras = m_window->findChild<CameraDiscoveryWidget*>();
    QTRY_VERIFY(cameras->GetApiController() && cameras->findChild<QLabel*>("lblRefreshInfo")->isHidden());
}

void TestMainWindow::cleanup()
{
    while (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    m_window.reset();
    m_simulator = m_description;
}

QStringList TestMainWindow::logLines() const
{
    QStringList lines;
    auto* log = m_window->findChild<QListWidget*>("listLog");
    for (int row = 0; row < log->count(); ++row)
        lines << QString(log->item(row)->foreground() == QBrush(QColor("red")) ? "E " : "I ") + log->item(row)->text();
    return lines;
}

void TestMainWindow::clickRow(const QString& name)
{
    auto* tree = panel<QTreeWidget>("treeWidget");
    QTreeWidgetItem* item = tree->findItems(name, Qt::MatchExactly).value(0);
    QVERIFY(item);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
    QVERIFY(item->isSelected());
}

void TestMainWindow::looksAndDisconnect()
{
    QDockWidget* assistant = dock("dockFileAccess");
    QCOMPARE(m_window->menuBar()->actions().value(0)->menu()->actions().value(2), assistant->toggleViewAction());
    QCOMPARE(assistant->toggleViewAction()->text(), QString("File Access Assistant"));
    QVERIFY(assistant->titleBarWidget() && assistant->titleBarWidget()->metaObject() == &QWidget::staticMetaObject);
    QCOMPARE(assistant->features(), QDockWidget::NoDockWidgetFeatures);
    QCOMPARE(assistant->allowedAreas(), Qt::BottomDockWidgetArea);
    QVERIFY(cameraListLook());

    open("qda640M");
    QCOMPARE(m_window->windowTitle(), QString("Assistant - Alpha"));
    QVERIFY(dock("dockCameraList")->isHidden() && assistant->isVisible() && m_panel->isEnabled());
    click("btnCloseCamera");
    QVERIFY(cameraListLook());
    open("qda640M");
    QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_A"));
    QTRY_VERIFY(cameraListLook());
    QCOMPARE(logLines(), (QStringList{"I Camera opened: Alpha", "I Camera closed: Alpha", "I Camera opened: Alpha",
                                      "I Camera disconnected: Alpha (SIM-GEV::CAM_A)"}));
    m_window->onInitAssistant(nullptr);
    QVERIFY(cameraListLook());
}

void TestMainWindow::refusedCamera()
{
    open("qda640C");
    QCOMPARE(logLines(), (QStringList{"I Camera opened: Bare",
                                      "E Camera not supported, file access control is unavailable.",
                                      "I Camera closed: Bare"}));
    QVERIFY(cameraListLook());
}

void TestMainWindow::unplugDuringTransfer_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QStringList>("log"); // after "Camera opened: Alpha", in any order
    const QString gone = "I Camera disconnected: Alpha (SIM-GEV::CAM_A)";
    QTest::newRow("download over a local file") << "download" << QStringList{gone};
    QTest::newRow("upload") << "upload" << QStringList{"E Upload Local Map 'big.bin' failed: 0 bytes written.", gone};
    // A camera is expected to drop off while it takes a firmware image: the window keeps it.
    QTest::newRow("firmware") << "firmware" << QStringList{"E Upload Local Map 'big.ge3' failed: 0 bytes written."};
}

void TestMainWindow::unplugDuringTransfer()
{
    QFETCH(QString, action);
    QFETCH(QStringList, log);
    const QString local = m_dir.filePath(action + "/big." + (action == "firmware" ? "ge3" : "bin"));
    const QByteArray old = "PELLIX-FIRMWARE 9.9\n" + QByteArray(200000, 'o');
    writeLocal(local, old);
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
    QCOMPARE(readLocal(local), old);
    QCOMPARE(QDir(QFileInfo(local).path()).entryList(QDir::Files | QDir::Hidden), QStringList{QFileInfo(local).fileName()});
}

void TestMainWindow::firmwareUpdateResetsTheCamera()
{
    writeLocal(m_dir.filePath("fw/next.ge3"), "PELLIX-FIRMWARE Firmware 2.0\n");
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
void TestMainWindow::closeDuringTransfer()
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

// A name beyond ASCII is listed as it is, downloaded under it, and one uploaded arrives so.
void TestMainWindow::nonAsciiNamesRoundTrip()
{
    const QString name = QStringLiteral("Kalibrierung_Größe_µm.txt");
    const QString target = m_dir.filePath("unicode");
    QDir().mkpath(target);
    open("qda640M");
    DialogScript script;
    script.choose(target);
    clickRow(name);
    click("btnSave");
    waitIdle();
    QCOMPARE(readLocal(target + "/" + name), QByteArray("Größe: 12 µm\n"));

    const QString upload = target + QStringLiteral("/Übersicht_Maße.txt");
    writeLocal(upload, "Maße\n");
    script.choose(upload);
    click("btnUpload");
    waitIdle();
    QCOMPARE(deviceFile("CAM_A", "Übersicht_Maße.txt"), QByteArray("Maße\n"));
    QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("Übersicht_Maße.txt", Qt::MatchExactly).isEmpty());
    QVERIFY(script.finished());
}

// A description the simulator cannot use leaves the list empty, and says why in the log.
void TestMainWindow::badDescriptionIsLogged()
{
    m_window.reset();
    const QString broken = m_dir.filePath("broken.txt");
    writeLocal(broken, "camera id=A model=qda640MXGE\nfile selector=Userfile name=x text=a\nfile selector=Userfile "
                       "name=x text=b\n");
    qputenv("GRB_SIMULATOR", QFile::encodeName(broken));
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    QTRY_VERIFY(m_window->findChild<CameraDiscoveryWidget*>()->GetApiController());
    QTRY_VERIFY(!logLines().isEmpty());
    QVERIFY2(logLines().first().startsWith("E Camera SDK start-up: ") &&
                 logLines().first().contains("line 3: file x is described twice"),
             qPrintable(logLines().first()));
    QVERIFY(dock("dockLogView")->isVisible());
}

void TestMainWindow::endToEndOnDemoCameras()
{
    m_window.reset();
    m_simulator = "demo";
    init();
    const char* camera = "DEV_0F3100A1";
    const QString target = m_dir.filePath("e2e");
    QDir().mkpath(target);
    open("qda640");
    QCOMPARE(m_window->windowTitle(), QString("Assistant - Inspection left"));

    DialogScript script;
    script.choose(target);
    clickRow("calibration.xml");
    click("btnSave");
    waitIdle();
    const QByteArray downloaded = readLocal(target + "/calibration.xml");
    QCOMPARE(downloaded, deviceFile(camera, "calibration.xml"));

    QVERIFY(QFile::copy(target + "/calibration.xml", target + "/calibration-copy.xml"));
    script.choose(target + "/calibration-copy.xml");
    click("btnUpload");
    waitIdle();
    QCOMPARE(deviceFile(camera, "calibration-copy.xml"), downloaded);

    clickRow("calibration-copy.xml");
    script.press(QMessageBox::Yes);
    click("btnDelete");
    QCOMPARE(deviceFile(camera, "calibration-copy.xml"), QByteArray("<absent>"));
    QCOMPARE(deviceFile(camera, "calibration.xml"), downloaded);
    QCOMPARE(readLocal(target + "/calibration.xml"), downloaded);
    QVERIFY(panel<QTreeWidget>("treeWidget")->findItems("calibration-copy.xml", Qt::MatchExactly).isEmpty());
    QVERIFY(script.finished());
    QCOMPARE(logLines(), (QStringList{"I Camera opened: Inspection left",
                                      QString("I Upload Local Map 'calibration-copy.xml': %1 bytes written.")
                                          .arg(downloaded.size())}));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
