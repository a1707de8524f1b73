// Another application holding a GigE Vision camera: the aravis_camera_holder helper,
// which takes control through Aravis and keeps it until its input closes.
#ifndef TESTS_ARAVIS_CAMERAHOLDER_H
#define TESTS_ARAVIS_CAMERAHOLDER_H

#include <QProcess>
#include <QString>

class CameraHolder
{
public:
    ~CameraHolder();
    // Returns once the helper holds the camera; false with what it said otherwise.
    bool Hold(const QString& address, QString& error);
    void Release();

private:
    QProcess m_process;
};

#endif
