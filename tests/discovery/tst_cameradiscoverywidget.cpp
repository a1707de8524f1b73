#include "discovery/CameraDiscoveryWidget.h"
#include "sdk/ApiController.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTreeView>
#include <QtTest>

#include <atomic>
#include <memory>
#include <sim/SimWorld.h>

namespace {

// " RZ-12M" carries a leading blank: a scan trims it, the plug-in path does not.
const char* const kCameras = R"(camera id=CAM_A model=qda640MXGE serial=1001 name="Alpha" transport=gige interface=eth0
camera id=CAM_B model=qda64MXGE serial=1002 name="Near miss" transport=gige interface=eth0
camera id=CAM_C model=RZ-12M serial=1003 name="Gamma" transport=usb3 interface=usb0
camera id=CAM_D model=" RZ-12M" serial=1004 name="Padded" transport=usb3 interface=usb0
camera id=CAM_E model=T-R402 serial=1005 name="Held" transport=gige interface=eth1 held=yes
)";

// Sees every list change the SDK delivers, so a test knows when one has gone by.
class EventWitness : public GrbCPP::ICameraListObserver
{
public:
    void CameraListChanged(GrbCPP::CameraPtr, GrbCPP::UpdateTriggerType) override { ++events; }
    std::atomic<int> events{0};
};

} // namespace

class TestCameraDiscoveryWidget : public QObject
{
    Q_OBJECT

private:
    template <typename T> T* child(const char* name) const { return m_panel->findChild<T*>(name); }

    QTemporaryDir m_dir;
    std::unique_ptr<CameraDiscoveryWidget> m_panel;
    QTreeView* m_tree = nullptr;

    QStringList leaves(const QModelIndex& parent = QModelIndex()) const
    {
        QStringList texts;
        for (int row = 0; row < m_tree->model()->rowCount(parent); ++row)
        {
            const QModelIndex index = m_tree->model()->index(row, 0, parent);
            texts << (m_tree->model()->hasChildren(index) ? leaves(index) : QStringList{index.data().toString()});
        }
        return texts;
    }

    QModelIndex leaf(const QString& prefix, const QModelIndex& parent = QModelIndex()) const
    {
        for (int row = 0; row < m_tree->model()->rowCount(parent); ++row)
        {
            const QModelIndex index = m_tree->model()->index(row, 0, parent);
            const QModelIndex found = m_tree->model()->hasChildren(index) ? leaf(prefix, index) : index;
            if (found.isValid() && found.data().toString().startsWith(prefix))
                return found;
        }
        return {};
    }

