#ifndef PXCSETTINGS_H
#define PXCSETTINGS_H

#include <QString>
#include <QVariant>

class QSettings;

// The tool family's settings: "PxTools.ini", "ccprofiles.ini" and "deffmatch.ini" in
// the per-user configuration folder, and the working folders under the documents folder.
class PXCSettings
{
public:
    PXCSettings();
    ~PXCSettings();

    PXCSettings(const PXCSettings&) = delete;
    PXCSettings& operator=(const PXCSettings&) = delete;

    QVariant Get(const QString& group, const QString& key, const QVariant& defaultValue);
    void Set(const QString& group, const QString& key, const QVariant& value);

private:
    void _createDefault();
    void _createDefaultCCM();
    void _createDefaultDeffMatch();
    // Kept for the tools of the family that calibrate flat-field maps; start-up never writes them.
    void _createUserMapSettings();
    void _validate();
    bool _isKeyValid(const QString& key, QVariant value);
    bool _validateDir(QString path);

    QSettings* m_settings = nullptr;
    QSettings* m_ccmSettings = nullptr;
    QSettings* m_deffMatchSettings = nullptr;
    QString m_documentsDir;
    QString m_imagesDir;
    QString m_logsDir;
    QString m_settingsDir;
    QString m_defectPixelCorrDir;
    QString m_shadingCorrDir;
    QString m_fileAccessDir;
};

#endif
