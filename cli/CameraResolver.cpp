#include "CameraResolver.h"

#include "CliTable.h"

#include "sdk/CameraDisplayLabel.h"
#include "sdk/CameraModelCompatibility.h"

namespace {

QString text(const CameraInfoMap& camera, const char* key)
{
    return camera.value(QLatin1String(key)).toString();
}

} // namespace

CameraResolver::CameraResolver(const QVector<CameraInfoMap>& cameras)
    : m_cameras(cameras)
{
}

CameraResolver::Outcome CameraResolver::Resolve(const QString& name, CameraInfoMap& found,
                                                QVector<CameraInfoMap>& candidates) const
{
    candidates.clear();
    for (const CameraInfoMap& camera : m_cameras)
        if (ExtendedId(camera) == name)
        {
            found = camera;
            return Outcome::Found;
        }
    for (const CameraInfoMap& camera : m_cameras)
        if (text(camera, "Camera ID") == name || text(camera, "Serial No.") == name || DisplayLabel(camera) == name ||
            text(camera, "Camera Name") == name)
            candidates.append(camera);
    if (candidates.size() == 1)
    {
        found = candidates.front();
        candidates.clear();
        return Outcome::Found;
    }
    if (!candidates.isEmpty())
        return Outcome::Ambiguous;
    candidates = m_cameras;
    return Outcome::Unknown;
}

QString CameraResolver::ErrorText(const QString& name, Outcome outcome, int candidates)
{
    if (outcome == Outcome::Ambiguous)
        return QStringLiteral("camera '%1' is ambiguous: it names %2 cameras").arg(name).arg(candidates);
    if (candidates == 0)
        return QStringLiteral("no camera '%1' found, and no cameras are present").arg(name);
    return QStringLiteral("no camera '%1' found").arg(name);
}

QStringList CameraResolver::CandidateLines(const QVector<CameraInfoMap>& cameras, int width)
{
    CliTable table({});
    table.SetShrinkable(0, Qt::ElideMiddle);
    table.SetShrinkable(1, Qt::ElideMiddle);
    table.SetShrinkable(2, Qt::ElideRight);
    for (const CameraInfoMap& camera : cameras)
        table.AddRow({QStringLiteral("  ") + ExtendedId(camera), DisplayLabel(camera), text(camera, "Camera Name")});
    return table.Text(width).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString CameraResolver::DisplayLabel(const CameraInfoMap& camera)
{
    return CameraDisplayLabel(camera);
}

QString CameraResolver::ExtendedId(const CameraInfoMap& camera)
{
    return text(camera, "Extended ID");
}

bool CameraResolver::FullAccess(const CameraInfoMap& camera)
{
    return camera.value(QStringLiteral("Full Access")).toBool();
}

bool CameraResolver::IsCompatible(const CameraInfoMap& camera, QString& family)
{
    const QString model = text(camera, "Model Name").trimmed();
    if (model.isEmpty())
    {
        family.clear();
        return false;
    }
    return IsCameraModelCompatible(model, family);
}

QJsonObject CameraResolver::ToJson(const CameraInfoMap& camera)
{
    QString family;
    const bool compatible = IsCompatible(camera, family);
    return QJsonObject{
        {QStringLiteral("extendedId"), ExtendedId(camera)},
        {QStringLiteral("id"), text(camera, "Camera ID")},
        {QStringLiteral("label"), DisplayLabel(camera)},
        {QStringLiteral("model"), text(camera, "Model Name")},
        {QStringLiteral("name"), text(camera, "Camera Name")},
        {QStringLiteral("serial"), text(camera, "Serial No.")},
        {QStringLiteral("interface"), text(camera, "Interface")},
        {QStringLiteral("transportLayer"), text(camera, "Transport Layer")},
        {QStringLiteral("fullAccess"), FullAccess(camera)},
        {QStringLiteral("compatible"), compatible},
        {QStringLiteral("family"), family},
    };
}
