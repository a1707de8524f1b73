#include "PXCamera.h"

#include "device/PXFeatureContainerUtil.h"
#include "sdk/SdkText.h"

#include <GrbC/GrbC.h>
#include <GrbCPP/Feature.h>
#include <GrbCPP/Stream.h>

#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The most one FileAccessBuffer transfer carries, in either direction.
constexpr qint64 kChunkCapacity = 65536;

// Completion waits of FileOperationExecute, in ms (0: run without waiting). Open and
// each chunk get one more completion query two seconds after the first; Close, which
// may flash a firmware image, gets minutes.
constexpr unsigned long kDownloadOpenTimeoutMs = 2000;
constexpr unsigned long kUploadOpenTimeoutMs = 0;
constexpr unsigned long kChunkTimeoutMs = 2000;
constexpr unsigned long kCloseTimeoutMs = 180000;
constexpr unsigned long kDeleteTimeoutMs = 0;

constexpr unsigned long kPacketSizeTimeoutMs = 5000;
constexpr int kImageAttempts = 5;

const QString kRead = QStringLiteral("Read");
const QString kWrite = QStringLiteral("Write");

} // namespace

PXCamera::PXCamera(std::shared_ptr<GrbCPP::Camera> camera, QObject* parent)
    : QObject(parent)
    , cameraFeature(new PXCameraFeature(camera, nullptr))
    , m_camera(std::move(camera))
    , m_bigEndian(true)
{
    // Everything but USB3 Vision counts as big-endian, also when the SDK cannot tell.
    GrbTransportLayerType type = GrbTransportLayerUnknown;
    if (m_camera && m_camera->GetTransportLayerType(type) == GrbErrorSuccess)
        m_bigEndian = type != GrbTransportLayerU3V;
    AdjustPacketSize();
}

PXCamera::~PXCamera()
{
    delete cameraFeature;
    cameraFeature = nullptr;
}

GrbErrorType PXCamera::GetInfo(GrbCameraInfo* info) const
{
    if (!info)
        return GrbErrorBadParameter;
    std::memset(info, 0, sizeof(GrbCameraInfo));
    if (!m_camera)
        return GrbErrorBadHandle;
    std::string id;
    GrbErrorType err = ReadSdkText([&](char* b, unsigned int& l) { return m_camera->GetID(b, l); }, id);
    if (err != GrbErrorSuccess)
        return err;
    return GrbCameraInfoQuery(id.c_str(), info, sizeof(GrbCameraInfo));
}

QString PXCamera::GetCameraName() const
{
    GrbCameraInfo info;
    if (GetInfo(&info) != GrbErrorSuccess)
        return QString();
    return QString::fromUtf8(info.cameraName);
}

QString PXCamera::GetCameraManufacturerInfo() const
{
    QVariant value;
    if (!cameraFeature || !cameraFeature->GetValue("DeviceManufacturerInfo", value))
        return QString();
    return value.toString();
}

bool PXCamera::IsFileAccessSupported()
{
    return true;
}

bool PXCamera::IsBigEndian()
{
    return m_bigEndian;
}

bool PXCamera::Read(unsigned long address, void* buffer, unsigned int* size)
{
    if (!buffer || !size || *size == 0 || !m_camera)
        return false;
    std::vector<unsigned char> bytes(*size, 0);
    uint32_t complete = 0;
    if (m_camera->ReadMemory(address, bytes.data(), *size, complete) != GrbErrorSuccess)
        return false;
    std::memcpy(buffer, bytes.data(), *size);
    return true;
}

bool PXCamera::Write(unsigned long address, const void* buffer, unsigned int* size)
{
    if (!buffer || !size || *size == 0 || !m_camera)
        return false;
    const auto* first = static_cast<const unsigned char*>(buffer);
    std::vector<unsigned char> bytes(first, first + *size);
    uint32_t complete = 0;
    return m_camera->WriteMemory(address, bytes.data(), *size, complete) == GrbErrorSuccess;
}

bool PXCamera::ReadRegister(unsigned long address, unsigned int* value)
{
    if (!value)
        return false;
    unsigned int raw = 0;
    unsigned int size = sizeof(raw);
    if (!Read(address, &raw, &size))
        return false;
    *value = m_bigEndian ? qbswap(raw) : raw;
    return true;
}

