#include "PutCommand.h"

#include "CliInterruption.h"
#include "HumanText.h"
#include "TransferFailure.h"

#include "device/PXFileNameRule.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTemporaryFile>

#include <algorithm>
#include <vector>

namespace {

constexpr qint64 kCompareBlock = 65536;

} // namespace

ExitCode PutCommand::Run()
{
    const QStringList locals = m_options.positional.mid(1);
    QStringList problems;
    for (const QString& local : locals)
    {
        QString error;
        if (!_checkLocal(local, error))
            problems << error;
    }
    // A name the camera could not give back as a local file again is not stored; the
    // names come from the command line either way, so this is a usage error.
    for (const QString& local : locals)
    {
        const QString name = m_options.deviceNameGiven ? m_options.deviceName : QFileInfo(local).fileName();
        QString reason;
        if (!PXFileNameRule::IsAcceptableLocalName(name, &reason))
            return _fail(ExitCode::Usage,
                         m_options.deviceNameGiven ? QStringLiteral("--as %1: %2").arg(name, reason)
                                                   : QStringLiteral("%1 cannot be stored as '%2': %3; --as gives it "
                                                                    "another name")
                                                         .arg(local, name, reason));
    }
    if (!problems.isEmpty())
    {
        // Nothing is uploaded when any of the local files cannot be.
        for (int i = 0; i + 1 < problems.size(); ++i)
            m_console.Error(problems.at(i));
        return _fail(ExitCode::Failed, problems.last());
    }

    const ExitCode prepared = _prepare();
    if (prepared != ExitCode::Success)
        return prepared;
    if (m_selector == PXDeviceFiles::kFirmware)
        return _fail(ExitCode::Usage, QStringLiteral("firmware images go through the firmware command, which also "
                                                     "resets the camera"));

    TransferProgress progress(m_console);
    m_progress = &progress;
    QJsonArray results;
    int succeeded = 0;
    int failed = 0;
    for (const QString& local : locals)
    {
        const QString name = m_options.deviceNameGiven ? m_options.deviceName : QFileInfo(local).fileName();
        QJsonObject result{{QStringLiteral("local"), local}, {QStringLiteral("file"), name}};
        _upload(local, name, result) ? ++succeeded : ++failed;
        results.append(result);
    }
    m_progress = nullptr;

    return _finish(_batchCode(succeeded, failed), QJsonObject{{QStringLiteral("camera"), _cameraJson()},
                                                              {QStringLiteral("selector"), m_selector},
                                                              {QStringLiteral("results"), results}});
}

bool PutCommand::_checkLocal(const QString& path, QString& error) const
{
    const QFileInfo info(path);
    if (!info.exists())
        error = QStringLiteral("%1: no such file").arg(path);
    else if (info.isDir())
        error = QStringLiteral("%1 is a directory, not a file").arg(path);
    // Pipes and devices would block or never end; only regular files are taken.
    else if (!info.isFile())
        error = QStringLiteral("%1 is not a regular file").arg(path);
    else if (info.size() == 0)
        error = QStringLiteral("%1 is empty; the camera does not store empty files").arg(path);
    else
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    }
    return error.isEmpty();
}

bool PutCommand::_refuse(QJsonObject& result, const QString& message)
{
    m_console.Error(message);
    result.insert(QStringLiteral("ok"), false);
    result.insert(QStringLiteral("error"), message);
    return false;
}

bool PutCommand::_upload(const QString& localPath, const QString& name, QJsonObject& result)
{
    if (m_cameraGone)
        return _refuse(result,
                       QStringLiteral("%1 not uploaded: camera %2 no longer answers").arg(localPath, _cameraText()));
    if (CliInterruption::Signal())
        return _refuse(result, QStringLiteral("%1 not uploaded: interrupted").arg(localPath));
    const qint64 size = QFileInfo(localPath).size();

    // A single-file slot is replaced by its nature; a named file only with --force.
    QVector<PXDeviceFiles::Entry> listed;
    qint64 replaced = 0;
    if (m_files->List(listed))
        for (const auto& entry : listed)
            if (entry.name == name || PXDeviceFiles::IsSlot(m_selector))
            {
                if (!PXDeviceFiles::IsSlot(m_selector) && !m_options.force)
                    return _refuse(result, QStringLiteral("camera %1 already has '%2' in %3; --force replaces it")
                                               .arg(_cameraText(), name, m_selector));
                replaced = entry.size;
            }
    qint64 free = -1;
    if (m_files->FreeSpace(free) && free >= 0 && size - replaced > free)
        return _refuse(result,
                       QStringLiteral("not enough space on camera %1 for %2: it needs %3, %4 are free")
                           .arg(_cameraText(), localPath, HumanText::Bytes(size - replaced), HumanText::Bytes(free)));

    const QByteArray deviceName = name.toUtf8();
    const QByteArray localName = QFile::encodeName(localPath);
    const QByteArray selector = m_selector.toUtf8();
    PXCamera* camera = m_camera->Camera();
    long bytes = 0;
    bool ok = false;
    {
        CliInterruption::Transfer transfer(camera);
        const int track = m_progress->Begin(camera, name, size);
        ok = camera->UploadLocalFile(deviceName.constData(), localName.constData(), selector.constData(), &bytes);
        m_progress->End(track);
    }
    const PXTransferReport report = camera->LastTransferReport();
    result.insert(QStringLiteral("bytes"), static_cast<qint64>(bytes));
    _noteRecovery(report, result);
    // The file as it was checked, as it was read, and as it is now must be one and the
    // same: a file still being written would be stored cut off somewhere in the middle.
    const qint64 sizeNow = QFileInfo(localPath).size();
    const bool changed = report.localBytes >= 0 && (report.localBytes != size || sizeNow != size);

    if (ok && bytes == size && !changed)
    {
        if (m_options.verify)
        {
            QString problem;
            if (!_readBack(localPath, name, size, problem))
                return _refuse(result, problem);
            result.insert(QStringLiteral("verified"), true);
        }
        result.insert(QStringLiteral("ok"), true);
        if (!m_options.json && !m_options.quiet)
            m_console.Result(QStringLiteral("%1 -> %2 in %3 (%4 bytes%5)")
                                 .arg(localPath, name, m_selector)
                                 .arg(bytes)
                                 .arg(m_options.verify ? QStringLiteral(", read back and compared") : QString()));
        return true;
    }

    QString problem;
    if (report.step == PXTransferReport::Step::Aborted)
        problem = QStringLiteral("upload of %1 interrupted after %2 of %3 bytes").arg(name).arg(report.offset).arg(size);
    else if (changed)
        problem = QStringLiteral("%1 changed while it was uploaded (%2 bytes when checked, %3 read, %4 now); upload it "
                                 "again once it is complete")
                      .arg(localPath)
                      .arg(size)
                      .arg(report.localBytes)
                      .arg(sizeNow);
    else
    {
        const QString why = TransferFailure::Text(report, *m_session.Controller());
        problem = ok ? QStringLiteral("upload of %1 stopped after %2 of %3 bytes").arg(name).arg(bytes).arg(size)
                     : QStringLiteral("upload of %1 failed").arg(name);
        if (!why.isEmpty())
            problem += QStringLiteral(": ") + why;
    }
    if (report.step != PXTransferReport::Step::None)
        result.insert(QStringLiteral("failure"), TransferFailure::Json(report, *m_session.Controller()));
    problem += _removeIncomplete(name, report, result);
    return _refuse(result, problem);
}

