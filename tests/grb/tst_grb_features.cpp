// What the simulator adds to the rules every transport shares (those are the contract
// suite's): increments counted from the minimum and the float tolerance, commands that
// take time, user sets, the handle functions, its memory and streams, and the feature
// fault switches.
#include "GrbTestSupport.h"

#include <GrbC/GrbC.h>
#include <GrbCPP/GrbCPP.h>
#include <sim/SimWorld.h>

#include <QtTest>

#include <cmath>
#include <limits>

using namespace GrbCPP;
using grb::sim::SimWorld;

namespace {

const QByteArray kDescription = R"(# one camera per transport, with a feature of every kind
camera id=G1 model=qda640MXGE transport=gige
feature name=Counter type=int value=11 min=1 max=101 inc=5
feature name=Ratio type=float value=0.5 min=0 max=1 inc=0.25
feature name=Level type=float value=1 min=-10 max=10
feature name=Enabled type=bool value=yes
feature name=Mode type=enum entries=Slow:3,Fast:1,Off:7:unavailable,Auto:2 value=Fast
feature name=Label type=string value=hello
feature name=Fixed type=int value=3 access=ro
feature name=Secret type=int value=3 access=wo
feature name=Trigger type=command delay=50
feature name=Empty type=raw length=0
feature name=Blob type=raw length=8
camera id=U1 model=RZ-12M transport=usb3
)";

FeaturePtr feature(const FeatureContainer& container, const QString& name)
{
    FeaturePtr f;
    container.GetFeatureByName(name.toUtf8().constData(), f);
    return f;
}

// One access of a feature, named as in the data rows.
GrbErrorType access(Feature& f, const QString& operation)
{
    int64_t i = 0;
    double d = 0;
    bool b = false;
    unsigned int length = 0;
    if (operation == "getInt")
        return f.GetValue(i);
    if (operation == "setInt")
        return f.SetValue(int64_t{16});
    if (operation == "getFloat")
        return f.GetValue(d);
    if (operation == "setFloat")
        return f.SetValue(1.0);
    if (operation == "getBool")
        return f.GetValue(b);
    if (operation == "setBool")
        return f.SetValue(true);
    if (operation == "getText")
        return f.GetValue(static_cast<char*>(nullptr), length);
    if (operation == "setText")
        return f.SetValue("x");
    if (operation == "setFailure")
        return f.SetValue("Failure");
    if (operation == "run")
        return f.RunCommand();
    if (operation == "done")
        return f.IsCommandDone(b);
    if (operation == "intRange")
        return f.GetRange(i, i);
    if (operation == "entries")
    {
        std::vector<EnumEntry> entries;
        return f.GetEntries(entries);
    }
    if (operation == "raw")
        return f.GetValue(static_cast<unsigned char*>(nullptr), length);
    return GrbErrorInternalFault;
}

QString entriesText(const Feature& f)
{
    std::vector<EnumEntry> entries;
    if (f.GetEntries(entries) != GrbErrorSuccess)
        return QStringLiteral("error");
    QStringList items;
    for (const EnumEntry& entry : entries)
    {
        std::string name;
        int64_t value = 0;
        bool available = false;
        entry.GetName(name);
        entry.GetValue(value);
        f.IsValueAvailable(name.c_str(), available);
        items << QStringLiteral("%1:%2%3").arg(QString::fromStdString(name)).arg(value).arg(available ? "" : "!");
    }
    return items.join(',');
}

} // namespace

class TestGrbFeatures : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void numericValues_data();
    void numericValues();
    void boolAndStringValues();
    void accessErrors_data();
    void accessErrors();
    void closedCamera();
    void userSets();

    void commandCompletesAfterDelay_data();
    void commandCompletesAfterDelay();
    void commandNeverCompletes();
    void rawReadLimit();
    void failFeatureAccess_data();
    void failFeatureAccess();

    void handleFunctionsAgree();
    void handleFunctionCodes();
    void featureInfo_data();
    void featureInfo();

    void memory_data();
    void memory();
    void streams_data();
    void streams();

private:
    CameraPtr m_gige;
    CameraPtr m_usb3;
};

