#include "discovery/CameraTreeModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

namespace {

CameraInfoMap camera(const QString& extId, const QString& tl, const QString& interfaceId, bool fullAccess = true)
{
    return {{"Extended ID", extId},       {"Camera ID", "id-" + extId}, {"Model Name", "qda640MXGE"},
            {"Camera Name", "N" + extId}, {"Serial No.", "S" + extId},  {"Interface", interfaceId},
            {"Transport Layer", tl},      {"TL Path", "/tl/" + tl},     {"Full Access", fullAccess}};
}

QStringList texts(const QAbstractItemModel& model, const QModelIndex& parent = QModelIndex())
{
    QStringList result;
    for (int row = 0; row < model.rowCount(parent); ++row)
        result << model.index(row, 0, parent).data().toString();
    return result;
}

// Insertions announce two rows for the one they append, as the camera list always has;
// the tester calls that out once per insertion.
void expectInsertions(int count)
{
    for (int i = 0; i < count; ++i)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("FAIL! Compared values are not the same"));
}

} // namespace

class TestCameraTreeModel : public QObject
{
    Q_OBJECT

private slots:
    void groupsByTransportLayerAndInterface()
    {
        CameraTreeModel model;
        QAbstractItemModelTester tester(&model);
        QCOMPARE(model.rowCount(), 0);
        model.Init({});
        QCOMPARE(model.columnCount(), 1);

        CameraInfoMap firstUsb = camera("u2", "USB3", "if0");
        firstUsb["TL Path"] = "/first";
        model.Init({camera("g1", "GigE", "if0"), firstUsb, camera("g4", "GigE", "eth1"), camera("u3", "USB3", "if0")});
        QCOMPARE(texts(model), (QStringList{"GigE", "USB3"}));
        QCOMPARE(texts(model, model.index(0, 0)), (QStringList{"if0", "eth1"}));
        const QModelIndex usbInterface = model.index(0, 0, model.index(1, 0));
        QCOMPARE(texts(model, usbInterface), (QStringList{"qda640MXGE-Su2(id-u2)", "qda640MXGE-Su3(id-u3)"}));
        QCOMPARE(model.index(1, 0).data(Qt::ToolTipRole).toString(), QString("<B>TL Path</B>: /first<BR>"));
        QCOMPARE(model.GetCameraExtId(model.index(1, 0, usbInterface)), QString("u3"));
        QCOMPARE(model.GetCameraName(model.index(1, 0, usbInterface)), QString("Nu3"));
        QCOMPARE(model.GetCameraExtId(QModelIndex()), QString());
    }

    // Section 0 has no text; the others are the labels from "Camera Name" to "TL Path".
    void headerSections()
    {
        CameraTreeModel model;
        QCOMPARE(model.headerData(0, Qt::Horizontal), QVariant());
        QCOMPARE(model.headerData(1, Qt::Horizontal), QVariant("Camera Name"));
        QCOMPARE(model.headerData(7, Qt::Horizontal), QVariant("TL Path"));
        QCOMPARE(model.headerData(8, Qt::Horizontal), QVariant());
        QCOMPARE(model.headerData(1, Qt::Vertical), QVariant());
    }

    void flagsAndToolTips_data()
    {
        QTest::addColumn<QVariant>("fullAccess");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("selectable");
        QTest::addColumn<QString>("toolTip");
        const QString cameraTip = "<B>Camera Name</B>: Na<BR><B>Camera ID</B>: id-a<BR><B>Serial No.</B>: Sa<BR>"
                                  "<B>Full Access</B>: %1<BR><B>Extended ID</B>: a<BR><B>Interface</B>: eth0<BR>"
                                  "<B>TL Path</B>: /tl/GigE<BR>";
        QTest::newRow("camera with full access") << QVariant(true) << 2 << true << true << cameraTip.arg("true");
        QTest::newRow("camera held elsewhere") << QVariant(false) << 2 << false << true << cameraTip.arg("false");
        QTest::newRow("camera without access key")
            << QVariant() << 2 << false << true << QString(cameraTip).remove("<B>Full Access</B>: %1<BR>");
        QTest::newRow("interface") << QVariant(false) << 1 << true << false << "<B>Interface</B>: eth0<BR>";
        QTest::newRow("transport layer") << QVariant(false) << 0 << true << false << "<B>TL Path</B>: /tl/GigE<BR>";
    }

