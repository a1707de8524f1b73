#ifndef VCAM_USB3_U3VCONTROLHANDLER_H
#define VCAM_USB3_U3VCONTROLHANDLER_H

#include "U3vAddressSpace.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vcam {

// The USB3 Vision control protocol: one command from the control endpoint in, the
// acknowledges it earns out. Memory is read and written within the camera's largest
// messages; an operation that takes longer than a moment is announced by pending
// acknowledges before its own. Every message is untrusted: a foreign or short one is
// dropped, an inconsistent one refused with a status, and nothing is read or written
// outside the message or the layout.
class U3vControlHandler
{
public:
    using Clock = std::chrono::steady_clock;

    struct Ack
    {
        // Due this long after the command.
        uint32_t delayMs = 0;
        std::vector<uint8_t> bytes;
    };

    explicit U3vControlHandler(U3vAddressSpace& space);

    // In the order they are due; none when the command is dropped or asks for none.
    std::vector<Ack> Handle(const uint8_t* message, size_t size, Clock::time_point now);

    static std::vector<uint8_t> Acknowledge(uint16_t status, uint16_t command, uint16_t id, const uint8_t* payload,
                                            size_t size);

private:
    uint16_t _ReadMemory(const uint8_t* payload, uint16_t length, std::vector<uint8_t>& out);
    uint16_t _WriteMemory(const uint8_t* payload, uint16_t length, Clock::time_point now, std::vector<uint8_t>& out,
                          uint32_t& completionMs);

    U3vAddressSpace& m_space;
    // The answer to the last command, for a host that sends it again as a resend.
    bool m_answered = false;
    uint16_t m_lastId = 0;
    std::vector<uint8_t> m_lastAck;
};

} // namespace vcam

#endif
