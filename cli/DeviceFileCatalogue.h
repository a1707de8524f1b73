#ifndef CLI_DEVICEFILECATALOGUE_H
#define CLI_DEVICEFILECATALOGUE_H

#include "device/PXCamera.h"

#include <QString>
#include <QStringList>
#include <QVector>

// What a camera keeps in its file storage, read through the vendor file listing
// features: the FileSelector entries, the files of the selected entry with their sizes,
// and the free space. "Userfile" holds named files, "Firmware" only takes an image,
// every other entry is a single-file slot.
class DeviceFileCatalogue
{
public:
    struct Entry
    {
        QString name;
        qint64 size = 0;
    };

    static const QString kUserfile;
    static const QString kFirmware;

    explicit DeviceFileCatalogue(PXCamera* camera);

    bool HasFileAccess() const;
    QStringList Selectors() const;
    bool Select(const QString& selector);
    QString Selected() const { return m_selected; }
    static bool IsSlot(const QString& selector);

    // The files of the selected entry in the device's index order. False when the
    // listing features cannot be read.
    bool List(QVector<Entry>& files) const;
    bool Find(const QString& name, Entry& file) const;
    bool FreeSpace(qint64& bytes) const;

private:
    PXCamera* m_camera;
    QString m_selected;
};

#endif
