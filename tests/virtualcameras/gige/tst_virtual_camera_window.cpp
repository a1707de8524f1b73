// The window end to end over the real GigE Vision transport: the main window without
// the simulator switch, inside a loopback-only network namespace, opens the virtual
// camera, downloads a file, uploads it back under a new name, reads that back and
// deletes it. How the window follows cameras that come and go is the app tests'.
#include "SelectCamera.h"
#include "DialogScript.h"
#include "CameraProcess.h"
#include "GrbTestSupport.h"
#include "LocalFiles.h"
#include "NetworkNamespace.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include <memory>

namespace {

constexpr int kPatienceMs = 20000;

const char* const kDescription =
    "camera id=VW model=qda640MXGE serial=VW1 name=\"Virtual W\" transport=gige capacity=16777216\n"
    "file selector=Userfile name=calibration.bin size=150000 seed=9\n";

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

private:
    template <typename T> T* panel(const char* name) const { return m_panel->findChild<T*>(name); }
    void click(const char* button) { QTest::mouseClick(panel<QPushButton>(button), Qt::LeftButton); }
    void waitIdle() { QTRY_VERIFY_WITH_TIMEOUT(panel<QComboBox>("comboBox")->isEnabled(), kPatienceMs); }
    bool selectRow(const QString& name);

    QString m_skipReason;
    QTemporaryDir m_dir;
    std::unique_ptr<CameraProcess> m_camera;
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
    qunsetenv("GRB_SIMULATOR");
    QStandardPaths::setTestModeEnabled(true);
    const QString description = m_dir.filePath("cameras.txt");
    QVERIFY(WriteLocal(description, kDescription));
    m_camera = std::make_unique<CameraProcess>(
        QStringLiteral(PELLIX_VIRTUAL_CAMERA),
        QStringList{"--address", "127.0.0.1", "--serial", "VW1", "--description", description, "--lifetime", "300"},
        QStringLiteral("127.0.0.1"));
    QString error;
    QVERIFY2(m_camera->Start(error), qPrintable(error));
}

void TestVirtualCameraWindow::cleanupTestCase()
{
    while (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    m_window.reset();
    m_camera.reset();
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

    const QByteArray original = GrbTest::Pattern(150000, 9);
    const QString first = m_dir.filePath("first");
    const QString second = m_dir.filePath("second");
    QVERIFY(QDir().mkpath(first) && QDir().mkpath(second));

    DialogScript script;
    script.choose(first);
    QVERIFY(selectRow("calibration.bin"));
    click("btnSave");
    waitIdle();
    QCOMPARE(ReadLocal(first + "/calibration.bin"), original);

    QVERIFY(QFile::copy(first + "/calibration.bin", first + "/calibration-copy.bin"));
    script.choose(first + "/calibration-copy.bin");
    click("btnUpload");
    waitIdle();
    QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("calibration-copy.bin", Qt::MatchExactly).isEmpty());

    script.choose(second);
    QVERIFY(selectRow("calibration-copy.bin"));
    click("btnSave");
    waitIdle();
    QCOMPARE(ReadLocal(second + "/calibration-copy.bin"), original);

    QVERIFY(selectRow("calibration-copy.bin"));
    script.press(QMessageBox::Yes);
    click("btnDelete");
    QTRY_VERIFY(panel<QTreeWidget>("treeWidget")->findItems("calibration-copy.bin", Qt::MatchExactly).isEmpty());
    QVERIFY(!panel<QTreeWidget>("treeWidget")->findItems("calibration.bin", Qt::MatchExactly).isEmpty());
    QVERIFY(script.finished());
}

int main(int argc, char** argv)
{
    QString reason;
    const bool isolated = NetworkNamespace::Enter({}, reason);
    QApplication app(argc, argv);
    TestVirtualCameraWindow test(isolated ? QString() : reason);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_virtual_camera_window.moc"
