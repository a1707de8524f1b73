#include "FakeCamera.h"

#include <QStandardPaths>

namespace {

QStringList arguments(const QString& address, const QString& serial, const QString& description)
{
    QStringList list{QStringLiteral("-i"), address, QStringLiteral("-s"), serial};
    if (!description.isEmpty())
        list << QStringLiteral("-g") << description;
    return list;
}

} // namespace

FakeCamera::FakeCamera(const QString& address, const QString& serial, const QString& description)
    : CameraProcess(ChildCommand::Host(Program(), arguments(address, serial, description)), address)
    , m_serial(serial)
{
}

QString FakeCamera::Program()
{
    return QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
}
