// Feature access by name on a simulated camera: conversions per type, ranges, entries,
// raw buffers, commands without waiting, both function families, number parsing.
#include "SimulatorFixture.h"

#include "device/PXCameraFeature.h"
#include "device/PXFeatureContainerUtil.h"
#include "device/StringToDouble.h"

#include <GrbCPP/Camera.h>

#include <QtTest>

namespace {

const char* const kCameras = R"(
camera id=CAM model=M1 transport=usb3
feature name=EmptyRaw type=raw length=0
feature name=Never type=command delay=-1
)";

} // namespace

class TestFeatures : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_sim.Start(kCameras));
        QCOMPARE(GrbCPP::GrbSystem::GetInstance().GetCameraByID("CAM", m_camera), GrbErrorType(GrbErrorSuccess));
        QCOMPARE(m_camera->Open(GrbAccessModeFull), GrbErrorType(GrbErrorSuccess));
        m_features = std::make_unique<PXCameraFeature>(m_camera);
    }

    void cleanup()
    {
        m_features.reset();
        m_camera.reset();
        m_sim.Stop();
    }

    void readByType_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QVariant>("expected"); // invalid: the read fails
        QTest::newRow("integer") << QByteArray("Width") << QVariant(qlonglong(1024));
        QTest::newRow("float") << QByteArray("DeviceTemperature") << QVariant(41.5);
        QTest::newRow("boolean") << QByteArray("ReverseX") << QVariant(false);
        QTest::newRow("enumeration") << QByteArray("PixelFormat") << QVariant(QString("Mono8"));
        QTest::newRow("string") << QByteArray("DeviceModelName") << QVariant(QString("M1"));
        QTest::newRow("command") << QByteArray("UserSetSave") << QVariant();
        QTest::newRow("raw") << QByteArray("FileAccessBuffer") << QVariant();
        QTest::newRow("missing") << QByteArray("Missing") << QVariant();
    }

    void readByType()
    {
        QFETCH(QByteArray, name);
        QFETCH(QVariant, expected);
        QVariant value;
        QCOMPARE(m_features->GetValue(name.constData(), value), expected.isValid());
        QCOMPARE(value, expected);
        QCOMPARE(value.userType(), expected.userType());
        // The handle family agrees.
        GrbHandle handle = nullptr;
        m_camera->GetHandle(handle);
        QVariant viaHandle;
        QCOMPARE(PXFeatureContainerUtil::GetFeatureValue(handle, name.constData(), viaHandle), expected.isValid());
        QCOMPARE(viaHandle, expected);
    }

    void writeByType_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QVariant>("input");
        QTest::addColumn<QVariant>("after"); // invalid: the write fails
        QTest::newRow("integer from text") << QByteArray("Width") << QVariant("32") << QVariant(qlonglong(32));
        QTest::newRow("integer off increment") << QByteArray("Width") << QVariant(17) << QVariant();
        QTest::newRow("boolean from text") << QByteArray("ReverseX") << QVariant("true") << QVariant(true);
        QTest::newRow("entry by int value") << QByteArray("PixelFormat") << QVariant(int(0x01100005))
                                            << QVariant("Mono12");
        QTest::newRow("entry by qlonglong") << QByteArray("PixelFormat") << QVariant(qlonglong(0x01100005))
                                            << QVariant();
        QTest::newRow("unavailable entry") << QByteArray("PixelFormat") << QVariant("RGB8") << QVariant();
        QTest::newRow("string") << QByteArray("DeviceUserID") << QVariant("Bay 4") << QVariant("Bay 4");
        QTest::newRow("command") << QByteArray("UserSetSave") << QVariant(1) << QVariant();
    }

    void writeByType()
    {
        QFETCH(QByteArray, name);
        QFETCH(QVariant, input);
        QFETCH(QVariant, after);
        QCOMPARE(m_features->SetValue(name.constData(), input), after.isValid());
        QVariant value;
        if (after.isValid())
        {
            QVERIFY(m_features->GetValue(name.constData(), value));
            QCOMPARE(value, after);
        }
    }

    void handleFamilyWrites()
    {
        GrbHandle handle = nullptr;
        m_camera->GetHandle(handle);
        QVERIFY(PXFeatureContainerUtil::SetFeatureValue(handle, "Width", QVariant("64")));
        QVERIFY(!PXFeatureContainerUtil::SetFeatureValue(handle, "UserSetSave", QVariant(1)));
        QVariant entry("Mono12");
        QVERIFY(PXFeatureContainerUtil::SetFeatureValueEnum(handle, "PixelFormat", entry));
        QVariant value;
        QVERIFY(m_features->GetValue("PixelFormat", value));
        QCOMPARE(value, entry);
        QVERIFY(m_features->GetValue("Width", value));
        QCOMPARE(value, QVariant(qlonglong(64)));
        QVERIFY(PXFeatureContainerUtil::SetFeatureCommand(handle, "Never", 0));
    }

    void enumerationOnlyHelpers()
    {
        auto container = std::static_pointer_cast<GrbCPP::FeatureContainer>(m_camera);
        QVariant entry(QByteArray("Mono12"));
        QVERIFY(PXFeatureContainerUtil::SetFeatureValueEnum(container, "PixelFormat", entry));
        QCOMPARE(entry.userType(), int(QMetaType::QString));
        QVERIFY(!PXFeatureContainerUtil::SetFeatureValueEnum(container, "Width", entry));
        QVERIFY(!PXFeatureContainerUtil::GetFeatureValueEnum(container, "Width", entry));
        QCOMPARE(m_features->GetSubFeatures("PixelFormat"), (QStringList{"Mono8", "Mono12"}));
        QCOMPARE(m_features->GetSubFeatures("Width"), QStringList());
    }

    void ranges_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QVariant>("min");
        QTest::addColumn<QVariant>("max");
        QTest::addColumn<QVariant>("inc");
        QTest::newRow("integer") << QByteArray("Width") << true << QVariant(qlonglong(16)) << QVariant(qlonglong(4096))
                                 << QVariant(qlonglong(16));
        QTest::newRow("float") << QByteArray("Gain") << true << QVariant(0.0) << QVariant(24.0) << QVariant(0.1);
        QTest::newRow("float without increment") << QByteArray("ExposureTime") << false << QVariant(10.0)
                                                 << QVariant(1000000.0) << QVariant();
    }

    void ranges()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, ok);
        QFETCH(QVariant, min);
        QFETCH(QVariant, max);
        QFETCH(QVariant, inc);
        QVariant lo, hi, step;
        QCOMPARE(m_features->GetFeatureRange(name.constData(), lo, hi, step), ok);
        QCOMPARE(lo, min);
        QCOMPARE(hi, max);
        QCOMPARE(step, inc);
    }

    void presenceAndAccess()
    {
        bool exists = true;
        QVERIFY(m_features->HasFeature("Missing", exists));
        QVERIFY(!exists);
        bool writable = true;
        QVERIFY(m_features->IsWritable("DeviceModelName", writable));
        QVERIFY(!writable);
        QVERIFY(!PXFeatureContainer(nullptr).HasFeature("Width", exists));
        // Any other SDK failure is a failed question, not an absent feature.
        QCOMPARE(m_camera->Close(), GrbErrorType(GrbErrorSuccess));
        QVERIFY(!m_features->HasFeature("Width", exists));
    }

    void rawBuffersAndCommands()
    {
        std::vector<unsigned char> bytes(3, 1);
        QVERIFY(m_features->GetRegisterValue("EmptyRaw", bytes, 1));
        QVERIFY(bytes.empty());
        QVERIFY(m_features->GetRegisterValue("FileAccessBuffer", bytes, 4));
        QCOMPARE(bytes.size(), size_t(65536)); // the whole buffer, whatever was asked for
        QVERIFY(!m_features->GetRegisterValue("FileAccessBuffer", bytes, 0));
        QVERIFY(!m_features->SetRegisterValue("FileAccessBuffer", {}, 1));
        QVERIFY(m_features->SetCommand("Never", 0)); // no completion asked for
        QVERIFY(!m_features->SetCommand("Width", 0));
    }

    void stringToDouble_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("ok");
        QTest::newRow("decimal comma") << "1,5" << 1.5 << true;
        QTest::newRow("german grouping") << "1.234,5" << 1234.5 << true;
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

private:
    SimulatorFixture m_sim;
    GrbCPP::CameraPtr m_camera;
    std::unique_ptr<PXCameraFeature> m_features;
};

QTEST_GUILESS_MAIN(TestFeatures)
#include "tst_Features.moc"
