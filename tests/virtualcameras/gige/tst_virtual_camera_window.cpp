// The window end to end over a real transport, GigE Vision or USB3 Vision (the first
// argument): the main window without the simulator switch, inside a loopback-only
// network namespace, opens the virtual camera, downloads a file, uploads it back under a
// new name, reads that back and deletes it. The USB3 Vision cameras sit on the virtual
// USB bus, through the libusb stand-in CTest preloads for that run.
#include "SelectCamera.h"
#include "DialogScript.h"
#include "CameraProcess.h"
#include "NetworkNamespace.h"
#include "VirtualUsb.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "discovery/CameraDiscoveryWidget.h"

#include <QApplication>
#include <QDockWidget>
#include <QSignalSpy>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include <memory>
#include <sim/SimDescription.h>

namespace {

constexpr int kPatienceMs = 20000;

const char* const kDescription =
    "camera id=VW model=qda640MXGE serial=VW1 name=\"Virtual W\" transport=TRANSPORT capacity=16777216\n"
    "file selector=Userfile name=calibration.bin size=150000 seed=9\n"
    "camera id=VX model=qda640MXGE serial=VX1 name=\"Virtual X\" transport=TRANSPORT\n";

bool g_usb = false;

QByteArray readLocal(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<absent>");
}

} // namespace

class TestVirtualCameraWindow : public QObject
{
    Q_OBJECT

public:
    explicit TestVirtualCameraWindow(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void roundTrip();
    void anotherCameraLeaves();

private:
    template <typename T> T* panel(const char* name) const { return m_panel->findChild<T*>(name); }
    void click(const char* button) { QTest::mouseClick(panel<QPushButton>(button), Qt::LeftButton); }
    void waitIdle() { QTRY_VERIFY_WITH_TIMEOUT(panel<QComboBox>("comboBox")->isEnabled(), kPatienceMs); }
    bool selectRow(const QString& name);

    QString m_skipReason;
    QTemporaryDir m_dir;
    std::unique_ptr<CameraProcess> m_camera;
    std::unique_ptr<CameraProcess> m_other;
    std::unique_ptr<MainWindow> m_window;
    PXCFileAccess* m_panel = nullptr;
};

bool TestVirtualCameraWindow::selectRow(const QString& name)
{
    auto* tree = panel<QTreeWidget>("treeWidget");
    QTreeWidgetItem* item = tree->findItems(name, Qt::MatchExactly).value(0);
    if (!item)
        return false;
    tree->clearSelection();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
    return item->isSelected();
}

void TestVirtualCameraWindow::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    if (g_usb)
        QVERIFY2(VirtualUsbLoaded(), "the libusb stand-in is not preloaded: this run would reach the real USB bus");
    qunsetenv("GRB_SIMULATOR");
    QStandardPaths::setTestModeEnabled(true);
    const QString bus = m_dir.filePath("bus");
    qputenv("PELLIX_VIRTUAL_USB_DIR", bus.toLocal8Bit());
    const QString description = m_dir.filePath("cameras.txt");
    QFile file(description);
    QVERIFY(file.open(QIODevice::WriteOnly) &&
            file.write(QByteArray(kDescription).replace("TRANSPORT", g_usb ? "usb3" : "gige")) > 0);
    file.close();
    // A GigE Vision camera answers on a loopback address, a USB3 Vision one at its socket.
    auto start = [&](const QString& serial, const QString& address) {
        QStringList arguments{"--serial", serial, "--description", description, "--lifetime", "300"};
        if (!g_usb)
            arguments << "--address" << address;
        auto camera = std::make_unique<CameraProcess>(ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments),
                                                      g_usb ? bus + "/" + serial + ".usb" : address);
        QString error;
        if (!camera->Start(error))
            qWarning("%s", qPrintable(error));
        return camera->IsRunning() ? std::move(camera) : nullptr;
    };
    m_camera = start(QStringLiteral("VW1"), QStringLiteral("127.0.0.1"));
    QVERIFY(m_camera);
    m_other = start(QStringLiteral("VX1"), QStringLiteral("127.0.0.2"));
    QVERIFY(m_other);
}

