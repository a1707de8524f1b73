#include "LsCommand.h"

#include "CliTable.h"
#include "HumanText.h"

#include <QJsonArray>

ExitCode LsCommand::Run()
{
    const ExitCode prepared = _prepare();
    if (prepared != ExitCode::Success)
        return prepared;
    QVector<PXDeviceFiles::Entry> files;
    if (!m_files->List(files))
        return _fail(ExitCode::Failed,
                     QStringLiteral("cannot read the file list of '%1' on camera %2").arg(m_selector, _cameraText()));
    qint64 free = -1;
    if (!m_files->FreeSpace(free))
        free = -1;

    if (m_options.json)
    {
        QJsonArray list;
        for (const auto& file : files)
            list.append(QJsonObject{{QStringLiteral("name"), file.name}, {QStringLiteral("size"), file.size}});
        QJsonObject document{{QStringLiteral("camera"), _cameraJson()},
                             {QStringLiteral("selector"), m_selector},
                             {QStringLiteral("files"), list},
                             {QStringLiteral("count"), files.size()}};
        if (free >= 0)
            document.insert(QStringLiteral("freeBytes"), free);
        return _finish(ExitCode::Success, document);
    }

    if (!files.isEmpty())
    {
        CliTable table({QStringLiteral("NAME"), QStringLiteral("SIZE")});
        table.SetRightAligned(1);
        table.SetShrinkable(0, Qt::ElideMiddle);
        for (const auto& file : files)
            table.AddRow({m_console.Shown(file.name), QString::number(file.size)});
        m_console.Raw(table.Text(m_console.OutWidth()));
    }
    QString summary = files.size() == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(files.size());
    summary += QStringLiteral(" in %1").arg(m_selector);
    if (free >= 0)
        summary += QStringLiteral(", %1 free").arg(HumanText::Bytes(free));
    m_console.Result(summary);
    return ExitCode::Success;
}
