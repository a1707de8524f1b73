#include "GetCommand.h"

#include "CliInterruption.h"
#include "HumanText.h"
#include "TransferFailure.h"

#include "device/PXFileNameRule.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QStorageInfo>

ExitCode GetCommand::Run()
{
    const ExitCode prepared = _prepare();
    if (prepared != ExitCode::Success)
        return prepared;
    QStringList names;
    if (!_namedFiles(m_options.positional.mid(1), names))
        return ExitCode::Usage;
    m_listedKnown = m_files->List(m_listed);

    // Without -o, or with an existing directory, every file keeps its device name there;
    // else -o is the local path of the one file asked for.
    const QFileInfo output(m_options.outputGiven ? m_options.output : QStringLiteral("."));
    const bool intoDirectory = output.isDir();
    if (!intoDirectory && names.size() > 1)
        return _fail(
            ExitCode::Usage,
            QStringLiteral("-o %1 is not a directory; several files need an existing directory").arg(m_options.output));
    if (!intoDirectory && !output.absoluteDir().exists())
        return _fail(ExitCode::Usage, QStringLiteral("directory %1 does not exist").arg(output.absolutePath()));

    TransferProgress progress(m_console);
    m_progress = &progress;
    QJsonArray results;
    int succeeded = 0;
    int failed = 0;
    for (const QString& name : names)
    {
        QJsonObject result{{QStringLiteral("file"), name}};
        QString localPath = output.filePath();
        bool ok = false;
        if (intoDirectory)
        {
            QString reason;
            if (!PXFileNameRule::IsAcceptableLocalName(name, &reason))
                ok = _refuse(result, QStringLiteral("refusing device file '%1': %2, so it cannot be saved as a "
                                                    "file in %3")
                                         .arg(m_console.Shown(name), reason, QDir::toNativeSeparators(output.filePath())));
            else
                localPath = QDir(output.filePath()).filePath(name);
        }
        if (!result.contains(QStringLiteral("error")))
            ok = _fetch(name, localPath, result);
        ok ? ++succeeded : ++failed;
        results.append(result);
    }
    m_progress = nullptr;

    return _finish(_batchCode(succeeded, failed), QJsonObject{{QStringLiteral("camera"), _cameraJson()},
                                                              {QStringLiteral("selector"), m_selector},
                                                              {QStringLiteral("results"), results}});
}

bool GetCommand::_refuse(QJsonObject& result, const QString& message)
{
    m_console.Error(message);
    result.insert(QStringLiteral("ok"), false);
    result.insert(QStringLiteral("error"), message);
    return false;
}

bool GetCommand::_fetch(const QString& name, const QString& localPath, QJsonObject& result)
{
    result.insert(QStringLiteral("local"), localPath);
    const QString shown = m_console.Shown(name);
    if (m_cameraGone)
        return _refuse(result, QStringLiteral("%1 not fetched: camera %2 no longer answers").arg(shown, _cameraText()));
    if (CliInterruption::Signal())
        return _refuse(result, QStringLiteral("%1 not fetched: interrupted").arg(shown));

    qint64 expected = -1;
    if (m_listedKnown)
    {
        for (const auto& entry : m_listed)
            if (entry.name == name)
                expected = entry.size;
        if (expected < 0)
            return _refuse(result,
                           QStringLiteral("camera %1 has no file '%2' in %3").arg(_cameraText(), shown, m_selector));
    }

    const QFileInfo target(localPath);
    if (target.isDir())
        return _refuse(result, QStringLiteral("%1 is a directory").arg(localPath));
    if (target.exists() && !m_options.force)
        return _refuse(result, QStringLiteral("%1 exists; --force replaces it").arg(localPath));

    const QStorageInfo storage(target.absolutePath());
    if (expected > 0 && storage.isValid() && storage.bytesAvailable() >= 0 && storage.bytesAvailable() < expected)
        return _refuse(result, QStringLiteral("not enough space for %1 in %2: it needs %3, %4 are free")
                                   .arg(shown, target.absolutePath(), HumanText::Bytes(expected),
                                        HumanText::Bytes(storage.bytesAvailable())));
    PXCamera* camera = m_camera->Camera();
    long bytes = 0;
    QString problem;
    bool ok = false;
    {
        // The camera's FileSize, asked again once the file has arrived.
        auto verify = [&]() -> QString {
            PXDeviceFiles::Entry listed;
            if (!m_files->Find(name, listed))
                return QStringLiteral("cannot verify %1: the camera no longer lists it").arg(shown);
            if (listed.size != bytes)
                return QStringLiteral("verification of %1 failed: %2 bytes received, the camera's FileSize is %3")
                    .arg(shown)
                    .arg(bytes)
                    .arg(listed.size);
            return QString();
        };
        CliInterruption::Transfer transfer(camera);
        const int track = m_progress->Begin(camera, name, expected);
        ok = m_files->Download(name, localPath, false, &bytes, &problem,
                                   m_options.verify ? std::function<QString()>(verify) : nullptr);
        m_progress->End(track);
    }
    const PXTransferReport report = camera->LastTransferReport();
    result.insert(QStringLiteral("bytes"), static_cast<qint64>(bytes));
    _noteRecovery(report, result);

    if (!ok && problem.isEmpty())
    {
        const QString of = expected >= 0 ? QStringLiteral(" of %1").arg(expected) : QString();
        problem = report.step == PXTransferReport::Step::Aborted
                      ? QStringLiteral("download of %1 interrupted after %2%3 bytes; the partial local file was "
                                       "removed")
                            .arg(shown)
                            .arg(bytes)
                            .arg(of)
                      : QStringLiteral("download of %1 failed after %2%3 bytes: %4")
                            .arg(shown)
                            .arg(bytes)
                            .arg(of, TransferFailure::Text(report, *m_session.Controller()));
        result.insert(QStringLiteral("failure"), TransferFailure::Json(report, *m_session.Controller()));
        if (report.step != PXTransferReport::Step::Aborted && !_cameraAnswers())
        {
            m_cameraGone = true;
            problem += QStringLiteral("; camera %1 no longer answers").arg(_cameraText());
        }
    }
    // A partial file is never left under the final name, and here not at all.
    if (!ok)
        return _refuse(result, problem);

    result.insert(QStringLiteral("ok"), true);
    if (m_options.verify)
        result.insert(QStringLiteral("verified"), true);
    if (!m_options.json && !m_options.quiet)
        m_console.Result(QStringLiteral("%1 -> %2 (%3 bytes%4)")
                             .arg(shown, localPath)
                             .arg(bytes)
                             .arg(m_options.verify ? QStringLiteral(", size verified") : QString()));
    return true;
}
