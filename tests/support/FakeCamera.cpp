#include "FakeCamera.h"

#include <QStandardPaths>

FakeCamera::FakeCamera(QString address, QString serial, QString description)
    : m_address(std::move(address))
    , m_serial(std::move(serial))
{
    QStringList arguments{QStringLiteral("-i"), m_address, QStringLiteral("-s"), m_serial};
    if (!description.isEmpty())
        arguments << QStringLiteral("-g") << description;
    m_process = std::make_unique<CameraProcess>(Program(), arguments, m_address);
}

QString FakeCamera::Program()
{
    return QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
}

bool FakeCamera::Start(QString& error)
{
    if (Program().isEmpty())
    {
        error = QStringLiteral("arv-fake-gv-camera-0.8 is not installed (Debian package aravis-tools)");
        return false;
    }
    return m_process->Start(error);
}

void FakeCamera::Stop()
{
    m_process->Stop();
}
