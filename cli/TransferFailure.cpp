#include "TransferFailure.h"

#include "sdk/ApiController.h"

#include <cerrno>
#include <cstring>

namespace {

using Step = PXTransferReport::Step;

QString stepText(const PXTransferReport& r)
{
    switch (r.step)
    {
    case Step::LocalFile:
        return QStringLiteral("the local file");
    case Step::Select:
        return QStringLiteral("selecting the file selector entry (FileSelector)");
    case Step::Name:
        return QStringLiteral("naming the device file (Filename)");
    case Step::Open:
        return QStringLiteral("opening the device file");
    case Step::Size:
        return QStringLiteral("reading the file size (FileSize)");
    case Step::Length:
        return QStringLiteral("setting the transfer length (FileAccessLength)");
    case Step::Chunk:
        return QStringLiteral("the chunk at byte %1").arg(r.offset);
    case Step::Buffer:
        return QStringLiteral("moving the chunk at byte %1 through FileAccessBuffer").arg(r.offset);
    case Step::ShortBuffer:
        return QStringLiteral("the chunk at byte %1").arg(r.offset);
    case Step::Close:
        return QStringLiteral("closing the device file");
    case Step::Aborted:
    case Step::None:
        break;
    }
    return QString();
}

} // namespace

QString TransferFailure::StepName(Step step)
{
    switch (step)
    {
    case Step::None:
        return QString();
    case Step::LocalFile:
        return QStringLiteral("local-file");
    case Step::Select:
        return QStringLiteral("select");
    case Step::Name:
        return QStringLiteral("name");
    case Step::Open:
        return QStringLiteral("open");
    case Step::Size:
        return QStringLiteral("size");
    case Step::Length:
        return QStringLiteral("length");
    case Step::Chunk:
        return QStringLiteral("chunk");
    case Step::Buffer:
        return QStringLiteral("buffer");
    case Step::ShortBuffer:
        return QStringLiteral("short-buffer");
    case Step::Close:
        return QStringLiteral("close");
    case Step::Aborted:
        return QStringLiteral("interrupted");
    }
    return QString();
}

QString TransferFailure::_reason(const PXTransferReport& r, const ApiController& controller)
{
    QStringList reasons;
    if (r.step == Step::ShortBuffer)
        reasons << QStringLiteral("FileAccessBuffer held %1 of %2 bytes").arg(r.received).arg(r.expected);
    if (r.localError != 0)
        reasons << QString::fromLocal8Bit(std::strerror(r.localError));
    if (r.sdkCode == GrbErrorTimeout)
        reasons << QStringLiteral("the camera did not complete the operation in time");
    else if (r.sdkCode != GrbErrorSuccess)
        reasons << QStringLiteral("%1 (SDK code %2)").arg(controller.ErrorCodeToMessage(r.sdkCode)).arg(r.sdkCode);
    if (!r.deviceStatus.isEmpty())
        reasons << QStringLiteral("FileOperationStatus is %1").arg(r.deviceStatus);
    return reasons.join(QStringLiteral("; "));
}

QString TransferFailure::Text(const PXTransferReport& report, const ApiController& controller)
{
    if (report.step == Step::None)
        return QString();
    if (report.step == Step::Aborted)
        return QStringLiteral("interrupted");
    const QString reason = _reason(report, controller);
    return stepText(report) + QStringLiteral(" failed") + (reason.isEmpty() ? QString() : QStringLiteral(": ") + reason);
}

QJsonObject TransferFailure::Json(const PXTransferReport& report, const ApiController& controller)
{
    QJsonObject failure;
    if (report.step == Step::None)
        return failure;
    failure.insert(QStringLiteral("step"), StepName(report.step));
    failure.insert(QStringLiteral("offset"), report.offset);
    if (report.sdkCode != GrbErrorSuccess)
        failure.insert(QStringLiteral("code"), report.sdkCode);
    if (report.localError != 0)
        failure.insert(QStringLiteral("errno"), report.localError);
    if (!report.deviceStatus.isEmpty())
        failure.insert(QStringLiteral("fileOperationStatus"), report.deviceStatus);
    const QString reason = _reason(report, controller);
    if (!reason.isEmpty())
        failure.insert(QStringLiteral("reason"), reason);
    return failure;
}
