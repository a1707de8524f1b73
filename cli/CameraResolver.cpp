#include "CameraResolver.h"

#include "sdk/CameraDisplayLabel.h"
#include "sdk/CameraModelCompatibility.h"

#include <algorithm>

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
        if (text(camera, "Camera ID") == name || text(camera, "Serial No.") == name || DisplayLabel(camera) == name)
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

QStringList CameraResolver::CandidateLines(const QVector<CameraInfoMap>& cameras)
{
    int idWidth = 0;
    int labelWidth = 0;
    for (const CameraInfoMap& camera : cameras)
    {
        idWidth = std::max(idWidth, ExtendedId(camera).size());
        labelWidth = std::max(labelWidth, DisplayLabel(camera).size());
    }
    QStringList lines;
    for (const CameraInfoMap& camera : cameras)
        lines << QStringLiteral("  %1  %2  %3")
                     .arg(ExtendedId(camera), -idWidth)
                     .arg(DisplayLabel(camera), -labelWidth)
                     .arg(text(camera, "Camera Name"))
                     .trimmed()
                     .prepend(QStringLiteral("  "));
    return lines;
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