bool PXCamera::WriteRegister(unsigned long address, unsigned int value)
{
    const unsigned int raw = m_bigEndian ? qbswap(value) : value;
    unsigned int size = sizeof(raw);
    return Write(address, &raw, &size);
}

bool PXCamera::PXRegisterDeviceWrite(const char*, const unsigned char*, unsigned int*, unsigned long)
{
    return false;
}

bool PXCamera::AcquireSingleImage(std::shared_ptr<GrbCPP::Frame>& frame, unsigned int timeout,
                                  GrbCPP::FrameAllocationMode mode)
{
    if (!m_camera)
        return false;
    for (int attempt = 0; attempt < kImageAttempts; ++attempt)
    {
        GrbFrameStatusType status = GrbFrameStatusInvalid;
        if (m_camera->AcquireSingleImage(frame, timeout, mode) == GrbErrorSuccess && frame &&
            frame->GetReceiveStatus(status) == GrbErrorSuccess && status == GrbFrameStatusComplete)
            return true;
    }
    return false;
}

bool PXCamera::SaveToUserSet()
{
    QVariant selected;
    if (!cameraFeature->GetValue("UserSetSelector", selected))
        return false;
    // The factory set cannot be overwritten; any other selected set is kept.
    if (selected.toString() == QLatin1String("Default") && !_setText("UserSetSelector", "UserSet1"))
        return false;
    return cameraFeature->SetCommand("UserSetSave", 0);
}

void PXCamera::AdjustPacketSize()
{
    GrbTransportLayerType type = GrbTransportLayerUnknown;
    if (!m_camera || m_camera->GetTransportLayerType(type) != GrbErrorSuccess || type != GrbTransportLayerGEV)
        return;
    unsigned int count = 0;
    if (m_camera->GetStreams(nullptr, count) != GrbErrorSuccess || count == 0)
        return;
    std::vector<GrbCPP::StreamPtr> streams(count);
    if (m_camera->GetStreams(streams.data(), count) != GrbErrorSuccess || count == 0 || !streams.front())
        return;
    PXFeatureContainer stream(streams.front());
    QVariant protocol;
    // Over TCP the packet size does not matter.
    if (stream.GetValue("GVSPProtocol", protocol) && protocol.toString() == QLatin1String("TCP"))
        return;
    stream.SetCommand("GVSPAdjustPacketSize", kPacketSizeTimeoutMs);
}

bool PXCamera::_setText(const char* feature, const char* text)
{
    return cameraFeature->SetValue(feature, QVariant(QString::fromUtf8(text)));
}

bool PXCamera::_execute(unsigned long timeoutMs)
{
    return cameraFeature->SetCommand("FileOperationExecute", timeoutMs);
}

void PXCamera::AbortTransfers(bool abort)
{
    m_abort = abort;
}

PXTransferReport PXCamera::LastTransferReport() const
{
    return m_report;
}

bool PXCamera::_fail(PXTransferReport::Step step, bool sdkFailed)
{
    m_report.step = step;
    m_report.sdkCode = sdkFailed ? PXFeatureContainerUtil::LastError() : GrbErrorSuccess;
    m_report.deviceStatus.clear();
    QVariant status;
    bool known = false;
    // What the camera says of a failed operation; only asked when one was carried out.
    if ((step == PXTransferReport::Step::Open || step == PXTransferReport::Step::Chunk ||
         step == PXTransferReport::Step::Close) &&
        cameraFeature->HasFeature("FileOperationStatus", known) && known &&
        cameraFeature->GetValue("FileOperationStatus", status))
        m_report.deviceStatus = status.toString();
    return false;
}

bool PXCamera::_failLocal(int error)
{
    m_report.step = PXTransferReport::Step::LocalFile;
    m_report.localError = error;
    return false;
}

