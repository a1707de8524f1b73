#include "FileCommand.h"

#include "CameraResolver.h"

ExitCode FileCommand::_prepare()
{
    CameraInfoMap record;
    const ExitCode found = _resolve(m_options.positional.value(0), record);
    if (found != ExitCode::Success)
        return found;

    m_camera = std::make_unique<OpenedCamera>(m_session, record);
    QString error;
    if (!m_camera->Open(error))
        return _fail(ExitCode::Failed, error);
    m_files = std::make_unique<PXDeviceFiles>(m_camera->Camera());
    if (!m_files->HasFileAccess())
        return _fail(ExitCode::Failed,
                     QStringLiteral("camera %1 has no file access (no FileSelector feature)").arg(_cameraText()));

    m_selector = m_options.selectorGiven ? m_options.selector : PXDeviceFiles::kUserfile;
    const QStringList selectors = m_files->Selectors();
    if (!selectors.contains(m_selector))
        return _fail(ExitCode::Usage, QStringLiteral("camera %1 has no file selector entry '%2' (it has: %3)")
                                          .arg(_cameraText(), m_selector, selectors.join(QStringLiteral(", "))));
    if (!m_files->Select(m_selector))
        return _fail(ExitCode::Failed,
                     QStringLiteral("camera %1 refused the file selector entry '%2'").arg(_cameraText(), m_selector));
    return ExitCode::Success;
}

bool FileCommand::_namedFiles(const QStringList& given, QStringList& files)
{
    files = given;
    if (!files.isEmpty())
        return true;
    if (!PXDeviceFiles::IsSlot(m_selector))
    {
        _fail(ExitCode::Usage, QStringLiteral("%1 needs the names of the device files").arg(m_options.command));
        return false;
    }
    QVector<PXDeviceFiles::Entry> listed;
    if (m_files->List(listed))
        for (const auto& entry : listed)
            files << entry.name;
    if (files.isEmpty())
        files << m_selector;
    return true;
}

bool FileCommand::_cameraAnswers() const
{
    return m_camera && m_camera->Answers();
}

void FileCommand::_noteRecovery(const PXTransferReport& report, QJsonObject& result)
{
    if (!report.openRecovered)
        return;
    result.insert(QStringLiteral("recoveredOpenFile"), true);
    m_console.Warning(QStringLiteral("camera %1 had a device file left open (by an interrupted transfer?); it was "
                                     "closed and the transfer went ahead")
                          .arg(_cameraText()));
}

QJsonObject FileCommand::_cameraJson() const
{
    return m_camera ? CameraResolver::ToJson(m_camera->Record()) : QJsonObject();
}

QString FileCommand::_cameraText() const
{
    return m_camera ? CameraResolver::DisplayLabel(m_camera->Record()) : QString();
}
