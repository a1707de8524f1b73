// The GigE Vision stream protocol (GVSP) on the wire, as far as the virtual camera
// sends it: standard (16-bit) block ids, images in leader, payload and trailer packets.
// Big-endian, like the control protocol.
#ifndef VCAM_GIGE_GVSPPROTOCOL_H
#define VCAM_GIGE_GVSPPROTOCOL_H

#include <cstddef>
#include <cstdint>

namespace vcam::gvsp {

// Status, block id, then the packet format in the top byte of a word whose lower 24
// bits are the packet id.
constexpr size_t kHeaderSize = 8;
// IP and UDP headers: a packet size counts them, a datagram does not carry them.
constexpr uint32_t kUdpOverhead = 28;
constexpr uint32_t kPayloadOverhead = kUdpOverhead + kHeaderSize;

constexpr uint8_t kFormatLeader = 1;
constexpr uint8_t kFormatTrailer = 2;
constexpr uint8_t kFormatPayload = 3;
constexpr uint16_t kPayloadTypeImage = 0x0001;
// The status of the packet that answers a resend request for a packet no longer kept.
constexpr uint16_t kStatusPacketUnavailable = 0x800C;

// An image leader: reserved, payload type, timestamp (64 bits), pixel format, width,
// height, x and y offset (32 bits each), x and y padding (16 bits each).
constexpr size_t kLeaderSize = kHeaderSize + 36;
// An image trailer: reserved, payload type, height.
constexpr size_t kTrailerSize = kHeaderSize + 8;

} // namespace vcam::gvsp

#endif