void TestGrbFeatures::init()
{
    QCOMPARE(GrbTest::StartSimulator(kDescription), GrbErrorSuccess);
    m_gige = GrbTest::OpenCamera("G1");
    m_usb3 = GrbTest::OpenCamera("U1");
    QVERIFY(m_gige && m_usb3);
}

void TestGrbFeatures::cleanup()
{
    m_gige.reset();
    m_usb3.reset();
    GrbSystem::GetInstance().Shutdown();
}

void TestGrbFeatures::numericValues_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value"); // qint64 for integer features, double for float ones
    QTest::addColumn<int>("code");
    QTest::addColumn<QVariant>("after");

    QTest::newRow("increment from minimum") << "Height" << QVariant(qint64(770)) << 0 << QVariant(qint64(770));
    QTest::newRow("odd height") << "Height" << QVariant(qint64(771)) << -11 << QVariant(qint64(768));
    QTest::newRow("described, off the increment") << "Counter" << QVariant(qint64(12)) << -11 << QVariant(qint64(11));
    QTest::newRow("increment counted from the minimum") << "Counter" << QVariant(qint64(16)) << 0 << QVariant(qint64(16));
    QTest::newRow("a multiple of the increment only") << "Counter" << QVariant(qint64(15)) << -11 << QVariant(qint64(11));
    QTest::newRow("gain on the increment") << "Gain" << QVariant(12.3) << 0 << QVariant(12.3);
    QTest::newRow("gain off the increment") << "Gain" << QVariant(0.15) << -11 << QVariant(0.0);
    QTest::newRow("described, off its increment") << "Ratio" << QVariant(0.6) << -11 << QVariant(0.5);
    QTest::newRow("described, negative minimum") << "Level" << QVariant(-10.0) << 0 << QVariant(-10.0);
}

void TestGrbFeatures::numericValues()
{
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    QFETCH(int, code);
    QFETCH(QVariant, after);

    FeaturePtr f = feature(*m_gige, name);
    QVERIFY(f);
    if (value.type() == QVariant::LongLong)
    {
        int64_t current = 0;
        QCOMPARE(f->SetValue(int64_t{value.toLongLong()}), code);
        QCOMPARE(f->GetValue(current), GrbErrorSuccess);
        QCOMPARE(qint64(current), after.toLongLong());
    }
    else
    {
        double current = 0;
        QCOMPARE(f->SetValue(value.toDouble()), code);
        QCOMPARE(f->GetValue(current), GrbErrorSuccess);
        QCOMPARE(current, after.toDouble());
    }
}

void TestGrbFeatures::boolAndStringValues()
{
    bool enabled = false;
    QCOMPARE(GrbTest::GetFeature(*m_gige, "Enabled", enabled), GrbErrorSuccess);
    QVERIFY(enabled);
    QCOMPARE(GrbTest::SetFeature(*m_gige, "ReverseX", true), GrbErrorSuccess);
    bool reverse = false;
    QCOMPARE(GrbTest::GetFeature(*m_gige, "ReverseX", reverse), GrbErrorSuccess);
    QVERIFY(reverse);
    // Another camera of the same session keeps its own value.
    QCOMPARE(GrbTest::GetFeature(*m_usb3, "ReverseX", reverse), GrbErrorSuccess);
    QVERIFY(!reverse);

    std::string text;
    QCOMPARE(GrbTest::GetFeatureText(*m_gige, "Label", text), GrbErrorSuccess);
    QCOMPARE(text, std::string("hello"));
    // DeviceUserID holds at most 16 characters.
    FeaturePtr userId = feature(*m_gige, "DeviceUserID");
    QCOMPARE(userId->SetValue("sixteen-chars-ok"), GrbErrorSuccess);
    QCOMPARE(userId->SetValue("seventeen-chars-x"), GrbErrorInvalidValue);
    QCOMPARE(userId->SetValue(static_cast<const char*>(nullptr)), GrbErrorBadParameter);
    char buffer[32];
    unsigned int length = 16;
    QCOMPARE(userId->GetValue(buffer, length), GrbErrorMoreData);
    QCOMPARE(length, 17u);
    QCOMPARE(userId->GetValue(buffer, length), GrbErrorSuccess);
    QCOMPARE(QByteArray(buffer), QByteArray("sixteen-chars-ok"));
    QCOMPARE(userId->SetValue(""), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeatureText(*m_gige, "DeviceUserID", text), GrbErrorSuccess);
    QCOMPARE(text, std::string());
}

