// The simulated cameras' file storage, driven through the File Access Control
// features as a client drives them, and the firmware update with its reset.
#include "FileAccessClient.h"
#include "GrbTestSupport.h"
#include "ListRecorder.h"

#include <GrbCPP/GrbCPP.h>
#include <sim/SimWorld.h>

#include <QtTest>

using namespace GrbCPP;
using grb::sim::SimWorld;

namespace {

const QByteArray kDescription = R"(# file storage of various shapes
camera id=FG model=qda640MXGE transport=gige capacity=1000000 slots=UserSet1,LUTLuminance reset-delay=30 firmware="Firmware 2.0.0"
file selector=Userfile name=hello.txt text="hello camera\n"
file selector=UserSet1 size=100 seed=3
camera id=FU model=RZ-12M transport=usb3 capacity=1000000 slots=DefectPixelList
camera id=SMALL model=RZ-12M transport=usb3 capacity=64
file selector=Userfile name=first.bin size=40 seed=1
camera id=FIXED model=RZ-12M transport=usb3 access-length=ro buffer=1024
)";

const QByteArray kHello = "hello camera\n";

QByteArray deviceFile(const char* camera, const char* selector, const char* name, bool* exists = nullptr)
{
    std::vector<uint8_t> data;
    const bool found = SimWorld::Active()->ReadFile(camera, selector, name, data);
    if (exists)
        *exists = found;
    return QByteArray(reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()));
}

// One step of a misuse row: "select SELECTOR [NAME]", "open MODE", "close", "delete",
// "write OFFSET TEXT|#COUNT", "read OFFSET LENGTH".
GrbErrorType runStep(FileAccessClient& client, const QString& step)
{
    const QStringList words = step.split(' ', Qt::SkipEmptyParts);
    const QString verb = words.value(0);
    if (verb == "select")
        return client.Select(words.value(1), words.value(2));
    if (verb == "open")
        return client.Open(words.value(1));
    if (verb == "close")
        return client.Close();
    if (verb == "delete")
        return client.Delete();
    if (verb == "write")
    {
        const QString what = words.value(2);
        const QByteArray bytes = what.startsWith('#') ? GrbTest::Pattern(what.mid(1).toInt(), 9) : what.toUtf8();
        return client.Write(words.value(1).toLongLong(), bytes);
    }
    if (verb == "read")
    {
        QByteArray bytes;
        return client.Read(words.value(1).toLongLong(), words.value(2).toLongLong(), bytes);
    }
    return GrbErrorInternalFault;
}

} // namespace

class TestGrbFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void uploadAndReadBack_data();
    void uploadAndReadBack();
    void writeAndReadAtOffsets();
    void listing();
    void freeSpaceFollowsFiles();
    void misuseFailsTheOperation_data();
    void misuseFailsTheOperation();
    void deleteFiles();
    void singleFileSlots();
    void firmwareUpdateAndReset();
    void badFirmwareImageRefused_data();
    void badFirmwareImageRefused();
    void unplugDuringTransfer();
    void shortBufferDuringTransfer();
    void featureFaultDuringTransfer();

private:
    std::shared_ptr<ListRecorder> m_recorder;
};

void TestGrbFiles::init()
{
    QCOMPARE(GrbTest::StartSimulator(kDescription), GrbErrorSuccess);
    m_recorder = std::make_shared<ListRecorder>();
    QCOMPARE(GrbSystem::GetInstance().RegisterCameraListObserver(m_recorder), GrbErrorSuccess);
}

void TestGrbFiles::cleanup()
{
    GrbSystem::GetInstance().Shutdown();
    m_recorder.reset();
}

void TestGrbFiles::uploadAndReadBack_data()
{
    QTest::addColumn<QByteArray>("camera");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("chunk");

    QTest::newRow("empty") << QByteArray("FG") << 0 << 65536;
    QTest::newRow("one byte") << QByteArray("FG") << 1 << 65536;
    QTest::newRow("one full chunk") << QByteArray("FG") << 65536 << 65536;
    QTest::newRow("a byte past a chunk") << QByteArray("FG") << 65537 << 65536;
    QTest::newRow("three chunks and some") << QByteArray("FU") << 150000 << 65536;
    QTest::newRow("small chunks") << QByteArray("FU") << 5000 << 1000;
    QTest::newRow("fixed length, whole chunks") << QByteArray("FIXED") << 3072 << 1024;
    QTest::newRow("fixed length, short last chunk") << QByteArray("FIXED") << 2500 << 1024;
}

