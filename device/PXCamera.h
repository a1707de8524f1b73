#ifndef DEVICE_PXCAMERA_H
#define DEVICE_PXCAMERA_H

#include "device/PXCameraFeature.h"
#include "device/PXTransferReport.h"

#include <GrbC/GrbCTypes.h>
#include <GrbCPP/Camera.h>
#include <GrbCPP/Frame.h>

#include <QObject>
#include <QString>

#include <atomic>
#include <cstdio>
#include <memory>
#include <vector>

// One open camera: identity, device memory in the camera's byte order, user sets, and
// whole-file transfers through the File Access Control features. Transfers run on a
// worker thread and report progress there; nothing here is locked, so a camera must
// not be driven by two threads at once.
class PXCamera : public QObject
{
    Q_OBJECT

public:
    explicit PXCamera(std::shared_ptr<GrbCPP::Camera> camera, QObject* parent = nullptr);
    ~PXCamera() override;

    // Owned by this camera; the assistant reads and writes features through it.
    PXCameraFeature* cameraFeature;

    GrbErrorType GetInfo(GrbCameraInfo* info) const;
    QString GetCameraName() const;
    QString GetCameraManufacturerInfo() const;
    bool IsFileAccessSupported();
    bool IsBigEndian();

    bool Read(unsigned long address, void* buffer, unsigned int* size);
    bool Write(unsigned long address, const void* buffer, unsigned int* size);
    bool ReadRegister(unsigned long address, unsigned int* value);
    bool WriteRegister(unsigned long address, unsigned int value);
    bool PXRegisterDeviceWrite(const char* name, const unsigned char* buffer, unsigned int* size,
                               unsigned long address);
    bool AcquireSingleImage(std::shared_ptr<GrbCPP::Frame>& frame, unsigned int timeout,
                            GrbCPP::FrameAllocationMode mode);
    bool SaveToUserSet();
    void AdjustPacketSize();

    bool DownloadDeviceFile(const char* localPath, const char* fileName, const char* fileSelector,
                            long* bytesWritten);
    bool UploadBuffer(std::vector<unsigned char> data, const char* fileName, const char* fileSelector,
                      long* bytesWritten);
    bool UploadLocalFile(const char* fileName, const char* localPath, const char* fileSelector, long* bytesWritten);
    void DeleteDeviceFile(const char* fileName, const char* fileSelector);
    void GetFileAccessMode(bool* readable, bool* writable);

    // While set, a transfer running on another thread ends through its abort path (the
    // device file closed) at its next step, and a transfer that starts ends at once.
    void AbortTransfers(bool abort);
    // Why the last transfer on this camera failed; read it after the transfer returned.
    PXTransferReport LastTransferReport() const;

signals:
    // remaining: bytes still to move; fileOperation: "Read" (download) or "Write" (upload).
    void updateTransferProcess(qint64 remaining, QString fileName, QString fileOperation);

private:
    bool _setText(const char* feature, const char* text);
    bool _execute(unsigned long timeoutMs);
    bool _openDeviceFile(const char* mode, unsigned long timeoutMs);
    bool _closeDeviceFile();
    bool _deleteDeviceFile(const char* fileName, const char* fileSelector);
    bool _abortDownload(std::FILE* local);
    qint64 _chunkCapacity(qint64 size, bool lengthWritable, bool& ok);
    bool _uploadBuffer(const unsigned char* data, qint64 total, const char* fileName, const char* fileSelector,
                       long* bytesWritten);
    // Note the failing step in the report, with the SDK's code when an SDK call failed;
    // false, for returning at once.
    bool _fail(PXTransferReport::Step step, bool sdkFailed = true);
    bool _failLocal(int error);

    std::shared_ptr<GrbCPP::Camera> m_camera;
    bool m_bigEndian;
    std::atomic<bool> m_abort{false};
    PXTransferReport m_report;
};

#endif