void TestGrbFeatures::accessErrors_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("code");

    QTest::newRow("int done") << "Width" << "done" << -10;
    QTest::newRow("int entries") << "Width" << "entries" << -10;
    QTest::newRow("enum int range") << "PixelFormat" << "intRange" << -10;
    QTest::newRow("bool written as text") << "ReverseX" << "setText" << -10;
    QTest::newRow("raw read as text") << "Blob" << "getText" << -10;
    QTest::newRow("read-only float") << "DeviceTemperature" << "setFloat" << -6;
    QTest::newRow("read-only enum, entry") << "FileOperationStatus" << "setFailure" << -6;
    QTest::newRow("write-only int") << "Secret" << "getInt" << -6;
}

void TestGrbFeatures::accessErrors()
{
    QFETCH(QString, name);
    QFETCH(QString, operation);
    QFETCH(int, code);

    FeaturePtr f = feature(*m_gige, name);
    QVERIFY(f);
    QCOMPARE(access(*f, operation), code);

    FeaturePtr missing;
    QCOMPARE(m_gige->GetFeatureByName("NoSuchFeature", missing), GrbErrorNotFound);
    QVERIFY(!missing);
    QCOMPARE(m_gige->GetFeatureByName(nullptr, missing), GrbErrorBadParameter);
}

void TestGrbFeatures::closedCamera()
{
    FeaturePtr width = feature(*m_gige, "Width");
    GrbHandle handle = nullptr;
    m_gige->GetHandle(handle);
    StreamPtr stream = GrbTest::FirstStream(*m_gige);
    QVERIFY(stream);
    QCOMPARE(m_gige->Close(), GrbErrorSuccess);

    int64_t value = 0;
    FeaturePtr again;
    unsigned int count = 0;
    uint8_t byte = 0;
    uint32_t done = 0;
    FramePtr frame;
    QCOMPARE(width->GetValue(value), GrbErrorDeviceNotOpen);
    QCOMPARE(width->SetValue(int64_t{32}), GrbErrorDeviceNotOpen);
    QCOMPARE(m_gige->GetFeatureByName("Width", again), GrbErrorDeviceNotOpen);
    QCOMPARE(m_gige->GetStreams(nullptr, count), GrbErrorDeviceNotOpen);
    QCOMPARE(stream->GetFeatureByName("GVSPPacketSize", again), GrbErrorDeviceNotOpen);
    QCOMPARE(m_gige->ReadMemory(0, &byte, 1, done), GrbErrorDeviceNotOpen);
    QCOMPARE(m_gige->AcquireSingleImage(frame, 100), GrbErrorDeviceNotOpen);
    QCOMPARE(GrbFeatureIntGet(handle, "Width", &value), GrbErrorDeviceNotOpen);
    QCOMPARE(m_gige->Close(), GrbErrorDeviceNotOpen);
}

void TestGrbFeatures::userSets()
{
    QCOMPARE(GrbTest::RunCommand(*m_gige, "UserSetSave"), GrbErrorInvalidAccess); // the factory set
    QCOMPARE(GrbTest::SetFeature(*m_gige, "UserSetSelector", "UserSet1"), GrbErrorSuccess);
    QCOMPARE(GrbTest::SetFeature(*m_gige, "Width", int64_t{512}), GrbErrorSuccess);
    QCOMPARE(GrbTest::RunCommand(*m_gige, "UserSetSave"), GrbErrorSuccess);
    QCOMPARE(GrbTest::SetFeature(*m_gige, "Width", int64_t{2048}), GrbErrorSuccess);
    QCOMPARE(GrbTest::RunCommand(*m_gige, "UserSetLoad"), GrbErrorSuccess);
    int64_t width = 0;
    QCOMPARE(GrbTest::GetFeature(*m_gige, "Width", width), GrbErrorSuccess);
    QCOMPARE(width, int64_t{512});
    QCOMPARE(GrbTest::SetFeature(*m_gige, "UserSetSelector", "UserSet2"), GrbErrorSuccess);
    QCOMPARE(GrbTest::RunCommand(*m_gige, "UserSetLoad"), GrbErrorNotFound);
}

