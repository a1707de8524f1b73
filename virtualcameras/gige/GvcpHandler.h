#ifndef VCAM_GIGE_GVCPHANDLER_H
#define VCAM_GIGE_GVCPHANDLER_H

#include "ControlChannel.h"
#include "DeviceAddressSpace.h"
#include "GvcpPeer.h"
#include "StreamChannel.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vcam {

// One control message in, at most one acknowledge out; requests to resend stream
// packets go to the stream channel. Every message is untrusted: anything short, foreign
// or inconsistent is dropped or refused with an error acknowledge, and nothing is read or
// written outside the message or the layout.
class GvcpHandler
{
public:
    using Clock = std::chrono::steady_clock;

    struct Reply
    {
        std::vector<uint8_t> packet;
        // The acknowledge is due this long after the message: the operation takes that long.
        uint32_t completionMs = 0;
    };

    GvcpHandler(DeviceAddressSpace& space, ControlChannel& control, StreamChannel& stream);

    // False when nothing is to be sent back.
    bool Handle(const uint8_t* message, size_t size, const GvcpPeer& from, Clock::time_point now, Reply& reply);
    // Releases control after a heartbeat time-out or when the device has left; streams
    // the frames due.
    void Tick(Clock::time_point now);
    // When Tick has the next frame to stream.
    Clock::time_point NextDue() { return m_space.NextFrameDue(); }

    static std::vector<uint8_t> PendingAck(uint16_t requestId, uint16_t milliseconds);

private:
    uint16_t _ReadRegisters(const GvcpPeer& from, const uint8_t* payload, uint16_t length, std::vector<uint8_t>& out);
    uint16_t _WriteRegisters(const GvcpPeer& from, const uint8_t* payload, uint16_t length, Clock::time_point now,
                             std::vector<uint8_t>& out, uint32_t& completionMs);
    uint16_t _ReadMemory(const GvcpPeer& from, const uint8_t* payload, uint16_t length, std::vector<uint8_t>& out);
    uint16_t _WriteMemory(const GvcpPeer& from, const uint8_t* payload, uint16_t length, Clock::time_point now,
                          std::vector<uint8_t>& out, uint32_t& completionMs);

    DeviceAddressSpace& m_space;
    ControlChannel& m_control;
    StreamChannel& m_stream;

    // The last answer to each sender's last message, for a client that sends it again.
    struct Answered
    {
        GvcpPeer peer;
        uint16_t command = 0;
        uint16_t requestId = 0;
        Reply reply;
    };
    std::vector<Answered> m_answered;
};

} // namespace vcam

#endif