bool PXCamera::_openDeviceFile(const char* mode, unsigned long timeoutMs)
{
    auto open = [&] {
        return _setText("FileOpenMode", mode) && _setText("FileOperationSelector", "Open") && _execute(timeoutMs);
    };
    if (open())
        return true;
    _fail(PXTransferReport::Step::Open);
    // A file left open by a client that was interrupted or killed refuses every Open
    // until it is closed: it is closed once and Open tried once more. An Open that did
    // not complete in time is a slow camera, not an open file.
    if (m_report.sdkCode == GrbErrorTimeout || !_closeDeviceFile())
        return false;
    if (!open())
        return _fail(PXTransferReport::Step::Open);
    m_report.step = PXTransferReport::Step::None;
    m_report.sdkCode = GrbErrorSuccess;
    m_report.deviceStatus.clear();
    m_report.openRecovered = true;
    return true;
}

bool PXCamera::_closeDeviceFile()
{
    return _setText("FileOperationSelector", "Close") && _execute(kCloseTimeoutMs);
}

bool PXCamera::_abortDownload(std::FILE* local)
{
    _setText("FileOperationSelector", "Close");
    _execute(kCloseTimeoutMs);
    std::fclose(local);
    return false;
}

// The chunk capacity of a transfer of size bytes, with FileAccessLength set to it when
// that is writable. Many cameras have a FileAccessBuffer of 512 bytes to 4 KiB; their
// chunks shrink to fit it, or the largest FileAccessLength if that is smaller still.
// On cameras whose buffer is as long as FileAccessLength says, its length reads back
// whatever the last transfer left, so it is asked only once the length is set.
qint64 PXCamera::_chunkCapacity(qint64 size, bool lengthWritable, bool& ok)
{
    qint64 capacity = std::min(size, kChunkCapacity);
    QVariant min, max, inc;
    if (cameraFeature->GetFeatureRange("FileAccessLength", min, max, inc) && max.toLongLong() > 0)
        capacity = std::min(capacity, max.toLongLong());
    ok = !lengthWritable || cameraFeature->SetValue("FileAccessLength", QVariant(capacity));
    if (!ok)
        return capacity;
    GrbCPP::FeaturePtr buffer;
    unsigned int length = 0;
    if (m_camera && m_camera->GetFeatureByName("FileAccessBuffer", buffer) == GrbErrorSuccess && buffer &&
        buffer->GetValue(static_cast<unsigned char*>(nullptr), length) == GrbErrorSuccess && length > 0 &&
        length < capacity)
    {
        capacity = length;
        ok = !lengthWritable || cameraFeature->SetValue("FileAccessLength", QVariant(capacity));
    }
    return capacity;
}