void TestGrbFeatures::commandCompletesAfterDelay_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("stream");
    QTest::addColumn<int>("delay");
    QTest::addColumn<bool>("doneOnReturn");

    // A run waits a little for its command, so that one that takes a few milliseconds is
    // done by the caller's first query; a slower one is left running.
    QTest::newRow("described delay") << "Trigger" << -1 << -1 << true;
    QTest::newRow("switched delay") << "UserSetLoad" << -1 << 50 << true;
    QTest::newRow("stream command") << "GVSPAdjustPacketSize" << 0 << 50 << true;
    QTest::newRow("longer than the run waits") << "UserSetLoad" << -1 << 1500 << false;
}

void TestGrbFeatures::commandCompletesAfterDelay()
{
    QFETCH(QString, name);
    QFETCH(int, stream);
    QFETCH(int, delay);
    QFETCH(bool, doneOnReturn);

    const QByteArray feature = name.toUtf8();
    if (delay >= 0)
        QVERIFY(SimWorld::Active()->SetCommandDelay("G1", feature.constData(), delay, stream));
    else
        delay = 50; // from the description
    StreamPtr firstStream = GrbTest::FirstStream(*m_gige);
    FeatureContainer& container = stream < 0 ? static_cast<FeatureContainer&>(*m_gige) : *firstStream;
    FeaturePtr command;
    QCOMPARE(container.GetFeatureByName(feature.constData(), command), GrbErrorSuccess);

    QElapsedTimer timer;
    timer.start();
    QCOMPARE(command->RunCommand(), GrbErrorSuccess);
    bool done = false;
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QCOMPARE(done, doneOnReturn);
    int polls = 0;
    while (!done)
    {
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        if (done)
            QVERIFY2(timer.elapsed() >= delay, "done before its delay");
        else
            QThread::msleep(5);
        QVERIFY(++polls < 2000);
    }
    // Done stays done until the next run.
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);
}

void TestGrbFeatures::commandNeverCompletes()
{
    QVERIFY(SimWorld::Active()->SetCommandDelay("G1", "UserSetLoad", -1));
    FeaturePtr command = feature(*m_gige, "UserSetLoad");
    bool done = true;
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done); // not run yet
    QCOMPARE(command->RunCommand(), GrbErrorSuccess);
    for (int i = 0; i < 5; ++i)
    {
        QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
        QVERIFY(!done);
        QThread::msleep(10);
    }
    // Only the command under the switch hangs.
    QCOMPARE(GrbTest::SetFeature(*m_gige, "UserSetSelector", "UserSet1"), GrbErrorSuccess);
    FeaturePtr other = feature(*m_gige, "UserSetSave");
    QCOMPARE(other->RunCommand(), GrbErrorSuccess);
    QCOMPARE(other->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);
    QVERIFY(SimWorld::Active()->SetCommandDelay("G1", "UserSetLoad", 0));
    QCOMPARE(command->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);

    QVERIFY(!SimWorld::Active()->SetCommandDelay("G1", "Width", 10));
    QVERIFY(!SimWorld::Active()->SetCommandDelay("NoCamera", "UserSetLoad", 10));
}

void TestGrbFeatures::rawReadLimit()
{
    QVERIFY(SimWorld::Active()->SetRawReadLimit("G1", "FileAccessBuffer", 1000));
    std::vector<unsigned char> bytes(65536);
    unsigned int length = static_cast<unsigned int>(bytes.size());
    QCOMPARE(feature(*m_gige, "FileAccessBuffer")->GetValue(bytes.data(), length), GrbErrorSuccess);
    QCOMPARE(length, 1000u);
    length = static_cast<unsigned int>(bytes.size());
    QCOMPARE(feature(*m_usb3, "FileAccessBuffer")->GetValue(bytes.data(), length), GrbErrorSuccess);
    QCOMPARE(length, 65536u);
    QVERIFY(!SimWorld::Active()->SetRawReadLimit("G1", "Width", 10));
}