void TestVirtualCameraWindow::cleanupTestCase()
{
    while (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    m_window.reset();
    for (auto* camera : {&m_camera, &m_other})
        if (*camera)
            (*camera)->Stop();
}

void TestVirtualCameraWindow::roundTrip()
{
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    m_panel = m_window->findChild<PXCFileAccess*>();
    QTRY_VERIFY_WITH_TIMEOUT(SelectCamera(*m_window, "qda640MXGE-VW1"), kPatienceMs);
    QTest::mouseClick(m_window->findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(m_panel->isVisible() && panel<QComboBox>("comboBox")->currentText() == "Userfile",
                             kPatienceMs);

    const std::vector<uint8_t> pattern = grb::sim::SimDescription::Pattern(150000, 9);
    const QByteArray original(reinterpret_cast<const char*>(pattern.data()), int(pattern.size()));
    const QString first = m_dir.filePath("first");
    const QString second = m_dir.filePath("second");
    QVERIFY(QDir().mkpath(first) && QDir().mkpath(second));

    DialogScript script;
    script.choose(first);
    QVERIFY(selectRow("calibration.bin"));
    click("btnSave");
    waitIdle();
    QCOMPARE(readLocal(first + "/calibration.bin"), original);

    QVERIFY(QFile::copy(first + "/calibration.bin", first + "/calibration-copy.bin"));
    script.choose(first + "/calibration-copy.bin");
    click("btnUpload");
    waitIdle();
    QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("calibration-copy.bin", Qt::MatchExactly).isEmpty());

    script.choose(second);
    QVERIFY(selectRow("calibration-copy.bin"));
    click("btnSave");
    waitIdle();
    QCOMPARE(readLocal(second + "/calibration-copy.bin"), original);

    QVERIFY(selectRow("calibration-copy.bin"));
    script.press(QMessageBox::Yes);
    click("btnDelete");
    QTRY_VERIFY(panel<QTreeWidget>("treeWidget")->findItems("calibration-copy.bin", Qt::MatchExactly).isEmpty());
    QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("calibration.bin", Qt::MatchExactly).isEmpty());
    QVERIFY(script.finished());
}

// Two cameras on the network, one of them open: the other one leaving leaves the open one
// open and usable; the open one leaving brings the camera list back.
void TestVirtualCameraWindow::anotherCameraLeaves()
{
    m_window.reset();
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    m_panel = m_window->findChild<PXCFileAccess*>();
    auto* cameras = m_window->findChild<CameraDiscoveryWidget*>();
    QSignalSpy removed(cameras, &CameraDiscoveryWidget::CameraRemoved);
    QTRY_VERIFY_WITH_TIMEOUT(SelectCamera(*m_window, "qda640MXGE-VW1"), kPatienceMs);
    QTest::mouseClick(m_window->findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(m_panel->isVisible() && panel<QComboBox>("comboBox")->currentText() == "Userfile",
                             kPatienceMs);

    m_other->Stop();
    QTRY_VERIFY_WITH_TIMEOUT(!removed.isEmpty(), kPatienceMs);
    const QString gone = removed.first().at(0).toString();
    QVERIFY2(gone.startsWith(g_usb ? "U3V::Zorvan Technologies-" : "GEV::Zorvan Technologies-") && gone.endsWith("-VX1"),
             qPrintable(gone));
    QVERIFY(m_panel->isVisible());
    const QString target = m_dir.filePath("after");
    QVERIFY(QDir().mkpath(target));
    DialogScript script;
    script.choose(target);
    QVERIFY(selectRow("calibration.bin"));
    click("btnSave");
    waitIdle();
    QCOMPARE(readLocal(target + "/calibration.bin").size(), 150000);

    m_camera->Stop();
    QTRY_VERIFY_WITH_TIMEOUT(!m_panel->isVisible() && m_window->findChild<QDockWidget*>("dockCameraList")->isVisible(),
                             kPatienceMs);
    QVERIFY(script.finished());
}

int main(int argc, char** argv)
{
    const QByteArray transport = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (transport != "window-gige" && transport != "window-usb3")
    {
        std::fprintf(stderr, "usage: %s window-gige|window-usb3 [QtTest options]\n", argv[0]);
        return 2;
    }
    g_usb = transport == "window-usb3";
    argv[1] = argv[0];
    ++argv;
    --argc;
    QString reason;
    const bool isolated = NetworkNamespace::Enter({QStringLiteral("127.0.0.2")}, reason);
    QApplication app(argc, argv);
    TestVirtualCameraWindow test(isolated ? QString() : reason);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_virtual_camera_window.moc"
