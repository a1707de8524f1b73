#include "settings/PXCSettings.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

// Every case runs against its own temporary HOME and XDG_CONFIG_HOME, never the real ones.
class TestPXCSettings : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", m_home->path().toLocal8Bit());
        qputenv("XDG_CONFIG_HOME", (m_home->path() + "/config").toLocal8Bit());
    }

    void cleanup()
    {
        flush();
        m_home.reset();
    }

    void firstRun()
    {
        PXCSettings settings;
        for (const QString sub : {"", "/images", "/logs", "/ShadingCorr", "/DefectPixelCorr", "/FileAccess"})
            QVERIFY2(QDir(documents() + sub).exists(), qPrintable(sub));

        QSettings ini(file("PxTools.ini"), QSettings::IniFormat);
        QCOMPARE(ini.childGroups(), (QStringList{"Directory", "MainWindow"}));
        QCOMPARE(ini.value("MainWindow/Width").toInt(), 800);
        QCOMPARE(ini.value("MainWindow/Height").toInt(), 600);
        ini.beginGroup("Directory");
        QCOMPARE(ini.childKeys().size(), 6);
        for (const QString& key : ini.childKeys())
            QCOMPARE(ini.value(key).toString(), documents());
        QCOMPARE(settings.Get("Directory", "fileAccessFileDir", "none").toString(), documents());

        QSettings ccm(file("ccprofiles.ini"), QSettings::IniFormat);
        QCOMPARE(ccm.value("Profile SRGB/23").toStringList(), (QStringList{"#313133", "1"}));
        QCOMPARE(ccm.value("Profile SRGB Weighted/23").toStringList(), (QStringList{"#313133", "0.06659"}));

        const QList<int> codes = {111, 111, 111, 111, 111, 112, 112, 112, 111, 111, 111, 111, 112, 106, 108, 102, 104,
                                  101, 105, 102, 108, 104, 102, 102, 103, 104, 105, 106, 107, 108, 101, 109, 110, 113};
        QSettings deff(file("deffmatch.ini"), QSettings::IniFormat);
        QCOMPARE(deff.childGroups().size(), 34);
        for (int i = 0; i < 34; ++i)
        {
            const QString group = QString("DefMatch%1/").arg(i, 2, 10, QChar('0'));
            QCOMPARE(deff.value(group + "f").toInt(), codes[i]);
            QCOMPARE(deff.value(group + "c").toStringList().value(2), QString("1"));
        }
        QCOMPARE(deff.value("DefMatch33/c").toStringList(), (QStringList{"0", "1", "1", "1", "0"}));
    }

    void secondRunUsesNestedGroup()
    {
        delete new PXCSettings;
        flush();
        {
            PXCSettings second;
            // From now on the top-level "Directory" of the first run is out of reach.
            QCOMPARE(second.Get("Directory", "fileAccessFileDir", "fallback").toString(), QString("fallback"));
            QCOMPARE(second.Get("Directory", "SaveImageDir", "fallback").toString(), documents());
            second.Set("Directory", "fileAccessFileDir", "/else");
        }
        flush();
        QSettings ini(file("PxTools.ini"), QSettings::IniFormat);
        QCOMPARE(ini.value("Settings/Directory/fileAccessFileDir").toString(), QString("/else"));
        QCOMPARE(ini.value("Settings/Directory/SHCSettingsFileDir").toString(), documents());
        QCOMPARE(ini.value("Directory/fileAccessFileDir").toString(), documents());
    }

    void directoryKeys_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("kept");
        QTest::newRow("writable folder") << "writable" << true;
        QTest::newRow("missing folder") << "missing" << false;
        QTest::newRow("regular file") << "file" << false;
        QTest::newRow("empty text") << "empty" << false;
        QTest::newRow("probe blocked next to the folder") << "blocked" << false;
        QTest::newRow("read-only folder") << "read-only" << false;
    }

    void directoryKeys()
    {
        QFETCH(QString, kind);
        QFETCH(bool, kept);
        if (kind == "read-only" && geteuid() == 0)
            QSKIP("root writes into read-only folders");
        const QString dir = m_home->path() + "/work";
        if (kind != "missing" && kind != "file")
            QVERIFY(QDir().mkpath(dir));
        if (kind == "blocked")
            QVERIFY(QDir().mkpath(dir + "\\Empty.txt")); // the probe's name, taken by a folder
        if (kind == "read-only")
            QVERIFY(QFile::setPermissions(dir, QFile::ReadOwner | QFile::ExeOwner));
        if (kind == "file")
            QVERIFY(QFile(dir).open(QIODevice::WriteOnly));
        const QString value = kind == "empty" ? QString() : dir;
        QSettings(file("PxTools.ini"), QSettings::IniFormat).setValue("Settings/Directory/PDCSettingsFileDir", value);

        PXCSettings settings;
        QCOMPARE(settings.Get("Directory", "PDCSettingsFileDir", "none").toString(), kept ? value : documents());
        QVERIFY(!QFile::exists(dir + "/Empty.txt"));
        QCOMPARE(QFile::exists(dir + "\\Empty.txt"), kind == "blocked");
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void regeneratesOnlyDeletedDataFile_data()
    {
        QTest::addColumn<QString>("deleted");
        QTest::addColumn<QString>("kept");
        QTest::newRow("colour profiles") << "ccprofiles.ini" << "deffmatch.ini";
        QTest::newRow("defect matching") << "deffmatch.ini" << "ccprofiles.ini";
    }

    void regeneratesOnlyDeletedDataFile()
    {
        QFETCH(QString, deleted);
        QFETCH(QString, kept);
        delete new PXCSettings;
        flush();
        QFile untouched(file(kept));
        QVERIFY(untouched.open(QIODevice::WriteOnly | QIODevice::Truncate));
        untouched.write("[Mark]\n");
        untouched.close();
        QVERIFY(QFile::remove(file(deleted)));

        delete new PXCSettings;
        flush();
        QVERIFY(QSettings(file(deleted), QSettings::IniFormat).childGroups().size() >= 2);
        QVERIFY(untouched.open(QIODevice::ReadOnly));
        QCOMPARE(untouched.readAll(), QByteArray("[Mark]\n"));
    }

    void corruptMainFile_data()
    {
        static const char junk[] = "\x01\x02\xff\xfe\0\0[[[=\n\x7f";
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("binary junk") << QByteArray(junk, sizeof(junk) - 1);
        QTest::newRow("truncated group header") << QByteArray("[MainWindow]\nOffsetX=0\n[Sett");
        QTest::newRow("truncated value") << QByteArray("[Settings]\nDirectory\\SaveImageDir=\"/tm");
    }

    void corruptMainFile()
    {
        QFETCH(QByteArray, content);
        QVERIFY(QDir().mkpath(QFileInfo(file("PxTools.ini")).path()));
        QFile ini(file("PxTools.ini"));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write(content);
        ini.close();

        PXCSettings settings;
        QCOMPARE(settings.Get("Directory", "SaveImageDir", "none").toString(), documents());
        QCOMPARE(settings.Get("Directory", "fileAccessFileDir", "none").toString(), QString("none"));
    }

    void nothingCanBeCreated()
    {
        // Configuration and documents below a plain file: no folder or file can be made.
        const QString blocker = m_home->path() + "/blocker";
        QVERIFY(QFile(blocker).open(QIODevice::WriteOnly));
        qputenv("HOME", blocker.toLocal8Bit());
        qputenv("XDG_CONFIG_HOME", (blocker + "/config").toLocal8Bit());

        PXCSettings settings;
        settings.Set("MainWindow", "Width", 1024);
        QCOMPARE(settings.Get("MainWindow", "Width", 0).toInt(), 1024);
        flush();
        QVERIFY(QFileInfo(blocker).isFile());
    }

    void settingsFileNotRegular_data()
    {
        QTest::addColumn<bool>("pipe");
        QTest::newRow("directory") << false;
        QTest::newRow("pipe") << true; // reading it would block for ever
    }

    void settingsFileNotRegular()
    {
        QFETCH(bool, pipe);
        QVERIFY(QDir().mkpath(QFileInfo(file("PxTools.ini")).path()));
        const QByteArray path = QFile::encodeName(file("PxTools.ini"));
        QVERIFY(pipe ? mkfifo(path.constData(), 0600) == 0 : QDir().mkdir(file("PxTools.ini")));

        PXCSettings settings;
        settings.Set("Directory", "fileAccessFileDir", "/tmp");
        QCOMPARE(settings.Get("Directory", "fileAccessFileDir", "none").toString(), QString("none"));
        flush();
        QCOMPARE(QFileInfo(file("PxTools.ini")).isDir(), !pipe);
        QVERIFY(QFileInfo(file("ccprofiles.ini")).isFile());
    }

private:
    QString file(const QString& name) const { return m_home->path() + "/config/Zorvan Technologies/PXTools/" + name; }
    QString documents() const { return m_home->path() + "/Documents/PXTools"; }
    // What QSettings still holds goes to disk, as at program exit.
    static void flush() { qDeleteAll(qApp->findChildren<QSettings*>()); }

    std::unique_ptr<QTemporaryDir> m_home;
};

QTEST_GUILESS_MAIN(TestPXCSettings)
#include "tst_pxcsettings.moc"
