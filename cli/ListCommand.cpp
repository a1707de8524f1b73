#include "ListCommand.h"

#include "CameraResolver.h"
#include "CliTable.h"

#include <QJsonArray>

ExitCode ListCommand::Run()
{
    const QVector<CameraInfoMap> cameras = m_session.Cameras();
    CliTable table({QStringLiteral("TRANSPORT LAYER"), QStringLiteral("INTERFACE"), QStringLiteral("MODEL"),
                    QStringLiteral("SERIAL"), QStringLiteral("EXTENDED ID"), QStringLiteral("ACCESS"),
                    QStringLiteral("COMPATIBLE")});
    QJsonArray list;
    int hidden = 0;
    for (const CameraInfoMap& camera : cameras)
    {
        QString family;
        const bool compatible = CameraResolver::IsCompatible(camera, family);
        if (!compatible && !m_options.all)
        {
            ++hidden;
            continue;
        }
        table.AddRow({camera.value(QStringLiteral("Transport Layer")).toString(),
                      camera.value(QStringLiteral("Interface")).toString(),
                      camera.value(QStringLiteral("Model Name")).toString(),
                      camera.value(QStringLiteral("Serial No.")).toString(), CameraResolver::ExtendedId(camera),
                      CameraResolver::FullAccess(camera) ? QStringLiteral("full") : QStringLiteral("read-only"),
                      compatible ? QStringLiteral("yes (%1)").arg(family) : QStringLiteral("no")});
        list.append(CameraResolver::ToJson(camera));
    }

    if (!m_options.json && table.RowCount() > 0)
        m_console.Raw(table.Text());
    if (table.RowCount() == 0)
        m_console.Note(m_options.all ? QStringLiteral("No cameras found")
                                     : QStringLiteral("No compatible cameras found"));
    if (hidden > 0)
        m_console.Note(QStringLiteral("%1 camera(s) of other models not shown; --all lists them").arg(hidden));
    return _finish(ExitCode::Success, QJsonObject{{QStringLiteral("cameras"), list}});
}
