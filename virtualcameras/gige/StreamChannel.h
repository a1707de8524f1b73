#ifndef VCAM_GIGE_STREAMCHANNEL_H
#define VCAM_GIGE_STREAMCHANNEL_H

#include <GenICamXml.h>

#include <sim/SimFrame.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace vcam {

// The camera's one stream channel: its bootstrap registers, and each frame cut into
// stream protocol packets (leader, payload, trailer). Packets leave at a pace a
// receiver on loopback keeps up with, and the last frames are kept for a receiver that
// asks for packets again. No sockets: the server sends what Take gives. Timestamps and
// the packet delay count ticks of a 1 GHz clock, nanoseconds. Not locked.
class StreamChannel
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr uint32_t kTickFrequency = 1000000000;
    static constexpr uint32_t kMinPacketSize = 576;
    static constexpr uint32_t kMaxPacketSize = 9000;
    static constexpr uint32_t kDefaultPacketSize = 1500;

    struct Datagram
    {
        std::vector<uint8_t> bytes;
        uint32_t address = 0; // host order
        uint16_t port = 0;
    };

    // The channel's features, for the camera's GenICam description.
    static GenICamXml::TransportNodes Nodes();

    // address: one of the gvcp::kStreamChannel registers.
    uint32_t Read(uint32_t address) const;
    // A GVCP status. A packet size is brought into range; setting the test packet bit
    // sends one datagram as large as the packet size allows.
    uint16_t Write(uint32_t address, uint32_t value);
    void SetSourcePort(uint16_t port) { m_sourcePort = port; }
    // Whether a receiver is set: a loopback address and a port.
    bool IsOpen() const;
    // As when the controlling application has gone: no receiver, nothing sent or kept.
    void Close();

    // Queues the frame's packets. A frame is lost while the channel is closed or two
    // frames still wait, as on a camera whose buffer is full.
    void Send(grb::sim::SimFrame frame);
    // Queues packets first to last of a block again, ahead of the others; a block or
    // packet no longer kept is answered with one packet that says so.
    void Resend(uint16_t blockId, uint32_t first, uint32_t last);
    // When Take has the next packet; Clock::time_point::max() while none waits.
    Clock::time_point NextSend() const;
    bool Take(Clock::time_point now, Datagram& datagram);

private:
    struct Block
    {
        uint16_t id = 0;
        uint32_t chunk = 0; // payload bytes a packet
        uint32_t packets = 0; // leader, payload packets, trailer
        grb::sim::SimFrame frame;
    };
    struct Pending
    {
        std::shared_ptr<const Block> block; // null: bytes are the packet
        uint32_t packet = 0;
        std::vector<uint8_t> bytes;
        bool endsFrame = false;
    };

    static std::vector<uint8_t> _Packet(const Block& block, uint32_t packet);

    uint16_t m_port = 0;
    uint32_t m_packetSize = kDefaultPacketSize;
    bool m_doNotFragment = false;
    uint32_t m_delayTicks = 0;
    uint32_t m_destination = 0;
    uint16_t m_sourcePort = 0;

    std::deque<Pending> m_pending;
    size_t m_queuedFrames = 0;
    std::deque<std::shared_ptr<const Block>> m_kept;
    Clock::time_point m_nextSend;
};

} // namespace vcam

#endif
