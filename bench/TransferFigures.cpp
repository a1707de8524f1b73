#include "TransferFigures.h"

#include "device/PXCamera.h"

#include <chrono>
#include <cstdio>

TransferFigures::TransferFigures(long bytes)
    : m_bytes(bytes)
{
}

bool TransferFigures::Time(Side side, const std::function<bool()>& run)
{
    const auto start = std::chrono::steady_clock::now();
    if (!run())
        return false;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (seconds > 0 && (m_best[side] == 0 || seconds < m_best[side]))
        m_best[side] = seconds;
    return true;
}

bool TransferFigures::TimeCamera(PXCamera& camera, const std::string& local)
{
    long written = 0;
    return Time(PxDownload,
                [&] {
                    return camera.DownloadDeviceFile(local.c_str(), "big.bin", "Userfile", &written) &&
                           written == m_bytes;
                }) &&
           Time(PxUpload, [&] {
               return camera.UploadLocalFile("copy.bin", local.c_str(), "Userfile", &written) && written == m_bytes;
           });
}

void TransferFigures::Print(const std::string& title, const std::string& rawName) const
{
    const std::string file = rawName + ", same file";
    const std::string buffer = rawName + ", buffer only";
    std::printf("%s\n", title.c_str());
    std::printf("%-9s %9s %24s %7s %24s %7s\n", "", "PXCamera", file.c_str(), "ratio", buffer.c_str(), "ratio");
    auto rate = [this](double seconds) { return seconds > 0 ? m_bytes / seconds / 1e6 : 0.0; };
    auto row = [&](const char* direction, Side px, Side sameFile, Side bare) {
        std::printf("%-9s %9.1f %24.1f %7.2f %24.1f %7.2f\n", direction, rate(m_best[px]), rate(m_best[sameFile]),
                    m_best[sameFile] / m_best[px], rate(m_best[bare]), m_best[bare] / m_best[px]);
    };
    row("download", PxDownload, FileDownload, BufferRead);
    row("upload", PxUpload, FileUpload, BufferWrite);
    std::printf("(MB/s; ratio: PXCamera's throughput over the raw one's)\n");
}
