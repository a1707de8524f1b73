// pellix-fa's commands in this process, with simulator faults switched on between the
// SDK start and the command: a camera unplugged in the middle of a download, a
// transport that delivers short buffers, an upload whose chunks break off.
#include <sim/SimWorld.h>

#include "cli/CliApplication.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

namespace {

const char* const kCameras = R"(
camera id=U model=RZ-12M serial=1 transport=usb3
file selector=Userfile name=big.bin size=200000 seed=1
file selector=Userfile name=small.txt text="small\n"
)";

QByteArray bytes(int size)
{
    QByteArray data(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<char>(i * 7 + i / 251);
    return data;
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

QByteArray deviceFile(const char* name)
{
    std::vector<uint8_t> data;
    if (!grb::sim::SimWorld::Active()->ReadFile("U", "Userfile", name, data))
        return QByteArray("<missing>");
    return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()));
}

} // namespace

class TestCliFaults : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QByteArray m_out;
    QByteArray m_err;

    // Starts the SDK on the description, lets fault switch something on, runs the
    // command, and lets inspect look at the cameras before the SDK stops.
    int run(
        const QStringList& arguments, const std::function<void(grb::sim::SimWorld&)>& fault,
        const std::function<void()>& inspect = [] {})
    {
        m_out.clear();
        m_err.clear();
        QBuffer out(&m_out);
        QBuffer err(&m_err);
        out.open(QIODevice::WriteOnly);
        err.open(QIODevice::WriteOnly);
        CliConsole console(&out, &err, nullptr);
        CliOptions options;
        QString error;
        if (!options.Parse(arguments, error))
            return -1;
        CliSession session;
        if (!session.Start(m_dir.filePath(QStringLiteral("cameras.txt")), error))
            return -1;
        fault(*grb::sim::SimWorld::Active());
        const int code = static_cast<int>(CliApplication(console).RunCommand(session, options));
        inspect();
        return code;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("cameras.txt")), kCameras));
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("out")));
    }

    // The camera leaves after two chunks: no file is left under its name or as a partial
    // file, and the second file of the batch is not attempted.
    void unplugDuringGet()
    {
        const QString out = m_dir.filePath(QStringLiteral("out"));
        const int code = run({"get", "U", "big.bin", "small.txt", "-o", out},
                             [](grb::sim::SimWorld& world) { QVERIFY(world.UnplugAfterChunks("U", 2)); });
        QCOMPARE(code, 1);
        const QString err = QString::fromUtf8(m_err);
        QVERIFY2(err.contains(QLatin1String("download of big.bin failed after 65536 of 200000 bytes; camera "
                                            "RZ-12M-1(U) no longer answers")),
                 qPrintable(err));
        QVERIFY(err.contains(QLatin1String("small.txt not fetched")));
        QCOMPARE(QDir(out).entryList(QDir::Files), QStringList());
    }

    // A transport that delivers only part of the buffer: the upload itself is fine (the
    // camera holds the right bytes), the read-back of --verify is what fails.
    void shortReadsFailVerification()
    {
        const QString local = m_dir.filePath(QStringLiteral("cal.bin"));
        QVERIFY(writeFile(local, bytes(5000)));
        QByteArray stored;
        const int code = run(
            {"put", "U", local, "--verify"},
            [](grb::sim::SimWorld& world) { QVERIFY(world.SetRawReadLimit("U", "FileAccessBuffer", 1000)); },
            [&] { stored = deviceFile("cal.bin"); });
        QCOMPARE(code, 1);
        QVERIFY2(QString::fromUtf8(m_err).contains(
                     QLatin1String("verification of cal.bin failed: reading it back stopped after 0 of 5000 bytes")),
                 m_err.constData());
        QCOMPARE(stored, bytes(5000));
    }

    // The engine reports success when a chunk breaks off but the close works; the
    // program sees the shortfall, says so and takes the truncated copy off the camera.
    void brokenUploadIsRemoved()
    {
        const QString local = m_dir.filePath(QStringLiteral("three.bin"));
        QVERIFY(writeFile(local, bytes(3 * 65536)));
        QByteArray stored;
        const int code = run(
            {"put", "U", local, "--json"},
            [](grb::sim::SimWorld& world) { QVERIFY(world.FailFeatureAccess("U", "FileAccessBuffer", 2)); },
            [&] { stored = deviceFile("three.bin"); });
        QCOMPARE(code, 1);
        QVERIFY(QString::fromUtf8(m_err).contains(
            QLatin1String("upload of three.bin stopped after 65536 of 196608 bytes; the incomplete file was deleted")));
        QCOMPARE(stored, QByteArray("<missing>"));
        QVERIFY(m_out.contains("\"exitCode\": 1"));
    }
};

QTEST_GUILESS_MAIN(TestCliFaults)
#include "tst_CliFaults.moc"
