#include "GetCommand.h"

#include "HumanText.h"

#include "device/PXFileNameRule.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QStorageInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

const QString kPartialSuffix = QStringLiteral(".partial");

} // namespace

ExitCode GetCommand::Run()
{
    const ExitCode prepared = _prepare();
    if (prepared != ExitCode::Success)
        return prepared;
    QStringList names;
    if (!_namedFiles(m_options.positional.mid(1), names))
        return ExitCode::Usage;
    m_listedKnown = m_catalogue->List(m_listed);

    // Without -o, or with an existing directory, every file keeps its device name there;
    // else -o is the local path of the one file asked for.
    const QFileInfo output(m_options.outputGiven ? m_options.output : QStringLiteral("."));
    const bool intoDirectory = output.isDir();
    if (!intoDirectory && names.size() > 1)
        return _fail(
            ExitCode::Usage,
            QStringLiteral("-o %1 is not a directory; several files need an existing directory").arg(m_options.output));
    if (!intoDirectory && !output.absoluteDir().exists())
        return _fail(ExitCode::Failed, QStringLiteral("directory %1 does not exist").arg(output.absolutePath()));

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
                                         .arg(name, reason, QDir::toNativeSeparators(output.filePath())));
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
    if (m_cameraGone)
        return _refuse(result, QStringLiteral("%1 not fetched: camera %2 no longer answers").arg(name, _cameraText()));

    qint64 expected = -1;
    if (m_listedKnown)
    {
        for (const auto& entry : m_listed)
            if (entry.name == name)
                expected = entry.size;
        if (expected < 0)
            return _refuse(result,
                           QStringLiteral("camera %1 has no file '%2' in %3").arg(_cameraText(), name, m_selector));
    }

    const QFileInfo target(localPath);
    if (target.isDir())
        return _refuse(result, QStringLiteral("%1 is a directory").arg(localPath));
    if (target.exists() && !m_options.force)
        return _refuse(result, QStringLiteral("%1 exists; --force replaces it").arg(localPath));
    const QString partialPath = localPath + kPartialSuffix;
    if (QFileInfo::exists(partialPath) && !m_options.force)
        return _refuse(
            result,
            QStringLiteral("%1 exists (left by an interrupted download?); remove it or use --force").arg(partialPath));

    const QStorageInfo storage(target.absolutePath());
    if (expected > 0 && storage.isValid() && storage.bytesAvailable() >= 0 && storage.bytesAvailable() < expected)
        return _refuse(result, QStringLiteral("not enough space for %1 in %2: it needs %3, %4 are free")
                                   .arg(name, target.absolutePath(), HumanText::Bytes(expected),
                                        HumanText::Bytes(storage.bytesAvailable())));
    {
        // Tried here so that a directory that cannot be written is reported as such.
        QFile probe(partialPath);
        if (!probe.open(QIODevice::WriteOnly))
            return _refuse(result, QStringLiteral("cannot write %1: %2").arg(partialPath, probe.errorString()));
    }

    const QByteArray localName = QFile::encodeName(partialPath);
    const QByteArray deviceName = name.toUtf8();
    const QByteArray selector = m_selector.toUtf8();
    long bytes = 0;
    const int track = m_progress->Begin(m_camera->Camera(), name, expected);
    const bool ok = m_camera->Camera()->DownloadDeviceFile(localName.constData(), deviceName.constData(),
                                                           selector.constData(), &bytes);
    m_progress->End(track);
    result.insert(QStringLiteral("bytes"), static_cast<qint64>(bytes));

    QString problem;
    if (!ok)
    {
        problem = expected >= 0
                      ? QStringLiteral("download of %1 failed after %2 of %3 bytes").arg(name).arg(bytes).arg(expected)
                      : QStringLiteral("download of %1 failed after %2 bytes").arg(name).arg(bytes);
        if (!_cameraAnswers())
        {
            m_cameraGone = true;
            problem += QStringLiteral("; camera %1 no longer answers").arg(_cameraText());
        }
        else if (QStorageInfo(target.absolutePath()).bytesAvailable() == 0)
            problem += QStringLiteral("; the local disk is full");
    }
    else if (m_options.verify)
    {
        DeviceFileCatalogue::Entry listed;
        const qint64 local = QFileInfo(partialPath).size();
        if (!m_catalogue->Find(name, listed))
            problem = QStringLiteral("cannot verify %1: the camera no longer lists it").arg(name);
        else if (listed.size != local)
            problem = QStringLiteral("verification of %1 failed: %2 bytes received, the camera's FileSize is %3")
                          .arg(name)
                          .arg(local)
                          .arg(listed.size);
    }
    if (problem.isEmpty() && std::rename(localName.constData(), QFile::encodeName(localPath).constData()) != 0)
        problem = QStringLiteral("cannot rename %1 to %2: %3")
                      .arg(partialPath, localPath, QString::fromLocal8Bit(std::strerror(errno)));
    if (!problem.isEmpty())
    {
        // A partial file is never left under the final name, and here not at all.
        QFile::remove(partialPath);
        return _refuse(result, problem);
    }

    result.insert(QStringLiteral("ok"), true);
    if (m_options.verify)
        result.insert(QStringLiteral("verified"), true);
    if (!m_options.json && !m_options.quiet)
        m_console.Result(QStringLiteral("%1 -> %2 (%3 bytes%4)")
                             .arg(name, localPath)
                             .arg(bytes)
                             .arg(m_options.verify ? QStringLiteral(", size verified") : QString()));
    return true;
}
