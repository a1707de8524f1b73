// Aravis's own GigE Vision camera simulator (arv-fake-gv-camera-0.8 from Debian's
// aravis-tools) as a child process on one loopback address. It dies with the test.
#ifndef TESTS_ARAVIS_FAKECAMERA_H
#define TESTS_ARAVIS_FAKECAMERA_H

#include "CameraProcess.h"

class FakeCamera : public CameraProcess
{
public:
    // description: a GenICam file to serve instead of the built-in one.
    FakeCamera(const QString& address, const QString& serial, const QString& description = {});

    // The extended id the SDK gives this camera.
    QString ExtendedId() const { return QStringLiteral("GEV::Aravis-Fake-") + m_serial; }

    // Empty when it is not installed.
    static QString Program();

private:
    QString m_serial;
};

#endif
