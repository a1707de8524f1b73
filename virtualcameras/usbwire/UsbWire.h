// The virtual USB bus on the wire: what a virtual USB device and the libusb stand-in
// say to each other over one Unix-domain stream socket. It is USB, not camera,
// vocabulary: descriptors and requests on endpoint 0, bulk transfers, interface claims.
//
// Every message is a 16-byte header and a body, little-endian throughout:
//   u32 magic "PXVU", u8 version, u8 type, u16 zero, u32 tag, u32 body length.
// The host picks the tag; the device answers each request but Cancel with exactly one
// Reply of the same tag (u8 status, 3 zero bytes, u32 count, then data). A Cancel
// makes the device answer the named BulkIn at once (status Cancelled) if it has not.
// The device leaves the bus by closing the connection. Everything read is untrusted,
// on both sides, and is checked against these limits before use.
#ifndef VUSB_USBWIRE_H
#define VUSB_USBWIRE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vusb {

constexpr uint32_t kMagic = 0x55565850; // "PXVU"
constexpr uint8_t kVersion = 1;
constexpr size_t kHeaderSize = 16;
// Larger than any bulk transfer a host asks for in one go.
constexpr uint32_t kMaxBody = 16u * 1024u * 1024u + 64u;
constexpr size_t kReplyHeaderSize = 8;
constexpr size_t kSetupSize = 8;

enum class Type : uint8_t
{
    Hello = 0x01, // u32 version; the reply's data is the device's u64 session number
    Control = 0x02, // the 8-byte setup packet, then wLength bytes for an OUT request
    BulkOut = 0x03, // u8 endpoint, 3 zero bytes, data
    BulkIn = 0x04, // u8 endpoint, 3 zero bytes, u32 most bytes wanted
    Claim = 0x05, // u8 interface
    Release = 0x06, // u8 interface
    ClearHalt = 0x07, // u8 endpoint
    Cancel = 0x08, // u32 tag of the BulkIn to end; no reply of its own
    Reply = 0x81,
};

enum class Status : uint8_t
{
    Ok = 0,
    Stall = 1, // the request is not supported, or the endpoint is halted
    Busy = 2, // another connection has claimed the interface
    NotFound = 3, // no such interface or endpoint, or not claimed by this connection
    Invalid = 4, // a malformed request
    Cancelled = 5,
    Overflow = 6,
};

struct Frame
{
    Type type = Type::Reply;
    uint32_t tag = 0;
    std::vector<uint8_t> body;
};

struct Reply
{
    Status status = Status::Ok;
    // Bytes the device took for an OUT request, or data.size() for an IN one.
    uint32_t count = 0;
    std::vector<uint8_t> data;
};

struct Setup
{
    uint8_t requestType = 0;
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;
};

inline void Put16(uint8_t* p, uint16_t v)
{
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
inline void Put32(uint8_t* p, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = uint8_t(v >> (8 * i));
}
inline void Put64(uint8_t* p, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        p[i] = uint8_t(v >> (8 * i));
}
inline uint16_t Get16(const uint8_t* p)
{
    return uint16_t(p[0] | p[1] << 8);
}
inline uint32_t Get32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint64_t Get64(const uint8_t* p)
{
    return uint64_t(Get32(p)) | uint64_t(Get32(p + 4)) << 32;
}

// The header of a message with a body of bodySize bytes.
std::vector<uint8_t> Header(Type type, uint32_t tag, size_t bodySize);
// A whole message.
std::vector<uint8_t> Encode(Type type, uint32_t tag, const uint8_t* body, size_t size);
std::vector<uint8_t> EncodeReply(uint32_t tag, Status status, uint32_t count, const uint8_t* data, size_t size);
// The fixed part before an endpoint's data or a length: u8 endpoint and 3 zero bytes.
std::vector<uint8_t> EndpointBody(uint8_t endpoint, uint32_t value, bool withValue);

// Parsers of a body; false when it does not have the form its type asks for.
bool ParseReply(const std::vector<uint8_t>& body, Reply& reply);
bool ParseSetup(const std::vector<uint8_t>& body, Setup& setup);
// endpoint and the data that follows the fixed part (BulkOut) ...
bool ParseBulkOut(const std::vector<uint8_t>& body, uint8_t& endpoint, const uint8_t*& data, size_t& size);
// ... or the length asked for (BulkIn).
bool ParseBulkIn(const std::vector<uint8_t>& body, uint8_t& endpoint, uint32_t& length);
// One byte: an interface or endpoint number (Claim, Release, ClearHalt).
bool ParseByte(const std::vector<uint8_t>& body, uint8_t& value);
// Four bytes: the version (Hello) or a tag (Cancel).
bool ParseWord(const std::vector<uint8_t>& body, uint32_t& value);

} // namespace vusb

#endif
