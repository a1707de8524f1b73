// A camera program as a child process: a GigE Vision camera answering on a loopback
// address, or a virtual USB device whose socket is at a path. It dies with the test.
#ifndef TESTS_ARAVIS_CAMERAPROCESS_H
#define TESTS_ARAVIS_CAMERAPROCESS_H

#include "ChildCommand.h"

#include <QString>

#include <sys/types.h>

class CameraProcess
{
public:
    // address: a loopback IPv4 address, or the path of a virtual USB device's socket.
    CameraProcess(ChildCommand command, QString address);
    virtual ~CameraProcess();
    CameraProcess(const CameraProcess&) = delete;
    CameraProcess& operator=(const CameraProcess&) = delete;

    // Returns once the camera answers on its control channel; false with the reason.
    bool Start(QString& error);
    // Asks the camera to end, and makes it if it does not.
    void Stop();
    // Ends it at once, in the middle of whatever it was doing.
    void Kill();
    bool IsRunning() const { return m_pid > 0; }

    QString Address() const { return m_address; }

private:
    ChildCommand m_command;
    QString m_address;
    pid_t m_pid = -1;
};

#endif
