// The two rules the command-line program shares with the window: which camera models
// support file access, and which device file names may become local file names.
#include "cli/CliConsole.h"
#include "device/PXFileNameRule.h"
#include "sdk/CameraModelCompatibility.h"

#include <QtTest>

class TestCliRules : public QObject
{
    Q_OBJECT

private slots:
    void compatibility_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("family"); // empty: not compatible

        QTest::newRow("qda three digits CX") << "qda640MCX"
                                             << "qda";
        QTest::newRow("qda two digits") << "qda64MCX"
                                        << "";
        QTest::newRow("qda suffix allowed") << "qda640C25GE-rev2"
                                            << "qda";
        QTest::newRow("kvt exact end") << "kvt12MCX"
                                       << "kvt";
        QTest::newRow("kvt trailing text") << "kvt12MCX2"
                                           << "";
        QTest::newRow("Nimbra version") << "Nimbra2.5CCX12"
                                        << "Nimbra";
        QTest::newRow("T-R402-C") << "T-R402-C"
                                  << "T-R402";
        QTest::newRow("T-R402-X") << "T-R402-X"
                                  << "";
        QTest::newRow("RZ digits M") << "RZ-12M"
                                     << "RZ";
        QTest::newRow("RZ anything after M") << "RZ-12MX"
                                             << "";
        QTest::newRow("RZ3 before RZ") << "RZ3-anything"
                                       << "RZ3";
        QTest::newRow("case matters") << "QDA640MCX"
                                      << "";
        QTest::newRow("match from the start") << " ybo1"
                                              << "";
        QTest::newRow("TN-PX") << "TN-PX7"
                               << "TN-PX";
    }

    void compatibility()
    {
        QFETCH(QString, model);
        QFETCH(QString, family);
        QString found = QStringLiteral("stale");
        QCOMPARE(IsCameraModelCompatible(model, found), !family.isEmpty());
        QCOMPARE(found, family);
    }

    void localNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("acceptable");

        QTest::newRow("plain") << "calibration.xml" << true;
        QTest::newRow("blanks and dots") << "my file..v2" << true;
        QTest::newRow("hidden file") << ".profile" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("dot") << "." << false;
        QTest::newRow("dot dot") << ".." << false;
        QTest::newRow("slash") << "../etc/passwd" << false;
        QTest::newRow("absolute") << "/tmp/x" << false;
        QTest::newRow("backslash") << "..\\x" << false;
        QTest::newRow("nul") << QString::fromLatin1("a\0b", 3) << false;
    }

    void localNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, acceptable);
        QString reason;
        QCOMPARE(PXFileNameRule::IsAcceptableLocalName(name, &reason), acceptable);
        QCOMPARE(reason.isEmpty(), acceptable);
    }

    // Names from a camera are shown, not acted on, by a terminal.
    void shownNames_data()
    {
        QTest::addColumn<bool>("terminal");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        QTest::newRow("plain") << true << "Größe µm.txt"
                               << "Größe µm.txt";
        QTest::newRow("line break and tab") << true << "a\nb\tc"
                                            << "a\\nb\\tc";
        QTest::newRow("escape sequence") << true << "\x1b[2Jx"
                                         << "\\x1b[2Jx";
        QTest::newRow("C1 control") << true << QString(QChar(0x9B)) << "\\x9b";
        QTest::newRow("not a terminal") << false << "a\nb"
                                        << "a\nb";
    }

    void shownNames()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, name);
        QFETCH(QString, shown);
        CliConsole console(nullptr, nullptr, nullptr);
        console.SetTerminal(false, false, 80, terminal);
        QCOMPARE(console.Shown(name), shown);
    }
};

QTEST_GUILESS_MAIN(TestCliRules)
#include "tst_CliRules.moc"
