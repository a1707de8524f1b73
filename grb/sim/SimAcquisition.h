#ifndef GRB_SIM_SIMACQUISITION_H
#define GRB_SIM_SIMACQUISITION_H

#include "SimFrame.h"
#include "SimNodeMap.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace grb::sim {

// The image side of a simulated camera: its image format and acquisition features, and
// the frames they produce. AcquisitionStart arms it; with TriggerMode On a frame is due
// after each TriggerSoftware, otherwise at AcquisitionFrameRate; SingleFrame and
// MultiFrame stop by themselves after one or AcquisitionFrameCount frames. Transports
// ask for due frames and send them; nothing here runs on its own. Not locked.
class SimAcquisition
{
public:
    using Clock = std::chrono::steady_clock;

    // Adds the features to features, which must outlive this; again after a reset.
    void AddFeatures(SimNodeMap& features);

    bool Running() const { return m_running; }
    // When the next frame is due: Clock::time_point::max() while none is to come.
    Clock::time_point NextDue() const;
    // The frame due by now, if one is.
    bool TakeFrame(Clock::time_point now, SimFrame& frame);
    // A frame of the current settings whether or not the acquisition runs.
    SimFrame Snapshot();
    // Bytes of one frame at the current settings.
    uint64_t PayloadSize();
    // Stopped as by AcquisitionStop, say when the transport's client has gone.
    void Stop();
    // Back on the bus: stopped, counting from the start again.
    void Reset();

private:
    struct Format
    {
        uint32_t width = 0;
        uint32_t height = 0;
        uint32_t offsetX = 0;
        uint32_t offsetY = 0;
        uint32_t pixelFormat = 0;
        uint32_t bytesPerPixel = 1;
    };

    Format _Format();
    int64_t _Int(const char* name, int64_t fallback) const;
    std::string _Enum(const char* name) const;
    bool _Triggered() const;
    GrbErrorType _Start();

    SimNodeMap* m_features = nullptr;
    Clock::time_point m_epoch = Clock::now();
    bool m_running = false;
    Clock::time_point m_due = Clock::time_point::max();
    int64_t m_framesLeft = -1; // < 0: no limit
    unsigned m_triggers = 0;
    uint64_t m_nextId = 1;
};

} // namespace grb::sim

#endif