    void waitForList()
    {
        // A finished scan hides the label, or shows why the list is empty.
        auto* label = child<QLabel>("lblRefreshInfo");
        QTRY_VERIFY(m_panel->GetApiController() && (label->isHidden() || label->text() != "Refresh in progress..."));
    }

private slots:
    void initTestCase()
    {
        QFile file(m_dir.filePath("cameras.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(kCameras);
        qputenv("GRB_SIMULATOR", file.fileName().toLocal8Bit());
    }

    void init()
    {
        m_panel = std::make_unique<CameraDiscoveryWidget>();
        m_tree = child<QTreeView>("treeView");
        m_panel->show();
    }

    void cleanup()
    {
        m_panel.reset(); // shuts the SDK down; the next panel starts it with fresh cameras
        QCOMPARE(QApplication::overrideCursor(), nullptr); // also when it went before the SDK was up
    }

    void compatibility_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("family");
        QTest::newRow("qda three digits") << "qda123MCX" << "qda";
        QTest::newRow("qda XGE, more after") << "qda640CXGE-2" << "qda";
        QTest::newRow("qda two digits") << "qda12MCX" << "";
        QTest::newRow("vt 100GE_RDMA") << "vt5C100GE_RDMA" << "vt";
        QTest::newRow("kvt exact") << "kvt12CCX" << "kvt";
        QTest::newRow("kvt more after") << "kvt12CCX2" << "";
        QTest::newRow("Nimbra") << "Nimbra2.5MCX12" << "Nimbra";
        QTest::newRow("T-R402-C") << "T-R402-C" << "T-R402";
        QTest::newRow("T-R402-M") << "T-R402-M" << "";
        QTest::newRow("RZ digits M") << "RZ-12M" << "RZ";
        QTest::newRow("RZ more after M") << "RZ-12MX" << "";
        QTest::newRow("RZ3 anything") << "RZ3-x" << "RZ3";
        QTest::newRow("Drevak") << "Drevak-DCX4" << "Drevak";
        QTest::newRow("TN-PX") << "TN-PX200" << "TN-PX";
        QTest::newRow("case matters") << "QDA123MCX" << "";
        QTest::newRow("leading blank") << " RZ-12M" << "";
    }

    void compatibility()
    {
        QFETCH(QString, model);
        QFETCH(QString, family);
        QString found = "stale";
        QCOMPARE(IsCameraModelCompatible(model, found), !family.isEmpty());
        QCOMPARE(found, family);
    }

    void scanAndFilter()
    {
        QCOMPARE(child<QLabel>("lblRefreshInfo")->text(), QString("Refresh in progress..."));
        waitForList();
        QCOMPARE(leaves(), (QStringList{"qda640MXGE-1001(CAM_A)", "T-R402-1005(CAM_E)", "RZ-12M-1003(CAM_C)",
                                        " RZ-12M-1004(CAM_D)"}));
        QVERIFY(!m_tree->model()->flags(leaf("T-R402")).testFlag(Qt::ItemIsEnabled));
        QCOMPARE(QApplication::overrideCursor(), nullptr);

        QSignalSpy resets(m_tree->model(), &QAbstractItemModel::modelReset);
        child<QCheckBox>("chkCompatibleOnly")->setChecked(false);
        child<QCheckBox>("chkCompatibleOnly")->setChecked(true); // while the scan runs: ignored
        waitForList();
        QCOMPARE(resets.count(), 2);
        QCOMPARE(leaves().size(), 5);
    }

    void plugAndAccessEvents()
    {
        waitForList();
        auto world = grb::sim::SimWorld::Active();
        QSignalSpy removed(m_panel.get(), &CameraDiscoveryWidget::CameraRemoved);
        QSignalSpy added(m_panel->GetApiController().get(), &ApiController::CameraAdded);

        QVERIFY(world->Unplug("CAM_E"));
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(removed.last(), (QVariantList{"SIM-GEV::CAM_E", "Held"}));
        QCOMPARE(m_tree->model()->rowCount(m_tree->model()->index(0, 0)), 1); // its interface went with it
        QVERIFY(world->SetHeldByOther("CAM_E", false));
        QVERIFY(world->Plug("CAM_E"));
        QTRY_VERIFY(leaf("T-R402").isValid());
        QVERIFY(m_tree->model()->flags(leaf("T-R402")).testFlag(Qt::ItemIsEnabled));
        QTRY_VERIFY(m_tree->isExpanded(leaf("T-R402").parent()));

        QVERIFY(world->SetHeldByOther("CAM_A", true));
        QTRY_VERIFY(!m_tree->model()->flags(leaf("qda640")).testFlag(Qt::ItemIsEnabled));

        // Untrimmed on the plug-in path, the padded model name no longer matches.
        QVERIFY(world->Unplug("CAM_D"));
        QVERIFY(world->Plug("CAM_D"));
        QTRY_COMPARE(added.count(), 2);
        QVERIFY(!leaf(" RZ").isValid());
    }

    void emptyListLabel()
    {
        waitForList();
        QSignalSpy removed(m_panel.get(), &CameraDiscoveryWidget::CameraRemoved);
        for (const char* id : {"CAM_A", "CAM_B", "CAM_C", "CAM_D", "CAM_E"})
            QVERIFY(grb::sim::SimWorld::Active()->Unplug(id));
        QTRY_COMPARE(removed.count(), 5);
        auto* label = child<QLabel>("lblRefreshInfo");
        QVERIFY(label->isVisible());
        QCOMPARE(label->text(), QString("No compatible cameras found"));
        child<QCheckBox>("chkCompatibleOnly")->setChecked(false);
        waitForList();
        QCOMPARE(label->text(), QString("No cameras found"));
    }

    void openAndCloseRequests()
    {
        waitForList();
        auto* open = child<QPushButton>("btnOpenCamera");
        auto* pages = child<QStackedWidget>("stackedWidget");
        QSignalSpy opened(m_panel.get(), &CameraDiscoveryWidget::CameraOpened);
        QSignalSpy closed(m_panel.get(), &CameraDiscoveryWidget::CameraClosed);
        auto doubleClick = [this](const QModelIndex& index) {
            // A view acts on a double click only where the press before it went.
            QTest::mouseClick(m_tree->viewport(), Qt::LeftButton, {}, m_tree->visualRect(index).center());
            QTest::mouseDClick(m_tree->viewport(), Qt::LeftButton, {}, m_tree->visualRect(index).center());
        };

        doubleClick(leaf("RZ-12M"));
        QCOMPARE(opened.last(), QVariantList{"SIM-U3V::CAM_C"});
        QCOMPARE(pages->currentIndex(), 1);
        QVERIFY(!m_tree->isEnabled());
        QTest::mouseClick(child<QPushButton>("btnCloseCamera"), Qt::LeftButton);
        QCOMPARE(closed.last(), (QVariantList{"SIM-U3V::CAM_C", "Gamma"}));
        QCOMPARE(pages->currentIndex(), 0);
        QVERIFY(m_tree->isEnabled());

        doubleClick(m_tree->model()->index(0, 0));
        QVERIFY(!open->isEnabled());
        m_tree->setCurrentIndex(leaf("T-R402")); // greyed out: held by another program
        QTest::keyClick(m_tree, Qt::Key_Return);
        QCOMPARE(opened.count(), 1);

        // Return opens the selected camera as a double click does.
        m_tree->setCurrentIndex(leaf("qda640"));
        QTest::keyClick(m_tree, Qt::Key_Return);
        QCOMPARE(opened.last(), QVariantList{"SIM-GEV::CAM_A"});
        // Another camera leaving is reported but leaves the open camera's controls; the open
        // one leaving brings the list back.
        QSignalSpy removed(m_panel.get(), &CameraDiscoveryWidget::CameraRemoved);
        QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_C"));
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(pages->currentIndex(), 1);
        QVERIFY(!m_tree->isEnabled());
        QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_A"));
        QTRY_COMPARE(removed.count(), 2);
        QCOMPARE(pages->currentIndex(), 0);
        QVERIFY(m_tree->isEnabled());
    }

    void autoRefresh()
    {
        // Before the SDK has started there is no controller to switch.
        QSignalSpy errors(m_panel.get(), &CameraDiscoveryWidget::ApiError);
        child<QCheckBox>("chkAutoRefresh")->setChecked(false);
        QCOMPARE(errors.last(), QVariantList{"Failed to disable the automatic refresh of cameras"});
        child<QCheckBox>("chkAutoRefresh")->setChecked(true);
        QCOMPARE(errors.last(), QVariantList{"Failed to enable the automatic refresh of cameras"});

        waitForList();
        QSignalSpy removed(m_panel.get(), &CameraDiscoveryWidget::CameraRemoved);
        auto witness = std::make_shared<EventWitness>();
        QCOMPARE(GrbCPP::GrbSystem::GetInstance().RegisterCameraListObserver(witness), GrbErrorSuccess);
        child<QCheckBox>("chkAutoRefresh")->setChecked(false);
        QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_A"));
        QTRY_COMPARE(witness->events.load(), 1);
        child<QCheckBox>("chkAutoRefresh")->setChecked(true);
        QVERIFY(grb::sim::SimWorld::Active()->Unplug("CAM_C"));
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(removed.last().first().toString(), QString("SIM-U3V::CAM_C"));
        QVERIFY(leaf("qda640").isValid()); // missed while switched off
        QCOMPARE(errors.count(), 2);
        GrbCPP::GrbSystem::GetInstance().UnregisterCameraListObserver(witness);
    }

    void scanErrorsAreForwarded()
    {
        waitForList();
        QSignalSpy errors(m_panel.get(), &CameraDiscoveryWidget::ApiError);
        QVERIFY(grb::sim::SimWorld::Active()->FailIdentity("CAM_C", grb::DeviceRecord::Model, GrbErrorTimeout));
        QTest::mouseClick(child<QPushButton>("btnRefresh"), Qt::LeftButton);
        waitForList();
        QTRY_COMPARE(errors.count(), 1);
        QCOMPARE(errors.last(), QVariantList{"Failed to get camera model for CAM_C (error: Timeout.)"});
        QCOMPARE(leaves().size(), 3); // an empty model name is never compatible
    }
};

QTEST_MAIN(TestCameraDiscoveryWidget)
#include "tst_cameradiscoverywidget.moc"
