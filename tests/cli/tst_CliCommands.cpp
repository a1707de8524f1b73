// The built pellix-fa (and pellix-virtual-camera's usage) against simulated cameras:
// what its tables, JSON documents, messages, exit codes and files say for each command.
// Before any Qt header: the simulator's configuration has a member named like a Qt keyword.
#include <sim/SimDescription.h>

#include "CliRun.h"
#include "LocalFiles.h"

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>

#include <QMap>

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

using Files = QMap<QString, QByteArray>; // local file names and contents

namespace {

const char* const kCameras = R"(
camera id=GIGE1 model=qda640MXGE serial=1001 name=Inspection transport=gige slots=UserSet1 firmware="Firmware 1.0"
file selector=Userfile name=readme.txt text="hello camera\n"
file selector=Userfile name=big.bin size=150000 seed=4
file selector=Userfile name=../escape.txt text="out"
file selector=Userfile name=.. text="dots"
file selector=Userfile name="..\\win.txt" text="win"
file selector=UserSet1 size=1024 seed=3
camera id=USB1 model=RZ-12M serial=2002 name="Line scan" transport=usb3
camera id=OTHER model="Kestrel K12" serial=3003 transport=gige
camera id=TWIN model=qda640MXGE serial=1001 name=Inspection transport=usb3
camera id=NOFA model=RZ-12M serial=4004 transport=usb3 without=FileSelector
camera id=HELD model=T-R402 serial=5005 held=yes
# Acknowledges every file operation without doing it: what it hands back on a read is
# whatever its buffer last held.
camera id=DEAD model=qda640MXGE serial=6006 transport=usb3
file selector=Userfile name=cal.bin size=3000 seed=9
feature name=FileOperationExecute type=command
camera id=NAMES model=qda640MXGE serial=7007 transport=usb3
file selector=Userfile name=cal text="calibration\n"
file selector=Userfile name=cal.partial text="half a calibration\n"
file selector=Userfile name="Kalibrierung_Größe_µm.txt" text="Größe: 12 µm\n"
# Faults: a camera that leaves after two chunks, one whose reads deliver 1000 bytes at
# most, one whose second FileAccessBuffer access fails and one whose fifth
# FileOperationExecute (the Close after an Open and three chunks) fails.
camera id=GONE model=RZ-12M serial=9001 transport=usb3
file selector=Userfile name=big.bin size=200000 seed=1
file selector=Userfile name=small.txt text="small\n"
fault unplug-after-chunks=2
camera id=SHORT model=RZ-12M serial=9002 transport=usb3
fault feature=FileAccessBuffer short-read=1000
camera id=CHUNK model=RZ-12M serial=9003 transport=usb3
fault feature=FileAccessBuffer fail-access=2 code=-13
camera id=CLOSE model=RZ-12M serial=9004 transport=usb3
fault feature=FileOperationExecute fail-access=5 code=-13
# Slow enough to be interrupted: 64 chunks of 20 ms each.
camera id=SLOW model=qda640MXGE serial=8008 transport=usb3
file selector=Userfile name=big.bin size=4194304 seed=5
fault feature=FileOperationExecute delay=20
)";

QByteArray pattern(quint64 size, quint32 seed)
{
    const std::vector<uint8_t> bytes = grb::sim::SimDescription::Pattern(size, seed);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
}

QStringList column(const QJsonArray& array, const QString& key)
{
    QStringList values;
    for (const auto& item : array)
        values << item.toObject().value(key).toString();
    return values;
}

} // namespace

class TestCliCommands : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_cameras;
    QString m_work;

    CliRun run(const QStringList& arguments, const QByteArray& input = QByteArray())
    {
        return RunCli(m_cameras, arguments, m_work, input);
    }
    QString work(const QString& name) const { return QDir(m_work).filePath(name); }
    QStringList files() const { return QDir(m_work).entryList(QDir::Files); }

