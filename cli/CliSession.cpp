#include "CliSession.h"

#include <GrbCPP/GrbSystem.h>

#include <QFile>
#include <QMutexLocker>

CliSession::CliSession() = default;

CliSession::~CliSession()
{
    Stop();
}

bool CliSession::Start(const QString& simulation, QString& error)
{
    Stop();
    if (!simulation.isEmpty())
        qputenv("GRB_SIMULATOR", QFile::encodeName(simulation));
    const GrbErrorType code = GrbCPP::GrbSystem::GetInstance().Startup();
    m_controller = std::make_shared<ApiController>();
    // Direct: the controller reports on whichever thread made the failing call.
    connect(
        m_controller.get(), &ApiController::ApiError, this,
        [this](const QString& message)
        {
            QMutexLocker lock(&m_errorMutex);
            m_lastError.insert(QThread::currentThread(), message);
        },
        Qt::DirectConnection);
    if (code != GrbErrorSuccess)
    {
        const QString why = m_controller->GetStartupMessage();
        error = why.isEmpty() ? QStringLiteral("the camera SDK did not start (%1)")
                                    .arg(m_controller->ErrorCodeToMessage(code))
                              : QStringLiteral("the camera SDK did not start: %1").arg(why);
        m_controller.reset();
        return false;
    }
    m_started = true;
    m_manager = std::make_unique<PXCameraManager>(m_controller);
    return true;
}

void CliSession::Stop()
{
    // The manager goes first, then the SDK, and the controller last: its destructor
    // closes what it still lists, which after the shut-down fails quietly.
    m_manager.reset();
    if (m_started)
        GrbCPP::GrbSystem::GetInstance().Shutdown();
    m_started = false;
    m_controller.reset();
}

QVector<CameraInfoMap> CliSession::Cameras()
{
    QVector<CameraInfoMap> cameras;
    if (!m_controller)
        return cameras;
    for (const auto& camera : m_controller->UpdateCamerasList())
    {
        if (!camera)
            continue;
        CameraInfoMap info = m_controller->GetCameraInfo(camera);
        if (!info.isEmpty())
            cameras.append(info);
    }
    return cameras;
}

QString CliSession::TakeApiError()
{
    QMutexLocker lock(&m_errorMutex);
    return m_lastError.take(QThread::currentThread());
}