void TestGrbFeatures::failFeatureAccess_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("stream");
    QTest::addColumn<int>("nth");
    QTest::addColumn<int>("code");

    QTest::newRow("next access") << "Width" << -1 << 1 << -13;
    QTest::newRow("third access") << "Width" << -1 << 3 << -12;
    QTest::newRow("raw buffer") << "FileAccessBuffer" << -1 << 2 << -13;
    QTest::newRow("command") << "UserSetLoad" << -1 << 2 << -15;
    QTest::newRow("stream feature") << "GVSPPacketSize" << 0 << 2 << -13;
}

void TestGrbFeatures::failFeatureAccess()
{
    QFETCH(QString, name);
    QFETCH(int, stream);
    QFETCH(int, nth);
    QFETCH(int, code);

    const QByteArray featureName = name.toUtf8();
    QVERIFY(SimWorld::Active()->FailFeatureAccess("G1", featureName.constData(), unsigned(nth), code, stream));
    StreamPtr firstStream = GrbTest::FirstStream(*m_gige);
    const FeatureContainer& container = stream < 0 ? static_cast<const FeatureContainer&>(*m_gige) : *firstStream;
    FeaturePtr f = feature(container, name);
    QVERIFY(f);
    GrbFeatureDataType type = 0;
    QCOMPARE(f->GetDataType(type), GrbErrorSuccess);
    for (int i = 1; i <= nth + 1; ++i)
    {
        GrbErrorType err = GrbErrorSuccess;
        if (type == GrbFeatureDataRaw)
        {
            unsigned char byte = 0;
            unsigned int length = 1;
            err = f->GetValue(&byte, length);
        }
        else if (type == GrbFeatureDataCommand)
            err = f->RunCommand();
        else
        {
            int64_t value = 0;
            err = f->GetValue(value);
        }
        QCOMPARE(err, i == nth ? code : GrbErrorSuccess);
    }
    QVERIFY(!SimWorld::Active()->FailFeatureAccess("G1", "NoSuchFeature", 1));
    QVERIFY(!SimWorld::Active()->FailFeatureAccess("G1", "GVSPPacketSize", 1, GrbErrorTransportLayer, 3));
}

