#include "PXCSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

namespace {

const char* const kValidatedDirKeys[] = {"SaveImageDir", "SettingsFileDir", "SPSettingsFileDir", "PDCSettingsFileDir",
                                         "SHCSettingsFileDir"};

struct ColourPatch
{
    const char* colour;
    const char* weight;
};

// The 24 patches of the colour checker chart, in chart order, with their weights.
const ColourPatch kColourChecker[24] = {
    {"#745143", "0.2176"}, {"#c79381", "0.6475"}, {"#5b7a9c", "0.3846"}, {"#5a6c40", "0.2937"},
    {"#8280b0", "0.4757"}, {"#5cbeac", "0.7803"}, {"#e07c2f", "0.6027"}, {"#445baa", "0.2507"},
    {"#c65261", "0.3915"}, {"#5e3a6a", "0.1426"}, {"#9fbd3f", "0.7993"}, {"#e6a227", "0.7869"},
    {"#233f93", "0.1327"}, {"#43954a", "0.4616"}, {"#b43139", "0.2732"}, {"#eec614", "1.033"},
    {"#c15497", "0.3969"}, {"#0088aa", "0.3921"}, {"#f5f5f3", "1.415"},  {"#c8caca", "1.032"},
    {"#a1a3a3", "0.6992"}, {"#79797a", "0.4026"}, {"#525456", "0.1984"}, {"#313133", "0.06659"},
};

struct DefectPattern
{
    // Rows a to e, top to bottom; '-' is -1 (must be good), '0' don't care, '1' defect.
    const char* rows[5];
    int code;
};

const DefectPattern kDefectPatterns[34] = {
    {{"-----", "-000-", "-010-", "-000-", "-----"}, 111}, // 00 single pixel
    {{"-----", "-010-", "-010-", "-000-", "-----"}, 111}, // 01
    {{"-----", "-000-", "-010-", "-010-", "-----"}, 111}, // 02
    {{"-----", "-100-", "-010-", "-000-", "-----"}, 111}, // 03
    {{"-----", "-001-", "-010-", "-000-", "-----"}, 111}, // 04
    {{"-----", "-000-", "-110-", "-000-", "-----"}, 112}, // 05
    {{"-----", "-000-", "-011-", "-000-", "-----"}, 112}, // 06
    {{"-----", "-000-", "-111-", "-000-", "-----"}, 112}, // 07 horizontal triple
    {{"-----", "-000-", "-010-", "-100-", "-----"}, 111}, // 08
    {{"-----", "-000-", "-010-", "-001-", "-----"}, 111}, // 09
    {{"-----", "-010-", "-010-", "-010-", "-----"}, 111}, // 10 vertical triple
    {{"-----", "-100-", "-010-", "-001-", "-----"}, 111}, // 11
    {{"-----", "-001-", "-010-", "-100-", "-----"}, 112}, // 12
    {{"-----", "-110-", "-110-", "-000-", "-----"}, 106}, // 13
    {{"-----", "-011-", "-011-", "-000-", "-----"}, 108}, // 14
    {{"-----", "-000-", "-110-", "-110-", "-----"}, 102}, // 15
    {{"-----", "-000-", "-011-", "-011-", "-----"}, 104}, // 16
    {{"-----", "-000-", "0110-", "-000-", "-----"}, 101}, // 17 reaches the left border
    {{"-----", "-000-", "-0110", "-000-", "-----"}, 105}, // 18 reaches the right border
    {{"-----", "-010-", "-111-", "-000-", "-----"}, 102}, // 19
    {{"-----", "-111-", "-111-", "-010-", "-----"}, 108}, // 20
    {{"-----", "-000-", "-111-", "-010-", "-----"}, 104}, // 21
    {{"-----", "-010-", "-110-", "-010-", "-----"}, 102}, // 22
    {{"-----", "-010-", "-011-", "-010-", "-----"}, 102}, // 23
    {{"-----", "-010-", "-111-", "-010-", "-----"}, 103}, // 24 cross
    {{"-----", "-111-", "-010-", "-000-", "-----"}, 104}, // 25
    {{"-----", "-000-", "-010-", "-111-", "-----"}, 105}, // 26
    {{"-----", "-100-", "-110-", "-000-", "-----"}, 106}, // 27
    {{"-----", "-111-", "-111-", "-000-", "-----"}, 107}, // 28
    {{"-----", "-000-", "-111-", "-111-", "-----"}, 108}, // 29
    {{"-----", "-111-", "-111-", "-111-", "-----"}, 101}, // 30 full cluster
    {{"-----", "-000-", "00100", "-000-", "-----"}, 109}, // 31 open to both sides
    {{"-----", "-----", "01100", "-----", "-----"}, 110}, // 32
    {{"-----", "-----", "01110", "-----", "-----"}, 113}, // 33
};

QStringList patternRow(const char* row)
{
    QStringList items;
    for (int i = 0; i < 5; ++i)
        items << (row[i] == '-' ? QStringLiteral("-1") : QString(QLatin1Char(row[i])));
    return items;
}

// A settings file that is there but not a regular file (a directory, a pipe that would
// block the read) is left alone: the store then runs on defaults without it.
bool usable(const QString& path, bool& exists)
{
    const QFileInfo info(path);
    exists = info.exists() || info.isSymLink();
    return !exists || info.isFile();
}

QString twoDigits(int n)
{
    return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
}

} // namespace

