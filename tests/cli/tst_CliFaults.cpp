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

#include <GrbCPP/GrbCPP.h>

#include <chrono>
#include <functional>
#include <thread>

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

GrbErrorType setText(GrbCPP::Camera& camera, const char* name, const char* value)
{
    GrbCPP::FeaturePtr feature;
    const GrbErrorType err = camera.GetFeatureByName(name, feature);
    return err != GrbErrorSuccess ? err : feature->SetValue(value);
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
        QVERIFY2(err.contains(QLatin1String("download of big.bin failed after 65536 of 200000 bytes: the chunk at byte "
                                            "65536 failed: ")) &&
                     err.contains(QLatin1String("; camera RZ-12M-1(U) no longer answers")),
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

    // An upload that did not complete never leaves a copy on the camera that passes for
    // the whole file: the program takes it off again, or says that it could not.
    void incompleteUploadIsRemoved_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<int>("nth");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("removed");
        QTest::newRow("chunk broke off")
            << "FileAccessBuffer" << 2
            << "upload of three.bin stopped after 65536 of 196608 bytes: moving the chunk at byte 65536 through "
               "FileAccessBuffer failed: TL error. (SDK code -13); the incomplete file was deleted from the camera"
            << true;
        // Open, three chunks, then the Close: the camera never confirmed the file.
        QTest::newRow("close refused") << "FileOperationExecute" << 5
                                       << "upload of three.bin failed: closing the device file failed: TL error. (SDK "
                                          "code -13)"
                                       << false;
    }

    void incompleteUploadIsRemoved()
    {
        QFETCH(QString, feature);
        QFETCH(int, nth);
        QFETCH(QString, message);
        QFETCH(bool, removed);
        const QString local = m_dir.filePath(QStringLiteral("three.bin"));
        QVERIFY(writeFile(local, bytes(3 * 65536)));
        QByteArray stored;
        const int code = run(
            {"put", "U", local, "--json"},
            [&](grb::sim::SimWorld& world) { QVERIFY(world.FailFeatureAccess("U", feature.toStdString(), nth)); },
            [&] { stored = deviceFile("three.bin"); });
        QCOMPARE(code, 1);
        QVERIFY2(QString::fromUtf8(m_err).contains(message), m_err.constData());
        QVERIFY(QString::fromUtf8(m_err).contains(removed ? QLatin1String("the incomplete file was deleted")
                                                          : QLatin1String("the incomplete file is still on the camera")));
        QCOMPARE(stored == "<missing>", removed);
        QVERIFY(m_out.contains("\"incompleteRemoved\": ") && m_out.contains("\"step\": "));
    }

    // A local file that grows while it is uploaded is not stored cut off somewhere.
    void localFileGrowingDuringUpload()
    {
        const QString local = m_dir.filePath(QStringLiteral("log.bin"));
        QVERIFY(writeFile(local, bytes(3 * 65536)));
        std::thread writer;
        QByteArray stored;
        const int code = run(
            {"put", "U", local},
            [&](grb::sim::SimWorld& world) {
                // Slow chunks, and more data arriving while they go.
                QVERIFY(world.SetCommandDelay("U", "FileOperationExecute", 150));
                writer = std::thread([local] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(100));
                    QFile file(local);
                    if (file.open(QIODevice::Append))
                        file.write(bytes(1000));
                });
            },
            [&] { stored = deviceFile("log.bin"); });
        writer.join();
        QCOMPARE(code, 1);
        QVERIFY2(QString::fromUtf8(m_err).contains(QLatin1String("changed while it was uploaded")), m_err.constData());
        QCOMPARE(stored, QByteArray("<missing>"));
    }

    // A device file an earlier client left open (killed in the middle of a transfer) is
    // closed by the next transfer, which then goes ahead and says what it found.
    void fileLeftOpenIsRecovered()
    {
        const QString out = m_dir.filePath(QStringLiteral("out"));
        const int code = run({"get", "U", "small.txt", "-o", out, "--force", "--json"}, [](grb::sim::SimWorld&) {
            GrbCPP::CameraPtr camera;
            QCOMPARE(GrbCPP::GrbSystem::GetInstance().GetCameraByID("SIM-U3V::U", camera), GrbErrorSuccess);
            QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
            QCOMPARE(setText(*camera, "FileSelector", "Userfile"), GrbErrorSuccess);
            QCOMPARE(setText(*camera, "Filename", "big.bin"), GrbErrorSuccess);
            QCOMPARE(setText(*camera, "FileOpenMode", "Read"), GrbErrorSuccess);
            QCOMPARE(setText(*camera, "FileOperationSelector", "Open"), GrbErrorSuccess);
            GrbCPP::FeaturePtr execute;
            QCOMPARE(camera->GetFeatureByName("FileOperationExecute", execute), GrbErrorSuccess);
            QCOMPARE(execute->RunCommand(), GrbErrorSuccess);
            QCOMPARE(camera->Close(), GrbErrorSuccess);
        });
        QCOMPARE(code, 0);
        QVERIFY(m_out.contains("\"recoveredOpenFile\": true"));
        QVERIFY2(QString::fromUtf8(m_err).contains(QLatin1String("had a device file left open")), m_err.constData());
        QFile fetched(out + QStringLiteral("/small.txt"));
        QVERIFY(fetched.open(QIODevice::ReadOnly));
        QCOMPARE(fetched.readAll(), QByteArray("small\n"));
    }
};

QTEST_GUILESS_MAIN(TestCliFaults)
#include "tst_CliFaults.moc"
