// USB3 Vision on the wire, as the virtual camera speaks it: the control protocol's
// messages on the control endpoints, the bootstrap register maps (ABRM, SBRM, SIRM),
// the manifest, and the streaming protocol's leader and trailer. Little-endian
// throughout.
#ifndef VCAM_USB3_U3VPROTOCOL_H
#define VCAM_USB3_U3VPROTOCOL_H

#include <cstddef>
#include <cstdint>

namespace vcam::u3v {

// Control messages: prefix u32, flags u16 (status in an acknowledge), command u16,
// length u16 (of what follows the header), request id u16.
constexpr uint32_t kPrefix = 0x43563355; // "U3VC"
constexpr size_t kHeaderSize = 12;
constexpr uint16_t kFlagAckWanted = 1u << 14;
constexpr uint16_t kFlagResend = 1u << 15;
constexpr uint16_t kReadMemory = 0x0800;
constexpr uint16_t kReadMemoryAck = 0x0801;
constexpr uint16_t kWriteMemory = 0x0802;
constexpr uint16_t kWriteMemoryAck = 0x0803;
constexpr uint16_t kPendingAck = 0x0805;
constexpr size_t kReadMemoryLength = 12; // u64 address, u16 reserved, u16 count
constexpr size_t kWriteMemoryAddressLength = 8;
constexpr size_t kWriteMemoryAckLength = 4; // u16 reserved, u16 bytes written
constexpr size_t kPendingAckLength = 4; // u16 reserved, u16 time-out in ms

// Statuses of the control and streaming protocols beyond GenCP's (DeviceStatus.h).
constexpr uint16_t kStatusInvalidHeader = 0x800E;
constexpr uint16_t kStatusDataOverrun = 0xA101;

// Technology agnostic bootstrap registers (ABRM).
constexpr uint64_t kGenCpVersion = 0x0000;
constexpr uint64_t kManufacturerName = 0x0004;
constexpr uint64_t kModelName = 0x0044;
constexpr uint64_t kFamilyName = 0x0084;
constexpr uint64_t kDeviceVersion = 0x00C4;
constexpr uint64_t kManufacturerInfo = 0x0104;
constexpr uint64_t kSerialNumber = 0x0144;
constexpr uint64_t kUserDefinedName = 0x0184;
constexpr uint32_t kTextSize = 64;
constexpr uint64_t kDeviceCapability = 0x01C4;
constexpr uint64_t kMaxDeviceResponseTime = 0x01CC;
constexpr uint64_t kManifestTableAddress = 0x01D0;
constexpr uint64_t kSbrmAddress = 0x01D8;
constexpr uint64_t kDeviceConfiguration = 0x01E0;
constexpr uint64_t kHeartbeatTimeout = 0x01E8;
constexpr uint64_t kMessageChannelId = 0x01EC;
constexpr uint64_t kTimestamp = 0x01F0;
constexpr uint64_t kTimestampLatch = 0x01F8;
constexpr uint64_t kTimestampIncrement = 0x01FC;
constexpr uint64_t kAccessPrivilege = 0x0204;
constexpr uint64_t kProtocolEndianness = 0x0208;
constexpr uint64_t kImplementationEndianness = 0x020C;

// Technology specific bootstrap registers (SBRM), from its base.
constexpr uint64_t kU3vVersion = 0x0000;
constexpr uint64_t kU3vcpCapability = 0x0004;
constexpr uint64_t kU3vcpConfiguration = 0x000C;
constexpr uint64_t kMaxCommandTransfer = 0x0014;
constexpr uint64_t kMaxAckTransfer = 0x0018;
constexpr uint64_t kStreamChannelCount = 0x001C;
constexpr uint64_t kSirmAddress = 0x0020;
constexpr uint64_t kSirmLength = 0x0028;
constexpr uint64_t kEirmAddress = 0x002C;
constexpr uint64_t kEirmLength = 0x0034;
constexpr uint64_t kIidc2Address = 0x0038;
constexpr uint64_t kCurrentSpeed = 0x0040;
constexpr uint32_t kSbrmSize = 0x0044;

// Streaming interface registers (SIRM), from its base.
constexpr uint64_t kSiInfo = 0x0000;
constexpr uint64_t kSiControl = 0x0004;
constexpr uint64_t kSiRequiredPayloadSize = 0x0008;
constexpr uint64_t kSiRequiredLeaderSize = 0x0010;
constexpr uint64_t kSiRequiredTrailerSize = 0x0014;
constexpr uint64_t kSiMaxLeaderSize = 0x0018;
constexpr uint64_t kSiPayloadTransferSize = 0x001C;
constexpr uint64_t kSiPayloadTransferCount = 0x0020;
constexpr uint64_t kSiTransfer1Size = 0x0024;
constexpr uint64_t kSiTransfer2Size = 0x0028;
constexpr uint64_t kSiMaxTrailerSize = 0x002C;
constexpr uint32_t kSirmSize = 0x0030;
constexpr uint32_t kSiControlEnable = 0x1;

// A manifest entry: file version, schema (bits 10..15: 0 plain XML, 1 zip), address,
// size, then room for a SHA-1 hash and reserved bytes.
constexpr size_t kManifestEntrySize = 64;

// The streaming protocol: leader and trailer of an image block.
constexpr uint32_t kLeaderPrefix = 0x4C563355; // "U3VL"
constexpr uint32_t kTrailerPrefix = 0x54563355; // "U3VT"
constexpr uint16_t kPayloadImage = 0x0001;
constexpr uint32_t kLeaderSize = 52;
constexpr uint32_t kTrailerSize = 32;

// USB descriptors of a USB3 Vision device.
constexpr uint8_t kMiscellaneousClass = 0xEF;
constexpr uint8_t kCommonSubclass = 0x02;
constexpr uint8_t kAssociationProtocol = 0x01;
constexpr uint8_t kU3vSubclass = 0x05;
constexpr uint8_t kControlProtocol = 0x00;
constexpr uint8_t kEventProtocol = 0x01;
constexpr uint8_t kStreamProtocol = 0x02;
constexpr uint8_t kDeviceInfoType = 0x24;
constexpr uint8_t kDeviceInfoSubtype = 0x01;

} // namespace vcam::u3v

#endif