PXCSettings::PXCSettings()
{
    m_settingsDir = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/" +
                    "Zorvan Technologies" + "/" + "PXTools";
    // mkpath rather than mkdir: on a fresh account neither the organisation folder nor
    // the documents folder need exist yet.
    if (!QDir(m_settingsDir).exists())
        QDir().mkpath(m_settingsDir);

    m_documentsDir = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + "/" + "PXTools";
    if (!QDir(m_documentsDir).exists())
        QDir().mkpath(m_documentsDir);

    m_imagesDir = m_documentsDir + "/images";
    m_logsDir = m_documentsDir + "/logs";
    m_shadingCorrDir = m_documentsDir + "/ShadingCorr";
    m_defectPixelCorrDir = m_documentsDir + "/DefectPixelCorr";
    m_fileAccessDir = m_documentsDir + "/FileAccess";
    for (const QString& dir : {m_imagesDir, m_logsDir, m_shadingCorrDir, m_defectPixelCorrDir, m_fileAccessDir})
    {
        if (!QDir(dir).exists())
            QDir().mkdir(dir);
    }

    // The QSettings objects outlive this store on purpose: the application object
    // deletes them at exit, and QSettings writes whatever is still pending then.
    QObject* owner = QCoreApplication::instance();

    const QString mainFile = m_settingsDir + "/" + "PxTools.ini";
    bool mainExists = false;
    if (usable(mainFile, mainExists))
    {
        m_settings = new QSettings(mainFile, QSettings::IniFormat, owner);
        if (mainExists)
            _validate();
        else
            _createDefault();
    }

    const QString ccmFile = m_settingsDir + "/" + "ccprofiles.ini";
    bool ccmExists = false;
    if (usable(ccmFile, ccmExists))
    {
        m_ccmSettings = new QSettings(ccmFile, QSettings::IniFormat, owner);
        if (!ccmExists)
            _createDefaultCCM();
    }

    const QString deffMatchFile = m_settingsDir + "/" + "deffmatch.ini";
    bool deffMatchExists = false;
    if (usable(deffMatchFile, deffMatchExists))
    {
        m_deffMatchSettings = new QSettings(deffMatchFile, QSettings::IniFormat, owner);
        if (!deffMatchExists)
            _createDefaultDeffMatch();
    }
}

PXCSettings::~PXCSettings() = default;

QVariant PXCSettings::Get(const QString& group, const QString& key, const QVariant& defaultValue)
{
    if (!m_settings)
        return defaultValue;
    m_settings->beginGroup(group);
    QVariant value = m_settings->value(key, defaultValue);
    m_settings->endGroup();
    return value;
}

