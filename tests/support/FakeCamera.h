// Aravis's own GigE Vision camera simulator (arv-fake-gv-camera-0.8 from Debian's
// aravis-tools) as a child process on one loopback address. It dies with the test.
#ifndef TESTS_ARAVIS_FAKECAMERA_H
#define TESTS_ARAVIS_FAKECAMERA_H

#include "CameraProcess.h"

#include <QString>

#include <memory>

class FakeCamera
{
public:
    // description: a GenICam file to serve instead of the built-in one.
    FakeCamera(QString address, QString serial, QString description = {});
    FakeCamera(const FakeCamera&) = delete;
    FakeCamera& operator=(const FakeCamera&) = delete;

    // Returns once the camera answers on its control channel; false with the reason.
    bool Start(QString& error);
    void Stop();

    QString Address() const { return m_address; }
    // The extended id the SDK gives this camera.
    QString ExtendedId() const { return QStringLiteral("GEV::Aravis-Fake-") + m_serial; }
    QString Serial() const { return m_serial; }

    static QString Program();

private:
    QString m_address;
    QString m_serial;
    std::unique_ptr<CameraProcess> m_process;
};

#endif
