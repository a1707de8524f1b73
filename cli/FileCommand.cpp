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
    m_catalogue = std::make_unique<DeviceFileCatalogue>(m_camera->Camera());
    if (!m_catalogue->HasFileAccess())
        return _fail(ExitCode::Failed,
                     QStringLiteral("camera %1 has no file access (no FileSelector feature)").arg(_cameraText()));

    m_selector = m_options.selectorGiven ? m_options.selector : DeviceFileCatalogue::kUserfile;
    const QStringList selectors = m_catalogue->Selectors();
    if (!selectors.contains(m_selector))
        return _fail(ExitCode::Usage, QStringLiteral("camera %1 has no file selector entry '%2' (it has: %3)")
                                          .arg(_cameraText(), m_selector, selectors.join(QStringLiteral(", "))));
    if (!m_catalogue->Select(m_selector))
        return _fail(ExitCode::Failed,
                     QStringLiteral("camera %1 refused the file selector entry '%2'").arg(_cameraText(), m_selector));
    return ExitCode::Success;
}

bool FileCommand::_namedFiles(const QStringList& given, QStringList& files)
{
    files = given;
    if (!files.isEmpty())
        return true;
    if (!DeviceFileCatalogue::IsSlot(m_selector))
    {
        _fail(ExitCode::Usage, QStringLiteral("%1 needs the names of the device files").arg(m_options.command));
        return false;
    }
    QVector<DeviceFileCatalogue::Entry> listed;
    if (m_catalogue->List(listed))
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

QJsonObject FileCommand::_cameraJson() const
{
    return m_camera ? CameraResolver::ToJson(m_camera->Record()) : QJsonObject();
}

QString FileCommand::_cameraText() const
{
    return m_camera ? CameraResolver::DisplayLabel(m_camera->Record()) : QString();
}