void PXCSettings::Set(const QString& group, const QString& key, const QVariant& value)
{
    if (!m_settings)
        return;
    m_settings->beginGroup(group);
    m_settings->setValue(key, value);
    m_settings->endGroup();
}

void PXCSettings::_createDefault()
{
    m_settings->beginGroup("MainWindow");
    m_settings->setValue("OffsetX", 0);
    m_settings->setValue("OffsetY", 0);
    m_settings->setValue("Width", 800);
    m_settings->setValue("Height", 600);
    m_settings->endGroup();

    m_settings->beginGroup("Directory");
    for (const char* key : kValidatedDirKeys)
        m_settings->setValue(key, m_documentsDir);
    m_settings->setValue("fileAccessFileDir", m_documentsDir);
    m_settings->endGroup();
    m_settings->sync();
}

void PXCSettings::_createDefaultCCM()
{
    for (bool weighted : {false, true})
    {
        m_ccmSettings->beginGroup(weighted ? "Profile SRGB Weighted" : "Profile SRGB");
        for (int i = 0; i < 24; ++i)
        {
            const ColourPatch& patch = kColourChecker[i];
            m_ccmSettings->setValue(twoDigits(i),
                                    QStringList{patch.colour, weighted ? patch.weight : QStringLiteral("1")});
        }
        m_ccmSettings->endGroup();
    }
    m_ccmSettings->sync();
}

void PXCSettings::_createDefaultDeffMatch()
{
    static const char* const rowKeys[5] = {"a", "b", "c", "d", "e"};
    for (int i = 0; i < 34; ++i)
    {
        const DefectPattern& pattern = kDefectPatterns[i];
        m_deffMatchSettings->beginGroup("DefMatch" + twoDigits(i));
        for (int row = 0; row < 5; ++row)
            m_deffMatchSettings->setValue(rowKeys[row], patternRow(pattern.rows[row]));
        m_deffMatchSettings->setValue("f", pattern.code);
        m_deffMatchSettings->endGroup();
    }
    m_deffMatchSettings->sync();
}

void PXCSettings::_createUserMapSettings()
{
    if (!m_ccmSettings)
        return;
    for (int i = 0; i < 5; ++i)
    {
        m_ccmSettings->beginGroup(QStringLiteral("nuc_usermap%1.ge3").arg(i));
        m_ccmSettings->setValue("Exposure, Gain, Temperature", QStringList{"0", "0", "0"});
        m_ccmSettings->endGroup();
    }
    m_ccmSettings->sync();
}

void PXCSettings::_validate()
{
    // Only one endGroup on purpose: the store stays inside "Settings", so every later
    // Get and Set on an existing file addresses its group nested in "Settings".
    m_settings->beginGroup("Settings");
    m_settings->beginGroup("Directory");
    for (const char* key : kValidatedDirKeys)
    {
        if (!_isKeyValid(key, m_settings->value(key)))
            m_settings->setValue(key, m_documentsDir);
    }
    m_settings->endGroup();
    m_settings->sync();
}

bool PXCSettings::_isKeyValid(const QString& key, QVariant value)
{
    if (!value.isValid())
        return false;
    bool known = false;
    for (const char* dirKey : kValidatedDirKeys)
        known = known || key == QLatin1String(dirKey);
    if (!known)
        return false;
    return _validateDir(value.toString());
}

bool PXCSettings::_validateDir(QString path)
{
    const QFileInfo info(path);
    if (!info.isDir() || !info.isWritable())
        return false;
    // The probe name carries a backslash and no slash, so on this platform the probe
    // lands next to the folder, not inside it. Kept as the family's tools do it.
    QFile probe(path + "\\Empty.txt");
    const bool opened = probe.open(QIODevice::ReadWrite);
    if (probe.isOpen())
        probe.close();
    probe.remove();
    return opened;
}
