// The window over the GenTL layer, with the simulator's producer, in a loopback-only
// network namespace: the camera list under the producer's transport layer and its
// links, a camera that another process takes and lets go, and a firmware update after
// which the camera resets, leaves the producer's list and comes back.
#include "CameraHolder.h"
#include "DialogScript.h"
#include "NetworkNamespace.h"
#include "SelectCamera.h"

#include "app/MainWindow.h"
#include "assistant/PXCFileAccess.h"
#include "discovery/CameraDiscoveryWidget.h"
#include "sdk/ApiController.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeView>
#include <QtTest>

#include <memory>

namespace {

constexpr int kPatienceMs = 20000;

const QByteArray kDescription = R"(
camera id=WA model=qda640MXGE serial=WA1 name="Alpha" transport=gige interface=link0 reset-delay=1500
file selector=Userfile name=notes.txt text="hello\n"
camera id=WB model=qda640MXGE serial=WB1 name="Beta" transport=gige interface=link1 held=yes
)";

} // namespace

class TestGentlWindow : public QObject
{
    Q_OBJECT

public:
    explicit TestGentlWindow(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void camerasUnderTheProducer();
    void firmwareResetAndReturn();

private:
    // The model's row of the camera whose label starts with prefix, under its link.
    QModelIndex _Row(const QString& link, const QString& prefix) const;
    QStringList _Log() const;

    QString m_skipReason;
    QTemporaryDir m_dir;
    std::unique_ptr<MainWindow> m_window;
};

void TestGentlWindow::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    const QString description = m_dir.filePath("cameras.txt");
    QFile file(description);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kDescription) > 0);
    file.close();
    qunsetenv("GRB_SIMULATOR");
    qunsetenv("GENICAM_GENTL64_PATH");
    qputenv("GRB_GENTL_PRODUCER", PELLIX_GENTL_PRODUCER);
    qputenv("PELLIX_GENTL_DESCRIPTION", QFile::encodeName(description));
    QStandardPaths::setTestModeEnabled(true);
}

void TestGentlWindow::init()
{
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    auto* cameras = m_window->findChild<CameraDiscoveryWidget*>();
    QTRY_VERIFY_WITH_TIMEOUT(cameras->GetApiController() && cameras->findChild<QLabel*>("lblRefreshInfo")->isHidden(),
                             kPatienceMs);
}

void TestGentlWindow::cleanup()
{
    while (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    m_window.reset();
}

QModelIndex TestGentlWindow::_Row(const QString& link, const QString& prefix) const
{
    const QAbstractItemModel* model = m_window->findChild<QTreeView*>("treeView")->model();
    for (int t = 0; t < model->rowCount(); ++t)
    {
        const QModelIndex layer = model->index(t, 0);
        if (layer.data().toString() != "Pellix GenTL Simulator")
            continue;
        for (int i = 0; i < model->rowCount(layer); ++i)
        {
            const QModelIndex iface = model->index(i, 0, layer);
            for (int c = 0; iface.data().toString() == link && c < model->rowCount(iface); ++c)
                if (model->index(c, 0, iface).data().toString().startsWith(prefix))
                    return model->index(c, 0, iface);
        }
    }
    return QModelIndex();
}

QStringList TestGentlWindow::_Log() const
{
    QStringList lines;
    auto* log = m_window->findChild<QListWidget*>("listLog");
    for (int row = 0; row < log->count(); ++row)
        lines << log->item(row)->text();
    return lines;
}

void TestGentlWindow::camerasUnderTheProducer()
{
    const QModelIndex alpha = _Row("link0", "qda640MXGE-WA1");
    const QModelIndex beta = _Row("link1", "qda640MXGE-WB1");
    QVERIFY(alpha.isValid() && beta.isValid());
    const QAbstractItemModel* model = alpha.model();
    // Another application's camera is listed, and cannot be chosen.
    QVERIFY(model->flags(alpha) & Qt::ItemIsEnabled);
    QVERIFY(!(model->flags(beta) & Qt::ItemIsEnabled));

    CameraHolder holder;
    QString error;
    QVERIFY2(holder.Hold(QStringLiteral(GENTL_CAMERA_HOLDER), {PELLIX_GENTL_PRODUCER, "link0", "WA"}, error),
             qPrintable(error));
    QTRY_VERIFY_WITH_TIMEOUT(!(model->flags(_Row("link0", "qda640MXGE-WA1")) & Qt::ItemIsEnabled), kPatienceMs);
    holder.Release();
    QTRY_VERIFY_WITH_TIMEOUT(model->flags(_Row("link0", "qda640MXGE-WA1")) & Qt::ItemIsEnabled, kPatienceMs);
}

void TestGentlWindow::firmwareResetAndReturn()
{
    const QString image = m_dir.filePath("next.ge3");
    QFile file(image);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("PELLIX-FIRMWARE Firmware 2.0\n") > 0);
    file.close();
    auto* panel = m_window->findChild<PXCFileAccess*>();
    auto open = [&] {
        QTRY_VERIFY_WITH_TIMEOUT(SelectCamera(*m_window, "qda640MXGE-WA1"), kPatienceMs);
        QTest::mouseClick(m_window->findChild<QPushButton*>("btnOpenCamera"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(panel->isVisible() && panel->findChild<QComboBox*>("comboBox")->isEnabled(),
                                 kPatienceMs);
    };
    open();
    QSignalSpy back(m_window->findChild<CameraDiscoveryWidget*>()->GetApiController().get(), &ApiController::CameraAdded);
    panel->findChild<QComboBox*>("comboBox")->setCurrentText("Firmware");
    DialogScript script;
    script.choose(image).press(QMessageBox::Ok);
    QTest::mouseClick(panel->findChild<QPushButton*>("btnFirwUpgrade"), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(script.finished(), kPatienceMs);
    QVERIFY2(script.seen.last().contains("Firmware Update successful!"), qPrintable(script.seen.last()));
    QTRY_COMPARE_WITH_TIMEOUT(back.count(), 1, kPatienceMs);
    open();
    QCOMPARE(panel->findChild<QLabel*>("lblCameraName")->text(), QString("Alpha\nFirmware: Firmware 2.0\n"));
    QCOMPARE(_Log(), (QStringList{"Camera opened: Alpha", "Upload Local Map 'next.ge3': 29 bytes written.",
                                  "Camera disconnected: Alpha (GenTL:pellix-gentl.cti:link0:WA)",
                                  "Camera opened: Alpha"}));
}

int main(int argc, char** argv)
{
    QString reason;
    const bool isolated = NetworkNamespace::Enter({}, reason);
    QApplication app(argc, argv);
    TestGentlWindow test(isolated ? QString() : reason);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_gentl_window.moc"
