// The file access panel on a simulated camera: the catalogue, the selector layouts,
// downloads with their questions, "Save As", uploads, deletion and a refused firmware.
#include "SimulatorFixture.h"
#include "DialogScript.h"
#include "LocalFiles.h"

#include "assistant/PXCFileAccess.h"
#include "device/PXCameraManager.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeWidget>
#include <QtTest>

namespace {

// Free space is 1048575 bytes, which the summary shows in exponent form.
const char* const kCameras = R"(
camera id=CAM model=qda640MXGE name="Bench" transport=usb3 firmware="Firmware 1.0" slots=UserSet1 capacity=1444356
file selector=Userfile name=a.txt text="alpha\n"
file selector=Userfile name=b.bin size=1023 seed=1
file selector=Userfile name=c.bin size=196608 seed=2
file selector=Userfile name=d.bin size=196608 seed=3
file selector=UserSet1 size=1536 seed=4
camera id=ODD model=qda640MXGE transport=usb3
file selector=Userfile name=../escape.txt text="out\n"
file selector=Userfile name=.. text="up\n"
file selector=Userfile name=fine.txt text="in\n"
)";

const QStringList kAllFiles{"a.txt", "b.bin", "c.bin", "d.bin"};

} // namespace

class TestPXCFileAccess : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init()
    {
        QVERIFY(m_sim.Start(kCameras));
        m_api = std::make_shared<ApiController>();
        m_manager = std::make_unique<PXCameraManager>(m_api);
        m_dir = std::make_unique<QTemporaryDir>();
        m_panel = std::make_unique<PXCFileAccess>();
        m_panel->show();
        m_log = std::make_unique<QSignalSpy>(m_panel.get(), &PXCFileAccess::sendLogMessage);
        QVERIFY(m_panel->Init(m_manager->Open("SIM-U3V::CAM")));
    }

    void cleanup()
    {
        while (QWidget* modal = QApplication::activeModalWidget())
            modal->close();
        m_log.reset();
        m_panel.reset();
        m_manager.reset();
        m_api.reset();
        m_sim.Stop();
    }

    void catalogue()
    {
        QCOMPARE(w<QLabel>("lblCameraName")->text(), QString("Bench\nFirmware: Firmware 1.0\n"));
        QCOMPARE(rows(), (QStringList{"a.txt|0.01 KB", "b.bin|1.00 KB", "c.bin|192.00 KB", "d.bin|192.00 KB"}));
        QTreeWidgetItem* summary = w<QTreeWidget>("treeWidget_2")->headerItem();
        QCOMPARE(summary->text(0) + "|" + summary->text(1), QString("4 elements|Filesystem Free Size (1.02e+03 KB )"));
        QCOMPARE(m_panel->getFileNameSize(1000), QString("1e+03 Bytes"));
        QCOMPARE(m_panel->getFileNameSize(3221225472), QString("3 GB"));
    }

    void selectorLayouts_data()
    {
        QTest::addColumn<QStringList>("choices");
        QTest::addColumn<QStringList>("visible");
        const QStringList userfile{"lblFileStorage", "treeWidget", "treeWidget_2", "btnUpload:Upload Files To Camera",
                                   "btnDelete:Delete Selected Files", "btnSave:Download Selected Files"};
        QTest::newRow("Userfile") << QStringList{} << userfile;
        QTest::newRow("single-file slot") << QStringList{"UserSet1"}
                                          << QStringList{"btnUpload:Upload File", "btnSave:Download File"};
        QTest::newRow("Firmware") << QStringList{"Firmware"} << QStringList{"btnFirwUpgrade:Upload Firmware"};
        QTest::newRow("Firmware, back to Userfile") << QStringList{"Firmware", "Userfile"} << userfile;
    }

    void selectorLayouts()
    {
        QFETCH(QStringList, choices);
        QFETCH(QStringList, visible);
        for (const QString& choice : choices)
            w<QComboBox>("comboBox")->setCurrentText(choice);
        QStringList shown;
        for (const char* name : {"lblFileStorage", "treeWidget", "treeWidget_2", "btnUpload", "btnDelete",
                                 "btnFirwUpgrade", "btnSave", "lblFileOperation", "fileAccessProgressBar",
                                 "lblFirmwareUpdate"})
            if (w<QWidget>(name)->isVisible())
                shown << name +
                             (qobject_cast<QPushButton*>(w<QWidget>(name)) ? ":" + w<QPushButton>(name)->text() : "");
        QCOMPARE(shown, visible);
    }

    void download_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QStringList>("questions");
        QTest::addColumn<QStringList>("replaced"); // which of a.txt, b.bin, c.bin hold the device's content
        const QString both = "Replace or Skip Files|Destination has 2 files with the same name.\n"
                             "Replace all files in the destination?\n|Yes,NoToAll,Cancel";
        auto single = [](const char* name) {
            return QString("Replace or Skip Files|Replace the file %1 in the destination|Yes,No,Cancel").arg(name);
        };
        QTest::newRow("Yes replaces all") << QStringList{"a.txt", "b.bin"} << QList<int>{QMessageBox::Yes}
                                          << QStringList{both} << QStringList{"a.txt", "b.bin", "c.bin"};
        QTest::newRow("No to All asks per file")
            << QStringList{"a.txt", "b.bin"} << QList<int>{QMessageBox::NoToAll, QMessageBox::Yes, QMessageBox::No}
            << QStringList{both, single("a.txt"), single("b.bin")} << QStringList{"a.txt", "c.bin"};
        QTest::newRow("Cancel fetches the new ones only") << QStringList{"a.txt", "b.bin"}
                                                          << QList<int>{QMessageBox::Cancel} << QStringList{both}
                                                          << QStringList{"c.bin"};
        QTest::newRow("one existing is asked directly")
            << QStringList{"b.bin"} << QList<int>{QMessageBox::Cancel} << QStringList{single("b.bin")}
            << QStringList{"a.txt", "c.bin"};
    }

    void download()
    {
        QFETCH(QStringList, existing);
        QFETCH(QList<int>, answers);
        QFETCH(QStringList, questions);
        QFETCH(QStringList, replaced);
        QDir().mkpath(dir("target"));
        for (const QString& name : existing)
        {
            QVERIFY(WriteLocal(dir("target/") + name, "old"));
            QVERIFY(QFile::setPermissions(dir("target/") + name, QFile::ReadOwner | QFile::WriteOwner));
        }
        DialogScript script;
        script.choose(dir("target"));
        for (int answer : answers)
            script.press(QMessageBox::StandardButton(answer));
        select({"a.txt", "b.bin", "c.bin"});
        click("btnSave");
        waitIdle();

        QVERIFY(script.seen.value(0).startsWith("Save Files|"));
        QCOMPARE(script.seen.mid(1), questions);
        QStringList names;
        for (const QString name : {"a.txt", "b.bin", "c.bin"})
        {
            const QByteArray expected =
                replaced.contains(name) ? device(name) : QByteArray(existing.contains(name) ? "old" : "");
            QCOMPARE(ReadLocal(dir("target/") + name), expected);
            if (!expected.isEmpty())
                names << name;
            // A file that was there keeps its permissions, replaced or not.
            QVERIFY(!existing.contains(name) || !(QFile::permissions(dir("target/") + name) & QFile::ReadOther));
        }
        // Replacing goes through a temporary file, which does not stay behind.
        QCOMPARE(QDir(dir("target")).entryList(QDir::Files | QDir::Hidden), names);
    }

    void progressPerFileAndRememberedParent()
    {
        QStringList steps;
        connect(w<QProgressBar>("fileAccessProgressBar"), &QProgressBar::valueChanged, this,
                [&](int value) { steps << w<QLabel>("lblFileOperation")->text() + " " + QString::number(value); });
        QDir().mkpath(dir("progress"));
        DialogScript script;
        script.choose(dir("progress")).cancel();
        select({"c.bin", "d.bin"});
        click("btnSave");
        QVERIFY(!w<QPushButton>("btnUpload")->isEnabled());
        waitIdle();
        QCOMPARE(steps, (QStringList{"Read: c.bin 50", "Read: c.bin 100", "Read: c.bin 0", "Read: d.bin 50",
                                     "Read: d.bin 100", "Read: d.bin 0"}));
        QVERIFY(w<QProgressBar>("fileAccessProgressBar")->isHidden());

        click("btnUpload"); // starts where the last directory's parent is
        QCOMPARE(script.seen.value(1).section('|', 0, 1), "Upload Files|" + QDir(m_dir->path()).absolutePath());
    }

    void namesLeavingTheDirectory()
    {
        QVERIFY(m_panel->Reset());
        QVERIFY(m_panel->Init(m_manager->Open("SIM-U3V::ODD")));
        QDir().mkpath(dir("inside/target"));
        DialogScript script;
        script.choose(dir("inside/target"));
        select({"../escape.txt", "..", "fine.txt"});
        click("btnSave");
        waitIdle();
        QCOMPARE(logLines(), (QStringList{"E Download device file '../escape.txt' skipped: the name contains '/'.",
                                          "E Download device file '..' skipped: the name is a directory reference."}));
        QCOMPARE(QDir(dir("inside")).entryList(QDir::Files | QDir::Hidden), QStringList{});
        QCOMPARE(QDir(dir("inside/target")).entryList(QDir::Files | QDir::Hidden), QStringList{"fine.txt"});
    }

    void saveAs()
    {
        auto* tree = w<QTreeWidget>("treeWidget");
        DialogScript script;
        select({"a.txt"});
        emit tree->customContextMenuRequested(QPoint(5, tree->viewport()->height() - 2)); // empty space
        QVERIFY(tree->selectedItems().isEmpty());
        emit tree->customContextMenuRequested(tree->visualItemRect(tree->topLevelItem(1)).center());
        QCOMPARE(script.seen, QStringList{"menu|&Save As..."});
        QCOMPARE(tree->selectedItems().value(0)->text(0), QString("b.bin"));

        QAction* saveAs = m_panel->findChildren<QAction*>(QString(), Qt::FindDirectChildrenOnly).value(0);
        script.choose(dir("b-copy.bin"));
        saveAs->trigger();
        waitIdle();
        QVERIFY(m_sim.World()->FailFeatureAccess("CAM", "FileOperationExecute", 1));
        script.choose(dir("b-failed.bin"));
        saveAs->trigger();
        waitIdle();
        // A single-file slot goes through the same dialog, whatever name was picked before.
        w<QComboBox>("comboBox")->setCurrentText("UserSet1");
        script.choose(dir("slot.bin"));
        click("btnSave");
        waitIdle();

        QCOMPARE(script.seen.value(1).section('|', 2), QString("*"));
        QCOMPARE(script.seen.value(1).section('|', 0, 0), QString("Download File As"));
        QCOMPARE(logLines(), (QStringList{"I Download device file successful: 1023 bytes written.",
                                          "E Download device file  failed: 0 bytes written.",
                                          "I Download device file successful: 1536 bytes written."}));
        QCOMPARE(ReadLocal(dir("b-copy.bin")), device("b.bin"));
        QCOMPARE(ReadLocal(dir("slot.bin")), device("UserSet1", "UserSet1"));
    }

    void upload()
    {
        QVERIFY(QDir().mkpath(dir("up")));
        QVERIFY(WriteLocal(dir("up/one.txt"), "first\n"));
        QVERIFY(WriteLocal(dir("up/two.txt"), ""));
        QVERIFY(WriteLocal(dir("up/three.txt"), "third\n"));
        DialogScript script;
        script.cancel();
        click("btnUpload");
        QVERIFY(w<QComboBox>("comboBox")->isEnabled()); // nothing started

        script.choose(QStringList{dir("up/one.txt"), dir("up/two.txt"), dir("up/three.txt")});
        click("btnUpload");
        waitIdle();
        QCOMPARE(logLines(), (QStringList{"I Upload Local Map 'one.txt': 6 bytes written.",
                                          "E Upload Local Map 'two.txt' failed: 0 bytes written."}));
        QCOMPARE(device("one.txt"), QByteArray("first\n"));
        QCOMPARE(device("two.txt") + device("three.txt"), QByteArray("<absent><absent>"));
        QCOMPARE(rows().last(), QString("one.txt|0.01 KB"));
    }

    void deleteFiles_data()
    {
        QTest::addColumn<QString>("selector");
        QTest::addColumn<QStringList>("selected");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("question");
        QTest::addColumn<QStringList>("remaining");
        const QString several = "Delete Files|Are you sure you want to delete the selected files?\n|Yes,No";
        QTest::newRow("No keeps the file") << "Userfile" << QStringList{"b.bin"} << int(QMessageBox::No)
                                           << "Delete Files|Are you sure you want to delete this file?\n|Yes,No"
                                           << kAllFiles;
        QTest::newRow("Yes deletes the selection") << "Userfile" << QStringList{"a.txt", "b.bin", "c.bin"}
                                                   << int(QMessageBox::Yes) << several << QStringList{"d.bin"};
        QTest::newRow("a slot is emptied, whatever is selected") << "UserSet1" << QStringList{} << int(QMessageBox::Yes)
                                                                 << several << kAllFiles;
    }

    void deleteFiles()
    {
        QFETCH(QString, selector);
        QFETCH(QStringList, selected);
        QFETCH(int, answer);
        QFETCH(QString, question);
        QFETCH(QStringList, remaining);
        w<QComboBox>("comboBox")->setCurrentText(selector);
        select(selected);
        DialogScript script;
        script.press(QMessageBox::StandardButton(answer));
        click("btnDelete");
        QCOMPARE(script.seen, QStringList{question});
        QVERIFY(w<QComboBox>("comboBox")->isEnabled() && w<QPushButton>("btnUpload")->isEnabled());
        QStringList left;
        for (const QString& name : kAllFiles)
            if (device(name) != "<absent>")
                left << name;
        QCOMPARE(left, remaining);
        QCOMPARE(device("UserSet1", "UserSet1") == "<absent>", selector == "UserSet1");
        if (remaining.size() == 1)
            QCOMPARE(w<QTreeWidget>("treeWidget_2")->headerItem()->text(0), QString("1 element"));
    }

    void refusedFirmware()
    {
        QVERIFY(WriteLocal(dir("image.ge3"), "not an image\n" + QByteArray(70000, 'x')));
        QSignalSpy started(m_panel.get(), &PXCFileAccess::cameraFirmwareUpdateStarted);
        QSignalSpy reset(m_panel.get(), &PXCFileAccess::deviceReset);
        w<QComboBox>("comboBox")->setCurrentText("Firmware");
        DialogScript script;
        script.choose(dir("image.ge3")).press(QMessageBox::Ok);
        click("btnFirwUpgrade");
        QVERIFY(!w<QPushButton>("btnCloseCamera")->isEnabled() && QApplication::overrideCursor());
        QTRY_VERIFY(script.finished());
        QVERIFY(script.seen.value(0).startsWith("Firmware Upgrade|") && script.seen.value(0).endsWith("|ge3 (*.ge3)"));
        QCOMPARE(script.seen.value(1),
                 QString("Firmware Update|<p align='center'>Errors occured during firmware update<br>|Ok"));
        QCOMPARE(logLines(), QStringList{"E Upload Local Map 'image.ge3' failed: 0 bytes written."});
        QCOMPARE(started.count(), 2);
        QVERIFY(started.first().value(0).toBool() && !started.last().value(0).toBool());
        QVERIFY(reset.isEmpty() && !QApplication::overrideCursor() && w<QPushButton>("btnCloseCamera")->isEnabled());
        w<QComboBox>("comboBox")->setCurrentText("Userfile"); // the camera stays with the panel
        QCOMPARE(rows().size(), 4);

        // The watcher keeps its firmware name: any later task ends as a firmware update.
        script.choose(dir("a.txt")).press(QMessageBox::Ok);
        m_panel->saveFileAs();
        QTRY_COMPARE(reset.count(), 1);
        QVERIFY(script.seen.value(3).contains("Firmware Update successful!"));
    }

