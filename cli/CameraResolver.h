#ifndef CLI_CAMERARESOLVER_H
#define CLI_CAMERARESOLVER_H

#include "sdk/CameraInfoMap.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

// Finds the camera a user means among the present ones. A camera can be named by its
// extended id, its plain id, its serial number, the window's display label or its
// name; the extended id, unique by definition, wins over the other names.
class CameraResolver
{
public:
    enum class Outcome
    {
        Found,
        Unknown,
        Ambiguous,
    };

    explicit CameraResolver(const QVector<CameraInfoMap>& cameras);

    // found: the camera when Found; candidates: the cameras that match when Ambiguous,
    // every present camera when Unknown.
    Outcome Resolve(const QString& name, CameraInfoMap& found, QVector<CameraInfoMap>& candidates) const;
    // The one-line error, without the candidates that follow it.
    static QString ErrorText(const QString& name, Outcome outcome, int candidates);
    // One aligned line per camera: extended id, label, name; at most width long (0: no
    // limit).
    static QStringList CandidateLines(const QVector<CameraInfoMap>& cameras, int width);

    // The window's label of a camera: model, serial and plain id.
    static QString DisplayLabel(const CameraInfoMap& camera);
    static QString ExtendedId(const CameraInfoMap& camera);
    static bool FullAccess(const CameraInfoMap& camera);
    // The model name as the window's camera scan filters it.
    static bool IsCompatible(const CameraInfoMap& camera, QString& family);
    static QJsonObject ToJson(const CameraInfoMap& camera);

private:
    QVector<CameraInfoMap> m_cameras;
};

#endif