void TestGrbFeatures::handleFunctionsAgree()
{
    GrbHandle h = nullptr;
    QCOMPARE(m_gige->GetHandle(h), GrbErrorSuccess);

    // Written through one interface, read through the other, both ways round.
    int64_t width = 0;
    QCOMPARE(GrbFeatureIntSet(h, "Width", 2048), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeature(*m_gige, "Width", width), GrbErrorSuccess);
    QCOMPARE(width, int64_t{2048});
    QCOMPARE(GrbTest::SetFeature(*m_gige, "Width", int64_t{320}), GrbErrorSuccess);
    QCOMPARE(GrbFeatureIntGet(h, "Width", &width), GrbErrorSuccess);
    QCOMPARE(width, int64_t{320});
    QCOMPARE(GrbFeatureIntSet(h, "Width", 321), GrbErrorInvalidValue);

    double gain = 0;
    QCOMPARE(GrbFeatureFloatSet(h, "Gain", 6.5), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeature(*m_gige, "Gain", gain), GrbErrorSuccess);
    QCOMPARE(gain, 6.5);
    QCOMPARE(GrbTest::SetFeature(*m_gige, "Gain", 3.2), GrbErrorSuccess);
    QCOMPARE(GrbFeatureFloatGet(h, "Gain", &gain), GrbErrorSuccess);
    QCOMPARE(gain, 3.2);

    bool reverse = false;
    QCOMPARE(GrbFeatureBoolSet(h, "ReverseX", true), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeature(*m_gige, "ReverseX", reverse), GrbErrorSuccess);
    QVERIFY(reverse);
    QCOMPARE(GrbTest::SetFeature(*m_gige, "ReverseX", false), GrbErrorSuccess);
    QCOMPARE(GrbFeatureBoolGet(h, "ReverseX", &reverse), GrbErrorSuccess);
    QVERIFY(!reverse);

    std::string text;
    const char* entry = nullptr;
    QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", "Mono12"), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeatureText(*m_gige, "PixelFormat", text), GrbErrorSuccess);
    QCOMPARE(text, std::string("Mono12"));
    QCOMPARE(GrbTest::SetFeature(*m_gige, "PixelFormat", "Mono8"), GrbErrorSuccess);
    QCOMPARE(GrbFeatureEnumGet(h, "PixelFormat", &entry), GrbErrorSuccess);
    QCOMPARE(QByteArray(entry), QByteArray("Mono8"));
    QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", "RGB8"), GrbErrorInvalidValue);
    // An entry text stays valid after later reads.
    const char* later = nullptr;
    QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", "Mono12"), GrbErrorSuccess);
    QCOMPARE(GrbFeatureEnumGet(h, "PixelFormat", &later), GrbErrorSuccess);
    QCOMPARE(QByteArray(entry), QByteArray("Mono8"));
    QCOMPARE(QByteArray(later), QByteArray("Mono12"));

    QCOMPARE(GrbFeatureStringSet(h, "DeviceUserID", "via handle"), GrbErrorSuccess);
    QCOMPARE(GrbTest::GetFeatureText(*m_gige, "DeviceUserID", text), GrbErrorSuccess);
    QCOMPARE(text, std::string("via handle"));
    QCOMPARE(GrbTest::SetFeature(*m_gige, "DeviceUserID", "via object"), GrbErrorSuccess);
    uint32_t size = 0;
    char buffer[11];
    QCOMPARE(GrbFeatureStringGet(h, "DeviceUserID", nullptr, 0, &size), GrbErrorSuccess);
    QCOMPARE(size, 11u);
    QCOMPARE(GrbFeatureStringGet(h, "DeviceUserID", buffer, 10, &size), GrbErrorMoreData);
    QCOMPARE(size, 11u);
    QCOMPARE(GrbFeatureStringGet(h, "DeviceUserID", buffer, sizeof buffer, &size), GrbErrorSuccess);
    QCOMPARE(QByteArray(buffer), QByteArray("via object"));
}

void TestGrbFeatures::handleFunctionCodes()
{
    GrbHandle h = nullptr;
    m_gige->GetHandle(h);
    GrbFeatureInfo info;
    int64_t value = 0;
    bool done = false;
    QCOMPARE(GrbFeatureInfoQuery(h, "Width", &info, sizeof info - 1), GrbErrorStructSize);
    QCOMPARE(GrbFeatureInfoQuery(h, "Width", &info, sizeof info + 4), GrbErrorStructSize);
    QCOMPARE(GrbFeatureInfoQuery(h, nullptr, &info, sizeof info), GrbErrorBadParameter);
    QCOMPARE(GrbFeatureInfoQuery(h, "Width", nullptr, sizeof info), GrbErrorBadParameter);
    QCOMPARE(GrbFeatureInfoQuery(h, "NoSuchFeature", &info, sizeof info), GrbErrorNotFound);
    QCOMPARE(GrbFeatureInfoQuery(nullptr, "Width", &info, sizeof info), GrbErrorBadHandle);
    QCOMPARE(GrbFeatureIntGet(h, "Width", nullptr), GrbErrorBadParameter);
    QCOMPARE(GrbFeatureIntGet(h, "Gain", &value), GrbErrorWrongType);
    QCOMPARE(GrbFeatureIntGet(h, "NoSuchFeature", &value), GrbErrorNotFound);
    QCOMPARE(GrbFeatureEnumSet(h, "PixelFormat", nullptr), GrbErrorBadParameter);
    QCOMPARE(GrbFeatureCommandIsDone(h, "Trigger", nullptr), GrbErrorBadParameter);

    QElapsedTimer timer;
    timer.start();
    QCOMPARE(GrbFeatureCommandRun(h, "Trigger"), GrbErrorSuccess);
    QCOMPARE(GrbFeatureCommandIsDone(h, "Trigger", &done), GrbErrorSuccess);
    if (timer.elapsed() < 50) // described with a 50 ms delay
        QVERIFY(!done);
    QCOMPARE(GrbFeatureCommandRun(h, "Width"), GrbErrorWrongType);

    GrbCameraInfo cameraInfo;
    QCOMPARE(GrbCameraInfoQuery("G1", &cameraInfo, sizeof cameraInfo), GrbErrorSuccess);
    QCOMPARE(QByteArray(cameraInfo.modelName), QByteArray("qda640MXGE"));
    QCOMPARE(cameraInfo.transportLayerType, GrbTransportLayerType(GrbTransportLayerGEV));
}