void TestGrbFiles::uploadAndReadBack()
{
    QFETCH(QByteArray, camera);
    QFETCH(int, size);
    QFETCH(int, chunk);

    FileAccessClient client(GrbTest::OpenCamera(camera));
    const QByteArray data = GrbTest::Pattern(size, size);
    QCOMPARE(client.Upload("Userfile", "upload.bin", data, chunk), GrbErrorSuccess);
    QCOMPARE(client.Status(), QStringLiteral("Success"));
    QCOMPARE(deviceFile(camera, "Userfile", "upload.bin"), data);

    qint64 fileSize = -1;
    QCOMPARE(client.FileSize("Userfile", "upload.bin", fileSize), GrbErrorSuccess);
    QCOMPARE(fileSize, qint64(size));
    QByteArray back;
    QCOMPARE(client.Download("Userfile", "upload.bin", back, chunk), GrbErrorSuccess);
    QCOMPARE(back, data);
    if (size < 3)
        return;

    // A chunk from the middle, and one that runs over the end and comes back short.
    QCOMPARE(client.Open("Read"), GrbErrorSuccess);
    const int offset = size / 3;
    QCOMPARE(client.Read(offset, chunk, back), GrbErrorSuccess);
    QCOMPARE(back, data.mid(offset, chunk));
    QCOMPARE(client.Read(size - 2, chunk, back), GrbErrorSuccess);
    QCOMPARE(back, data.right(2));
    QCOMPARE(client.Close(), GrbErrorSuccess);
}

void TestGrbFiles::writeAndReadAtOffsets()
{
    FileAccessClient client(GrbTest::OpenCamera("FU"));
    QCOMPARE(client.Upload("Userfile", "digits.txt", "0123456789"), GrbErrorSuccess);

    QCOMPARE(client.Open("ReadWrite"), GrbErrorSuccess);
    QCOMPARE(client.Write(4, "AB"), GrbErrorSuccess);
    QCOMPARE(client.Write(10, "XY"), GrbErrorSuccess);
    QByteArray bytes;
    QCOMPARE(client.Read(2, 4, bytes), GrbErrorSuccess);
    QCOMPARE(bytes, QByteArray("23AB"));
    QCOMPARE(client.Close(), GrbErrorSuccess);
    QCOMPARE(deviceFile("FU", "Userfile", "digits.txt"), QByteArray("0123AB6789XY"));

    // Opening to write starts the file afresh; opening to read and write keeps it.
    QCOMPARE(client.Open("ReadWrite"), GrbErrorSuccess);
    QCOMPARE(client.Close(), GrbErrorSuccess);
    QCOMPARE(deviceFile("FU", "Userfile", "digits.txt"), QByteArray("0123AB6789XY"));
    QCOMPARE(client.Open("Write"), GrbErrorSuccess);
    QCOMPARE(client.Write(0, "new"), GrbErrorSuccess);
    QCOMPARE(client.Close(), GrbErrorSuccess);
    QCOMPARE(deviceFile("FU", "Userfile", "digits.txt"), QByteArray("new"));
}

void TestGrbFiles::listing()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    QStringList names;
    QCOMPARE(client.List("Userfile", names), GrbErrorSuccess);
    QCOMPARE(names, QStringList{"hello.txt"});

    QCOMPARE(client.Upload("Userfile", "b.bin", "bb"), GrbErrorSuccess);
    QCOMPARE(client.Upload("Userfile", "a.bin", "a"), GrbErrorSuccess);
    QCOMPARE(client.List("Userfile", names), GrbErrorSuccess);
    QCOMPARE(names, QStringList({"hello.txt", "b.bin", "a.bin"}));
    QCOMPARE(GrbTest::SetFeature(*GrbTest::CameraById("FG"), "FilenameIndex", int64_t{3}), GrbErrorInvalidValue);

    const QList<QPair<QString, int>> selectors{{"UserSet1", 1}, {"LUTLuminance", 0}, {"Firmware", 0}};
    for (const auto& slot : selectors)
    {
        QCOMPARE(client.List(slot.first, names), GrbErrorSuccess);
        QCOMPARE(names.size(), slot.second);
    }
    qint64 size = 0;
    QCOMPARE(client.FileSize("UserSet1", QString(), size), GrbErrorSuccess);
    QCOMPARE(size, qint64(100));
    QCOMPARE(client.FileSize("Userfile", "b.bin", size), GrbErrorSuccess);
    QCOMPARE(size, qint64(2));
}

