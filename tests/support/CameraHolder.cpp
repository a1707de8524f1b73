#include "CameraHolder.h"

#include "ChildCommand.h"

CameraHolder::~CameraHolder()
{
    Release();
}

bool CameraHolder::Hold(const QString& camera, QString& error)
{
    return Hold(QStringLiteral(ARAVIS_CAMERA_HOLDER), {camera}, error);
}

bool CameraHolder::Hold(const QString& program, const QStringList& arguments, QString& error)
{
    ChildCommand::Target(program, arguments).Start(m_process);
    if (!m_process.waitForStarted(5000))
    {
        error = QStringLiteral("the holder did not start");
        return false;
    }
    while (!m_process.canReadLine() && m_process.state() == QProcess::Running)
        if (!m_process.waitForReadyRead(10000))
            break;
    const QByteArray line = m_process.readLine().trimmed();
    if (line == "held")
        return true;
    error = QStringLiteral("the holder did not take the camera: %1 %2")
                .arg(QString::fromLocal8Bit(line), QString::fromLocal8Bit(m_process.readAllStandardError()));
    Release();
    return false;
}

void CameraHolder::Release()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    // Closing its input makes it leave control the way an application closes a camera.
    m_process.closeWriteChannel();
    if (!m_process.waitForFinished(5000))
    {
        m_process.kill();
        m_process.waitForFinished(2000);
    }
}

void CameraHolder::Kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(2000);
}
