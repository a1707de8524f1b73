#include "FirmwareCommand.h"

#include "CameraPresenceTracker.h"
#include "CameraResolver.h"
#include "CliTable.h"
#include "FirmwareJob.h"
#include "HumanText.h"
#include "TransferProgress.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QThreadPool>

#include <algorithm>
#include <memory>
#include <vector>

ExitCode FirmwareCommand::Run()
{
    const QString image = m_options.positional.last();
    ExitCode code = ExitCode::Success;
    QString error;
    if (!_checkImage(image, code, error))
        return _fail(code, error);
    QVector<CameraInfoMap> cameras;
    code = _cameras(cameras);
    if (code != ExitCode::Success)
        return code;

    std::shared_ptr<ApiController> controller = m_session.Controller();
    CameraPresenceTracker tracker;
    tracker.Follow(controller.get());
    const GrbErrorType followed = controller->enableAutomaticDiscovery(true);
    if (followed != GrbErrorSuccess)
        return _fail(ExitCode::Failed, QStringLiteral("cannot follow cameras coming and going (%1)")
                                           .arg(controller->ErrorCodeToMessage(followed)));

    TransferProgress progress(m_console);
    std::vector<std::unique_ptr<FirmwareJob>> jobs;
    QEventLoop loop;
    int pending = cameras.size();
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, std::min(m_options.jobs, cameras.size())));
    for (const CameraInfoMap& camera : cameras)
    {
        jobs.push_back(std::make_unique<FirmwareJob>(m_session, tracker, progress, m_console, camera, image,
                                                     m_options.resetTimeoutMs));
        // Counted down in this thread, whose event loop also carries the controller's
        // camera events to the waiting workers.
        jobs.back()->finished = [&loop, &pending]
        {
            QMetaObject::invokeMethod(
                &loop,
                [&loop, &pending]
                {
                    if (--pending == 0)
                        loop.quit();
                },
                Qt::QueuedConnection);
        };
    }
    for (auto& job : jobs)
        pool.start(job.get());
    loop.exec();
    pool.waitForDone();
    controller->enableAutomaticDiscovery(false);

    CliTable table({QStringLiteral("CAMERA"), QStringLiteral("FIRMWARE BEFORE"), QStringLiteral("FIRMWARE AFTER"),
                    QStringLiteral("DURATION"), QStringLiteral("RESULT")});
    table.SetRightAligned(3);
    table.SetShrinkable(0, Qt::ElideMiddle);
    table.SetShrinkable(1, Qt::ElideRight);
    table.SetShrinkable(2, Qt::ElideRight);
    table.SetShrinkable(4, Qt::ElideRight);
    QJsonArray results;
    int succeeded = 0;
    int failed = 0;
    for (const auto& job : jobs)
    {
        const FirmwareJob::Result& r = job->GetResult();
        r.ok ? ++succeeded : ++failed;
        table.AddRow({CameraResolver::DisplayLabel(job->Camera()), r.before, r.after, HumanText::Duration(r.ms),
                      r.ok ? r.message : QStringLiteral("FAILED: %1").arg(r.message)});
        QJsonObject result{{QStringLiteral("camera"), CameraResolver::ToJson(job->Camera())},
                           {QStringLiteral("before"), r.before},
                           {QStringLiteral("after"), r.after},
                           {QStringLiteral("seconds"), r.ms / 1000.0},
                           {QStringLiteral("ok"), r.ok}};
        result.insert(r.ok ? QStringLiteral("result") : QStringLiteral("error"), r.message);
        results.append(result);
    }
    for (const CameraInfoMap& camera : m_skipped)
    {
        const QString reason = QStringLiteral("skipped: in use by another application");
        table.AddRow({CameraResolver::DisplayLabel(camera), QString(), QString(), QString(), reason});
        results.append(QJsonObject{{QStringLiteral("camera"), CameraResolver::ToJson(camera)},
                                   {QStringLiteral("skipped"), true},
                                   {QStringLiteral("reason"), reason}});
    }
    if (!m_options.json)
        m_console.Raw(table.Text(m_console.OutWidth()));
    return _finish(_batchCode(succeeded, failed),
                   QJsonObject{{QStringLiteral("image"), image}, {QStringLiteral("results"), results}});
}

bool FirmwareCommand::_checkImage(const QString& path, ExitCode& code, QString& error) const
{
    const QFileInfo info(path);
    code = ExitCode::Failed;
    // The last argument is the image; a camera name there means the image was left out.
    if (info.suffix().compare(QLatin1String("ge3"), Qt::CaseInsensitive) != 0)
    {
        code = ExitCode::Usage;
        error = QStringLiteral("the firmware image must be a .ge3 file, not '%1'").arg(path);
    }
    else if (!info.exists())
        error = QStringLiteral("%1: no such file").arg(path);
    else if (!info.isFile())
        error = QStringLiteral("%1 is not a regular file").arg(path);
    else if (info.size() == 0)
        error = QStringLiteral("%1 is empty").arg(path);
    else
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    }
    return error.isEmpty();
}

ExitCode FirmwareCommand::_cameras(QVector<CameraInfoMap>& cameras)
{
    const QVector<CameraInfoMap> present = m_session.Cameras();
    if (m_options.allCompatible)
    {
        for (const CameraInfoMap& camera : present)
        {
            QString family;
            if (!CameraResolver::IsCompatible(camera, family))
                continue;
            // Another application's camera is not ours to update: passed over, not failed.
            if (!CameraResolver::FullAccess(camera))
            {
                m_skipped.append(camera);
                m_console.Note(QStringLiteral("%1: skipped, in use by another application")
                                   .arg(CameraResolver::DisplayLabel(camera)));
                continue;
            }
            cameras.append(camera);
        }
        if (cameras.isEmpty() && m_skipped.isEmpty())
            return _fail(ExitCode::CameraNotFound, QStringLiteral("no compatible cameras found"));
        if (cameras.isEmpty())
            return _fail(ExitCode::Failed,
                         QStringLiteral("every compatible camera is in use by another application; none was updated"));
        return ExitCode::Success;
    }

    CameraResolver resolver(present);
    QSet<QString> chosen;
    bool allFound = true;
    const QStringList names = m_options.positional.mid(0, m_options.positional.size() - 1);
    for (const QString& name : names)
    {
        CameraInfoMap camera;
        QVector<CameraInfoMap> candidates;
        const CameraResolver::Outcome outcome = resolver.Resolve(name, camera, candidates);
        if (outcome != CameraResolver::Outcome::Found)
        {
            // Every name is checked before any camera is touched.
            allFound = false;
            _reportUnresolved(name, outcome, candidates);
            continue;
        }
        if (!chosen.contains(CameraResolver::ExtendedId(camera)))
        {
            chosen.insert(CameraResolver::ExtendedId(camera));
            cameras.append(camera);
        }
    }
    if (!allFound)
        return _finish(ExitCode::CameraNotFound,
                       QJsonObject{{QStringLiteral("error"), QStringLiteral("not every camera was found")}});
    return ExitCode::Success;
}
