#include "FirmwareJob.h"

#include "CameraResolver.h"
#include "CliInterruption.h"
#include "device/PXDeviceFiles.h"
#include "HumanText.h"
#include "OpenedCamera.h"
#include "TransferFailure.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>

namespace {

// A camera that has just come back may still refuse to open for a moment.
constexpr int kReopenPauseMs = 200;
// While waiting for a camera to restart, a line this often (more often for short waits).
constexpr int kResetNoteMs = 10000;

} // namespace

FirmwareJob::FirmwareJob(CliSession& session, CameraPresenceTracker& tracker, TransferProgress& progress,
                         CliConsole& console, const CameraInfoMap& camera, const QString& imagePath, int resetTimeoutMs)
    : m_session(session)
    , m_tracker(tracker)
    , m_progress(progress)
    , m_console(console)
    , m_camera(camera)
    , m_imagePath(imagePath)
    , m_resetTimeoutMs(resetTimeoutMs)
    , m_label(CameraResolver::DisplayLabel(camera))
{
    setAutoDelete(false);
}

void FirmwareJob::run()
{
    QElapsedTimer clock;
    clock.start();
    QString error;
    m_result.ok = _update(error);
    m_result.ms = clock.elapsed();
    if (!m_result.ok)
    {
        // Errors from opening the camera already name it; the result stands beside the
        // camera's name in the summary, and says only what happened.
        const QString named = QStringLiteral("camera %1 ").arg(m_label);
        m_result.message = error.startsWith(named) ? error.mid(named.size()) : error;
        m_console.Error(error.contains(m_label) ? error : QStringLiteral("%1: %2").arg(m_label, error));
    }
    else
    {
        m_result.message =
            m_result.after == m_result.before ? QStringLiteral("ok (firmware text unchanged)") : QStringLiteral("ok");
        m_console.Note(
            QStringLiteral("%1: back with %2 after %3").arg(m_label, m_result.after, HumanText::Duration(m_result.ms)));
    }
    if (finished)
        finished();
}

bool FirmwareJob::_update(QString& error)
{
    const QString extendedId = CameraResolver::ExtendedId(m_camera);
    {
        OpenedCamera camera(m_session, m_camera);
        if (!camera.Open(error))
            return false;
        m_result.before = camera.Camera()->GetCameraManufacturerInfo();
        PXDeviceFiles catalogue(camera.Camera());
        if (!catalogue.HasFileAccess() || !catalogue.Selectors().contains(PXDeviceFiles::kFirmware))
        {
            error = QStringLiteral("the camera has no Firmware file selector entry");
            return false;
        }

        const qint64 size = QFileInfo(m_imagePath).size();
        const QByteArray deviceName = QFileInfo(m_imagePath).fileName().toUtf8();
        const QByteArray localName = QFile::encodeName(m_imagePath);
        const QByteArray selector = PXDeviceFiles::kFirmware.toUtf8();
        m_console.Note(QStringLiteral("%1: uploading %2 (firmware now: %3)")
                           .arg(m_label, QFileInfo(m_imagePath).fileName(), m_result.before));
        long bytes = 0;
        bool ok = false;
        {
            CliInterruption::Transfer transfer(camera.Camera());
            const int track = m_progress.Begin(camera.Camera(), m_label, size);
            ok = camera.Camera()->UploadLocalFile(deviceName.constData(), localName.constData(), selector.constData(),
                                                  &bytes);
            m_progress.End(track);
        }
        const PXTransferReport report = camera.Camera()->LastTransferReport();
        // Without a reset the firmware stays as it was, as far as the camera still tells.
        auto unchanged = [&] { m_result.after = camera.Camera()->GetCameraManufacturerInfo(); };
        if (!ok)
        {
            unchanged();
            const QString why = TransferFailure::Text(report, *m_session.Controller());
            if (report.step == PXTransferReport::Step::Aborted)
                error = QStringLiteral("interrupted during the upload; the camera was not reset");
            else if (!camera.Answers())
                error = QStringLiteral("the camera stopped answering during the upload (%1)").arg(why);
            else if (report.step == PXTransferReport::Step::Close)
                error = QStringLiteral("the camera did not accept the image (%1); it was not reset").arg(why);
            else
                error = QStringLiteral("the upload failed (%1); the camera was not reset").arg(why);
            return false;
        }
        if (bytes != size)
        {
            unchanged();
            error = QStringLiteral("the upload stopped after %1 of %2 bytes; the camera was not reset")
                        .arg(bytes)
                        .arg(size);
            return false;
        }

        const CameraPresenceTracker::Mark mark = m_tracker.Take(extendedId);
        m_console.Note(QStringLiteral("%1: image accepted, resetting").arg(m_label));
        if (!camera.Camera()->cameraFeature->SetCommand("DeviceReset", 0))
        {
            unchanged();
            error = QStringLiteral("the camera refused DeviceReset; the image takes effect at its next restart");
            return false;
        }
        // The camera is gone by now; closing a departed camera is quietly accepted.
        camera.Close();

        // Minutes may pass: the wait tells how it stands every little while.
        QElapsedTimer waited;
        waited.start();
        const int noteEvery = std::max(100, std::min(kResetNoteMs, m_resetTimeoutMs / 10));
        CameraPresenceTracker::Outcome outcome = CameraPresenceTracker::Outcome::NeverLeft;
        for (;;)
        {
            const int left = m_resetTimeoutMs - int(waited.elapsed());
            outcome = m_tracker.WaitForReturn(extendedId, mark, std::max(0, std::min(left, noteEvery)));
            if (outcome == CameraPresenceTracker::Outcome::Back || waited.elapsed() >= m_resetTimeoutMs)
                break;
            m_console.Note(QStringLiteral("%1: %2 (%3 of at most %4)")
                               .arg(m_label,
                                    outcome == CameraPresenceTracker::Outcome::NeverLeft
                                        ? QStringLiteral("waiting for the camera to restart")
                                        : QStringLiteral("restarting, waiting for it to come back"),
                                    HumanText::Duration(waited.elapsed()), HumanText::Duration(m_resetTimeoutMs)));
        }
        const QString seconds = QString::number(m_resetTimeoutMs / 1000.0, 'g', 4);
        if (outcome == CameraPresenceTracker::Outcome::NeverLeft)
        {
            error = QStringLiteral("the camera did not restart within %1 s after DeviceReset").arg(seconds);
            return false;
        }
        if (outcome == CameraPresenceTracker::Outcome::NotBack)
        {
            error = QStringLiteral("the camera restarted but did not come back within %1 s").arg(seconds);
            return false;
        }
    }

    QDeadlineTimer reopenDeadline(std::min(m_resetTimeoutMs, 5000));
    for (;;)
    {
        OpenedCamera camera(m_session, m_camera);
        if (camera.Open(error))
        {
            m_result.after = camera.Camera()->GetCameraManufacturerInfo();
            return true;
        }
        if (reopenDeadline.hasExpired())
        {
            error = QStringLiteral("the camera came back but cannot be opened: %1").arg(error);
            return false;
        }
        QThread::msleep(kReopenPauseMs);
    }
}