void TestGrbFiles::freeSpaceFollowsFiles()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    qint64 initial = 0;
    QCOMPARE(client.FreeSpace(initial), GrbErrorSuccess);
    QCOMPARE(initial, qint64(1000000 - kHello.size() - 100));

    qint64 free = 0;
    QCOMPARE(client.Upload("Userfile", "big.bin", GrbTest::Pattern(70000, 1)), GrbErrorSuccess);
    QCOMPARE(client.FreeSpace(free), GrbErrorSuccess);
    QCOMPARE(free, initial - 70000);
    QCOMPARE(client.Upload("LUTLuminance", QString(), GrbTest::Pattern(500, 2)), GrbErrorSuccess);
    QCOMPARE(client.FreeSpace(free), GrbErrorSuccess);
    QCOMPARE(free, initial - 70500);
    QCOMPARE(client.Upload("Userfile", "big.bin", GrbTest::Pattern(2000, 1)), GrbErrorSuccess);
    QCOMPARE(client.FreeSpace(free), GrbErrorSuccess);
    QCOMPARE(free, initial - 2500);
    QCOMPARE(client.Select("Userfile", "big.bin"), GrbErrorSuccess);
    QCOMPARE(client.Delete(), GrbErrorSuccess);
    QCOMPARE(client.Select("LUTLuminance"), GrbErrorSuccess);
    QCOMPARE(client.Delete(), GrbErrorSuccess);
    QCOMPARE(client.FreeSpace(free), GrbErrorSuccess);
    QCOMPARE(free, initial);
}

void TestGrbFiles::misuseFailsTheOperation_data()
{
    QTest::addColumn<QByteArray>("camera");
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("step");
    QTest::addColumn<int>("code");

    QTest::newRow("write without open") << QByteArray("FG") << "select Userfile a.txt" << "write 0 abc" << -15;
    QTest::newRow("open twice") << QByteArray("FG") << "select Userfile a.txt; open Write" << "open Write" << -15;
    QTest::newRow("open another while open")
        << QByteArray("FG") << "select Userfile a.txt; open Write; select Userfile b.txt" << "open Write" << -15;
    QTest::newRow("close without open") << QByteArray("FG") << "select Userfile hello.txt" << "close" << -15;
    QTest::newRow("close twice")
        << QByteArray("FG") << "select Userfile hello.txt; open Read; close" << "close" << -15;
    QTest::newRow("read at the end")
        << QByteArray("FG") << "select Userfile hello.txt; open Read" << "read 13 1" << -11;
    QTest::newRow("read past the end")
        << QByteArray("FG") << "select Userfile hello.txt; open Read" << "read 100 1" << -11;
    QTest::newRow("read of a missing file") << QByteArray("FG") << "select Userfile missing.bin" << "open Read" << -3;
    QTest::newRow("read of an empty slot") << QByteArray("FG") << "select LUTLuminance" << "open Read" << -3;
    QTest::newRow("read in write mode")
        << QByteArray("FG") << "select Userfile a.txt; open Write; write 0 abc" << "read 0 3" << -15;
    QTest::newRow("write in read mode")
        << QByteArray("FG") << "select Userfile hello.txt; open Read" << "write 0 abc" << -15;
    QTest::newRow("write leaving a gap")
        << QByteArray("FG") << "select Userfile a.txt; open Write; write 0 abc" << "write 5 abc" << -11;
    QTest::newRow("file without a name") << QByteArray("FG") << "select Userfile" << "open Write" << -11;
    QTest::newRow("firmware opened to read") << QByteArray("FG") << "select Firmware" << "open Read" << -6;
    QTest::newRow("delete firmware") << QByteArray("FG") << "select Firmware" << "delete" << -6;
    QTest::newRow("delete a missing file") << QByteArray("FG") << "select Userfile missing.bin" << "delete" << -3;
    QTest::newRow("delete the open file")
        << QByteArray("FG") << "select Userfile hello.txt; open Read" << "delete" << -15;
    QTest::newRow("file system full")
        << QByteArray("SMALL") << "select Userfile b.bin; open Write" << "write 0 #25" << -14;
    QTest::newRow("file system filled up")
        << QByteArray("SMALL") << "select Userfile b.bin; open Write; write 0 #24" << "write 24 #1" << -14;
}

