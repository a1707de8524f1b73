#ifndef CLI_FIRMWAREJOB_H
#define CLI_FIRMWAREJOB_H

#include "CameraPresenceTracker.h"
#include "CliConsole.h"
#include "CliSession.h"
#include "TransferProgress.h"

#include "sdk/CameraInfoMap.h"

#include <QRunnable>
#include <QString>

#include <functional>

// The firmware update of one camera, on a worker thread with its own camera object:
// upload the image into the "Firmware" entry, run DeviceReset, wait for the camera to
// leave and come back, and read the firmware text again.
class FirmwareJob : public QRunnable
{
public:
    struct Result
    {
        QString before;
        QString after;
        qint64 ms = 0;
        bool ok = false;
        QString message;
    };

    FirmwareJob(CliSession& session, CameraPresenceTracker& tracker, TransferProgress& progress, CliConsole& console,
                const CameraInfoMap& camera, const QString& imagePath, int resetTimeoutMs);

    void run() override;

    const CameraInfoMap& Camera() const { return m_camera; }
    const Result& GetResult() const { return m_result; }
    // Called on the worker thread when the job is over.
    std::function<void()> finished;

private:
    bool _update(QString& error);

    CliSession& m_session;
    CameraPresenceTracker& m_tracker;
    TransferProgress& m_progress;
    CliConsole& m_console;
    CameraInfoMap m_camera;
    QString m_imagePath;
    int m_resetTimeoutMs;
    QString m_label;
    Result m_result;
};

#endif
