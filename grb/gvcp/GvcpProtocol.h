// The GigE Vision control protocol on the wire, for the SDK's client side and the
// virtual camera alike: message codes, status codes, bootstrap register addresses, and
// big-endian field access.
#ifndef GRB_GVCP_GVCPPROTOCOL_H
#define GRB_GVCP_GVCPPROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace grb::gvcp {

constexpr uint16_t kPort = 3956;
constexpr size_t kHeaderSize = 8;
constexpr uint8_t kCommandKey = 0x42;
constexpr uint8_t kFlagAckWanted = 0x01;
// A PACKETRESEND with 64-bit block ids.
constexpr uint8_t kFlagExtendedIds = 0x10;

constexpr uint16_t kDiscovery = 0x0002;
constexpr uint16_t kPacketResend = 0x0040;
constexpr uint16_t kReadRegister = 0x0080;
constexpr uint16_t kWriteRegister = 0x0082;
constexpr uint16_t kReadMemory = 0x0084;
constexpr uint16_t kWriteMemory = 0x0086;
constexpr uint16_t kPendingAck = 0x0089;

constexpr uint16_t kStatusSuccess = 0x0000;
constexpr uint16_t kStatusNotImplemented = 0x8001;
constexpr uint16_t kStatusInvalidParameter = 0x8002;
constexpr uint16_t kStatusInvalidAddress = 0x8003;
constexpr uint16_t kStatusWriteProtect = 0x8004;
constexpr uint16_t kStatusBadAlignment = 0x8005;
constexpr uint16_t kStatusAccessDenied = 0x8006;
constexpr uint16_t kStatusBusy = 0x8007;
constexpr uint16_t kStatusInvalidHeader = 0x800E;
constexpr uint16_t kStatusError = 0x8FFF;

// The most a message may carry after its header (what fits a 576-byte datagram), and
// the most data of one READMEM or WRITEMEM.
constexpr uint32_t kMaxPayload = 540;
constexpr uint32_t kMaxMemoryData = 536;
constexpr uint32_t kDiscoveryAckSize = 0xF8;

// Bootstrap registers.
constexpr uint32_t kVersion = 0x0000;
constexpr uint32_t kDeviceMode = 0x0004;
constexpr uint32_t kMacHigh = 0x0008;
constexpr uint32_t kMacLow = 0x000C;
constexpr uint32_t kInterfaceCapability = 0x0010;
constexpr uint32_t kInterfaceConfiguration = 0x0014;
constexpr uint32_t kCurrentAddress = 0x0024;
constexpr uint32_t kCurrentSubnet = 0x0034;
constexpr uint32_t kCurrentGateway = 0x0044;
constexpr uint32_t kManufacturerName = 0x0048;
constexpr uint32_t kModelName = 0x0068;
constexpr uint32_t kDeviceVersion = 0x0088;
constexpr uint32_t kManufacturerInfo = 0x00A8;
constexpr uint32_t kSerialNumber = 0x00D8;
constexpr uint32_t kUserDefinedName = 0x00E8;
constexpr uint32_t kFirstUrl = 0x0200;
constexpr uint32_t kSecondUrl = 0x0400;
constexpr uint32_t kInterfaceCount = 0x0600;
constexpr uint32_t kMessageChannelCount = 0x0900;
constexpr uint32_t kStreamChannelCount = 0x0904;
constexpr uint32_t kCapability = 0x0934;
constexpr uint32_t kHeartbeatTimeout = 0x0938;
constexpr uint32_t kTickFrequencyHigh = 0x093C;
constexpr uint32_t kTickFrequencyLow = 0x0940;
constexpr uint32_t kConfiguration = 0x0954;
constexpr uint32_t kPendingTimeout = 0x0958;
constexpr uint32_t kControlChannelPrivilege = 0x0A00;
constexpr uint32_t kPrimaryPort = 0x0A04;
constexpr uint32_t kPrimaryAddress = 0x0A14;
// Stream channel 0: host port, packet size, packet delay, destination address, source
// port, capability.
constexpr uint32_t kStreamChannelPort = 0x0D00;
constexpr uint32_t kStreamChannelPacketSize = 0x0D04;
constexpr uint32_t kStreamChannelPacketDelay = 0x0D08;
constexpr uint32_t kStreamChannelDestination = 0x0D18;
constexpr uint32_t kStreamChannelSourcePort = 0x0D1C;
constexpr uint32_t kStreamChannelCapability = 0x0D20;

constexpr uint32_t kUrlSize = 512;
constexpr uint32_t kUserDefinedNameSize = 16;
constexpr uint32_t kPrivilegeExclusive = 0x1;
constexpr uint32_t kPrivilegeControl = 0x2;

inline uint16_t Get16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

inline uint32_t Get32(const uint8_t* p)
{
    return static_cast<uint32_t>(Get16(p)) << 16 | Get16(p + 2);
}

inline uint64_t Get64(const uint8_t* p)
{
    return static_cast<uint64_t>(Get32(p)) << 32 | Get32(p + 4);
}

inline void Put16(uint8_t* p, uint16_t v)
{
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}

inline void Put32(uint8_t* p, uint32_t v)
{
    Put16(p, static_cast<uint16_t>(v >> 16));
    Put16(p + 2, static_cast<uint16_t>(v));
}

inline void Put64(uint8_t* p, uint64_t v)
{
    Put32(p, static_cast<uint32_t>(v >> 32));
    Put32(p + 4, static_cast<uint32_t>(v));
}

inline void Append16(std::vector<uint8_t>& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

inline void Append32(std::vector<uint8_t>& out, uint32_t v)
{
    Append16(out, static_cast<uint16_t>(v >> 16));
    Append16(out, static_cast<uint16_t>(v));
}

} // namespace grb::gvcp

#endif
