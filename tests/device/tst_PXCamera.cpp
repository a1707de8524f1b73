// The camera object on simulated cameras: feature access by name and its
// conversions, identity, byte order, packet size, user sets, the camera manager, and
// whole-file transfers with their progress, failures and time-outs.
#include "SimulatorFixture.h"
#include "LocalFiles.h"

#include "device/PXCameraManager.h"
#include "device/PXFeatureContainerUtil.h"
#include "device/StringToDouble.h"

#include <GrbCPP/Stream.h>

#include <QSignalSpy>
#include <QtTest>

#include <cerrno>

#include <sys/stat.h>

namespace {

const char* const kCameras = R"(
camera id=GIGE model=M1 transport=gige capacity=100000000
file selector=Userfile name=f0 size=0
file selector=Userfile name=f1 size=1 seed=1
file selector=Userfile name=f65536 size=65536 seed=2
file selector=Userfile name=f65537 size=65537 seed=3
file selector=Userfile name=f196608 size=196608 seed=4
camera id=USB model=M2 transport=usb3
feature name=EmptyRaw type=raw length=0
feature name=Never type=command delay=-1
camera id=TCP model=M3 transport=gige protocol=TCP
camera id=RO model=M4 transport=usb3 access-length=ro slots=Slot
file selector=Slot size=70000 seed=5
camera id=NONAME model=M5 transport=usb3 slots=Slot without=Filename
file selector=Slot size=100 seed=6
camera id=MODES model=M6 transport=usb3
feature name=FileOpenMode type=enum entries=Read:0,Write:1,ReadWrite:2 access=ro
camera id=SMALL model=M7 transport=usb3 capacity=100000
camera id=BUF4096 model=M8 transport=usb3 buffer=4096
feature name=FileAccessLength type=int value=4096 min=0 max=65536
file selector=Userfile name=f65537 size=65537 seed=3
camera id=LEN1000 model=M9 transport=usb3
feature name=FileAccessLength type=int value=1000 min=0 max=1000
file selector=Userfile name=f65537 size=65537 seed=3
camera id=BUF100000 model=M10 transport=usb3 buffer=100000
file selector=Userfile name=f65537 size=65537 seed=3
camera id=TIED model=M11 transport=usb3 buffer-length=follows
file selector=Userfile name=f65537 size=65537 seed=3
camera id=SLOWCMD model=M12 transport=usb3
file selector=Userfile name=f65537 size=65537 seed=3
fault feature=FileOperationExecute delay=30
camera id=SHORT model=M13 transport=usb3
file selector=Userfile name=f65537 size=65537 seed=3
fault feature=FileAccessBuffer short-read=100
camera id=LEAVES model=M14 transport=usb3
file selector=Userfile name=f65537 size=65537 seed=3
fault unplug-after-chunks=1
camera id=NOSIZE model=M15 transport=usb3
file selector=Userfile name=f65537 size=65537 seed=3
fault feature=FileSize fail-access=1 code=-11
)";

QList<qint64> progress(const QSignalSpy& spy, const QString& fileName, const QString& operation)
{
    QList<qint64> remaining;
    for (const auto& args : spy)
    {
        remaining << args.at(0).toLongLong();
        if (args.at(1).toString() != fileName || args.at(2).toString() != operation)
            remaining << -1;
    }
    return remaining;
}

} // namespace

Q_DECLARE_METATYPE(PXTransferReport::Step)

