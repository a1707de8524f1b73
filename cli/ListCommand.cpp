#include "ListCommand.h"

#include "CameraResolver.h"
#include "CliTable.h"

#include <QJsonArray>

namespace {

QString text(const CameraInfoMap& camera, const char* key)
{
    return camera.value(QLatin1String(key)).toString();
}

// The cameras as the window's camera tree shows them: by transport layer, then by
// interface, each in the order of its first camera, and the cameras of an interface
// in the order they were found.
QVector<CameraInfoMap> grouped(const QVector<CameraInfoMap>& cameras)
{
    QStringList layers;
    for (const CameraInfoMap& camera : cameras)
        if (!layers.contains(text(camera, "Transport Layer")))
            layers << text(camera, "Transport Layer");
    QVector<CameraInfoMap> result;
    for (const QString& layer : layers)
    {
        QStringList interfaces;
        for (const CameraInfoMap& camera : cameras)
            if (text(camera, "Transport Layer") == layer && !interfaces.contains(text(camera, "Interface")))
                interfaces << text(camera, "Interface");
        for (const QString& interfaceId : interfaces)
            for (const CameraInfoMap& camera : cameras)
                if (text(camera, "Transport Layer") == layer && text(camera, "Interface") == interfaceId)
                    result << camera;
    }
    return result;
}

} // namespace

ExitCode ListCommand::Run()
{
    CliTable table({QStringLiteral("CAMERA"), QStringLiteral("NAME"), QStringLiteral("ACCESS"),
                    QStringLiteral("COMPATIBLE")});
    table.SetShrinkable(0, Qt::ElideMiddle);
    table.SetShrinkable(1, Qt::ElideRight);
    QJsonArray list;
    int hidden = 0;
    QString layer;
    QString interfaceId;
    for (const CameraInfoMap& camera : grouped(m_session.Cameras()))
    {
        QString family;
        const bool compatible = CameraResolver::IsCompatible(camera, family);
        if (!compatible && !m_options.all)
        {
            ++hidden;
            continue;
        }
        if (table.RowCount() == 0 || text(camera, "Transport Layer") != layer)
        {
            layer = text(camera, "Transport Layer");
            interfaceId.clear();
            table.AddHeading(m_console.Shown(layer));
        }
        if (table.RowCount() == 0 || text(camera, "Interface") != interfaceId)
        {
            interfaceId = text(camera, "Interface");
            table.AddHeading(QStringLiteral("  ") + m_console.Shown(interfaceId));
        }
        table.AddRow({QStringLiteral("    ") + m_console.Shown(CameraResolver::DisplayLabel(camera)),
                      m_console.Shown(text(camera, "Camera Name")),
                      CameraResolver::FullAccess(camera) ? QStringLiteral("full") : QStringLiteral("read-only"),
                      compatible ? QStringLiteral("yes (%1)").arg(family) : QStringLiteral("no")});
        list.append(CameraResolver::ToJson(camera));
    }

    if (!m_options.json && table.RowCount() > 0)
        m_console.Raw(table.Text(m_console.OutWidth()));
    if (table.RowCount() == 0)
        m_console.Note(m_options.all ? QStringLiteral("No cameras found")
                                     : QStringLiteral("No compatible cameras found"));
    if (hidden > 0)
        m_console.Note(QStringLiteral("%1 camera(s) of other models not shown; --all lists them").arg(hidden));
    return _finish(ExitCode::Success, QJsonObject{{QStringLiteral("cameras"), list}});
}
