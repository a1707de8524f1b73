#include "RmCommand.h"

#include <QJsonArray>

#include <algorithm>

ExitCode RmCommand::Run()
{
    const ExitCode prepared = _prepare();
    if (prepared != ExitCode::Success)
        return prepared;
    if (m_selector == PXDeviceFiles::kFirmware)
        return _fail(ExitCode::Usage, QStringLiteral("the Firmware entry holds no files to delete"));
    QStringList names;
    if (!_namedFiles(m_options.positional.mid(1), names))
        return ExitCode::Usage;
    names.removeDuplicates();

    QVector<PXDeviceFiles::Entry> listed;
    if (!m_files->List(listed))
        return _fail(ExitCode::Failed,
                     QStringLiteral("cannot read the file list of '%1' on camera %2").arg(m_selector, _cameraText()));
    QJsonArray results;
    QStringList present;
    int failed = 0;
    for (const QString& name : names)
    {
        const bool listedHere =
            std::any_of(listed.begin(), listed.end(), [&](const auto& entry) { return entry.name == name; });
        if (listedHere)
        {
            present << name;
            continue;
        }
        const QString message =
            QStringLiteral("camera %1 has no file '%2' in %3").arg(_cameraText(), m_console.Shown(name), m_selector);
        m_console.Error(message);
        results.append(QJsonObject{
            {QStringLiteral("file"), name}, {QStringLiteral("ok"), false}, {QStringLiteral("error"), message}});
        ++failed;
    }

    if (!present.isEmpty() && !m_options.yes)
    {
        if (!m_console.InIsTerminal())
            return _fail(ExitCode::Usage,
                         QStringLiteral("refusing to delete without --yes: standard input is not a terminal"));
        const QString question =
            QStringLiteral("Delete %1 from %2 on camera %3?")
                .arg(present.size() == 1
                         ? QStringLiteral("'%1'").arg(present.front())
                         : QStringLiteral("%1 files (%2)").arg(present.size()).arg(present.join(QStringLiteral(", "))),
                     m_selector, _cameraText());
        if (!m_console.Ask(question))
        {
            m_console.Note(QStringLiteral("Nothing deleted."));
            return failed > 0 ? ExitCode::Failed : ExitCode::Success;
        }
    }

    const QByteArray selector = m_selector.toUtf8();
    for (const QString& name : present)
    {
        // A single-file slot is emptied whatever its file is called, as the window does.
        const QByteArray deviceName = PXDeviceFiles::IsSlot(m_selector) ? QByteArray() : name.toUtf8();
        m_camera->Camera()->DeleteDeviceFile(deviceName.constData(), selector.constData());
    }

    // The delete reports nothing itself: what is still listed afterwards was not deleted.
    QVector<PXDeviceFiles::Entry> after;
    const bool relisted = m_files->List(after);
    int succeeded = 0;
    for (const QString& name : present)
    {
        const bool kept =
            !relisted || std::any_of(after.begin(), after.end(), [&](const auto& entry) { return entry.name == name; });
        QJsonObject result{{QStringLiteral("file"), name}, {QStringLiteral("ok"), !kept}};
        if (kept)
        {
            const QString shown = m_console.Shown(name);
            const QString message = relisted ? QStringLiteral("camera %1 did not delete '%2'").arg(_cameraText(), shown)
                                             : QStringLiteral("cannot tell whether '%1' was deleted: the camera no "
                                                              "longer lists its files")
                                                   .arg(shown);
            m_console.Error(message);
            result.insert(QStringLiteral("error"), message);
            ++failed;
        }
        else
        {
            ++succeeded;
            if (!m_options.json && !m_options.quiet)
                m_console.Result(QStringLiteral("deleted %1 from %2").arg(m_console.Shown(name), m_selector));
        }
        results.append(result);
    }

    return _finish(_batchCode(succeeded, failed), QJsonObject{{QStringLiteral("camera"), _cameraJson()},
                                                              {QStringLiteral("selector"), m_selector},
                                                              {QStringLiteral("results"), results}});
}