    void flagsAndToolTips()
    {
        QFETCH(QVariant, fullAccess);
        QFETCH(int, depth);
        QFETCH(bool, enabled);
        QFETCH(bool, selectable);
        QFETCH(QString, toolTip);
        CameraInfoMap cam = camera("a", "GigE", "eth0");
        cam.remove("Full Access");
        if (fullAccess.isValid())
            cam["Full Access"] = fullAccess;
        CameraTreeModel model;
        model.Init({cam});
        QModelIndex index = model.index(0, 0);
        for (int level = 0; level < depth; ++level)
            index = model.index(0, 0, index);
        QCOMPARE(model.flags(index).testFlag(Qt::ItemIsEnabled), enabled);
        QCOMPARE(model.flags(index).testFlag(Qt::ItemIsSelectable), selectable);
        QCOMPARE(index.data(Qt::ToolTipRole).toString(), toolTip);
        QCOMPARE(index.data(Qt::DecorationRole), QVariant());
    }

    void removalCollapsesBranches()
    {
        CameraTreeModel model;
        QAbstractItemModelTester tester(&model);
        model.Init({camera("g1", "GigE", "eth0"), camera("g2", "GigE", "eth1"), camera("g3", "GigE", "eth1"),
                    camera("u1", "USB3", "usb0")});
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);

        model.OnCameraRemoved(camera("g2", "GigE", "eth1"));
        model.OnCameraRemoved({{"Extended ID", "nobody"}});
        QCOMPARE(texts(model, model.index(0, 0)), (QStringList{"eth0", "eth1"}));
        model.OnCameraRemoved(camera("g3", "GigE", "eth1"));
        QCOMPARE(texts(model, model.index(0, 0)), (QStringList{"eth0"}));
        model.OnCameraRemoved({{"Extended ID", "u1"}}); // a removal record carries little more than the id
        QCOMPARE(texts(model), (QStringList{"GigE"}));
        model.OnCameraRemoved(camera("g1", "GigE", "eth0"));
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(removed.count(), 4); // one single-row removal each, emptied branches included
    }

    void additionsAndAccessChanges()
    {
        CameraTreeModel model;
        model.Init({camera("g1", "GigE", "eth0"), camera("twin", "USB3", "usb0", false)});
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Warning);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);

        expectInsertions(1);
        model.OnCameraAdded(camera("twin", "GigE", "eth0", false)); // no duplicate check; higher up in the tree
        QCOMPARE(inserted.last().at(1).toInt(), 1);
        QCOMPARE(inserted.last().at(2).toInt(), 2);
        expectInsertions(3);
        model.OnCameraAdded(camera("n1", "CoaXPress", "cxp0"));
        QCOMPARE(texts(model), (QStringList{"GigE", "USB3", "CoaXPress"}));

        // The first in the tree is the one an access change and a removal find.
        const QModelIndex gigeTwin = model.index(1, 0, model.index(0, 0, model.index(0, 0)));
        const QModelIndex usbTwin = model.index(0, 0, model.index(0, 0, model.index(1, 0)));
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("topLeft.isValid")); // an open range, on purpose
        model.OnCameraAccessChanged(camera("twin", "GigE", "eth0", true));
        QVERIFY(model.flags(gigeTwin).testFlag(Qt::ItemIsEnabled));
        QVERIFY(!model.flags(usbTwin).testFlag(Qt::ItemIsEnabled));
        QCOMPARE(changed.last().at(1).toModelIndex(), gigeTwin);
        model.OnCameraAccessChanged(camera("unknown", "GigE", "eth0"));
        QCOMPARE(changed.count(), 1);

        model.OnCameraRemoved(camera("twin", "USB3", "usb0"));
        QCOMPARE(texts(model, model.index(0, 0, model.index(0, 0))), QStringList{"qda640MXGE-Sg1(id-g1)"});
        model.OnCameraRemoved(camera("twin", "USB3", "usb0"));
        QCOMPARE(texts(model), (QStringList{"GigE", "CoaXPress"}));
        expectInsertions(3);
        model.OnCameraAdded(camera("twin", "USB3", "usb0")); // branches come back after they emptied
        QCOMPARE(texts(model), (QStringList{"GigE", "CoaXPress", "USB3"}));
    }
};

QTEST_GUILESS_MAIN(TestCameraTreeModel)
#include "tst_cameratreemodel.moc"