bool PXCamera::DownloadDeviceFile(const char* localPath, const char* fileName, const char* fileSelector,
                                  long* bytesWritten)
{
    if (!localPath || !fileName || !fileSelector || !bytesWritten)
        return false;
    *bytesWritten = 0;
    m_report = PXTransferReport();
    if (m_abort)
        return _fail(PXTransferReport::Step::Aborted, false);
    std::FILE* local = std::fopen(localPath, "wb");
    if (!local)
        return _failLocal(errno);
    if (!_setText("FileSelector", fileSelector))
    {
        _fail(PXTransferReport::Step::Select);
        std::fclose(local);
        return false;
    }
    bool hasFilename = false;
    // Deliberately no clean-up when the name is refused: the local file stays open.
    if (cameraFeature->HasFeature("Filename", hasFilename) && hasFilename && !_setText("Filename", fileName))
        return _fail(PXTransferReport::Step::Name);
    if (!_openDeviceFile("Read", kDownloadOpenTimeoutMs))
    {
        std::fclose(local);
        return false;
    }

    QVariant sizeValue;
    if (!cameraFeature->GetValue("FileSize", sizeValue) || sizeValue.toLongLong() < 0)
    {
        _fail(PXTransferReport::Step::Size, !sizeValue.isValid());
        return _abortDownload(local);
    }
    const qint64 size = sizeValue.toLongLong();
    bool writable = false;
    const bool lengthWritable = cameraFeature->IsWritable("FileAccessLength", writable) && writable;
    bool lengthSet = true;
    const qint64 capacity = _chunkCapacity(size, lengthWritable, lengthSet);
    // Deliberately no clean-up here either: device file and local file stay open.
    if (!lengthSet)
        return _fail(PXTransferReport::Step::Length);
    std::vector<unsigned char> staging;
    staging.reserve(static_cast<size_t>(capacity));

    const QString name = QString::fromUtf8(fileName);
    qint64 offset = 0;
    qint64 remaining = size;
    while (remaining >= 1)
    {
        m_report.offset = offset;
        if (m_abort)
        {
            _fail(PXTransferReport::Step::Aborted, false);
            return _abortDownload(local);
        }
        const qint64 n = std::min(remaining, capacity);
        if (!cameraFeature->SetValue("FileAccessOffset", QVariant(offset)) ||
            (n != capacity && lengthWritable && !cameraFeature->SetValue("FileAccessLength", QVariant(n))) ||
            !_setText("FileOperationSelector", "Read") || !_execute(kChunkTimeoutMs))
        {
            _fail(PXTransferReport::Step::Chunk);
            return _abortDownload(local);
        }
        if (!cameraFeature->GetRegisterValue("FileAccessBuffer", staging, static_cast<int>(n)))
        {
            _fail(PXTransferReport::Step::Buffer);
            return _abortDownload(local);
        }
        if (staging.size() < static_cast<size_t>(n))
        {
            _fail(PXTransferReport::Step::ShortBuffer, false);
            m_report.expected = n;
            m_report.received = static_cast<qint64>(staging.size());
            return _abortDownload(local);
        }
        if (std::fwrite(staging.data(), 1, static_cast<size_t>(n), local) != static_cast<size_t>(n))
        {
            _failLocal(errno);
            return _abortDownload(local);
        }
        remaining -= n;
        offset += n;
        *bytesWritten += static_cast<long>(n);
        emit updateTransferProcess(remaining, name, kRead);
    }

    if (!_closeDeviceFile())
    {
        _fail(PXTransferReport::Step::Close);
        return _abortDownload(local);
    }
    // A full disk often shows only when the last buffered bytes reach it.
    if (std::fclose(local) != 0)
        return _failLocal(errno);
    emit updateTransferProcess(0, name, kRead);
    return true;
}

bool PXCamera::UploadBuffer(std::vector<unsigned char> data, const char* fileName, const char* fileSelector,
                            long* bytesWritten)
{
    m_report = PXTransferReport();
    return _uploadBuffer(data.data(), static_cast<qint64>(data.size()), fileName, fileSelector, bytesWritten);
}

bool PXCamera::_uploadBuffer(const unsigned char* data, qint64 total, const char* fileName, const char* fileSelector,
                             long* bytesWritten)
{
    if (total < 1 || !fileName || !fileSelector || !bytesWritten)
        return false;
    if (m_abort)
        return _fail(PXTransferReport::Step::Aborted, false);
    if (!_setText("FileSelector", fileSelector))
        return _fail(PXTransferReport::Step::Select);
    bool hasFilename = false;
    if (cameraFeature->HasFeature("Filename", hasFilename) && hasFilename && !_setText("Filename", fileName))
        return _fail(PXTransferReport::Step::Name);
    if (!_openDeviceFile("Write", kUploadOpenTimeoutMs))
        return false;

    bool writable = false;
    const bool lengthWritable = cameraFeature->IsWritable("FileAccessLength", writable) && writable;
    bool lengthSet = true;
    const qint64 capacity = _chunkCapacity(total, lengthWritable, lengthSet);
    const QString name = QString::fromUtf8(fileName);
    qint64 offset = 0;
    // A chunk that fails ends the loop but not the upload: Close still runs, and the
    // caller sees the shortfall in bytesWritten.
    if (!lengthSet)
        _fail(PXTransferReport::Step::Length);
    else
    {
        qint64 remaining = total;
        while (remaining >= 1)
        {
            m_report.offset = offset;
            if (m_abort)
            {
                _fail(PXTransferReport::Step::Aborted, false);
                break;
            }
            const qint64 n = std::min(capacity, remaining);
            if (!cameraFeature->SetValue("FileAccessOffset", QVariant(offset)) ||
                (capacity > n && lengthWritable && !cameraFeature->SetValue("FileAccessLength", QVariant(n))))
            {
                _fail(PXTransferReport::Step::Chunk);
                break;
            }
            if (!cameraFeature->SetRegisterBytes("FileAccessBuffer", data + offset, static_cast<size_t>(n)))
            {
                _fail(PXTransferReport::Step::Buffer);
                break;
            }
            if (!_setText("FileOperationSelector", "Write") || !_execute(kChunkTimeoutMs))
            {
                _fail(PXTransferReport::Step::Chunk);
                break;
            }
            remaining -= n;
            // Only a chunk followed by more than a chunk's worth is reported.
            if (remaining > n)
                emit updateTransferProcess(remaining, name, kWrite);
            offset += n;
        }
    }
    m_report.offset = offset;

    const bool failedBefore = m_report.step != PXTransferReport::Step::None;
    if (!_closeDeviceFile())
        return failedBefore ? false : _fail(PXTransferReport::Step::Close);
    // An upload the caller ended is not one that merely came up short, and what it wrote
    // is not left on the camera to pass for the whole file.
    if (m_report.step == PXTransferReport::Step::Aborted)
    {
        m_report.incompleteRemoved = _deleteDeviceFile(fileName, fileSelector);
        return false;
    }
    emit updateTransferProcess(0, name, kWrite);
    *bytesWritten = static_cast<long>(offset);
    return true;
}