void TestGrbFiles::misuseFailsTheOperation()
{
    QFETCH(QByteArray, camera);
    QFETCH(QString, setup);
    QFETCH(QString, step);
    QFETCH(int, code);

    FileAccessClient client(GrbTest::OpenCamera(camera));
    for (const QString& s : setup.split(';'))
        QVERIFY2(runStep(client, s) == GrbErrorSuccess, qPrintable(s));
    QCOMPARE(client.Status(), QStringLiteral("Success"));

    QCOMPARE(runStep(client, step), code);
    QCOMPARE(client.FailedStep(), QStringLiteral("FileOperationExecute"));
    QCOMPARE(client.Status(), QStringLiteral("Failure"));
    // Nothing was changed by the refused operation.
    QCOMPARE(deviceFile(camera, "Userfile", "hello.txt"), camera == "FG" ? kHello : QByteArray());
}

void TestGrbFiles::deleteFiles()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    QCOMPARE(client.Upload("Userfile", "gone.bin", "soon gone"), GrbErrorSuccess);
    QCOMPARE(client.Select("Userfile", "gone.bin"), GrbErrorSuccess);
    QCOMPARE(client.Delete(), GrbErrorSuccess);
    QCOMPARE(client.Status(), QStringLiteral("Success"));
    bool exists = true;
    deviceFile("FG", "Userfile", "gone.bin", &exists);
    QVERIFY(!exists);
    QCOMPARE(deviceFile("FG", "Userfile", "hello.txt"), kHello);
    QCOMPARE(client.Open("Read"), GrbErrorNotFound);

    QCOMPARE(client.Select("UserSet1"), GrbErrorSuccess);
    QCOMPARE(client.Delete(), GrbErrorSuccess);
    QStringList names;
    QCOMPARE(client.List("UserSet1", names), GrbErrorSuccess);
    QVERIFY(names.isEmpty());
    QCOMPARE(client.Delete(), GrbErrorNotFound);
}

void TestGrbFiles::singleFileSlots()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    const QByteArray set = GrbTest::Pattern(300, 4);
    // A slot holds one file whatever the name; a new upload replaces it.
    QCOMPARE(client.Upload("UserSet1", "ignored.bin", set), GrbErrorSuccess);
    QCOMPARE(deviceFile("FG", "UserSet1", ""), set);
    QStringList names;
    QCOMPARE(client.List("UserSet1", names), GrbErrorSuccess);
    QCOMPARE(names.size(), 1);
    QByteArray back;
    QCOMPARE(client.Download("UserSet1", QString(), back), GrbErrorSuccess);
    QCOMPARE(back, set);

    QCOMPARE(client.Upload("LUTLuminance", QString(), "lut"), GrbErrorSuccess);
    QCOMPARE(client.List("LUTLuminance", names), GrbErrorSuccess);
    QCOMPARE(names.size(), 1);
    // Slots are not Userfile names.
    QCOMPARE(client.List("Userfile", names), GrbErrorSuccess);
    QCOMPARE(names, QStringList{"hello.txt"});
}

void TestGrbFiles::firmwareUpdateAndReset()
{
    CameraPtr camera = GrbTest::OpenCamera("FG");
    FileAccessClient client(camera);
    const QByteArray image = "PELLIX-FIRMWARE Firmware 3.0.1 (build 42)\n" + GrbTest::Pattern(100000, 8);
    QCOMPARE(client.Upload("Firmware", QString(), image), GrbErrorSuccess);
    QStringList names;
    QCOMPARE(client.List("Firmware", names), GrbErrorSuccess);
    QVERIFY(names.isEmpty());
    QCOMPARE(SimWorld::Active()->Firmware("FG"), std::string("Firmware 2.0.0"));
    // A file left open does not outlive the reset.
    QCOMPARE(client.Select("Userfile", "hello.txt"), GrbErrorSuccess);
    QCOMPARE(client.Open("Read"), GrbErrorSuccess);

    QCOMPARE(GrbTest::RunCommand(*camera, "DeviceReset"), GrbErrorSuccess);
    QVERIFY(m_recorder->WaitFor(true, "SIM-GEV::FG", UpdateTriggerPluggedOut));
    QVERIFY(m_recorder->WaitFor(true, "SIM-GEV::FG", UpdateTriggerPluggedIn));
    QVERIFY(SimWorld::Active()->IsPresent("FG"));

    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
    std::string firmware;
    QCOMPARE(GrbTest::GetFeatureText(*camera, "DeviceManufacturerInfo", firmware), GrbErrorSuccess);
    QCOMPARE(firmware, std::string("Firmware 3.0.1 (build 42)"));
    QCOMPARE(SimWorld::Active()->Firmware("FG"), firmware);
    // The file storage survives the reset.
    QByteArray hello;
    QCOMPARE(client.Download("Userfile", "hello.txt", hello), GrbErrorSuccess);
    QCOMPARE(hello, kHello);
}

