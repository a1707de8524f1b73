// Aravis's own tools judge the virtual camera as they would a camera off the shelf, in
// a loopback-only network namespace: arv-test runs its checks (description, sensor,
// acquisitions and their frame rates, software trigger, stream channels), and
// arv-camera-test streams for a few seconds. A single failure line fails the row.
// The camera is the demo camera 40100271 with smaller images: a frame then fits the
// receiving socket's default buffer, so that no packet is lost on a busy machine.
#include "CameraProcess.h"
#include "NamespacedTestMain.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <memory>

class TestAravisTools : public QObject
{
    Q_OBJECT

public:
    explicit TestAravisTools(QString skipReason)
        : m_skipReason(std::move(skipReason))
    {
    }

private slots:
    void initTestCase();
    void noFailure_data();
    void noFailure();

private:
    QString m_skipReason;
    QTemporaryDir m_dir;
    std::unique_ptr<CameraProcess> m_camera;
};

void TestAravisTools::initTestCase()
{
    if (!m_skipReason.isEmpty())
        QSKIP(qPrintable(m_skipReason));
    QFile description(m_dir.filePath(QStringLiteral("camera.txt")));
    QVERIFY(description.open(QIODevice::WriteOnly));
    description.write("camera id=DEV_0F3100A1 model=qda640MXGE serial=40100271 transport=gige\n"
                      "feature name=Width type=int value=320 min=16 max=4096 inc=16\n"
                      "feature name=Height type=int value=240 min=8 max=3072 inc=2\n");
    description.close();
    m_camera = std::make_unique<CameraProcess>(QStringLiteral(PELLIX_VIRTUAL_CAMERA),
                                               QStringList{"--address", "127.0.0.1", "--serial", "40100271",
                                                           "--description", description.fileName(), "--lifetime", "300"},
                                               QStringLiteral("127.0.0.1"));
    QString error;
    QVERIFY2(m_camera->Start(error), qPrintable(error));
}

void TestAravisTools::noFailure_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("done"); // the line that says the run got to its end
    QTest::addColumn<QString>("failure");

    QTest::newRow("arv-test") << "arv-test-0.8" << QStringList{"--configuration", ARV_TEST_CONFIGURATION}
                              << "^GigEVision:StreamChannel +SUCCESS" << "FAILURE|Failed";
    QTest::newRow("arv-camera-test") << "arv-camera-test-0.8" << QStringList{"--duration", "3"}
                                     << "^n_completed_buffers += [1-9]"
                                     << "Failed|failed| [0-9]+ errors?$|Not found|No camera|Can't|Control lost|"
                                        "^n_(failures|underruns|timeouts|missing_frames|missing_packets|error_packets)"
                                        " += [1-9]";
}

void TestAravisTools::noFailure()
{
    QFETCH(QString, program);
    QFETCH(QStringList, arguments);
    QFETCH(QString, done);
    QFETCH(QString, failure);

    const QString path = QStandardPaths::findExecutable(program);
    if (path.isEmpty())
        QSKIP(qPrintable(program + " is not installed (Debian package aravis-tools)"));
    QProcess tool;
    tool.setProcessChannelMode(QProcess::MergedChannels);
    tool.start(path, arguments);
    QVERIFY(tool.waitForFinished(90000));
    const QString output = QString::fromUtf8(tool.readAll());
    qInfo().noquote() << output;
    const QStringList lines = output.split('\n');
    QVERIFY2(!lines.filter(QRegularExpression(done)).isEmpty(), "the run did not get to its end");
    const QStringList failures = lines.filter(QRegularExpression(failure));
    QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));
}

NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestAravisTools)

#include "tst_aravis_tools.moc"
