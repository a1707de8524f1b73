#ifndef BENCH_TRANSFERFIGURES_H
#define BENCH_TRANSFERFIGURES_H

#include <functional>
#include <string>

class PXCamera;

// The best times of a file's download and upload through PXCamera and of its two raw
// bounds (the same file by the same device operations, the bare buffer transfers), kept
// over rounds and printed as throughput with PXCamera's share of each bound.
class TransferFigures
{
public:
    enum Side
    {
        PxDownload,
        PxUpload,
        FileDownload,
        FileUpload,
        BufferRead,
        BufferWrite,
        Sides
    };

    explicit TransferFigures(long bytes);

    // Times run into side; false, and nothing kept, when it failed.
    bool Time(Side side, const std::function<bool()>& run);
    // The camera's big.bin down to local, then local up as copy.bin, both whole.
    bool TimeCamera(PXCamera& camera, const std::string& local);
    // rawName names the raw calls, as in "raw port".
    void Print(const std::string& title, const std::string& rawName) const;

private:
    long m_bytes;
    double m_best[Sides] = {};
};

#endif