private:
    template <typename T> T* w(const char* name) const { return m_panel->findChild<T*>(name); }
    QByteArray device(const QString& name, const char* selector = "Userfile") const
    {
        return m_sim.DeviceFile("CAM", selector, name.toUtf8().constData()).value_or("<absent>");
    }
    QString dir(const QString& sub) const { return m_dir->filePath(sub); }
    QStringList rows() const;
    QStringList logLines() const;
    void select(const QStringList& names);
    void click(const char* button) { QTest::mouseClick(w<QPushButton>(button), Qt::LeftButton); }
    void waitIdle() { QTRY_VERIFY(w<QComboBox>("comboBox")->isEnabled()); }

    SimulatorFixture m_sim;
    std::shared_ptr<ApiController> m_api;
    std::unique_ptr<PXCameraManager> m_manager;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<PXCFileAccess> m_panel;
    std::unique_ptr<QSignalSpy> m_log;
};

QStringList TestPXCFileAccess::rows() const
{
    QStringList texts;
    auto* tree = w<QTreeWidget>("treeWidget");
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        texts << tree->topLevelItem(i)->text(0) + "|" + tree->topLevelItem(i)->text(1);
    return texts;
}

QStringList TestPXCFileAccess::logLines() const
{
    QStringList lines;
    for (const auto& args : *m_log)
        lines << QString(args.at(1).value<LogType>() == Error ? "E " : "I ") + args.at(0).toString();
    return lines;
}

void TestPXCFileAccess::select(const QStringList& names)
{
    auto* tree = w<QTreeWidget>("treeWidget");
    tree->clearSelection();
    for (const QString& name : names)
        tree->findItems(name, Qt::MatchExactly).value(0)->setSelected(true);
}

QTEST_MAIN(TestPXCFileAccess)
#include "tst_pxcfileaccess.moc"
