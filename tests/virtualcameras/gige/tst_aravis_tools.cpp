// Aravis's own tools judge a virtual camera as they would a camera off the shelf, in
// a loopback-only network namespace: arv-test runs its checks (description, sensor,
// acquisitions and their frame rates, software trigger, stream channels), and
// arv-camera-test streams for a few seconds. A single failure line fails the row.
// The camera (the first argument) is the demo camera 40100271 over GigE Vision, or the
// demo camera 22031577 over USB3 Vision on the virtual USB bus (through the libusb
// stand-in CTest preloads for that run), with smaller images: a frame then fits the
// receiving socket's default buffer, so that no packet is lost on a busy machine.
// A tool that reaches the camera through the stand-in is of the stand-in's machine: in a
// cross build, the target's tools (PELLIX_TARGET_ARAVIS_TOOLS) run through the emulator.
#include "CameraProcess.h"
#include "ChildCommand.h"
#include "NetworkNamespace.h"
#include "VirtualUsb.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

bool g_usb = false;

} // namespace

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
    if (g_usb)
        QVERIFY2(VirtualUsbLoaded(), "the libusb stand-in is not preloaded: this run would reach the real USB bus");
    QFile description(m_dir.filePath(QStringLiteral("camera.txt")));
    QVERIFY(description.open(QIODevice::WriteOnly));
    description.write(g_usb ? "camera id=DEV_1AB22C0F model=RZ-12M serial=22031577 transport=usb3\n"
                            : "camera id=DEV_0F3100A1 model=qda640MXGE serial=40100271 transport=gige\n");
    description.write("feature name=Width type=int value=320 min=16 max=4096 inc=16\n"
                      "feature name=Height type=int value=240 min=8 max=3072 inc=2\n");
    description.close();
    const QString bus = m_dir.filePath(QStringLiteral("bus"));
    qputenv("PELLIX_VIRTUAL_USB_DIR", bus.toLocal8Bit());
    QStringList arguments{"--description", description.fileName(), "--lifetime", "300"};
    if (g_usb)
        arguments << "--serial" << "22031577";
    else
        arguments << "--serial" << "40100271" << "--address" << "127.0.0.1";
    m_camera = std::make_unique<CameraProcess>(ChildCommand::Target(QStringLiteral(PELLIX_VIRTUAL_CAMERA), arguments),
                                               g_usb ? bus + QStringLiteral("/22031577.usb")
                                                     : QStringLiteral("127.0.0.1"));
    QString error;
    QVERIFY2(m_camera->Start(error), qPrintable(error));
}

void TestAravisTools::noFailure_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("done"); // the line that says the run got to its end
    QTest::addColumn<QString>("failure");

    // Its last check for a GigE Vision camera is the stream channel, for a USB3 Vision
    // camera the chunks (arv-test has none of its own for USB3 Vision).
    QTest::newRow("arv-test") << "arv-test-0.8" << QStringList{"--configuration", ARV_TEST_CONFIGURATION}
                              << (g_usb ? "^Chunks:NoSupport +SUCCESS" : "^GigEVision:StreamChannel +SUCCESS")
                              << "FAILURE|Failed";
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

    const bool target = g_usb && ChildCommand::Emulated();
    const QString path = target ? QDir(QStringLiteral(PELLIX_TARGET_ARAVIS_TOOLS)).filePath(program)
                                : QStandardPaths::findExecutable(program);
    if (!QFileInfo(path).isExecutable())
        QSKIP(qPrintable(target ? program + " of the target is not in " PELLIX_TARGET_ARAVIS_TOOLS
                                            " (scripts/arm64.sh unpacks Debian's aravis-tools:arm64 there), and this "
                                            "machine's cannot load the target's libusb stand-in"
                                : program + " is not installed (Debian package aravis-tools)"));
    QProcess tool;
    tool.setProcessChannelMode(QProcess::MergedChannels);
    (target ? ChildCommand::Target(path, arguments) : ChildCommand::Host(path, arguments)).Start(tool);
    QVERIFY(tool.waitForFinished(90000));
    const QString output = QString::fromUtf8(tool.readAll());
    qInfo().noquote() << output;
    const QStringList lines = output.split('\n');
    QVERIFY2(!lines.filter(QRegularExpression(done)).isEmpty(), "the run did not get to its end");
    const QStringList failures = lines.filter(QRegularExpression(failure));
    QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));
}

int main(int argc, char** argv)
{
    const QByteArray transport = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (transport != "tools-gige" && transport != "tools-usb3")
    {
        std::fprintf(stderr, "usage: %s tools-gige|tools-usb3 [QtTest options]\n", argv[0]);
        return 2;
    }
    g_usb = transport == "tools-usb3";
    argv[1] = argv[0];
    ++argv;
    --argc;
    QString reason;
    const bool isolated = NetworkNamespace::Enter({}, reason);
    QCoreApplication app(argc, argv);
    TestAravisTools test(isolated ? QString() : reason);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_aravis_tools.moc"
