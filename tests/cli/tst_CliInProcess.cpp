// pellix-fa's commands in this process: with a fault switched on between the SDK start
// and the command (a local file that grows during its upload), and on terminals of given
// widths; and the rules it shares with the window.
#include <sim/SimWorld.h>

#include "CliRun.h"
#include "LocalFiles.h"

#include "cli/CliApplication.h"
#include "cli/TransferProgress.h"
#include "device/PXFileNameRule.h"

#include <QBuffer>
#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <functional>
#include <thread>

namespace {

const char* const kFaults = R"(
camera id=U model=RZ-12M serial=1 transport=usb3
file selector=Userfile name=big.bin size=200000 seed=1
file selector=Userfile name=small.txt text="small\n"
)";

// Transport layers and interfaces interleaved, one camera of another model, and one
// whose label, name and file name are longer than an 80-column terminal has room for.
const char* const kTree = R"(
camera id=A model=qda640MXGE serial=1 name=Left transport=gige interface=eth0
camera id=B model=RZ-12M serial=2 name="Line scan" transport=usb3 interface=usb0
camera id=C model=qda640MXGE serial=3 name=Right transport=gige interface=eth1
camera id=K model="Kestrel K12" serial=5 name=Lab transport=usb3 interface=usb1
camera id=D model=qda640MXGE_rev_B_with_a_model_name_as_long_as_some_are serial=4010027199887766 name="Conveyor three, inspection station on the right-hand side" transport=gige interface=eth0
file selector=Userfile name=conveyor3_inspection_left_flat_field_shading_correction_2024-05-17_rev12.bin text="x"
)";
const QString kLongLabel = "qda640MXGE_rev_B_with_a_model_name_as_long_as_some_are-4010027199887766(D)";

QByteArray deviceFile(const char* name)
{
    std::vector<uint8_t> data;
    if (!grb::sim::SimWorld::Active()->ReadFile("U", "Userfile", name, data))
        return QByteArray("<missing>");
    return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()));
}

// What a terminal shows of the output: each redraw of the progress line on a line of
// its own, the escapes taken out.
QStringList shownLines(const QByteArray& output)
{
    return QString::fromUtf8(output).remove("\033[K").split(QRegularExpression("[\r\n]"), Qt::SkipEmptyParts);
}

} // namespace

class TestCliInProcess : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QByteArray m_out;
    QByteArray m_err;

    // Starts the SDK on the description, lets fault switch something on, runs the
    // command as on a terminal of width columns (0: none), and lets inspect look at
    // the cameras before the SDK stops.
    int run(const char* cameras, const QStringList& arguments, int width = 0,
            const std::function<void(grb::sim::SimWorld&)>& fault = {}, const std::function<void()>& inspect = {})
    {
        m_out.clear();
        m_err.clear();
        QBuffer out(&m_out);
        QBuffer err(&m_err);
        out.open(QIODevice::WriteOnly);
        err.open(QIODevice::WriteOnly);
        CliConsole console(&out, &err, nullptr);
        console.SetTerminal(width > 0, false, width, width > 0);
        CliOptions options;
        QString error;
        const QString description = m_dir.filePath("cameras.txt");
        if (!WriteLocal(description, cameras) || !options.Parse(arguments, error))
            return -1;
        CliSession session;
        if (!session.Start(description, error))
            return -1;
        if (fault)
            fault(*grb::sim::SimWorld::Active());
        const int code = static_cast<int>(CliApplication(console).RunCommand(session, options));
        if (inspect)
            inspect();
        return code;
    }
    QString err() const { return QString::fromUtf8(m_err); }

