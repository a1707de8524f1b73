#include "PXDeviceFiles.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

const QString PXDeviceFiles::kUserfile = QStringLiteral("Userfile");
const QString PXDeviceFiles::kFirmware = QStringLiteral("Firmware");

namespace {

// rw-r--r--, what a new file gets with the usual umask; a temporary file is rw-------.
const QFile::Permissions kNewFilePermissions =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;

} // namespace

PXDeviceFiles::PXDeviceFiles(PXCamera* camera, QString selector)
    : m_camera(camera)
    , m_selected(std::move(selector))
{
}

bool PXDeviceFiles::IsSlot(const QString& selector)
{
    return selector != kUserfile && selector != kFirmware;
}

bool PXDeviceFiles::HasFileAccess() const
{
    bool exists = false;
    return m_camera && m_camera->cameraFeature->HasFeature("FileSelector", exists) && exists;
}

QStringList PXDeviceFiles::Selectors() const
{
    return m_camera ? m_camera->cameraFeature->GetSubFeatures("FileSelector") : QStringList();
}

bool PXDeviceFiles::Select(const QString& selector)
{
    if (!m_camera || !m_camera->cameraFeature->SetValue("FileSelector", QVariant(selector)))
        return false;
    m_selected = selector;
    return true;
}

bool PXDeviceFiles::List(QVector<Entry>& files) const
{
    files.clear();
    QVariant count;
    if (!m_camera || !m_camera->cameraFeature->GetValue("FilenameCount", count))
        return false;
    PXCameraFeature* features = m_camera->cameraFeature;
    bool complete = true;
    for (int index = 0; index < count.toInt(); ++index)
    {
        QVariant name;
        QVariant size;
        complete = features->SetValue("FilenameIndex", index) && complete;
        complete = features->GetValue("Filename", name) && complete;
        complete = features->GetValue("FileSize", size) && complete;
        files.append({name.toString(), size.toLongLong()});
    }
    return complete;
}

bool PXDeviceFiles::Find(const QString& name, Entry& file) const
{
    QVector<Entry> files;
    if (!List(files))
        return false;
    auto found = std::find_if(files.begin(), files.end(), [&](const Entry& entry) { return entry.name == name; });
    if (found == files.end())
        return false;
    file = *found;
    return true;
}

bool PXDeviceFiles::FreeSpace(qint64& bytes) const
{
    QVariant free;
    if (!m_camera || !m_camera->cameraFeature->GetValue("FilesystemFreeSize", free))
        return false;
    bytes = free.toLongLong();
    return true;
}

bool PXDeviceFiles::Download(const QString& deviceName, const QString& localPath, bool keepPartial, long* bytes,
                             QString* problem, const std::function<QString()>& check)
{
    const QByteArray name = deviceName.toUtf8();
    const QByteArray selector = m_selected.toUtf8();
    const QFileInfo target(localPath);
    if (keepPartial && !target.exists())
        return m_camera->DownloadDeviceFile(QFile::encodeName(localPath).constData(), name.constData(),
                                            selector.constData(), bytes);
    auto fail = [&](const QString& why) {
        if (problem)
            *problem = why;
        return false;
    };
    QTemporaryFile partial(target.absoluteFilePath() + QStringLiteral(".XXXXXX.partial"));
    if (!partial.open())
        return fail(QStringLiteral("cannot write in %1: %2").arg(target.absolutePath(), partial.errorString()));
    partial.setAutoRemove(false);
    partial.close();
    const QByteArray partialPath = QFile::encodeName(partial.fileName());
    const bool arrived =
        m_camera->DownloadDeviceFile(partialPath.constData(), name.constData(), selector.constData(), bytes);
    const QString refused = arrived && check ? check() : QString();
    if (!arrived || !refused.isEmpty())
    {
        QFile::remove(partial.fileName());
        return refused.isEmpty() ? false : fail(refused);
    }
    // A replaced file keeps its permissions; a new one gets the usual ones.
    QFile::setPermissions(partial.fileName(), target.exists() ? target.permissions() : kNewFilePermissions);
    if (std::rename(partialPath.constData(), QFile::encodeName(target.absoluteFilePath()).constData()) != 0)
    {
        const QString why = QString::fromLocal8Bit(std::strerror(errno));
        QFile::remove(partial.fileName());
        return fail(QStringLiteral("cannot rename %1 to %2: %3").arg(partial.fileName(), localPath, why));
    }
    return true;
}

bool PXDeviceFiles::RemoveIncomplete(const QString& name, const PXTransferReport& report)
{
    using Step = PXTransferReport::Step;
    // Nothing was written before the device file was open.
    if (report.step == Step::LocalFile || report.step == Step::Select || report.step == Step::Name ||
        report.step == Step::Open || report.incompleteRemoved)
        return true;
    const bool slot = IsSlot(m_selected);
    m_camera->DeleteDeviceFile(slot ? "" : name.toUtf8().constData(), m_selected.toUtf8().constData());
    // The delete reports nothing itself: what is still listed afterwards was not deleted.
    QVector<Entry> after;
    return List(after) &&
           std::none_of(after.begin(), after.end(), [&](const Entry& entry) { return slot || entry.name == name; });
}
