#ifndef VCAM_USB3_U3VSTREAMCHANNEL_H
#define VCAM_USB3_U3VSTREAMCHANNEL_H

#include "U3vAddressSpace.h"
#include "UsbFunction.h"

#include <sim/SimFrame.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

namespace vcam {

// The USB3 Vision streaming protocol on the stream endpoint: each frame of the device
// model's acquisition as a leader, its payload in the transfers SIRM sets out, and a
// trailer. Frames come only while the host has the stream enabled; a few wait for the
// host to read them, more are dropped, as a camera with a small buffer would.
class U3vStreamChannel
{
public:
    using Clock = std::chrono::steady_clock;

    explicit U3vStreamChannel(U3vAddressSpace& space);

    // Takes the frames due by now.
    void Poll(Clock::time_point now);
    // The next piece of the stream, at most maxLength bytes of the block in front.
    UsbFunction::Sent Send(size_t maxLength, std::vector<uint8_t>& data);
    // When the acquisition has its next frame due.
    Clock::time_point NextFrame();
    void Drop();

    // The blocks of one frame as SIRM lays them out (leader, payload transfers, trailer).
    static std::vector<std::vector<uint8_t>> Blocks(const grb::sim::SimFrame& frame,
                                                    const U3vAddressSpace::StreamSettings& settings);

private:
    struct Block
    {
        std::vector<uint8_t> bytes;
        bool lastOfFrame = false;
    };

    U3vAddressSpace& m_space;
    uint64_t m_generation = 0;
    std::deque<Block> m_blocks;
    size_t m_sent = 0; // of the block in front
    unsigned m_frames = 0;
};

} // namespace vcam

#endif
