#include "DeviceFileCatalogue.h"

const QString DeviceFileCatalogue::kUserfile = QStringLiteral("Userfile");
const QString DeviceFileCatalogue::kFirmware = QStringLiteral("Firmware");

DeviceFileCatalogue::DeviceFileCatalogue(PXCamera* camera)
    : m_camera(camera)
{
}

bool DeviceFileCatalogue::HasFileAccess() const
{
    bool exists = false;
    return m_camera && m_camera->cameraFeature->HasFeature("FileSelector", exists) && exists;
}

QStringList DeviceFileCatalogue::Selectors() const
{
    return m_camera ? m_camera->cameraFeature->GetSubFeatures("FileSelector") : QStringList();
}

bool DeviceFileCatalogue::Select(const QString& selector)
{
    if (!m_camera || !m_camera->cameraFeature->SetValue("FileSelector", QVariant(selector)))
        return false;
    m_selected = selector;
    return true;
}

bool DeviceFileCatalogue::IsSlot(const QString& selector)
{
    return selector != kUserfile && selector != kFirmware;
}

bool DeviceFileCatalogue::List(QVector<Entry>& files) const
{
    files.clear();
    QVariant count;
    if (!m_camera || !m_camera->cameraFeature->GetValue("FilenameCount", count))
        return false;
    PXCameraFeature* features = m_camera->cameraFeature;
    for (qint64 index = 0; index < count.toLongLong(); ++index)
    {
        QVariant name;
        QVariant size;
        if (!features->SetValue("FilenameIndex", QVariant(index)) || !features->GetValue("Filename", name) ||
            !features->GetValue("FileSize", size))
            return false;
        files.append({name.toString(), size.toLongLong()});
    }
    return true;
}

bool DeviceFileCatalogue::Find(const QString& name, Entry& file) const
{
    QVector<Entry> files;
    if (!List(files))
        return false;
    for (const Entry& entry : files)
        if (entry.name == name)
        {
            file = entry;
            return true;
        }
    return false;
}

bool DeviceFileCatalogue::FreeSpace(qint64& bytes) const
{
    QVariant free;
    if (!m_camera || !m_camera->cameraFeature->GetValue("FilesystemFreeSize", free))
        return false;
    bytes = free.toLongLong();
    return true;
}
