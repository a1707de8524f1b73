// Another application holding a camera: the aravis_camera_holder helper, which takes
// control through Aravis and keeps it until its input closes.
#ifndef TESTS_ARAVIS_CAMERAHOLDER_H
#define TESTS_ARAVIS_CAMERAHOLDER_H

#include <QProcess>
#include <QString>

class CameraHolder
{
public:
    ~CameraHolder();
    // Returns once the helper holds the camera (a GigE Vision camera's IPv4 address, or
    // an Aravis id); false with what it said otherwise.
    bool Hold(const QString& camera, QString& error);
    void Release();
    // Ends the helper without letting go, as a crashed application does.
    void Kill();

private:
    QProcess m_process;
};

#endif