void TestGrbFeatures::featureInfo_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<uint>("type");
    QTest::addColumn<bool>("readable");
    QTest::addColumn<bool>("writable");

    QTest::newRow("int") << "Width" << uint(GrbFeatureDataInt) << true << true;
    QTest::newRow("read-only float") << "DeviceTemperature" << uint(GrbFeatureDataFloat) << true << false;
    QTest::newRow("enum") << "PixelFormat" << uint(GrbFeatureDataEnum) << true << true;
    QTest::newRow("read-only string") << "DeviceManufacturerInfo" << uint(GrbFeatureDataString) << true << false;
    QTest::newRow("bool") << "ReverseX" << uint(GrbFeatureDataBool) << true << true;
    QTest::newRow("command") << "UserSetSave" << uint(GrbFeatureDataCommand) << false << true;
    QTest::newRow("raw") << "FileAccessBuffer" << uint(GrbFeatureDataRaw) << true << true;
    QTest::newRow("write-only") << "Secret" << uint(GrbFeatureDataInt) << false << true;
}

void TestGrbFeatures::featureInfo()
{
    QFETCH(QString, name);
    QFETCH(uint, type);
    QFETCH(bool, readable);
    QFETCH(bool, writable);

    GrbHandle h = nullptr;
    m_gige->GetHandle(h);
    GrbFeatureInfo info;
    QCOMPARE(GrbFeatureInfoQuery(h, name.toUtf8().constData(), &info, sizeof info), GrbErrorSuccess);
    QCOMPARE(QString::fromUtf8(info.name), name);
    QCOMPARE(info.featureDataType, type);
    QCOMPARE(info.isReadable, readable);
    QCOMPARE(info.isWritable, writable);

    FeaturePtr f = feature(*m_gige, name);
    GrbFeatureDataType objectType = 0;
    bool objectReadable = !readable, objectWritable = !writable;
    QCOMPARE(f->GetDataType(objectType), GrbErrorSuccess);
    QCOMPARE(f->IsReadable(objectReadable), GrbErrorSuccess);
    QCOMPARE(f->IsWritable(objectWritable), GrbErrorSuccess);
    QCOMPARE(objectType, type);
    QCOMPARE(objectReadable, readable);
    QCOMPARE(objectWritable, writable);
}

void TestGrbFeatures::memory_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<quint64>("address");
    QTest::addColumn<uint>("size");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("bytes");

    // Address 0 holds 0x00010002 in the device's byte order.
    QTest::newRow("GigE, big-endian") << "G1" << quint64(0) << 4u << 0 << QByteArray::fromHex("00010002");
    QTest::newRow("USB3, little-endian") << "U1" << quint64(0) << 4u << 0 << QByteArray::fromHex("02000100");
    QTest::newRow("last byte") << "G1" << quint64(0xFFFF) << 1u << 0 << QByteArray();
    QTest::newRow("whole memory") << "U1" << quint64(0) << 0x10000u << 0 << QByteArray();
    QTest::newRow("past the end") << "G1" << quint64(0x10000) << 1u << -11 << QByteArray();
    QTest::newRow("across the end") << "G1" << quint64(0xFFFF) << 2u << -11 << QByteArray();
    QTest::newRow("too long") << "U1" << quint64(0) << 0x10001u << -11 << QByteArray();
    QTest::newRow("beyond 32-bit GigE addresses") << "G1" << quint64(0xFFFFFFF0ull) << 0x20u << -7 << QByteArray();
    QTest::newRow("wrapping address") << "U1" << quint64(0xFFFFFFFFFFFFFFF0ull) << 0x20u << -7 << QByteArray();
    QTest::newRow("zero size") << "G1" << quint64(0) << 0u << -7 << QByteArray();
}