private slots:
    void initTestCase()
    {
        m_cameras = m_dir.filePath("cameras.txt");
        QVERIFY(WriteLocal(m_cameras, kCameras));
    }

    // Every test starts from a fresh simulator (each run loads the description anew)
    // and an empty working directory.
    void init()
    {
        m_work = m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()) +
                                QString::fromLatin1(QTest::currentDataTag()).remove(QRegularExpression("\\W")));
        QDir(m_work).removeRecursively();
        QVERIFY(QDir().mkpath(m_work));
    }

    // --help, --version and a bad option of both command-line programs.
    void usage_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out"); // a part of standard output
        QTest::addColumn<QString>("err"); // standard error, whole
        const QString fa = PELLIX_FA_PATH;
        const QString camera = PELLIX_VIRTUAL_CAMERA;
        QTest::newRow("pellix-fa --version") << fa << QStringList{"--version"} << 0 << "pellix-fa 1.0.0.2142e15\n"
                                             << "";
        QTest::newRow("virtual camera --version")
            << camera << QStringList{"--version"} << 0 << "pellix-virtual-camera 1.0.0.2142e15\n" << "";
        QTest::newRow("virtual camera --help") << camera << QStringList{"-h"} << 0
                                               << "\n  -h, --help               this text\n"
                                                  "  --version                the version\n"
                                               << "";
        QTest::newRow("virtual camera, unknown option")
            << camera << QStringList{"--serial", "X", "--fast"} << 2 << ""
            << "pellix-virtual-camera: unknown option --fast (see pellix-virtual-camera --help)\n";
        QTest::newRow("virtual camera, missing value")
            << camera << QStringList{"--serial"} << 2 << ""
            << "pellix-virtual-camera: --serial needs a value (see pellix-virtual-camera --help)\n";
    }

    void usage()
    {
        QFETCH(QString, program);
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QProcess process;
        ChildCommand::Target(program, arguments).Start(process);
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitCode(), exitCode);
        const QString shown = QString::fromUtf8(process.readAllStandardOutput());
        QVERIFY2(shown.contains(out), qPrintable(shown));
        QCOMPARE(QString::fromUtf8(process.readAllStandardError()), err);
    }

    void cameraNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("meant"); // the camera, or the candidates listed

        QTest::newRow("extended id") << "SIM-GEV::GIGE1" << 0 << QStringList{"SIM-GEV::GIGE1"};
        QTest::newRow("plain id") << "USB1" << 0 << QStringList{"SIM-U3V::USB1"};
        QTest::newRow("serial") << "2002" << 0 << QStringList{"SIM-U3V::USB1"};
        QTest::newRow("label") << "qda640MXGE-1001(TWIN)" << 0 << QStringList{"SIM-U3V::TWIN"};
        QTest::newRow("name") << "Line scan" << 0 << QStringList{"SIM-U3V::USB1"};
        QTest::newRow("ambiguous serial") << "1001" << 3 << QStringList{"SIM-GEV::GIGE1", "SIM-U3V::TWIN"};
        QTest::newRow("ambiguous name") << "Inspection" << 3 << QStringList{"SIM-GEV::GIGE1", "SIM-U3V::TWIN"};
        QTest::newRow("unknown") << "4711" << 3
                                 << QStringList{"SIM-GEV::GIGE1", "SIM-U3V::USB1",  "SIM-GEV::OTHER", "SIM-U3V::TWIN",
                                                "SIM-U3V::NOFA",  "SIM-GEV::HELD",  "SIM-U3V::DEAD",  "SIM-U3V::NAMES",
                                                "SIM-U3V::GONE",  "SIM-U3V::SHORT", "SIM-U3V::CHUNK", "SIM-U3V::CLOSE",
                                                "SIM-U3V::SLOW"};
    }

    void cameraNames()
    {
        QFETCH(QString, name);
        QFETCH(int, exitCode);
        QFETCH(QStringList, meant);
        const CliRun json = run({"info", name, "--json"});
        QCOMPARE(json.exitCode, exitCode);
        bool ok = false;
        const QJsonObject document = json.Json(&ok);
        QVERIFY(ok);
        if (exitCode == 0)
        {
            QCOMPARE(document.value("camera").toObject().value("extendedId").toString(), meant.front());
            return;
        }
        QCOMPARE(column(document.value("candidates").toArray(), "extendedId"), meant);
        // The candidates are in their own array; the error is a whole sentence.
        QVERIFY2(!document.value("error").toString().endsWith(':'), qPrintable(document.value("error").toString()));
        // The text form lists the same candidates, one a line below the error.
        const CliRun text = run({"ls", name});
        QCOMPARE(text.exitCode, exitCode);
        const QStringList lines = text.ErrLines();
        QCOMPARE(lines.size(), meant.size() + 1);
        QVERIFY(lines.front().startsWith("pellix-fa: "));
        for (int i = 0; i < meant.size(); ++i)
            QVERIFY2(lines.at(i + 1).trimmed().startsWith(meant.at(i)), qPrintable(lines.at(i + 1)));
    }

    void infoAndLs()
    {
        const QJsonObject info = run({"info", "GIGE1", "--json"}).Json();
        QCOMPARE(info.value("firmware").toString(), "Firmware 1.0");
        QCOMPARE(info.value("files").toInt(), 5);
        QCOMPARE(column(info.value("selectors").toArray(), "name"), QStringList({"Userfile", "UserSet1", "Firmware"}));
        QCOMPARE(info.value("selectors").toArray().at(1).toObject().value("files").toInt(), 1);
        QVERIFY(info.value("freeBytes").toDouble() > 0);
        QCOMPARE(run({"info", "NOFA", "--json"}).Json().value("fileAccess").toBool(), false);

        const QJsonArray listed = run({"ls", "GIGE1", "--json"}).Json().value("files").toArray();
        QCOMPARE(column(listed, "name"), QStringList({"readme.txt", "big.bin", "../escape.txt", "..", "..\\win.txt"}));
        QCOMPARE(listed.at(1).toObject().value("size").toInt(), 150000);
        const CliRun table = run({"ls", "GIGE1", "--selector", "UserSet1"});
        QCOMPARE(table.exitCode, 0);
        QCOMPARE(table.TableRows().front(), QStringList({"UserSet1", "1024"}));
        QVERIFY(table.TableRows().last().front().startsWith("1 file in UserSet1"));
    }

    // Bad input of every kind: one clear line on standard error and the documented code.
    void badInput_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");

        QTest::newRow("no command") << QStringList{} << 2 << "no command";
        QTest::newRow("unknown command") << QStringList{"copy", "GIGE1"} << 2 << "unknown command 'copy'";
        QTest::newRow("unknown option") << QStringList{"ls", "GIGE1", "--fast"} << 2 << "unknown option --fast";
        QTest::newRow("option of another command")
            << QStringList{"ls", "GIGE1", "--yes"} << 2 << "--yes is not an option of ls";
        QTest::newRow("missing camera") << QStringList{"info"} << 2 << "info needs more arguments";
        QTest::newRow("jobs zero") << QStringList{"firmware", "--all-compatible", "x.ge3", "--jobs", "0"} << 2
                                   << "--jobs";
        QTest::newRow("--as with two files") << QStringList{"put", "GIGE1", "a", "b", "--as", "c"} << 2 << "--as";
        QTest::newRow("image not ge3") << QStringList{"firmware", "GIGE1", "USB1"} << 2 << ".ge3";
        QTest::newRow("unknown selector")
            << QStringList{"ls", "GIGE1", "--selector", "LUT"} << 2 << "no file selector entry 'LUT'";
        QTest::newRow("firmware through put")
            << QStringList{"put", "GIGE1", "local.txt", "--selector", "Firmware"} << 2 << "firmware command";
        QTest::newRow("rm without terminal") << QStringList{"rm", "GIGE1", "readme.txt"} << 2 << "without --yes";
        QTest::newRow("no file access") << QStringList{"ls", "NOFA"} << 1 << "no file access";
        QTest::newRow("held by another") << QStringList{"get", "HELD", "x"} << 1 << "cannot be controlled";
        QTest::newRow("missing local file")
            << QStringList{"put", "GIGE1", "missing.txt"} << 1 << "missing.txt: no such file";
        QTest::newRow("directory as file") << QStringList{"put", "GIGE1", "sub"} << 1 << "sub is a directory";
        QTest::newRow("fifo as file") << QStringList{"put", "GIGE1", "fifo"} << 1 << "fifo is not a regular file";
        QTest::newRow("empty file") << QStringList{"put", "GIGE1", "empty.txt"} << 1 << "empty.txt is empty";
        QTest::newRow("unreadable file") << QStringList{"put", "GIGE1", "secret.txt"} << 1 << "cannot read secret.txt";
        QTest::newRow("missing image") << QStringList{"firmware", "GIGE1", "none.ge3"} << 1 << "none.ge3: no such file";
        QTest::newRow("unknown device file") << QStringList{"get", "GIGE1", "nothere"} << 1 << "has no file 'nothere'";
        QTest::newRow("no output directory")
            << QStringList{"get", "GIGE1", "readme.txt", "-o", "no/such/x"} << 2 << "does not exist";
        QTest::newRow("local name unusable on the camera")
            << QStringList{"put", "GIGE1", "back\\slash.txt"} << 2 << "cannot be stored as 'back\\slash.txt'";
        QTest::newRow("local file there") << QStringList{"get", "GIGE1", "readme.txt"} << 1 << "--force";
        QTest::newRow("device file there") << QStringList{"put", "GIGE1", "readme.txt"} << 1
                                           << "already has 'readme.txt'";
    }

    void badInput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        if (QTest::currentDataTag() == QByteArray("unreadable file") && geteuid() == 0)
            QSKIP("root reads files whatever their mode");
        QVERIFY(WriteLocal(work("local.txt"), "x") && WriteLocal(work("empty.txt"), ""));
        QVERIFY(WriteLocal(work("readme.txt"), "mine"));
        QVERIFY(WriteLocal(work("secret.txt"), "secret"));
        QVERIFY(QFile::setPermissions(work("secret.txt"), QFileDevice::Permissions()));
        QVERIFY(QDir(m_work).mkdir("sub"));
        QCOMPARE(mkfifo(QFile::encodeName(work("fifo")).constData(), 0600), 0);
        QVERIFY(WriteLocal(work("back\\slash.txt"), "x"));

        const CliRun result = run(arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(result.ErrLines().size(), 1);
        QVERIFY2(result.err.startsWith("pellix-fa: ") && result.err.contains(message), qPrintable(result.err));
        QVERIFY(result.out.isEmpty());
        QCOMPARE(ReadLocal(work("readme.txt")), QByteArray("mine")); // nothing replaced without --force
        // With --json the same failure is also a document a script can read.
        const CliRun json = run(QStringList(arguments) << "--json");
        QCOMPARE(json.exitCode, exitCode);
        bool ok = false;
        QCOMPARE(json.Json(&ok).value("exitCode").toInt(), exitCode);
        QVERIFY(ok);
    }

    // One transfer command on fresh cameras: the local files before it, its exit code,
    // what it says (parts of standard output and error), and the local files it fetched.
    void transfers_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Files>("before");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("says");
        QTest::addColumn<Files>("fetched");
        auto row = [](const char* name, const QStringList& arguments, const Files& before, int exitCode,
                      const QStringList& says, const Files& fetched = {}) {
            QTest::newRow(name) << arguments << before << exitCode << says << fetched;
        };
        const QByteArray readme = "hello camera\n";
        const QString utf8 = QStringLiteral("Kalibrierung_Größe_µm.txt");
        const QString upload = QStringLiteral("Übersicht_Maße.txt");
        // Away from a terminal, progress is a line at each quarter passed, with the share done.
        row("get, verified", {"get", "GIGE1", "readme.txt", "big.bin", "--verify", "--json"}, {}, 0,
            {"\"bytes\": 150000", "\"verified\": true", "big.bin: 43% (65536 of 150000 bytes)"},
            {{"readme.txt", readme}, {"big.bin", pattern(150000, 4)}});
        row("get --force", {"get", "GIGE1", "readme.txt", "--force"}, {{"readme.txt", "mine"}}, 0, {},
            {{"readme.txt", readme}});
        // A slot named without a file gives its content; -o names the local file.
        row("get a slot", {"get", "GIGE1", "--selector", "UserSet1", "-o", "set.bin"}, {}, 0, {},
            {{"set.bin", pattern(1024, 3)}});
        // Names the camera reports that would leave the directory are refused (see the
        // local name rule for the kinds); the other files still arrive.
        row("get, unsafe name", {"get", "GIGE1", "../escape.txt", "readme.txt", "--json"}, {}, 4,
            {"refusing device file '../escape.txt'", "\"ok\": false"}, {{"readme.txt", readme}});
        // A download's temporary file is a name of its own: never a file being fetched in
        // the same command, nor one that was there before.
        row("temporary names", {"get", "NAMES", "cal.partial", "cal", "--force"},
            {{"cal.partial", "mine"}, {"cal.tmp", "unrelated"}}, 0, {},
            {{"cal", "calibration\n"}, {"cal.partial", "half a calibration\n"}});
        // The camera leaves after two chunks: no file is left under its name or as a
        // partial file, and the second file of the batch is not attempted.
        row("camera gone during get", {"get", "GONE", "big.bin", "small.txt"}, {}, 1,
            {"download of big.bin failed after 65536 of 200000 bytes: the chunk at byte 65536 failed: ",
             "; camera RZ-12M-9001(GONE) no longer answers", "small.txt not fetched"});
        // Names beyond ASCII, UTF-8 both ways.
        row("get beyond ASCII", {"get", "NAMES", utf8}, {}, 0, {}, {{utf8, "Größe: 12 µm\n"}});
        row("put beyond ASCII", {"put", "NAMES", upload, "--verify", "--json"}, {{upload, "Maße\n"}}, 0,
            {"\"file\": \"" + upload + "\"", "\"verified\": true"});
        row("put, verified", {"put", "USB1", "new.bin", "note.txt", "--verify", "--json"},
            {{"new.bin", pattern(140000, 77)}, {"note.txt", "note"}}, 0, {"\"bytes\": 140000", "\"file\": \"note.txt\""});
        row("put --as", {"put", "USB1", "note.txt", "--as", "other name.txt", "--json"}, {{"note.txt", "note"}}, 0,
            {"\"file\": \"other name.txt\""});
        row("put --force", {"put", "GIGE1", "readme.txt", "--force"}, {{"readme.txt", "new"}}, 0, {});
        // A camera that acknowledges reads without refilling its buffer returns the last
        // chunk written: only --verify notices, and only because it spoils that buffer first.
        row("verify, stale read-back", {"put", "DEAD", "cal.bin", "--force", "--verify"},
            {{"cal.bin", pattern(3000, 10)}}, 1,
            {"verification of cal.bin failed: the camera's copy differs at byte 0"});
        // The upload itself is fine; the read-back of --verify is what fails.
        row("verify, short reads", {"put", "SHORT", "cal.bin", "--verify"}, {{"cal.bin", pattern(5000, 1)}}, 1,
            {"verification of cal.bin failed: reading it back stopped after 0 of 5000 bytes"});
        // An upload that did not complete never leaves a copy on the camera that passes
        // for the whole file: the program takes it off again, or says that it could not.
        row("upload, chunk broke off", {"put", "CHUNK", "three.bin", "--json"}, {{"three.bin", pattern(196608, 2)}}, 1,
            {"upload of three.bin stopped after 65536 of 196608 bytes: moving the chunk at byte 65536 through "
             "FileAccessBuffer failed: TL error. (SDK code -13); the incomplete file was deleted from the camera",
             "\"incompleteRemoved\": true", "\"step\": "});
        row("upload, close refused", {"put", "CLOSE", "three.bin", "--json"}, {{"three.bin", pattern(196608, 2)}}, 1,
            {"upload of three.bin failed: closing the device file failed: TL error. (SDK code -13)",
             "; the incomplete file is still on the camera", "\"incompleteRemoved\": false"});
        row("rm --yes", {"rm", "GIGE1", "readme.txt", "big.bin", "--yes", "--json"}, {}, 0,
            {"\"file\": \"readme.txt\"", "\"file\": \"big.bin\""});
        row("rm a slot", {"rm", "GIGE1", "--selector", "UserSet1", "--yes"}, {}, 0, {"deleted UserSet1 from UserSet1"});
    }

    void transfers()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Files, before);
        QFETCH(int, exitCode);
        QFETCH(QStringList, says);
        QFETCH(Files, fetched);
        for (auto file = before.cbegin(); file != before.cend(); ++file)
            QVERIFY(WriteLocal(work(file.key()), file.value()));
        const CliRun result = run(arguments);
        QCOMPARE(result.exitCode, exitCode);
        for (const QString& part : says)
            QVERIFY2(QString::fromUtf8(result.out).contains(part) || result.err.contains(part),
                     qPrintable(result.err + QString::fromUtf8(result.out)));
        Files after = before;
        after.insert(fetched);
        QCOMPARE(files(), QStringList(after.keys()));
        for (auto file = after.cbegin(); file != after.cend(); ++file)
            QCOMPARE(ReadLocal(work(file.key())), file.value());
    }

    // Ctrl-C and SIGTERM in the middle of a transfer: it ends through its abort path, no
    // partial file is left, and the exit code tells which signal it was.
    void interrupted_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("message");
        QTest::newRow("get, Ctrl-C") << QStringList{"get", "SLOW", "big.bin"} << SIGINT
                                     << "download of big.bin interrupted after";
        QTest::newRow("put, SIGTERM") << QStringList{"put", "SLOW", "up.bin"} << SIGTERM
                                      << "the incomplete file was deleted from the camera";
    }

    void interrupted()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, signal);
        QFETCH(QString, message);
        QVERIFY(WriteLocal(work("up.bin"), pattern(4194304, 6)));
        QProcess process;
        process.setWorkingDirectory(m_work);
        ChildCommand::Target(PELLIX_FA_PATH, QStringList{"--simulate=" + m_cameras} + arguments).Start(process);
        process.setReadChannel(QProcess::StandardError);
        QVERIFY(process.waitForStarted());
        // Interrupted once the transfer is under way: a quarter of it is reported.
        QString err;
        while (!err.contains("25%") && process.waitForReadyRead(10000))
            err += QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(err.contains("25%"), qPrintable(err));
        QCOMPARE(::kill(pid_t(process.processId()), signal), 0);
        QVERIFY(process.waitForFinished(20000));
        err += QString::fromUtf8(process.readAllStandardError());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + signal);
        QVERIFY2(err.contains("pellix-fa: interrupted") && err.contains(message), qPrintable(err));
        QCOMPARE(files(), QStringList({"up.bin"}));
    }

    // A description the simulator cannot use is the user's to correct: exit code 2, the
    // line named, and a document with --json.
    void badDescription()
    {
        const QString broken = m_dir.filePath("broken.txt");
        QVERIFY(WriteLocal(broken, "camera id=A model=M\nfeature name=E type=enum entries=\n"));
        const CliRun text = RunCli(broken, {"list"}, m_work);
        QCOMPARE(text.exitCode, 2);
        QVERIFY2(text.err.contains("line 2: enum feature needs at least one entry"), qPrintable(text.err));
        const CliRun json = RunCli(broken, {"list", "--json"}, m_work);
        QCOMPARE(json.exitCode, 2);
        QVERIFY(json.Json().value("error").toString().contains("line 2"));
    }

    // Eight cameras at four at a time; one never restarts after its reset. The others
    // are updated all the same and the summary says which one failed.
    void firmwareFleet()
    {
        QString description;
        for (int i = 1; i <= 8; ++i)
            description += QStringLiteral("camera id=CAM%1 model=%2 serial=90%1 transport=%3 reset-delay=50 "
                                          "firmware=\"Firmware 1.%1\"\n")
                               .arg(i)
                               .arg(i % 2 ? "qda640MXGE" : "RZ-12M")
                               .arg(i % 2 ? "gige" : "usb3");
        description += "feature name=DeviceReset type=command\n"; // CAM8 ignores the reset
        description += "camera id=ODD model=\"Kestrel K12\"\ncamera id=BUSY model=qda640MXGE serial=9099 held=yes\n";
        const QString fleet = m_dir.filePath("fleet.txt");
        QVERIFY(WriteLocal(fleet, description.toUtf8()));
        QVERIFY(WriteLocal(work("update.ge3"), "PELLIX-FIRMWARE Firmware 2.0\n" + pattern(100000, 5)));

        const CliRun updated = RunCli(
            fleet, {"firmware", "--all-compatible", "update.ge3", "--jobs", "4", "--reset-timeout", "1", "--json"}, m_work);
        QCOMPARE(updated.exitCode, 4);
        const QJsonArray results = updated.Json().value("results").toArray();
        QCOMPARE(results.size(), 9);
        // A camera another application holds is passed over, not counted as a failure.
        QCOMPARE(results.at(8).toObject().value("skipped").toBool(), true);
        QCOMPARE(results.at(8).toObject().value("camera").toObject().value("id").toString(), "BUSY");
        // The wait for the camera that never restarts shows signs of life.
        QVERIFY2(updated.err.contains("(CAM8): waiting for the camera to restart"), qPrintable(updated.err));
        for (int i = 0; i < 8; ++i)
        {
            const QJsonObject result = results.at(i).toObject();
            QCOMPARE(result.value("camera").toObject().value("id").toString(), QStringLiteral("CAM%1").arg(i + 1));
            QCOMPARE(result.value("before").toString(), QStringLiteral("Firmware 1.%1").arg(i + 1));
            QCOMPARE(result.value("ok").toBool(), i != 7);
            if (i != 7)
                QCOMPARE(result.value("after").toString(), "Firmware 2.0");
            else
                QVERIFY(result.value("error").toString().contains("did not restart within 1 s"));
        }
        QCOMPARE(updated.ErrLines().filter("pellix-fa: ").size(), 1);
    }

    // The summary names each camera once, in its own column, beside what happened.
    void firmwareFailures()
    {
        QVERIFY(WriteLocal(work("broken.ge3"), "not an image\n"));
        const CliRun refused = run({"firmware", "USB1", "HELD", "broken.ge3"});
        QCOMPARE(refused.exitCode, 1);
        const QVector<QStringList> rows = refused.TableRows();
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows.at(0).mid(0, 3), QStringList({"RZ-12M-2002(USB1)", "Firmware 1.0.0", "Firmware 1.0.0"}));
        QVERIFY(rows.at(0).last().startsWith("FAILED: the camera did not accept the image"));
        QCOMPARE(rows.at(1).first(), "T-R402-5005(HELD)");
        QCOMPARE(rows.at(1).last(), "FAILED: cannot be controlled from here (in use by another application?)");
    }
};

QTEST_GUILESS_MAIN(TestCliCommands)
#include "tst_CliCommands.moc"