QString PutCommand::_removeIncomplete(const QString& name, const PXTransferReport& report, QJsonObject& result)
{
    if (!report.incompleteRemoved && !_cameraAnswers())
    {
        m_cameraGone = true;
        return QStringLiteral("; camera %1 no longer answers").arg(_cameraText());
    }
    using Step = PXTransferReport::Step;
    const bool nothingWritten = report.step == Step::LocalFile || report.step == Step::Select ||
                                report.step == Step::Name || report.step == Step::Open;
    const bool removed = m_files->RemoveIncomplete(name, report);
    if (nothingWritten)
        return QString();
    result.insert(QStringLiteral("incompleteRemoved"), removed);
    return removed ? QStringLiteral("; the incomplete file was deleted from the camera")
                   : QStringLiteral("; the incomplete file is still on the camera");
}

bool PutCommand::_readBack(const QString& localPath, const QString& name, qint64 size, QString& error)
{
    QFile local(localPath);
    QTemporaryFile copy;
    if (!local.open(QIODevice::ReadOnly) || !copy.open())
    {
        error = QStringLiteral("cannot verify %1: no room for the read-back copy").arg(name);
        return false;
    }
    copy.close();

    // A camera that acknowledges a Read without refilling its buffer hands back what
    // the buffer last held, which after an upload is this very file's last chunk: a
    // one-chunk file would compare equal. The buffer is first filled with the
    // complement of the file's first chunk, so such a read-back cannot match.
    QByteArray first = local.read(kCompareBlock);
    std::vector<unsigned char> scrub(first.begin(), first.end());
    for (auto& byte : scrub)
        byte = static_cast<unsigned char>(~byte);
    if (!scrub.empty())
        m_camera->Camera()->cameraFeature->SetRegisterValue("FileAccessBuffer", scrub, static_cast<int>(scrub.size()));
    local.seek(0);

    const QByteArray copyName = QFile::encodeName(copy.fileName());
    const QByteArray deviceName = name.toUtf8();
    const QByteArray selector = m_selector.toUtf8();
    long bytes = 0;
    bool ok = false;
    {
        CliInterruption::Transfer transfer(m_camera->Camera());
        const int track = m_progress->Begin(m_camera->Camera(), QStringLiteral("verify %1").arg(name), size);
        ok = m_camera->Camera()->DownloadDeviceFile(copyName.constData(), deviceName.constData(), selector.constData(),
                                                    &bytes);
        m_progress->End(track);
    }
    if (!ok)
    {
        error = QStringLiteral("verification of %1 failed: reading it back stopped after %2 of %3 bytes: %4")
                    .arg(name)
                    .arg(bytes)
                    .arg(size)
                    .arg(TransferFailure::Text(m_camera->Camera()->LastTransferReport(), *m_session.Controller()));
        if (!_cameraAnswers())
            m_cameraGone = true;
        return false;
    }

    QFile back(copy.fileName());
    if (!back.open(QIODevice::ReadOnly))
    {
        error = QStringLiteral("cannot verify %1: the read-back copy cannot be opened").arg(name);
        return false;
    }
    qint64 offset = 0;
    for (;;)
    {
        const QByteArray a = local.read(kCompareBlock);
        const QByteArray b = back.read(kCompareBlock);
        const int common = std::min(a.size(), b.size());
        for (int i = 0; i < common; ++i)
            if (a.at(i) != b.at(i))
            {
                error = QStringLiteral("verification of %1 failed: the camera's copy differs at byte %2")
                            .arg(name)
                            .arg(offset + i);
                return false;
            }
        if (a.size() != b.size())
        {
            error = QStringLiteral("verification of %1 failed: the camera's copy has %2 bytes, the local file %3")
                        .arg(name)
                        .arg(back.size())
                        .arg(local.size());
            return false;
        }
        if (a.isEmpty())
            return true;
        offset += a.size();
    }
}