bool PXCamera::UploadLocalFile(const char* fileName, const char* localPath, const char* fileSelector,
                               long* bytesWritten)
{
    if (!fileName || !localPath || !bytesWritten)
        return false;
    *bytesWritten = 0;
    m_report = PXTransferReport();
    // Only a regular file is read: a directory reads as nonsense and a pipe blocks until
    // something writes to it. Non-blocking, so that opening a pipe does not wait either.
    const int fd = ::open(localPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return _failLocal(errno);
    struct stat status{};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))
    {
        const int error = S_ISDIR(status.st_mode) ? EISDIR : ENODEV;
        ::close(fd);
        return _failLocal(error);
    }
    std::FILE* local = fdopen(fd, "rb");
    if (!local)
    {
        const int error = errno;
        ::close(fd);
        return _failLocal(error);
    }
    long size = -1;
    if (std::fseek(local, 0, SEEK_END) != 0 || (size = std::ftell(local)) < 0 || std::fseek(local, 0, SEEK_SET) != 0)
    {
        const int error = errno;
        std::fclose(local);
        return _failLocal(error);
    }
    // Held once, and not cleared first: the read fills every byte or the upload ends.
    std::unique_ptr<unsigned char[]> content(new unsigned char[static_cast<size_t>(size)]);
    if (size != 0 && std::fread(content.get(), 1, static_cast<size_t>(size), local) < static_cast<size_t>(size))
    {
        const int error = std::ferror(local) ? errno : EIO;
        std::fclose(local);
        return _failLocal(error);
    }
    std::fclose(local);
    m_report.localBytes = size;
    return _uploadBuffer(content.get(), size, fileName, fileSelector, bytesWritten);
}

void PXCamera::DeleteDeviceFile(const char* fileName, const char* fileSelector)
{
    _deleteDeviceFile(fileName, fileSelector);
}

bool PXCamera::_deleteDeviceFile(const char* fileName, const char* fileSelector)
{
    if (!fileName || !fileSelector)
        return false;
    // Filename is required here: without it the device could not tell which file goes.
    return _setText("FileSelector", fileSelector) && _setText("Filename", fileName) &&
           _setText("FileOpenMode", "Write") && _setText("FileOperationSelector", "Delete") &&
           _execute(kDeleteTimeoutMs);
}

void PXCamera::GetFileAccessMode(bool* readable, bool* writable)
{
    if (!readable || !writable)
        return;
    *readable = false;
    *writable = false;
    if (!cameraFeature)
        return;
    QVariant selector;
    if (!cameraFeature->GetValue("FileSelector", selector))
        return;
    // The selected slot and the offered open modes are asked for but play no part in
    // the answer.
    cameraFeature->GetSubFeatures("FileOpenMode");
    const bool r = _setText("FileOpenMode", "Read");
    const bool w = _setText("FileOpenMode", "Write");
    const bool rw = _setText("FileOpenMode", "ReadWrite");
    // Inverted on purpose: a flag is true only when every mode that grants it was refused.
    *writable = !w && !rw;
    *readable = !r && !rw;
}