void TestGrbFeatures::memory()
{
    QFETCH(QString, camera);
    QFETCH(quint64, address);
    QFETCH(uint, size);
    QFETCH(int, code);
    QFETCH(QByteArray, bytes);

    CameraPtr c = camera == "G1" ? m_gige : m_usb3;
    QByteArray read(0x10001, '\0');
    uint32_t done = 77;
    QCOMPARE(c->ReadMemory(address, read.data(), size, done), code);
    QCOMPARE(done, code == GrbErrorSuccess ? size : 0u);
    if (!bytes.isEmpty())
        QCOMPARE(read.left(int(size)), bytes);

    const QByteArray pattern = GrbTest::Pattern(int(size), 5);
    done = 77;
    QCOMPARE(c->WriteMemory(address, pattern.constData(), size, done), code);
    QCOMPARE(done, code == GrbErrorSuccess ? size : 0u);
    if (code == GrbErrorSuccess)
    {
        QCOMPARE(c->ReadMemory(address, read.data(), size, done), GrbErrorSuccess);
        QCOMPARE(read.left(int(size)), pattern);
    }
    QCOMPARE(c->ReadMemory(0, nullptr, 4, done), GrbErrorBadParameter);
}

void TestGrbFeatures::streams_data()
{
    QTest::addColumn<QString>("camera");
    QTest::addColumn<bool>("gvsp");

    QTest::newRow("GigE") << "G1" << true;
    QTest::newRow("USB3") << "U1" << false;
}

void TestGrbFeatures::streams()
{
    QFETCH(QString, camera);
    QFETCH(bool, gvsp);

    CameraPtr c = camera == "G1" ? m_gige : m_usb3;
    unsigned int count = 0;
    QCOMPARE(c->GetStreams(nullptr, count), GrbErrorSuccess);
    QCOMPARE(count, 1u);
    StreamPtr stream = GrbTest::FirstStream(*c);
    QVERIFY(stream);

    FeaturePtr protocol;
    FeaturePtr adjust;
    QCOMPARE(stream->GetFeatureByName("GVSPProtocol", protocol), gvsp ? GrbErrorSuccess : GrbErrorNotFound);
    QCOMPARE(stream->GetFeatureByName("GVSPAdjustPacketSize", adjust), gvsp ? GrbErrorSuccess : GrbErrorNotFound);
    // Stream features are not the camera's.
    QCOMPARE(c->GetFeatureByName("GVSPProtocol", protocol), GrbErrorNotFound);
    if (!gvsp)
        return;

    QCOMPARE(stream->GetFeatureByName("GVSPProtocol", protocol), GrbErrorSuccess);
    QCOMPARE(entriesText(*protocol), QStringLiteral("UDP:0,TCP:1"));
    QCOMPARE(protocol->SetValue("TCP"), GrbErrorSuccess);
    int64_t before = 0, after = 0;
    QCOMPARE(GrbTest::GetFeature(*stream, "GVSPPacketSize", before), GrbErrorSuccess);
    QCOMPARE(adjust->RunCommand(), GrbErrorSuccess);
    bool done = false;
    QCOMPARE(adjust->IsCommandDone(done), GrbErrorSuccess);
    QVERIFY(done);
    QCOMPARE(GrbTest::GetFeature(*stream, "GVSPPacketSize", after), GrbErrorSuccess);
    QVERIFY(after != before);

    // The stream handle works with the handle functions too.
    GrbHandle h = nullptr;
    stream->GetHandle(h);
    const char* entry = nullptr;
    QCOMPARE(GrbFeatureEnumGet(h, "GVSPProtocol", &entry), GrbErrorSuccess);
    QCOMPARE(QByteArray(entry), QByteArray("TCP"));
}

QTEST_GUILESS_MAIN(TestGrbFeatures)
#include "tst_grb_features.moc"
