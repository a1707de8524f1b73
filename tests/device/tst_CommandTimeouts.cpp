// Waits on command completion, which polls every two seconds: kept to the few cases
// that matter, in an executable of their own.
#include "SimulatorFixture.h"
#include "LocalFiles.h"

#include "device/PXCameraManager.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

const char* const kCameras = R"(
camera id=CAM model=M1 transport=usb3
file selector=Userfile name=big size=196608 seed=9
)";

const QString kId = QStringLiteral("SIM-U3V::CAM");

} // namespace

class TestCommandTimeouts : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(m_sim.Start(kCameras));
        m_api = std::make_shared<ApiController>();
        m_manager = std::make_unique<PXCameraManager>(m_api);
        m_camera.reset(m_manager->Open(kId));
        QVERIFY(m_camera);
    }

    void cleanup()
    {
        m_camera.reset();
        m_manager.reset();
        m_api.reset();
        m_sim.Stop();
    }

    void completion_data()
    {
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<bool>("done");
        QTest::newRow("never done, time-out 1") << -1 << 1 << false;
        QTest::newRow("done at the second query") << 1500 << 2000 << true;
    }

    void completion()
    {
        QFETCH(int, delayMs);
        QFETCH(int, timeoutMs);
        QFETCH(bool, done);
        QVERIFY(m_sim.World()->SetCommandDelay("CAM", "UserSetLoad", delayMs));
        QCOMPARE(m_camera->cameraFeature->SetCommand("UserSetLoad", static_cast<unsigned long>(timeoutMs)), done);
    }

    void downloadWhoseOpenNeverCompletes()
    {
        QVERIFY(m_sim.World()->SetCommandDelay("CAM", "FileOperationExecute", -1));
        const QString local = m_sim.Path("open.bin");
        long written = -1;
        QVERIFY(!m_camera->DownloadDeviceFile(qPrintable(local), "big", "Userfile", &written));
        QCOMPARE(written, 0L);
        QVERIFY(!IsOpenInThisProcess(local));
        QCOMPARE(ReadLocal(local), QByteArray());
    }

    void unplugInTheMiddle_data()
    {
        QTest::addColumn<bool>("download");
        QTest::addColumn<long>("written");
        QTest::addColumn<QList<qint64>>("progress");
        QTest::newRow("download") << true << 65536L << QList<qint64>{131072};
        QTest::newRow("upload") << false << 0L << QList<qint64>{131072};
    }

    void unplugInTheMiddle()
    {
        QFETCH(bool, download);
        QFETCH(long, written);
        QFETCH(QList<qint64>, progress);
        QSignalSpy removed(m_api.get(), &ApiController::CameraRemoved);
        QSignalSpy spy(m_camera.get(), &PXCamera::updateTransferProcess);
        m_api->enableAutomaticDiscovery(true);
        // The device leaves right after carrying out the second chunk; the wait for its
        // completion then runs into the time-out.
        QVERIFY(m_sim.World()->UnplugAfterChunks("CAM", 2));
        const QString local = m_sim.Path("unplug.bin");
        long bytesWritten = -1;
        if (download)
        {
            QVERIFY(!m_camera->DownloadDeviceFile(qPrintable(local), "big", "Userfile", &bytesWritten));
            QVERIFY(!IsOpenInThisProcess(local));
            QCOMPARE(ReadLocal(local).size(), int(written));
        }
        else
        {
            QVERIFY(WriteLocal(local, QByteArray(196608, 'u')));
            QVERIFY(!m_camera->UploadLocalFile("up.bin", qPrintable(local), "Userfile", &bytesWritten));
        }
        QCOMPARE(bytesWritten, written);
        QList<qint64> remaining;
        for (const auto& args : spy)
            remaining << args.at(0).toLongLong();
        QCOMPARE(remaining, progress);
        QVERIFY(removed.count() == 1 || removed.wait());
        QCOMPARE(removed.at(0).at(0).value<CameraInfoMap>().value("Extended ID"), QVariant(kId));
        QVERIFY(m_manager->Close(kId));
    }

private:
    SimulatorFixture m_sim;
    std::shared_ptr<ApiController> m_api;
    std::unique_ptr<PXCameraManager> m_manager;
    std::unique_ptr<PXCamera> m_camera;
};

QTEST_GUILESS_MAIN(TestCommandTimeouts)
#include "tst_CommandTimeouts.moc"
