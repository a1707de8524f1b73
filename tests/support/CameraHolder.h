// Another application holding a camera: by default the aravis_camera_holder helper,
// which takes a camera's control through Aravis; any helper of this project that says
// "held" once it has the camera and keeps it until its input closes.
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
    bool Hold(const QString& program, const QStringList& arguments, QString& error);
    void Release();
    // Ends the helper without letting go, as a crashed application does.
    void Kill();

private:
    QProcess m_process;
};

#endif
