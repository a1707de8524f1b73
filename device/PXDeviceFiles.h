#ifndef DEVICE_PXDEVICEFILES_H
#define DEVICE_PXDEVICEFILES_H

#include "device/PXCamera.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

// The files a camera keeps in its storage, for the window and the command-line program
// alike: the FileSelector entries and what they mean ("Userfile" holds named files,
// "Firmware" only takes an image, every other entry is a single-file slot), the files
// of the selected entry with their sizes, the free space, and whole-file transfers to
// and from local files on top of the camera's transfer engine.
class PXDeviceFiles
{
public:
    struct Entry
    {
        QString name;
        qint64 size = 0;
    };

    static const QString kUserfile;
    static const QString kFirmware;
    static bool IsSlot(const QString& selector);

    // selector: the entry already selected on the camera, if the caller knows it.
    explicit PXDeviceFiles(PXCamera* camera, QString selector = QString());

    bool HasFileAccess() const;
    QStringList Selectors() const;
    bool Select(const QString& selector);
    QString Selected() const { return m_selected; }

    // The files of the selected entry in the device's index order: FilenameCount, then
    // FilenameIndex, Filename and FileSize for each. A read that fails leaves its name
    // empty or its size 0 and makes the result false; a count that cannot be read is
    // no files.
    bool List(QVector<Entry>& files) const;
    bool Find(const QString& name, Entry& file) const;
    bool FreeSpace(qint64& bytes) const;

    // Downloads a device file of the selected entry. The local file is replaced only once
    // the download is complete: it goes to a new file beside it first, NAME.XXXXXX.partial,
    // which can be neither a file that is there nor one being fetched. With keepPartial,
    // a local file that is not there yet is written in place instead and keeps what
    // arrived. check, when given, may still refuse a complete download before it takes
    // the local file's place, with its reason. False with the reason in problem when the
    // local side or the check failed; a failed transfer is told by the camera's transfer
    // report, with problem left empty.
    bool Download(const QString& deviceName, const QString& localPath, bool keepPartial, long* bytes,
                  QString* problem = nullptr, const std::function<QString()>& check = {});
    // After an upload under name that did not complete: takes what it left off the camera.
    // True when nothing is left (also when nothing had been written).
    bool RemoveIncomplete(const QString& name, const PXTransferReport& report);

private:
    PXCamera* m_camera;
    QString m_selected;
};

#endif