class TestPXCamera : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_sim.Start(kCameras));
        m_api = std::make_shared<ApiController>();
        m_manager = std::make_unique<PXCameraManager>(m_api);
    }

    void cleanup()
    {
        m_manager.reset();
        m_api.reset();
        m_sim.Stop();
    }

    // A value written by name (when there is one) through both function families, and
    // read back through both; an invalid "after" means the read fails.
    void featureValues_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QVariant>("input");
        QTest::addColumn<bool>("written");
        QTest::addColumn<bool>("viaHandle");
        QTest::addColumn<QVariant>("after");
        QTest::newRow("integer from text") << QByteArray("Width") << QVariant("32") << true << true
                                           << QVariant(qlonglong(32));
        QTest::newRow("integer off increment") << QByteArray("Width") << QVariant(17) << false << false
                                               << QVariant(qlonglong(1024));
        QTest::newRow("float") << QByteArray("DeviceTemperature") << QVariant() << false << false << QVariant(41.5);
        QTest::newRow("boolean from text") << QByteArray("ReverseX") << QVariant("true") << true << true
                                           << QVariant(true);
        // The handle functions select entries by name only.
        QTest::newRow("entry by int value") << QByteArray("PixelFormat") << QVariant(int(0x01100005)) << true << false
                                            << QVariant("Mono12");
        QTest::newRow("entry by qlonglong") << QByteArray("PixelFormat") << QVariant(qlonglong(0x01100005)) << false
                                            << false << QVariant("Mono8");
        QTest::newRow("unavailable entry") << QByteArray("PixelFormat") << QVariant("RGB8") << false << false
                                           << QVariant("Mono8");
        QTest::newRow("string") << QByteArray("DeviceUserID") << QVariant("Bay 4") << true << true << QVariant("Bay 4");
        QTest::newRow("read-only string") << QByteArray("DeviceModelName") << QVariant() << false << false
                                          << QVariant("M2");
        QTest::newRow("command") << QByteArray("UserSetSave") << QVariant(1) << false << false << QVariant();
        QTest::newRow("raw") << QByteArray("FileAccessBuffer") << QVariant() << false << false << QVariant();
        QTest::newRow("missing") << QByteArray("Missing") << QVariant() << false << false << QVariant();
    }

    void featureValues()
    {
        QFETCH(QByteArray, name);
        QFETCH(QVariant, input);
        QFETCH(bool, written);
        QFETCH(bool, viaHandle);
        QFETCH(QVariant, after);
        auto camera = open("USB");
        GrbHandle handle = handleOf("USB");
        if (input.isValid())
        {
            QCOMPARE(PXFeatureContainerUtil::SetFeatureValue(handle, name.constData(), input), viaHandle);
            QCOMPARE(camera->cameraFeature->SetValue(name.constData(), input), written);
        }
        for (int family = 0; family < 2; ++family)
        {
            QVariant value;
            QCOMPARE(family ? PXFeatureContainerUtil::GetFeatureValue(handle, name.constData(), value)
                            : camera->cameraFeature->GetValue(name.constData(), value),
                     after.isValid());
            QCOMPARE(value, after);
            QCOMPARE(value.userType(), after.userType());
        }
    }

    void featureHelpers()
    {
        auto camera = open("USB");
        PXCameraFeature* features = camera->cameraFeature;
        GrbHandle handle = handleOf("USB");
        GrbCPP::CameraPtr sdkCamera = m_api->GetCameraPtr(extendedId("USB"));
        auto container = std::static_pointer_cast<GrbCPP::FeatureContainer>(sdkCamera);
        // Entries: by name only, handed back as text; only the available ones are listed.
        QVariant entry(QByteArray("Mono12"));
        QVERIFY(PXFeatureContainerUtil::SetFeatureValueEnum(container, "PixelFormat", entry));
        QCOMPARE(entry.userType(), int(QMetaType::QString));
        QVERIFY(!PXFeatureContainerUtil::SetFeatureValueEnum(container, "Width", entry));
        QVERIFY(!PXFeatureContainerUtil::GetFeatureValueEnum(container, "Width", entry));
        QVERIFY(PXFeatureContainerUtil::SetFeatureValueEnum(handle, "PixelFormat", entry));
        QCOMPARE(features->GetSubFeatures("PixelFormat"), (QStringList{"Mono8", "Mono12"}));
        QCOMPARE(features->GetSubFeatures("Width"), QStringList());
        // Presence: an absent feature is an answer, any other failure is not.
        bool exists = true;
        QVERIFY(features->HasFeature("Missing", exists));
        QVERIFY(!exists);
        bool writable = true;
        QVERIFY(features->IsWritable("DeviceModelName", writable));
        QVERIFY(!writable);
        QVERIFY(!PXFeatureContainer(nullptr).HasFeature("Width", exists));
        // Raw buffers come whole, whatever was asked for; commands run without waiting.
        std::vector<unsigned char> bytes(3, 1);
        QVERIFY(features->GetRegisterValue("EmptyRaw", bytes, 1));
        QVERIFY(bytes.empty());
        QVERIFY(features->GetRegisterValue("FileAccessBuffer", bytes, 4));
        QCOMPARE(bytes.size(), size_t(65536));
        QVERIFY(!features->GetRegisterValue("FileAccessBuffer", bytes, 0));
        QVERIFY(!features->SetRegisterValue("FileAccessBuffer", {}, 1));
        QVERIFY(features->SetCommand("Never", 0));
        QVERIFY(PXFeatureContainerUtil::SetFeatureCommand(handle, "Never", 0));
        QVERIFY(!features->SetCommand("Width", 0));
        QVERIFY(!PXFeatureContainerUtil::SetFeatureValue(handle, "UserSetSave", QVariant(1)));
        QCOMPARE(sdkCamera->Close(), GrbErrorType(GrbErrorSuccess));
        QVERIFY(!features->HasFeature("Width", exists));
    }

    void featureRanges_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QVariantList>("range");
        QTest::newRow("integer") << QByteArray("Width") << true
                                 << QVariantList{qlonglong(16), qlonglong(4096), qlonglong(16)};
        QTest::newRow("float") << QByteArray("Gain") << true << QVariantList{0.0, 24.0, 0.1};
        QTest::newRow("float without increment") << QByteArray("ExposureTime") << false
                                                 << QVariantList{10.0, 1000000.0, QVariant()};
    }

    void featureRanges()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, ok);
        QFETCH(QVariantList, range);
        auto camera = open("USB");
        QVariant lo, hi, step;
        QCOMPARE(camera->cameraFeature->GetFeatureRange(name.constData(), lo, hi, step), ok);
        QCOMPARE((QVariantList{lo, hi, step}), range);
    }

    void stringToDouble_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("ok");
        QTest::newRow("decimal comma") << "1,5" << 1.5 << true;
        QTest::newRow("german grouping") << "1.234,5" << 1234.5 << true;
        QTest::newRow("german grouping only") << "1.234" << 1234.0 << true;
        QTest::newRow("decimal point") << "2.25" << 2.25 << true;
        QTest::newRow("neither") << "abc" << 0.0 << false;
    }

    void stringToDouble()
    {
        QFETCH(QString, text);
        QFETCH(double, value);
        QFETCH(bool, ok);
        bool parsed = !ok;
        QCOMPARE(StringToDouble(text, &parsed), value);
        QCOMPARE(parsed, ok);
        QCOMPARE(PXFeatureContainerUtil::StringToDouble(text, nullptr), value);
    }

    void identityAndManager()
    {
        auto camera = open("GIGE");
        QCOMPARE(camera->GetInfo(nullptr), GrbErrorType(GrbErrorBadParameter));
        std::shared_ptr<GrbCPP::Frame> frame;
        QVERIFY(camera->AcquireSingleImage(frame, 1000, GrbCPP::FrameAllocation_AnnounceFrame));
        QVERIFY(!m_manager->Open("SIM-GEV::NOPE"));
        QVERIFY(!m_manager->Open("SIM-GEV::GIGE")); // already open
        QVERIFY(m_manager->Close("SIM-GEV::GIGE"));
        QVERIFY(m_manager->Close("SIM-GEV::GIGE")); // closing a closed camera succeeds
        QVERIFY(!m_manager->Close("SIM-GEV::NOPE"));
    }

    void byteOrder_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("bigEndian");
        QTest::addColumn<QByteArray>("versionBytes");
        QTest::addColumn<QByteArray>("writtenBytes");
        QTest::newRow("GigE Vision") << "GIGE" << true << QByteArray("\x00\x01\x00\x02", 4)
                                     << QByteArray("\x11\x22\x33\x44", 4);
        QTest::newRow("USB3 Vision") << "USB" << false << QByteArray("\x02\x00\x01\x00", 4)
                                     << QByteArray("\x44\x33\x22\x11", 4);
    }

    void byteOrder()
    {
        QFETCH(QString, id);
        QFETCH(bool, bigEndian);
        QFETCH(QByteArray, versionBytes);
        QFETCH(QByteArray, writtenBytes);
        auto camera = open(id);
        QCOMPARE(camera->IsBigEndian(), bigEndian);
        unsigned int value = 0;
        QVERIFY(camera->ReadRegister(0, &value));
        QCOMPARE(value, 0x00010002u);
        QByteArray raw(4, '\0');
        unsigned int size = 4;
        QVERIFY(camera->Read(0, raw.data(), &size));
        QCOMPARE(raw, versionBytes);
        QVERIFY(camera->WriteRegister(0x100, 0x11223344u));
        QVERIFY(camera->Read(0x100, raw.data(), &size));
        QCOMPARE(raw, writtenBytes);
        size = 0;
        QVERIFY(!camera->Read(0, raw.data(), &size));
        QVERIFY(!camera->Write(0, raw.data(), &size));
        QVERIFY(!camera->ReadRegister(0, nullptr));
    }

    void packetSize_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("protocolReadFails");
        QTest::addColumn<QVariant>("packetSize"); // invalid: the stream has no such feature
        QTest::newRow("GigE over UDP") << "GIGE" << false << QVariant(qlonglong(9000));
        QTest::newRow("GigE, protocol unreadable") << "GIGE" << true << QVariant(qlonglong(9000));
        QTest::newRow("GigE over TCP") << "TCP" << false << QVariant(qlonglong(1500));
        QTest::newRow("USB3 Vision") << "USB" << false << QVariant();
    }

    void packetSize()
    {
        QFETCH(QString, id);
        QFETCH(bool, protocolReadFails);
        QFETCH(QVariant, packetSize);
        GrbCPP::CameraPtr sdkCamera = m_api->OpenCamera(extendedId(id));
        QVERIFY(sdkCamera);
        if (protocolReadFails)
            QVERIFY(m_sim.World()->FailFeatureAccess(id.toStdString(), "GVSPProtocol", 1, GrbErrorTransportLayer, 0));
        PXCamera camera(sdkCamera);
        unsigned int count = 1;
        std::vector<GrbCPP::StreamPtr> streams(1);
        QCOMPARE(sdkCamera->GetStreams(streams.data(), count), GrbErrorType(GrbErrorSuccess));
        PXFeatureContainer stream(streams.front());
        QVariant value;
        QCOMPARE(stream.GetValue("GVSPPacketSize", value), packetSize.isValid());
        QCOMPARE(value, packetSize);
    }

    void saveToUserSet_data()
    {
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("savedTo");
        QTest::newRow("factory set selected") << "Default" << "UserSet1";
        QTest::newRow("user set selected") << "UserSet2" << "UserSet2";
    }

    void saveToUserSet()
    {
        QFETCH(QString, selected);
        QFETCH(QString, savedTo);
        auto camera = open("USB");
        PXCameraFeature* features = camera->cameraFeature;
        QVERIFY(features->SetValue("UserSetSelector", selected));
        QVERIFY(features->SetValue("Width", 64));
        QVERIFY(camera->SaveToUserSet());
        QVERIFY(features->SetValue("Width", 128));
        QVariant value;
        QVERIFY(features->GetValue("UserSetSelector", value));
        QCOMPARE(value.toString(), savedTo);
        QVERIFY(features->SetCommand("UserSetLoad", 0));
        QVERIFY(features->GetValue("Width", value));
        QCOMPARE(value, QVariant(qlonglong(64)));

        QVERIFY(m_sim.World()->FailFeatureAccess("USB", "UserSetSelector", 1));
        QVERIFY(!camera->SaveToUserSet());
    }

    // Whole files both ways: the content, the progress reports and the length the last
    // chunk left in FileAccessLength.
    void transfers_data()
    {
        QTest::addColumn<bool>("download");
        QTest::addColumn<int>("size");
        QTest::addColumn<QList<qint64>>("progress");
        QTest::addColumn<qlonglong>("lastLength");
        QTest::newRow("download, empty") << true << 0 << QList<qint64>{0} << 0ll;
        QTest::newRow("download, one byte") << true << 1 << QList<qint64>{0, 0} << 1ll;
        QTest::newRow("download, one full chunk") << true << 65536 << QList<qint64>{0, 0} << 65536ll;
        QTest::newRow("download, one byte over") << true << 65537 << QList<qint64>{1, 0, 0} << 1ll;
        QTest::newRow("download, three chunks") << true << 196608 << QList<qint64>{131072, 65536, 0, 0} << 65536ll;
        QTest::newRow("upload, one byte") << false << 1 << QList<qint64>{0} << 1ll;
        QTest::newRow("upload, one full chunk") << false << 65536 << QList<qint64>{0} << 65536ll;
        QTest::newRow("upload, one byte over") << false << 65537 << QList<qint64>{0} << 1ll;
        QTest::newRow("upload, three chunks") << false << 196608 << QList<qint64>{131072, 0} << 65536ll;
    }

    void transfers()
    {
        QFETCH(bool, download);
        QFETCH(int, size);
        QFETCH(QList<qint64>, progress);
        QFETCH(qlonglong, lastLength);
        auto camera = open("GIGE");
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        const QString file = download ? QStringLiteral("f%1").arg(size) : QStringLiteral("up.bin");
        const QString local = m_sim.Path("transfer.bin");
        long written = -1;
        if (download)
            QVERIFY(camera->DownloadDeviceFile(qPrintable(local), qPrintable(file), "Userfile", &written));
        else
        {
            QVERIFY(WriteLocal(local, GrbTest::Pattern(size, 1)));
            QVERIFY(camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &written));
        }
        QCOMPARE(written, long(size));
        QCOMPARE(*m_sim.DeviceFile("GIGE", "Userfile", qPrintable(file)), ReadLocal(local));
        QCOMPARE(::progress(spy, file, download ? "Read" : "Write"), progress);
        QVariant length;
        QVERIFY(camera->cameraFeature->GetValue("FileAccessLength", length));
        QCOMPARE(length.toLongLong(), lastLength);
        QVERIFY(!IsOpenInThisProcess(local));
    }

    void uploadOfNothingTouchesNoDevice()
    {
        auto camera = open("GIGE");
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        long written = -1;
        QVERIFY(!camera->UploadBuffer({}, "up.bin", "Userfile", &written));
        QCOMPARE(written, -1L);
        const QString empty = m_sim.Path("empty.bin");
        QVERIFY(WriteLocal(empty, QByteArray()));
        QVERIFY(!camera->UploadLocalFile("up.bin", qPrintable(empty), "Userfile", &written));
        QCOMPARE(written, 0L);
        QVERIFY(!camera->UploadLocalFile("up.bin", qPrintable(m_sim.Path("missing.bin")), "Userfile", &written));
        QVERIFY(!m_sim.DeviceFile("GIGE", "Userfile", "up.bin"));
        QCOMPARE(spy.count(), 0);
    }

    void downloadFailures_data()
    {
        QTest::addColumn<QString>("feature");
        QTest::addColumn<int>("nth");
        QTest::addColumn<int>("rawLimit");
        QTest::addColumn<int>("written");
        QTest::addColumn<bool>("localLeftOpen");
        QTest::addColumn<bool>("deviceLeftOpen");
        QTest::addColumn<PXTransferReport::Step>("step");
        // FileOperationSelector and FileOperationExecute are used by Open (1st), the three
        // chunks (2nd to 4th) and Close (5th).
        using S = PXTransferReport::Step;
        QTest::newRow("selector") << "FileSelector" << 1 << 0 << 0 << false << false << S::Select;
        QTest::newRow("file name") << "Filename" << 1 << 0 << 0 << true << false << S::Name;
        QTest::newRow("open mode") << "FileOpenMode" << 1 << 0 << 0 << false << false << S::Open;
        QTest::newRow("open selection") << "FileOperationSelector" << 1 << 0 << 0 << false << false << S::Open;
        QTest::newRow("open") << "FileOperationExecute" << 1 << 0 << 0 << false << false << S::Open;
        QTest::newRow("size") << "FileSize" << 1 << 0 << 0 << false << false << S::Size;
        QTest::newRow("length") << "FileAccessLength" << 1 << 0 << 0 << true << true << S::Length;
        QTest::newRow("second offset") << "FileAccessOffset" << 2 << 0 << 65536 << false << false << S::Chunk;
        QTest::newRow("second read selection") << "FileOperationSelector" << 3 << 0 << 65536 << false << false
                                               << S::Chunk;
        QTest::newRow("second read") << "FileOperationExecute" << 3 << 0 << 65536 << false << false << S::Chunk;
        QTest::newRow("second buffer") << "FileAccessBuffer" << 2 << 0 << 65536 << false << false << S::Buffer;
        QTest::newRow("short buffer") << "" << 0 << 65535 << 0 << false << false << S::ShortBuffer;
        QTest::newRow("close selection") << "FileOperationSelector" << 5 << 0 << 196608 << false << false << S::Close;
        QTest::newRow("close") << "FileOperationExecute" << 5 << 0 << 196608 << false << false << S::Close;
    }

    void downloadFailures()
    {
        QFETCH(QString, feature);
        QFETCH(int, nth);
        QFETCH(int, rawLimit);
        QFETCH(int, written);
        QFETCH(bool, localLeftOpen);
        QFETCH(bool, deviceLeftOpen);
        QFETCH(PXTransferReport::Step, step);
        auto camera = open("GIGE");
        if (nth)
            QVERIFY(m_sim.World()->FailFeatureAccess("GIGE", feature.toStdString(), unsigned(nth)));
        if (rawLimit)
            QVERIFY(m_sim.World()->SetRawReadLimit("GIGE", "FileAccessBuffer", unsigned(rawLimit)));
        const QString local = m_sim.Path(QStringLiteral("failed-%1.bin").arg(QTest::currentDataTag()));
        long bytesWritten = -1;
        QVERIFY(!camera->DownloadDeviceFile(qPrintable(local), "f196608", "Userfile", &bytesWritten));
        QCOMPARE(bytesWritten, long(written));
        QCOMPARE(IsOpenInThisProcess(local), localLeftOpen);
        QCOMPARE(ReadLocal(local), m_sim.DeviceFile("GIGE", "Userfile", "f196608")->left(written));
        QCOMPARE(camera->LastTransferReport().step, step);
        QCOMPARE(camera->LastTransferReport().sdkCode, rawLimit ? GrbErrorSuccess : GrbErrorTransportLayer);
        // A device file left open is closed by the next transfer, which then goes ahead.
        m_sim.World()->SetRawReadLimit("GIGE", "FileAccessBuffer", 0);
        QVERIFY(camera->DownloadDeviceFile(qPrintable(m_sim.Path("probe.bin")), "f1", "Userfile", &bytesWritten));
        QCOMPARE(camera->LastTransferReport().openRecovered, deviceLeftOpen);
    }

    void downloadWithoutArguments()
    {
        auto camera = open("GIGE");
        long written = -1;
        QVERIFY(!camera->DownloadDeviceFile(nullptr, "f1", "Userfile", &written));
        QCOMPARE(written, -1L);
        QVERIFY(!camera->DownloadDeviceFile(qPrintable(m_sim.Path("no/such/dir/x")), "f1", "Userfile", &written));
        QCOMPARE(written, 0L);
    }

    void uploadFailures_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("feature");
        QTest::addColumn<int>("nth");
        QTest::addColumn<bool>("result");
        QTest::addColumn<int>("written");
        QTest::addColumn<int>("onDevice"); // -1: no such device file
        QTest::addColumn<bool>("deviceLeftOpen");
        QTest::addColumn<PXTransferReport::Step>("step");
        using S = PXTransferReport::Step;
        QTest::newRow("selector") << "GIGE" << "FileSelector" << 1 << false << 0 << -1 << false << S::Select;
        QTest::newRow("file name") << "GIGE" << "Filename" << 1 << false << 0 << -1 << false << S::Name;
        QTest::newRow("open mode") << "GIGE" << "FileOpenMode" << 1 << false << 0 << -1 << false << S::Open;
        QTest::newRow("open selection") << "GIGE" << "FileOperationSelector" << 1 << false << 0 << -1 << false
                                        << S::Open;
        QTest::newRow("open") << "GIGE" << "FileOperationExecute" << 1 << false << 0 << -1 << false << S::Open;
        QTest::newRow("length") << "GIGE" << "FileAccessLength" << 1 << true << 0 << 0 << false << S::Length;
        QTest::newRow("second offset") << "GIGE" << "FileAccessOffset" << 2 << true << 65536 << 65536 << false
                                       << S::Chunk;
        QTest::newRow("second buffer") << "GIGE" << "FileAccessBuffer" << 2 << true << 65536 << 65536 << false
                                       << S::Buffer;
        QTest::newRow("second write selection") << "GIGE" << "FileOperationSelector" << 3 << true << 65536 << 65536
                                                << false << S::Chunk;
        QTest::newRow("second write") << "GIGE" << "FileOperationExecute" << 3 << true << 65536 << 65536 << false
                                      << S::Chunk;
        QTest::newRow("file system full") << "SMALL" << "" << 0 << true << 65536 << 65536 << false << S::Chunk;
        QTest::newRow("close selection") << "GIGE" << "FileOperationSelector" << 5 << false << 0 << 196608 << true
                                         << S::Close;
        QTest::newRow("close") << "GIGE" << "FileOperationExecute" << 5 << false << 0 << 196608 << true << S::Close;
    }

    void uploadFailures()
    {
        QFETCH(QString, id);
        QFETCH(QString, feature);
        QFETCH(int, nth);
        QFETCH(bool, result);
        QFETCH(int, written);
        QFETCH(int, onDevice);
        QFETCH(bool, deviceLeftOpen);
        QFETCH(PXTransferReport::Step, step);
        auto camera = open(id);
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        if (nth)
            QVERIFY(m_sim.World()->FailFeatureAccess(id.toStdString(), feature.toStdString(), unsigned(nth)));
        const QString local = m_sim.Path("upload.bin");
        QVERIFY(WriteLocal(local, GrbTest::Pattern(196608, 1)));
        long bytesWritten = -1;
        QCOMPARE(camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &bytesWritten), result);
        QCOMPARE(bytesWritten, long(written));
        const auto device = m_sim.DeviceFile(qPrintable(id), "Userfile", "up.bin");
        QCOMPARE(device ? device->size() : -1, onDevice);
        if (device)
            QCOMPARE(*device, GrbTest::Pattern(onDevice, 1));
        QCOMPARE(!spy.isEmpty() && spy.last().at(0).toLongLong() == 0, result);
        QCOMPARE(camera->LastTransferReport().step, step);
        QCOMPARE(camera->LastTransferReport().localBytes, qint64(196608));
        QVERIFY(camera->UploadBuffer({1}, "probe", "Userfile", &bytesWritten));
        QCOMPARE(camera->LastTransferReport().openRecovered, deviceLeftOpen);
    }

    void transfersWithoutNameOrWritableLength_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("uploadSize");
        // Whole chunks only: with a read-only length each chunk goes by the device's own length.
        QTest::newRow("read-only FileAccessLength") << "RO" << 131072;
        QTest::newRow("no Filename feature") << "NONAME" << 70001;
    }

    void transfersWithoutNameOrWritableLength()
    {
        QFETCH(QString, id);
        QFETCH(int, uploadSize);
        auto camera = open(id);
        const QString local = m_sim.Path("slot.bin");
        long written = 0;
        QVERIFY(camera->DownloadDeviceFile(qPrintable(local), "ignored", "Slot", &written));
        QCOMPARE(ReadLocal(local), *m_sim.DeviceFile(qPrintable(id), "Slot", ""));
        QVERIFY(camera->UploadBuffer(std::vector<unsigned char>(size_t(uploadSize), 7), "ignored", "Slot", &written));
        QCOMPARE(written, long(uploadSize));
        QCOMPARE(*m_sim.DeviceFile(qPrintable(id), "Slot", ""), QByteArray(uploadSize, 7));
    }

    void smallBuffers_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("capacity");
        QTest::newRow("4096-byte buffer, a longer length allowed") << "BUF4096" << 4096;
        QTest::newRow("FileAccessLength up to 1000") << "LEN1000" << 1000;
        QTest::newRow("buffer larger than a chunk") << "BUF100000" << 65536;
        // What the camera can do, not what the last (1-byte) transfer left in the buffer.
        QTest::newRow("buffer as long as the length") << "TIED" << 65536;
    }

    void smallBuffers()
    {
        QFETCH(QString, id);
        QFETCH(int, capacity);
        const int size = 65537;
        const int chunks = (size + capacity - 1) / capacity;
        auto camera = open(id);
        long written = 0;
        QVERIFY(camera->UploadBuffer({1}, "one", "Userfile", &written));
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        const QString local = m_sim.Path("small.bin");
        QVERIFY(camera->DownloadDeviceFile(qPrintable(local), "f65537", "Userfile", &written));
        QCOMPARE(ReadLocal(local), *m_sim.DeviceFile(qPrintable(id), "Userfile", "f65537"));
        QCOMPARE(spy.count(), chunks + 1);
        QCOMPARE(spy.first().at(0).toLongLong(), qint64(size - capacity));
        QVariant length;
        QVERIFY(camera->cameraFeature->GetValue("FileAccessLength", length));
        QCOMPARE(length.toLongLong(), qint64(size - (chunks - 1) * capacity));

        QVERIFY(WriteLocal(local, GrbTest::Pattern(size, 1)));
        QVERIFY(camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &written));
        QCOMPARE(written, long(size));
        QCOMPARE(*m_sim.DeviceFile(qPrintable(id), "Userfile", "up.bin"), GrbTest::Pattern(size, 1));
    }

    // The faults a description switches on, as a user would try them from the shell.
    void describedFaults_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<PXTransferReport::Step>("step"); // None: the download works
        QTest::addColumn<GrbErrorType>("code");
        using S = PXTransferReport::Step;
        QTest::newRow("slow command") << "SLOWCMD" << S::None << GrbErrorType{GrbErrorSuccess};
        QTest::newRow("short buffer") << "SHORT" << S::ShortBuffer << GrbErrorType{GrbErrorSuccess};
        QTest::newRow("unplugged after a chunk") << "LEAVES" << S::Chunk << GrbErrorType{GrbErrorTimeout};
        QTest::newRow("failing feature") << "NOSIZE" << S::Size << GrbErrorType{GrbErrorInvalidValue};
    }

    void describedFaults()
    {
        QFETCH(QString, id);
        QFETCH(PXTransferReport::Step, step);
        QFETCH(GrbErrorType, code);
        auto camera = open(id);
        long written = 0;
        QCOMPARE(camera->DownloadDeviceFile(qPrintable(m_sim.Path("faults.bin")), "f65537", "Userfile", &written),
                 step == PXTransferReport::Step::None);
        QCOMPARE(camera->LastTransferReport().step, step);
        QCOMPARE(camera->LastTransferReport().sdkCode, code);
    }

    // Asked for from another thread in the field (Ctrl-C, "Close Camera"); here by the
    // first progress report. The device file is closed, and an upload's part deleted.
    void abortEndsTheTransfer_data()
    {
        QTest::addColumn<bool>("download");
        QTest::newRow("download") << true;
        QTest::newRow("upload") << false;
    }

    void abortEndsTheTransfer()
    {
        QFETCH(bool, download);
        auto camera = open("GIGE");
        PXCamera* raw = camera.get();
        connect(
            raw, &PXCamera::updateTransferProcess, raw, [raw] { raw->AbortTransfers(true); }, Qt::DirectConnection);
        const QString local = m_sim.Path("abort.bin");
        long written = 0;
        if (download)
        {
            QVERIFY(!camera->DownloadDeviceFile(qPrintable(local), "f196608", "Userfile", &written));
            QCOMPARE(written, 65536L);
        }
        else
        {
            QVERIFY(WriteLocal(local, GrbTest::Pattern(196608, 1)));
            QVERIFY(!camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &written));
            QVERIFY(camera->LastTransferReport().incompleteRemoved);
            QVERIFY(!m_sim.DeviceFile("GIGE", "Userfile", "up.bin"));
        }
        QCOMPARE(camera->LastTransferReport().step, PXTransferReport::Step::Aborted);
        QCOMPARE(camera->LastTransferReport().offset, qint64(65536));

        // While the request stands, a transfer ends before it touches the device.
        QVERIFY(!camera->UploadBuffer({1}, "late.bin", "Userfile", &written));
        QVERIFY(!m_sim.DeviceFile("GIGE", "Userfile", "late.bin"));
        camera->AbortTransfers(false);
        QVERIFY(camera->DownloadDeviceFile(qPrintable(local), "f1", "Userfile", &written));
        QVERIFY(!camera->LastTransferReport().openRecovered);
    }

    void localFileProblems()
    {
        auto camera = open("GIGE");
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        long written = -1;
        // A full disk may show only when the last buffered bytes reach it, at close.
        QVERIFY(!camera->DownloadDeviceFile("/dev/full", "f1", "Userfile", &written));
        QCOMPARE(camera->LastTransferReport().step, PXTransferReport::Step::LocalFile);
        QCOMPARE(camera->LastTransferReport().localError, ENOSPC);
        spy.clear();

        // Only regular files are uploaded: a directory or a pipe never reaches the device,
        // and a pipe without a writer does not block.
        const QString directory = m_sim.Path("folder");
        const QString pipe = m_sim.Path("pipe");
        QVERIFY(QDir().mkpath(directory));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(!camera->UploadLocalFile("folder", qPrintable(directory), "Userfile", &written));
        QCOMPARE(camera->LastTransferReport().localError, EISDIR);
        QVERIFY(!camera->UploadLocalFile("pipe", qPrintable(pipe), "Userfile", &written));
        QCOMPARE(camera->LastTransferReport().step, PXTransferReport::Step::LocalFile);
        QVERIFY(!m_sim.DeviceFile("GIGE", "Userfile", "folder") && !m_sim.DeviceFile("GIGE", "Userfile", "pipe"));
        QCOMPARE(spy.count(), 0);
    }

    void deleteFiles()
    {
        auto camera = open("GIGE");
        camera->DeleteDeviceFile("f1", "Userfile");
        QVERIFY(!m_sim.DeviceFile("GIGE", "Userfile", "f1"));
        QVERIFY(m_sim.DeviceFile("GIGE", "Userfile", "f0"));
        camera->DeleteDeviceFile("f1", "Userfile"); // gone already: nothing to report
        camera->DeleteDeviceFile(nullptr, "Userfile");

        auto noName = open("NONAME");
        noName->DeleteDeviceFile("Slot", "Slot");
        QVERIFY(m_sim.DeviceFile("NONAME", "Slot", ""));
    }


    // Inverted on purpose: a flag is true only when every mode that grants it was refused.
    void fileAccessModeProbe()
    {
        for (const char* id : {"USB", "MODES"})
        {
            const bool refused = QByteArray(id) == "MODES";
            bool readable = !refused, writable = !refused;
            open(id)->GetFileAccessMode(&readable, &writable);
            QCOMPARE(readable, refused);
            QCOMPARE(writable, refused);
        }
    }

    // Command completion is polled every two seconds: the few cases that wait for it.
    void commandCompletion_data()
    {
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<bool>("done");
        QTest::newRow("never done, time-out 1") << -1 << 1 << false;
        QTest::newRow("done at the second query") << 1500 << 2000 << true;
    }

    void commandCompletion()
    {
        QFETCH(int, delayMs);
        QFETCH(int, timeoutMs);
        QFETCH(bool, done);
        auto camera = open("USB");
        QVERIFY(m_sim.World()->SetCommandDelay("USB", "UserSetLoad", delayMs));
        QCOMPARE(camera->cameraFeature->SetCommand("UserSetLoad", static_cast<unsigned long>(timeoutMs)), done);
    }

    void downloadWhoseOpenNeverCompletes()
    {
        auto camera = open("GIGE");
        QVERIFY(m_sim.World()->SetCommandDelay("GIGE", "FileOperationExecute", -1));
        const QString local = m_sim.Path("open.bin");
        long written = -1;
        QVERIFY(!camera->DownloadDeviceFile(qPrintable(local), "f196608", "Userfile", &written));
        QCOMPARE(written, 0L);
        QVERIFY(!IsOpenInThisProcess(local));
        QCOMPARE(ReadLocal(local), QByteArray());
    }

    // The device leaves right after carrying out the second chunk; the wait for its
    // completion then runs into the time-out.
    void unplugInTheMiddle_data()
    {
        QTest::addColumn<bool>("download");
        QTest::addColumn<long>("written");
        QTest::newRow("download") << true << 65536L;
        QTest::newRow("upload") << false << 0L;
    }

    void unplugInTheMiddle()
    {
        QFETCH(bool, download);
        QFETCH(long, written);
        auto camera = open("GIGE");
        QSignalSpy removed(m_api.get(), &ApiController::CameraRemoved);
        QSignalSpy spy(camera.get(), &PXCamera::updateTransferProcess);
        m_api->enableAutomaticDiscovery(true);
        QVERIFY(m_sim.World()->UnplugAfterChunks("GIGE", 2));
        const QString local = m_sim.Path("unplug.bin");
        long bytesWritten = -1;
        if (download)
        {
            QVERIFY(!camera->DownloadDeviceFile(qPrintable(local), "f196608", "Userfile", &bytesWritten));
            QVERIFY(!IsOpenInThisProcess(local));
            QCOMPARE(ReadLocal(local).size(), int(written));
        }
        else
        {
            QVERIFY(WriteLocal(local, GrbTest::Pattern(196608, 1)));
            QVERIFY(!camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &bytesWritten));
        }
        QCOMPARE(bytesWritten, written);
        QCOMPARE(::progress(spy, download ? "f196608" : "up.bin", download ? "Read" : "Write"), QList<qint64>{131072});
        QVERIFY(removed.count() == 1 || removed.wait());
        QCOMPARE(removed.at(0).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant("SIM-GEV::GIGE"));
        QVERIFY(m_manager->Close("SIM-GEV::GIGE"));
    }

private:
    static GrbHandle handleOf(const QString& id)
    {
        GrbCPP::CameraPtr camera;
        GrbHandle handle = nullptr;
        GrbCPP::GrbSystem::GetInstance().GetCameraByID(qPrintable(extendedId(id)), camera);
        return camera && camera->GetHandle(handle) == GrbErrorSuccess ? handle : nullptr;
    }

    static QString extendedId(const QString& id)
    {
        return (id == "GIGE" || id == "TCP" ? "SIM-GEV::" : "SIM-U3V::") + id;
    }

    std::unique_ptr<PXCamera> open(const QString& id)
    {
        std::unique_ptr<PXCamera> camera(m_manager->Open(extendedId(id)));
        if (!camera)
            qFatal("camera %s did not open", qPrintable(id));
        return camera;
    }

    SimulatorFixture m_sim;
    std::shared_ptr<ApiController> m_api;
    std::unique_ptr<PXCameraManager> m_manager;
};

QTEST_GUILESS_MAIN(TestPXCamera)
#include "tst_PXCamera.moc"