void TestGrbFiles::badFirmwareImageRefused_data()
{
    QTest::addColumn<QByteArray>("image");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no header") << "MZ" + GrbTest::Pattern(5000, 3);
    QTest::newRow("header in lower case") << QByteArray("pellix-firmware Firmware 9\n");
    QTest::newRow("header without line end") << QByteArray("PELLIX-FIRMWARE Firmware 9");
    QTest::newRow("header without version") << QByteArray("PELLIX-FIRMWARE \nrest");
    QTest::newRow("version too long") << "PELLIX-FIRMWARE " + QByteArray(65, 'v') + '\n';
}

void TestGrbFiles::badFirmwareImageRefused()
{
    QFETCH(QByteArray, image);

    CameraPtr camera = GrbTest::OpenCamera("FG");
    FileAccessClient client(camera);
    QCOMPARE(client.Upload("Firmware", QString(), image), GrbErrorInvalidValue);
    QCOMPARE(client.FailedStep(), QStringLiteral("FileOperationExecute"));
    QCOMPARE(client.Status(), QStringLiteral("Failure"));

    // A reset after the refused image comes back with the old firmware.
    QCOMPARE(GrbTest::RunCommand(*camera, "DeviceReset"), GrbErrorSuccess);
    QVERIFY(m_recorder->WaitFor(true, "SIM-GEV::FG", UpdateTriggerPluggedIn));
    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QCOMPARE(camera->Open(GrbAccessModeFull), GrbErrorSuccess);
    std::string firmware;
    QCOMPARE(GrbTest::GetFeatureText(*camera, "DeviceManufacturerInfo", firmware), GrbErrorSuccess);
    QCOMPARE(firmware, std::string("Firmware 2.0.0"));
}

void TestGrbFiles::unplugDuringTransfer()
{
    CameraPtr camera = GrbTest::OpenCamera("FU");
    FileAccessClient client(camera);
    QVERIFY(SimWorld::Active()->UnplugAfterChunks("FU", 2));
    const QByteArray data = GrbTest::Pattern(3000, 6);

    QCOMPARE(client.Upload("Userfile", "cut.bin", data, 1000), GrbErrorTransportLayer);
    QCOMPARE(client.FailedStep(), QStringLiteral("FileAccessOffset"));
    QVERIFY(m_recorder->WaitFor(true, "SIM-U3V::FU", UpdateTriggerPluggedOut));
    QVERIFY(!SimWorld::Active()->IsPresent("FU"));
    QCOMPARE(deviceFile("FU", "Userfile", "cut.bin"), data.left(2000));

    QCOMPARE(camera->Close(), GrbErrorSuccess);
    QVERIFY(camera->Open(GrbAccessModeFull) != GrbErrorSuccess);
    QVERIFY(!SimWorld::Active()->UnplugAfterChunks("NoCamera", 1));
}

void TestGrbFiles::shortBufferDuringTransfer()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    const QByteArray data = GrbTest::Pattern(1000, 2);
    QCOMPARE(client.Upload("Userfile", "short.bin", data), GrbErrorSuccess);
    QVERIFY(SimWorld::Active()->SetRawReadLimit("FG", "FileAccessBuffer", 100));
    QCOMPARE(client.Open("Read"), GrbErrorSuccess);
    QByteArray bytes;
    QCOMPARE(client.Read(0, 1000, bytes), GrbErrorSuccess);
    QCOMPARE(bytes, data.left(100));
    QCOMPARE(client.Close(), GrbErrorSuccess);
}

void TestGrbFiles::featureFaultDuringTransfer()
{
    FileAccessClient client(GrbTest::OpenCamera("FG"));
    // Open is the first run of the command, each chunk one more.
    QVERIFY(SimWorld::Active()->FailFeatureAccess("FG", "FileOperationExecute", 3, GrbErrorTimeout));
    const QByteArray data = GrbTest::Pattern(3000, 7);
    QCOMPARE(client.Upload("Userfile", "faulty.bin", data, 1000), GrbErrorTimeout);
    QCOMPARE(client.FailedStep(), QStringLiteral("FileOperationExecute"));
    QCOMPARE(client.Close(), GrbErrorSuccess);
    QCOMPARE(deviceFile("FG", "Userfile", "faulty.bin"), data.left(1000));
}

QTEST_GUILESS_MAIN(TestGrbFiles)
#include "tst_grb_files.moc"
