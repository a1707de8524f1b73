#ifndef CLI_OPENEDCAMERA_H
#define CLI_OPENEDCAMERA_H

#include "CliSession.h"

#include "device/PXCamera.h"
#include "sdk/CameraInfoMap.h"

#include <QString>

// One camera opened through the camera manager for as long as this object lives, on
// the thread that opened it.
class OpenedCamera
{
public:
    OpenedCamera(CliSession& session, const CameraInfoMap& record);
    ~OpenedCamera();
    OpenedCamera(const OpenedCamera&) = delete;
    OpenedCamera& operator=(const OpenedCamera&) = delete;

    // False with a one-line reason.
    bool Open(QString& error);
    void Close();

    PXCamera* Camera() const { return m_camera; }
    const CameraInfoMap& Record() const { return m_record; }
    QString ExtendedId() const;
    // A feature read that tells whether the camera still answers.
    bool Answers() const;

private:
    CliSession& m_session;
    CameraInfoMap m_record;
    PXCamera* m_camera = nullptr;
};

#endif
