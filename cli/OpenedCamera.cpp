#include "OpenedCamera.h"

#include "CameraResolver.h"

OpenedCamera::OpenedCamera(CliSession& session, const CameraInfoMap& record)
    : m_session(session)
    , m_record(record)
{
}

OpenedCamera::~OpenedCamera()
{
    Close();
}

QString OpenedCamera::ExtendedId() const
{
    return CameraResolver::ExtendedId(m_record);
}

bool OpenedCamera::Open(QString& error)
{
    Close();
    if (!CameraResolver::FullAccess(m_record))
    {
        error = QStringLiteral("camera %1 cannot be controlled from here (in use by another application?)")
                    .arg(CameraResolver::DisplayLabel(m_record));
        return false;
    }
    m_session.TakeApiError();
    m_camera = m_session.Manager()->Open(ExtendedId());
    if (!m_camera)
    {
        const QString reason = m_session.TakeApiError();
        error = reason.isEmpty()
                    ? QStringLiteral("camera %1 cannot be opened").arg(CameraResolver::DisplayLabel(m_record))
                    : reason;
        return false;
    }
    return true;
}

void OpenedCamera::Close()
{
    if (!m_camera)
        return;
    delete m_camera;
    m_camera = nullptr;
    m_session.Manager()->Close(ExtendedId());
}

bool OpenedCamera::Answers() const
{
    QVariant value;
    return m_camera && m_camera->cameraFeature->GetValue("DeviceModelName", value);
}
