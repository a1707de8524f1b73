// The built pellix-fa against simulated cameras: what its tables, JSON documents,
// messages, exit codes and files say for each command.
// Before any Qt header: the simulator's configuration has a member named like a Qt keyword.
#include <sim/SimDescription.h>

#include "CliRun.h"

#include <QDir>
#include <QJsonArray>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const kCameras = R"(
camera id=GIGE1 model=qda640MXGE serial=1001 transport=gige slots=UserSet1 firmware="Firmware 1.0"
file selector=Userfile name=readme.txt text="hello camera\n"
file selector=Userfile name=big.bin size=150000 seed=4
file selector=Userfile name=../escape.txt text="out"
file selector=Userfile name=.. text="dots"
file selector=Userfile name="..\\win.txt" text="win"
file selector=UserSet1 size=1024 seed=3
camera id=USB1 model=RZ-12M serial=2002 transport=usb3
camera id=OTHER model="Kestrel K12" serial=3003 transport=gige
camera id=TWIN model=qda640MXGE serial=1001 transport=usb3
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

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
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

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_cameras = m_dir.filePath(QStringLiteral("cameras.txt"));
        QVERIFY(writeFile(m_cameras, kCameras));
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

    void versionAndHelp()
    {
        const CliRun version = run({QStringLiteral("--version")});
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(QString::fromUtf8(version.out).trimmed(), QStringLiteral("pellix-fa 1.0.0.2142e15"));
        const CliRun help = run({QStringLiteral("--help")});
        QCOMPARE(help.exitCode, 0);
        for (int code = 0; code <= 4; ++code)
            QVERIFY(QString::fromUtf8(help.out).contains(QRegularExpression(QStringLiteral("\\n  %1  \\w").arg(code))));
        // Each form of a command has a line of its own, the description below them.
        QVERIFY(help.out.contains("\n  firmware CAMERA... IMAGE.ge3\n  firmware --all-compatible IMAGE.ge3\n"
                                  "                                update the firmware"));
    }

    void list_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("cameras");
        const QStringList compatible{"SIM-GEV::GIGE1", "SIM-U3V::USB1", "SIM-U3V::TWIN", "SIM-U3V::NOFA",
                                     "SIM-GEV::HELD",  "SIM-U3V::DEAD", "SIM-U3V::NAMES", "SIM-U3V::SLOW"};
        QTest::newRow("compatible") << QStringList{"list"} << compatible;
        QTest::newRow("all") << QStringList{"list", "--all"} << (QStringList(compatible) << "SIM-GEV::OTHER");
    }

    void list()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, cameras);
        const CliRun json = run(QStringList(arguments) << QStringLiteral("--json"));
        QCOMPARE(json.exitCode, 0);
        bool ok = false;
        const QJsonArray listed = json.Json(&ok).value(QStringLiteral("cameras")).toArray();
        QVERIFY(ok);
        const QStringList ids = column(listed, "extendedId");
        QCOMPARE(QSet<QString>(ids.begin(), ids.end()), QSet<QString>(cameras.begin(), cameras.end()));

        const CliRun table = run(arguments);
        QCOMPARE(table.exitCode, 0);
        QSet<QString> rows;
        for (const QStringList& row : table.TableRows())
        {
            QCOMPARE(row.size(), 7);
            rows.insert(row.at(4));
            if (row.at(4) == QLatin1String("SIM-GEV::HELD"))
                QCOMPARE(row.at(5), QStringLiteral("read-only"));
            if (row.at(4) == QLatin1String("SIM-GEV::OTHER"))
                QCOMPARE(row.at(6), QStringLiteral("no"));
            if (row.at(4) == QLatin1String("SIM-GEV::GIGE1"))
                QCOMPARE(row.mid(0, 4), QStringList({"GigE Vision TL (Simulator)", "sim-eth0", "qda640MXGE", "1001"}));
        }
        QCOMPARE(rows, QSet<QString>(cameras.begin(), cameras.end()));
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
        QTest::newRow("ambiguous serial") << "1001" << 3 << QStringList{"SIM-GEV::GIGE1", "SIM-U3V::TWIN"};
        QTest::newRow("unknown") << "4711" << 3
                                 << QStringList{"SIM-GEV::GIGE1", "SIM-U3V::USB1",  "SIM-GEV::OTHER",
                                                "SIM-U3V::TWIN",  "SIM-U3V::NOFA",  "SIM-GEV::HELD",
                                                "SIM-U3V::DEAD",  "SIM-U3V::NAMES", "SIM-U3V::SLOW"};
    }

    void cameraNames()
    {
        QFETCH(QString, name);
        QFETCH(int, exitCode);
        QFETCH(QStringList, meant);
        const CliRun json = run({QStringLiteral("info"), name, QStringLiteral("--json")});
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
        QVERIFY2(!document.value("error").toString().endsWith(QLatin1Char(':')),
                 qPrintable(document.value("error").toString()));
        // The text form lists the same candidates, one a line below the error.
        const CliRun text = run({QStringLiteral("ls"), name});
        QCOMPARE(text.exitCode, exitCode);
        const QStringList lines = text.ErrLines();
        QCOMPARE(lines.size(), meant.size() + 1);
        QVERIFY(lines.front().startsWith(QLatin1String("pellix-fa: ")));
        for (int i = 0; i < meant.size(); ++i)
            QVERIFY2(lines.at(i + 1).trimmed().startsWith(meant.at(i)), qPrintable(lines.at(i + 1)));
    }

    void info()
    {
        const CliRun json = run({QStringLiteral("info"), QStringLiteral("GIGE1"), QStringLiteral("--json")});
        QCOMPARE(json.exitCode, 0);
        const QJsonObject document = json.Json();
        QCOMPARE(document.value("firmware").toString(), QStringLiteral("Firmware 1.0"));
        QCOMPARE(document.value("files").toInt(), 5);
        QCOMPARE(column(document.value("selectors").toArray(), "name"),
                 QStringList({"Userfile", "UserSet1", "Firmware"}));
        QCOMPARE(document.value("selectors").toArray().at(1).toObject().value("files").toInt(), 1);
        QVERIFY(document.value("freeBytes").toDouble() > 0);

        const CliRun noAccess = run({QStringLiteral("info"), QStringLiteral("NOFA"), QStringLiteral("--json")});
        QCOMPARE(noAccess.exitCode, 0);
        QCOMPARE(noAccess.Json().value("fileAccess").toBool(), false);
    }

    void ls()
    {
        const CliRun json = run({QStringLiteral("ls"), QStringLiteral("GIGE1"), QStringLiteral("--json")});
        QCOMPARE(json.exitCode, 0);
        const QJsonArray files = json.Json().value("files").toArray();
        QCOMPARE(column(files, "name"), QStringList({"readme.txt", "big.bin", "../escape.txt", "..", "..\\win.txt"}));
        QCOMPARE(files.at(1).toObject().value("size").toInt(), 150000);

        const CliRun table = run(
            {QStringLiteral("ls"), QStringLiteral("GIGE1"), QStringLiteral("--selector"), QStringLiteral("UserSet1")});
        QCOMPARE(table.exitCode, 0);
        QCOMPARE(table.TableRows().front(), QStringList({"UserSet1", "1024"}));
        QVERIFY(table.TableRows().last().front().startsWith(QLatin1String("1 file in UserSet1")));
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
    }

    void badInput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        if (QTest::currentDataTag() == QByteArray("unreadable file") && geteuid() == 0)
            QSKIP("root reads files whatever their mode");
        QVERIFY(writeFile(work("local.txt"), "x"));
        QVERIFY(writeFile(work("empty.txt"), ""));
        QVERIFY(writeFile(work("secret.txt"), "secret"));
        QVERIFY(QFile::setPermissions(work("secret.txt"), QFileDevice::Permissions()));
        QVERIFY(QDir(m_work).mkdir("sub"));
        QCOMPARE(mkfifo(QFile::encodeName(work("fifo")).constData(), 0600), 0);
        QVERIFY(writeFile(work("back\\slash.txt"), "x"));

        const CliRun result = run(arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(result.ErrLines().size(), 1);
        QVERIFY2(result.err.startsWith(QLatin1String("pellix-fa: ")) && result.err.contains(message),
                 qPrintable(result.err));
        QVERIFY(result.out.isEmpty());
        // With --json the same failure is also a document a script can read.
        const CliRun json = run(QStringList(arguments) << QStringLiteral("--json"));
        QCOMPARE(json.exitCode, exitCode);
        bool ok = false;
        QCOMPARE(json.Json(&ok).value("exitCode").toInt(), exitCode);
        QVERIFY(ok);
    }

    void get()
    {
        const CliRun fetched = run({QStringLiteral("get"), QStringLiteral("GIGE1"), QStringLiteral("readme.txt"),
                                    QStringLiteral("big.bin"), QStringLiteral("--verify"), QStringLiteral("--json")});
        QCOMPARE(fetched.exitCode, 0);
        QCOMPARE(readFile(work("readme.txt")), QByteArray("hello camera\n"));
        QCOMPARE(readFile(work("big.bin")), pattern(150000, 4));
        const QJsonArray results = fetched.Json().value("results").toArray();
        QCOMPARE(results.at(1).toObject().value("bytes").toInt(), 150000);
        QVERIFY(results.at(1).toObject().value("verified").toBool());
        // Away from a terminal, progress is a line at each quarter passed, with the share done.
        QVERIFY2(fetched.err.contains(QLatin1String("big.bin: 43% (65536 of 150000 bytes)")), qPrintable(fetched.err));

        // A slot named without a file gives its content; -o names the local file.
        const CliRun slot = run({QStringLiteral("get"), QStringLiteral("GIGE1"), QStringLiteral("--selector"),
                                 QStringLiteral("UserSet1"), QStringLiteral("-o"), QStringLiteral("set.bin")});
        QCOMPARE(slot.exitCode, 0);
        QCOMPARE(readFile(work("set.bin")), pattern(1024, 3));
        QCOMPARE(QDir(m_work).entryList(QDir::Files), QStringList({"big.bin", "readme.txt", "set.bin"}));

        // Several files and one of them missing: the others still come, exit code 4.
        QVERIFY(QDir(m_work).mkdir("sub"));
        const CliRun partly = run({QStringLiteral("get"), QStringLiteral("GIGE1"), QStringLiteral("nothere"),
                                   QStringLiteral("readme.txt"), QStringLiteral("-o"), QStringLiteral("sub")});
        QCOMPARE(partly.exitCode, 4);
        QCOMPARE(readFile(work("sub/readme.txt")), QByteArray("hello camera\n"));
    }

    void overwriteProtection()
    {
        const QString existing = QStringLiteral("readme.txt");
        QVERIFY(writeFile(work(existing), "mine"));
        const QStringList arguments{QStringLiteral("get"), QStringLiteral("GIGE1"), QStringLiteral("readme.txt")};
        const CliRun refused = run(arguments);
        QCOMPARE(refused.exitCode, 1);
        QVERIFY(refused.err.contains(QLatin1String("--force")));
        QCOMPARE(readFile(work(existing)), QByteArray("mine"));

        const CliRun forced = run(QStringList(arguments) << QStringLiteral("--force"));
        QCOMPARE(forced.exitCode, 0);
        QCOMPARE(readFile(work("readme.txt")), QByteArray("hello camera\n"));
        QCOMPARE(QDir(m_work).entryList(QDir::Files), QStringList({"readme.txt"}));
    }

    // A download's temporary file is a name of its own: never a file being fetched in
    // the same command, nor one that was there before.
    void temporaryNamesNeverCollide()
    {
        QVERIFY(writeFile(work("cal.partial"), "mine"));
        QVERIFY(writeFile(work("cal.tmp"), "unrelated"));
        const CliRun fetched = run({QStringLiteral("get"), QStringLiteral("NAMES"), QStringLiteral("cal.partial"),
                                    QStringLiteral("cal"), QStringLiteral("--force")});
        QCOMPARE(fetched.exitCode, 0);
        QCOMPARE(readFile(work("cal.partial")), QByteArray("half a calibration\n"));
        QCOMPARE(readFile(work("cal")), QByteArray("calibration\n"));
        QCOMPARE(QDir(m_work).entryList(QDir::Files), QStringList({"cal", "cal.partial", "cal.tmp"}));
    }

    // Names beyond ASCII, UTF-8 both ways: listed as they are, fetched, stored and read back.
    void nonAsciiNames()
    {
        const QString name = QStringLiteral("Kalibrierung_Größe_µm.txt");
        const CliRun listed = run({QStringLiteral("ls"), QStringLiteral("NAMES"), QStringLiteral("--json")});
        QVERIFY(column(listed.Json().value("files").toArray(), "name").contains(name));
        const CliRun fetched = run({QStringLiteral("get"), QStringLiteral("NAMES"), name});
        QCOMPARE(fetched.exitCode, 0);
        QCOMPARE(readFile(work(name)), QByteArray("Größe: 12 µm\n"));

        const QString upload = QStringLiteral("Übersicht_Maße.txt");
        QVERIFY(writeFile(work(upload), "Maße\n"));
        const CliRun stored =
            run({QStringLiteral("put"), QStringLiteral("NAMES"), upload, QStringLiteral("--verify"), "--json"});
        QCOMPARE(stored.exitCode, 0);
        QCOMPARE(column(stored.Json().value("results").toArray(), "file"), QStringList({upload}));
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
        QVERIFY(writeFile(work("up.bin"), pattern(4194304, 6)));
        QProcess process;
        process.setWorkingDirectory(m_work);
        process.start(QStringLiteral(PELLIX_FA_PATH), QStringList{"--simulate=" + m_cameras} + arguments);
        process.setReadChannel(QProcess::StandardError);
        QVERIFY(process.waitForStarted());
        // Interrupted once the transfer is under way: a quarter of it is reported.
        QString err;
        while (!err.contains(QLatin1String("25%")) && process.waitForReadyRead(10000))
            err += QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(err.contains(QLatin1String("25%")), qPrintable(err));
        QCOMPARE(::kill(pid_t(process.processId()), signal), 0);
        QVERIFY(process.waitForFinished(20000));
        err += QString::fromUtf8(process.readAllStandardError());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + signal);
        QVERIFY2(err.contains(QLatin1String("pellix-fa: interrupted")) && err.contains(message), qPrintable(err));
        QCOMPARE(QDir(m_work).entryList(QDir::Files), QStringList({"up.bin"}));
    }

    // A description the simulator cannot use is the user's to correct: exit code 2, the
    // line named, and a document with --json.
    void badDescription()
    {
        const QString broken = m_dir.filePath(QStringLiteral("broken.txt"));
        QVERIFY(writeFile(broken, "camera id=A model=M\nfeature name=E type=enum entries=\n"));
        const CliRun text = RunCli(broken, {QStringLiteral("list")}, m_work);
        QCOMPARE(text.exitCode, 2);
        QVERIFY2(text.err.contains(QLatin1String("line 2: enum feature needs at least one entry")), qPrintable(text.err));
        const CliRun json = RunCli(broken, {QStringLiteral("list"), QStringLiteral("--json")}, m_work);
        QCOMPARE(json.exitCode, 2);
        QVERIFY(json.Json().value("error").toString().contains(QLatin1String("line 2")));
    }

    // Names the camera reports that would leave the target directory are refused, the
    // other files of the same command still arrive.
    void unsafeDeviceNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("parent path") << "../escape.txt";
        QTest::newRow("dot dot") << "..";
        QTest::newRow("backslash") << "..\\win.txt";
    }

    void unsafeDeviceNames()
    {
        QFETCH(QString, name);
        QVERIFY(QDir(m_work).mkdir("in"));
        const CliRun result = run({QStringLiteral("get"), QStringLiteral("GIGE1"), name, QStringLiteral("readme.txt"),
                                   QStringLiteral("-o"), QStringLiteral("in"), QStringLiteral("--json")});
        QCOMPARE(result.exitCode, 4);
        QVERIFY(result.err.contains(QStringLiteral("refusing device file '%1'").arg(name)));
        QCOMPARE(QDir(m_work).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList({"in"}));
        QCOMPARE(QDir(work("in")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList({"readme.txt"}));
        QCOMPARE(result.Json().value("results").toArray().at(0).toObject().value("ok").toBool(), false);
    }

    void put()
    {
        QVERIFY(writeFile(work("new.bin"), pattern(140000, 77)));
        QVERIFY(writeFile(work("note.txt"), "note"));
        const CliRun stored = run({QStringLiteral("put"), QStringLiteral("USB1"), QStringLiteral("new.bin"),
                                   QStringLiteral("note.txt"), QStringLiteral("--verify"), QStringLiteral("--json")});
        QCOMPARE(stored.exitCode, 0);
        const QJsonArray results = stored.Json().value("results").toArray();
        QCOMPARE(column(results, "file"), QStringList({"new.bin", "note.txt"}));
        QCOMPARE(results.at(0).toObject().value("bytes").toInt(), 140000);
        QVERIFY(results.at(0).toObject().value("verified").toBool() &&
                results.at(1).toObject().value("verified").toBool());

        const CliRun renamed =
            run({QStringLiteral("put"), QStringLiteral("USB1"), QStringLiteral("note.txt"), QStringLiteral("--as"),
                 QStringLiteral("other name.txt"), QStringLiteral("--json")});
        QCOMPARE(renamed.exitCode, 0);
        QCOMPARE(column(renamed.Json().value("results").toArray(), "file"), QStringList({"other name.txt"}));
    }

    void putRefusesToReplace()
    {
        QVERIFY(writeFile(work("readme.txt"), "new text"));
        const QStringList arguments{QStringLiteral("put"), QStringLiteral("GIGE1"), QStringLiteral("readme.txt")};
        const CliRun refused = run(arguments);
        QCOMPARE(refused.exitCode, 1);
        QVERIFY(refused.err.contains(QLatin1String("already has 'readme.txt'")));
        QCOMPARE(run(QStringList(arguments) << QStringLiteral("--force")).exitCode, 0);
    }

    // A camera that acknowledges reads without refilling its buffer returns the last
    // chunk written: only --verify notices, and only because it spoils that buffer first.
    void verifyCatchesStaleReadBack()
    {
        QVERIFY(writeFile(work("cal.bin"), pattern(3000, 10)));
        const QStringList arguments{QStringLiteral("put"), QStringLiteral("DEAD"), QStringLiteral("cal.bin"),
                                    QStringLiteral("--force")};
        QCOMPARE(run(arguments).exitCode, 0);
        const CliRun verified = run(QStringList(arguments) << QStringLiteral("--verify"));
        QCOMPARE(verified.exitCode, 1);
        QVERIFY2(
            verified.err.contains(QLatin1String("verification of cal.bin failed: the camera's copy differs at byte 0")),
            qPrintable(verified.err));
    }

    void rm()
    {
        const QStringList arguments{QStringLiteral("rm"), QStringLiteral("GIGE1"), QStringLiteral("readme.txt"),
                                    QStringLiteral("big.bin")};
        const CliRun asked = run(arguments, "y\n");
        QCOMPARE(asked.exitCode, 2);

        const CliRun deleted = run(QStringList(arguments) << QStringLiteral("--yes") << QStringLiteral("--json"));
        QCOMPARE(deleted.exitCode, 0);
        QCOMPARE(column(deleted.Json().value("results").toArray(), "file"), QStringList({"readme.txt", "big.bin"}));

        const CliRun slot = run({QStringLiteral("rm"), QStringLiteral("GIGE1"), QStringLiteral("--selector"),
                                 QStringLiteral("UserSet1"), QStringLiteral("--yes")});
        QCOMPARE(slot.exitCode, 0);
        QVERIFY(slot.out.contains("deleted UserSet1 from UserSet1"));
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
                               .arg(i % 2 ? QStringLiteral("qda640MXGE") : QStringLiteral("RZ-12M"))
                               .arg(i % 2 ? QStringLiteral("gige") : QStringLiteral("usb3"));
        description += QStringLiteral("feature name=DeviceReset type=command\n"); // CAM8 ignores the reset
        description += QStringLiteral("camera id=ODD model=\"Kestrel K12\"\n");
        description += QStringLiteral("camera id=BUSY model=qda640MXGE serial=9099 held=yes\n");
        const QString fleet = m_dir.filePath(QStringLiteral("fleet.txt"));
        QVERIFY(writeFile(fleet, description.toUtf8()));
        QByteArray image("PELLIX-FIRMWARE Firmware 2.0\n");
        image += pattern(100000, 5);
        QVERIFY(writeFile(work("update.ge3"), image));

        const CliRun updated =
            RunCli(fleet,
                   {QStringLiteral("firmware"), QStringLiteral("--all-compatible"), QStringLiteral("update.ge3"),
                    QStringLiteral("--jobs"), QStringLiteral("4"), QStringLiteral("--reset-timeout"),
                    QStringLiteral("1"), QStringLiteral("--json")},
                   m_work);
        QCOMPARE(updated.exitCode, 4);
        const QJsonArray results = updated.Json().value("results").toArray();
        QCOMPARE(results.size(), 9);
        // A camera another application holds is passed over, not counted as a failure.
        QCOMPARE(results.at(8).toObject().value("skipped").toBool(), true);
        QCOMPARE(results.at(8).toObject().value("camera").toObject().value("id").toString(), QStringLiteral("BUSY"));
        // The wait for the camera that never restarts shows signs of life.
        QVERIFY2(updated.err.contains(QLatin1String("(CAM8): waiting for the camera to restart")), qPrintable(updated.err));
        for (int i = 0; i < 8; ++i)
        {
            const QJsonObject result = results.at(i).toObject();
            const QString id = result.value("camera").toObject().value("id").toString();
            QCOMPARE(id, QStringLiteral("CAM%1").arg(i + 1));
            QCOMPARE(result.value("before").toString(), QStringLiteral("Firmware 1.%1").arg(i + 1));
            QCOMPARE(result.value("ok").toBool(), i != 7);
            if (i != 7)
                QCOMPARE(result.value("after").toString(), QStringLiteral("Firmware 2.0"));
            else
                QVERIFY(result.value("error").toString().contains(QLatin1String("did not restart within 1 s")));
        }
        QCOMPARE(updated.ErrLines().filter(QStringLiteral("pellix-fa: ")).size(), 1);
    }

    void firmwareRefusedImage()
    {
        QVERIFY(writeFile(work("broken.ge3"), "not an image\n"));
        const CliRun refused = run({QStringLiteral("firmware"), QStringLiteral("USB1"), QStringLiteral("broken.ge3")});
        QCOMPARE(refused.exitCode, 1);
        const QVector<QStringList> rows = refused.TableRows();
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows.front().mid(0, 3), QStringList({"RZ-12M-2002(USB1)", "Firmware 1.0.0", "Firmware 1.0.0"}));
        QVERIFY(rows.front().last().startsWith(QLatin1String("FAILED: the camera did not accept the image")));
    }
};

QTEST_GUILESS_MAIN(TestCliCommands)
#include "tst_CliCommands.moc"
