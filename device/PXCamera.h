#ifndef DEVICE_PXCAMERA_H
#define DEVICE_PXCAMERA_H

#include "device/PXCameraFeature.h"

#include <GrbC/GrbCTypes.h>
#include <GrbCPP/Camera.h>
#include <GrbCPP/Frame.h>

#include <QObject>
#include <QString>

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

signals:
    // remaining: bytes still to move; fileOperation: "Read" (download) or "Write" (upload).
    void updateTransferProcess(qint64 remaining, QString fileName, QString fileOperation);

private:
    bool _setText(const char* feature, const char* text);
    bool _execute(unsigned long timeoutMs);
    bool _closeDeviceFile();
    bool _abortDownload(std::FILE* local);

    std::shared_ptr<GrbCPP::Camera> m_camera;
    bool m_bigEndian;
};

#endif