private slots:
    void initTestCase() { QVERIFY(QDir::setCurrent(m_dir.path()) && QDir().mkdir("out")); }

    // The cameras as the window's tree has them: transport layer, interface, cameras,
    // each in the order of its first camera.
    void listFollowsTheWindowsTree_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("rows"); // below the header, cells joined by |
        const QString a = "qda640MXGE-1(A)|Left|full|yes (qda)";
        const QString d = kLongLabel + "|Conveyor three, inspection station on the right-hand side|full|yes (qda)";
        const QStringList gige{"GigE Vision TL (Simulator)", "eth0", a, d, "eth1", "qda640MXGE-3(C)|Right|full|yes (qda)"};
        QTest::newRow("compatible") << QStringList{"list"}
                                    << gige + QStringList{"USB3 Vision TL (Simulator)", "usb0", "RZ-12M-2(B)|Line scan|full|yes (RZ)"};
        QTest::newRow("all") << QStringList{"list", "--all"}
                             << gige + QStringList{"USB3 Vision TL (Simulator)", "usb0", "RZ-12M-2(B)|Line scan|full|yes (RZ)",
                                                   "usb1", "Kestrel K12-5(K)|Lab|full|no"};
    }

    void listFollowsTheWindowsTree()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, rows);
        QCOMPARE(run(kTree, arguments), 0);
        CliRun shown;
        shown.out = m_out;
        QStringList cells;
        for (const QStringList& row : shown.TableRows())
            cells << row.join('|');
        QCOMPARE(cells, rows);
    }

    // Nothing wraps: at 80 columns the long label, name and file name are shortened with
    // an ellipsis, at 160 only what is still too long; --json has everything whole.
    void tablesFitTheTerminal_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("shortened"); // lines with an ellipsis
        QTest::addColumn<QString>("whole"); // what --json has whole
        const QString file = "conveyor3_inspection_left_flat_field_shading_correction_2024-05-17_rev12.bin";
        QTest::newRow("list, 80") << QStringList{"list"} << 80 << 1 << kLongLabel;
        QTest::newRow("list, 160") << QStringList{"list"} << 160 << 0 << kLongLabel;
        QTest::newRow("ls, 80") << QStringList{"ls", "D"} << 80 << 1 << file;
        QTest::newRow("candidates, 80") << QStringList{"ls", "nobody"} << 80 << 1 << kLongLabel;
        QTest::newRow("firmware, 80") << QStringList{"firmware", "B", "D", "image.ge3"} << 80 << 2 << kLongLabel;
    }

    void tablesFitTheTerminal()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, width);
        QFETCH(int, shortened);
        QFETCH(QString, whole);
        QVERIFY(WriteLocal("image.ge3", "not an image\n"));
        run(kTree, arguments, width);
        // Standard output, and the candidates below an error on standard error.
        const QStringList lines = shownLines(m_out) + shownLines(m_err).filter(QRegularExpression("^  \\S"));
        int ellipses = 0;
        for (const QString& line : lines)
        {
            QVERIFY2(line.size() <= width, qPrintable(line));
            ellipses += line.contains(QChar(0x2026));
        }
        QCOMPARE(ellipses, shortened);
        run(kTree, QStringList(arguments) << "--json", width);
        QVERIFY(!m_out.contains("\xe2\x80\xa6") && m_out.contains(whole.toUtf8()));
    }

    // A narrow terminal gives up the bar first, then the time left and the byte counts,
    // and keeps the share done and the rate.
    void progressOnANarrowTerminal_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QStringList>("parts"); // of the line, as far as they are shown
        QTest::newRow("80") << 80 << "big.bin" << QStringList{"big.bin [###", "25%", "1.0 MiB/4.0 MiB", "/s", "left"};
        QTest::newRow("40") << 40 << "big.bin" << QStringList{"big.bin ", "25%", "1.0 MiB/4.0 MiB", "/s"};
        QTest::newRow("40, long label") << 40 << "line3_flat_field_shading_correction_rev12.bin"
                                        << QStringList{"line3_flat_field", "25%", "/s"};
    }

    void progressOnANarrowTerminal()
    {
        QFETCH(int, width);
        QFETCH(QString, label);
        QFETCH(QStringList, parts);
        m_err.clear();
        QBuffer err(&m_err);
        err.open(QIODevice::WriteOnly);
        CliConsole console(nullptr, &err, nullptr);
        console.SetTerminal(true, false, width);
        TransferProgress progress(console);
        const int track = progress.Begin(nullptr, label, 4 << 20);
        QTest::qWait(150);
        progress.Update(track, 3 << 20);
        const QString line = shownLines(m_err).last();
        QVERIFY2(line.size() < width, qPrintable(line));
        for (const QString& part : parts)
            QVERIFY2(line.contains(part), qPrintable(line));
        QCOMPARE(line.contains('['), width == 80);
        QCOMPARE(line.contains("left"), width == 80);
        QCOMPARE(line.contains("MiB/4.0 MiB"), label.size() < 12);
    }

    // A local file that grows while it is uploaded is not stored cut off somewhere.
    void localFileGrowingDuringUpload()
    {
        const QString local = m_dir.filePath("log.bin");
        QVERIFY(WriteLocal(local, QByteArray(3 * 65536, 'g')));
        std::thread writer;
        QByteArray stored;
        const int code = run(
            kFaults, {"put", "U", local}, 0,
            [&](grb::sim::SimWorld& world) {
                // Slow chunks, and more data arriving while they go.
                QVERIFY(world.SetCommandDelay("U", "FileOperationExecute", 150));
                writer = std::thread([local] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(100));
                    QFile file(local);
                    if (file.open(QIODevice::Append))
                        file.write(QByteArray(1000, 'g'));
                });
            },
            [&] { stored = deviceFile("log.bin"); });
        writer.join();
        QCOMPARE(code, 1);
        QVERIFY2(err().contains("changed while it was uploaded"), qPrintable(err()));
        QCOMPARE(stored, QByteArray("<missing>"));
    }

    // Which device file names may become local file names; the window keeps to the same rule.
    void localNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("acceptable");
        QTest::newRow("plain") << "calibration.xml" << true;
        QTest::newRow("blanks and dots") << "my file..v2" << true;
        QTest::newRow("hidden file") << ".profile" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("dot") << "." << false;
        QTest::newRow("dot dot") << ".." << false;
        QTest::newRow("slash") << "../etc/passwd" << false;
        QTest::newRow("absolute") << "/tmp/x" << false;
        QTest::newRow("backslash") << "..\\x" << false;
        QTest::newRow("nul") << QString::fromLatin1("a\0b", 3) << false;
    }

    void localNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, acceptable);
        QString reason;
        QCOMPARE(PXFileNameRule::IsAcceptableLocalName(name, &reason), acceptable);
        QCOMPARE(reason.isEmpty(), acceptable);
    }

    // Names from a camera are shown, not acted on, by a terminal.
    void shownNames_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        QTest::newRow("plain") << true << "Größe µm.txt" << "Größe µm.txt";
        QTest::newRow("line break and tab") << true << "a\nb\tc" << "a\\nb\\tc";
        QTest::newRow("escape sequence") << true << "\x1b[2Jx" << "\\x1b[2Jx";
        QTest::newRow("C1 control") << true << QString(QChar(0x9B)) << "\\x9b";
        QTest::newRow("not a terminal") << false << "a\nb" << "a\nb";
    }

    void shownNames()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, name);
        QFETCH(QString, shown);
        CliConsole console(nullptr, nullptr, nullptr);
        console.SetTerminal(false, false, 80, terminal);
        QCOMPARE(console.Shown(name), shown);
    }
};

QTEST_GUILESS_MAIN(TestCliInProcess)
#include "tst_CliInProcess.moc"
