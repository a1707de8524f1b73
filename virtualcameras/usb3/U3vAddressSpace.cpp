#include "U3vAddressSpace.h"

#include "U3vDescriptors.h"
#include "U3vProtocol.h"

#include <ByteOrder.h>
#include <DeviceStatus.h>
#include <IdentityTexts.h>

#include <algorithm>
#include <cstring>

namespace vcam {

namespace {

using grb::sim::SimDevice;

constexpr uint32_t kGenCpVersion = 0x00010000;
constexpr uint32_t kU3vVersion = 0x00010000;
// User-defined name, timestamp, UTF-8 texts, SBRM, endianness registers, written length.
constexpr uint64_t kCapabilities = 0x1 | 0x8 | 0x10 | 0x200 | 0x400 | 0x800;
constexpr uint32_t kLittleEndian = 0xFFFFFFFF;
constexpr uint64_t kSirmAvailable = 0x1;
constexpr uint32_t kSuperSpeed = 0x8;
// The manifest's one entry: GenICam file version 1.0.0, schema 1.1, plain XML.
constexpr uint32_t kFileVersion = 0x01000000;
constexpr uint32_t kSchema = 0x01010000;

struct Field
{
    uint64_t address;
    uint32_t size;
    bool writable;
};

constexpr uint64_t kSbrm = U3vAddressSpace::kSbrmAddress;
constexpr uint64_t kSirm = U3vAddressSpace::kSirmAddress;
constexpr uint64_t kManifest = U3vAddressSpace::kManifestAddress;

// In address order, as writes walk it front to back. Everything else below the end of
// device memory is plain memory.
const Field kFields[] = {
    {u3v::kGenCpVersion, 4, false},
    {u3v::kManufacturerName, u3v::kTextSize, false},
    {u3v::kModelName, u3v::kTextSize, false},
    {u3v::kFamilyName, u3v::kTextSize, false},
    {u3v::kDeviceVersion, u3v::kTextSize, false},
    {u3v::kManufacturerInfo, u3v::kTextSize, false},
    {u3v::kSerialNumber, u3v::kTextSize, false},
    {u3v::kUserDefinedName, u3v::kTextSize, true},
    {u3v::kDeviceCapability, 8, false},
    {u3v::kMaxDeviceResponseTime, 4, false},
    {u3v::kManifestTableAddress, 8, false},
    {u3v::kSbrmAddress, 8, false},
    {u3v::kDeviceConfiguration, 8, true},
    {u3v::kHeartbeatTimeout, 4, true},
    {u3v::kMessageChannelId, 4, true},
    {u3v::kTimestamp, 8, false},
    {u3v::kTimestampLatch, 4, true},
    {u3v::kTimestampIncrement, 8, false},
    {u3v::kAccessPrivilege, 4, true},
    {u3v::kProtocolEndianness, 4, false},
    {u3v::kImplementationEndianness, 4, false},
    {kManifest, 8, false},
    {kManifest + 8, u3v::kManifestEntrySize, false},
    {kSbrm + u3v::kU3vVersion, 4, false},
    {kSbrm + u3v::kU3vcpCapability, 8, false},
    {kSbrm + u3v::kU3vcpConfiguration, 8, true},
    {kSbrm + u3v::kMaxCommandTransfer, 4, false},
    {kSbrm + u3v::kMaxAckTransfer, 4, false},
    {kSbrm + u3v::kStreamChannelCount, 4, false},
    {kSbrm + u3v::kSirmAddress, 8, false},
    {kSbrm + u3v::kSirmLength, 4, false},
    {kSbrm + u3v::kEirmAddress, 8, false},
    {kSbrm + u3v::kEirmLength, 4, false},
    {kSbrm + u3v::kIidc2Address, 8, false},
    {kSbrm + u3v::kCurrentSpeed, 4, false},
    {kSirm + u3v::kSiInfo, 4, false},
    {kSirm + u3v::kSiControl, 4, true},
    {kSirm + u3v::kSiRequiredPayloadSize, 8, false},
    {kSirm + u3v::kSiRequiredLeaderSize, 4, false},
    {kSirm + u3v::kSiRequiredTrailerSize, 4, false},
    {kSirm + u3v::kSiMaxLeaderSize, 4, true},
    {kSirm + u3v::kSiPayloadTransferSize, 4, true},
    {kSirm + u3v::kSiPayloadTransferCount, 4, true},
    {kSirm + u3v::kSiTransfer1Size, 4, true},
    {kSirm + u3v::kSiTransfer2Size, 4, true},
    {kSirm + u3v::kSiMaxTrailerSize, 4, true},
};

bool overlaps(uint64_t a, uint64_t aSize, uint64_t b, uint64_t bSize)
{
    return a < b + bSize && b < a + aSize;
}

void putText(std::vector<uint8_t>& field, const std::string& text)
{
    // Room is left for the terminating zero.
    const size_t n = std::min(text.size(), field.size() - 1);
    std::memcpy(field.data(), text.data(), n);
}

const IdentityTexts kIdentity{u3v::kManufacturerName, u3v::kModelName,    u3v::kDeviceVersion,
                              u3v::kManufacturerInfo, u3v::kSerialNumber, u3v::kUserDefinedName};

} // namespace

U3vAddressSpace::U3vAddressSpace(std::shared_ptr<grb::sim::SimWorld> world, std::string camera)
    : m_device(std::move(world), std::move(camera), ByteOrder::Little)
{
}

bool U3vAddressSpace::Build(std::string& error)
{
    if (!m_device.Build("pellix-virtual-camera.xml", {}, error))
        return false;
    m_guid = U3vDescriptors::Guid(m_device.ExtendedId());
    m_built = true;
    return true;
}

bool U3vAddressSpace::Present()
{
    return m_device.Present();
}

void U3vAddressSpace::StopStream()
{
    if (m_stream.enabled)
        ++m_stream.generation;
    m_stream.enabled = false;
}

std::string U3vAddressSpace::Text(uint8_t index)
{
    if (index == U3vDescriptors::kGuid)
        return m_guid;
    const char* feature = nullptr;
    switch (index)
    {
    case U3vDescriptors::kManufacturer:
        feature = "DeviceVendorName";
        break;
    case U3vDescriptors::kProduct:
        feature = "DeviceModelName";
        break;
    case U3vDescriptors::kSerialNumber:
        feature = "DeviceSerialNumber";
        break;
    case U3vDescriptors::kDeviceVersion:
        feature = "DeviceFirmwareVersion";
        break;
    case U3vDescriptors::kManufacturerInfo:
        feature = "DeviceManufacturerInfo";
        break;
    case U3vDescriptors::kUserDefinedName:
        feature = "DeviceUserID";
        break;
    default:
        return {};
    }
    std::string text;
    m_device.WithDevice([&](SimDevice& device) { text = FeatureText(device, feature); });
    return text;
}

std::vector<uint8_t> U3vAddressSpace::_Value(SimDevice& device, uint64_t address, uint32_t size)
{
    std::vector<uint8_t> value(size, 0);
    if (const char* feature = kIdentity.FeatureAt(address))
    {
        putText(value, FeatureText(device, feature));
        return value;
    }
    uint64_t number = 0;
    switch (address)
    {
    case u3v::kGenCpVersion:
        number = kGenCpVersion;
        break;
    case u3v::kDeviceCapability:
        number = kCapabilities;
        break;
    case u3v::kMaxDeviceResponseTime:
        number = kResponseTimeMs;
        break;
    case u3v::kManifestTableAddress:
        number = kManifestAddress;
        break;
    case u3v::kSbrmAddress:
        number = kSbrmAddress;
        break;
    case u3v::kDeviceConfiguration:
        number = m_deviceConfiguration;
        break;
    case u3v::kHeartbeatTimeout:
        number = m_heartbeatMs;
        break;
    case u3v::kMessageChannelId:
        number = m_messageChannel;
        break;
    case u3v::kTimestamp:
        number = m_latched;
        break;
    case u3v::kTimestampIncrement:
        number = 1; // nanoseconds
        break;
    case u3v::kAccessPrivilege:
        number = m_privilege;
        break;
    case u3v::kProtocolEndianness:
    case u3v::kImplementationEndianness:
        number = kLittleEndian;
        break;
    case kManifest:
        number = 1;
        break;
    case kManifest + 8:
        PutUint(value.data(), kFileVersion, 4, ByteOrder::Little);
        PutUint(value.data() + 4, kSchema, 4, ByteOrder::Little);
        PutUint(value.data() + 8, RegisterMap::kXmlAddress, 8, ByteOrder::Little);
        PutUint(value.data() + 16, m_device.Xml().size(), 8, ByteOrder::Little);
        return value;
    case kSbrm + u3v::kU3vVersion:
        number = kU3vVersion;
        break;
    case kSbrm + u3v::kU3vcpCapability:
        number = kSirmAvailable;
        break;
    case kSbrm + u3v::kU3vcpConfiguration:
        number = m_u3vcpConfiguration;
        break;
    case kSbrm + u3v::kMaxCommandTransfer:
        number = kMaxCommandTransfer;
        break;
    case kSbrm + u3v::kMaxAckTransfer:
        number = kMaxAckTransfer;
        break;
    case kSbrm + u3v::kStreamChannelCount:
        number = 1;
        break;
    case kSbrm + u3v::kSirmAddress:
        number = kSirmAddress;
        break;
    case kSbrm + u3v::kSirmLength:
        number = u3v::kSirmSize;
        break;
    case kSbrm + u3v::kCurrentSpeed:
        number = kSuperSpeed;
        break;
    case kSirm + u3v::kSiInfo:
        number = 0; // payloads aligned to 2^0 bytes
        break;
    case kSirm + u3v::kSiControl:
        number = m_stream.enabled ? u3v::kSiControlEnable : 0;
        break;
    case kSirm + u3v::kSiRequiredPayloadSize:
        number = device.Acquisition().PayloadSize();
        break;
    case kSirm + u3v::kSiRequiredLeaderSize:
        number = u3v::kLeaderSize;
        break;
    case kSirm + u3v::kSiRequiredTrailerSize:
        number = u3v::kTrailerSize;
        break;
    case kSirm + u3v::kSiMaxLeaderSize:
        number = m_stream.maxLeader;
        break;
    case kSirm + u3v::kSiPayloadTransferSize:
        number = m_stream.payloadSize;
        break;
    case kSirm + u3v::kSiPayloadTransferCount:
        number = m_stream.payloadCount;
        break;
    case kSirm + u3v::kSiTransfer1Size:
        number = m_stream.transfer1;
        break;
    case kSirm + u3v::kSiTransfer2Size:
        number = m_stream.transfer2;
        break;
    case kSirm + u3v::kSiMaxTrailerSize:
        number = m_stream.maxTrailer;
        break;
    default:
        break;
    }
    PutUint(value.data(), number, std::min<uint32_t>(size, 8), ByteOrder::Little);
    return value;
}

void U3vAddressSpace::_ReadBootstrap(SimDevice& device, uint64_t address, uint32_t count, uint8_t* data)
{
    if (device.ReadMemory(address, data, count) != GrbErrorSuccess)
        std::memset(data, 0, count);
    for (const Field& f : kFields)
    {
        if (!overlaps(address, count, f.address, f.size))
            continue;
        const std::vector<uint8_t> value = _Value(device, f.address, f.size);
        const uint64_t from = std::max(address, f.address);
        const uint64_t to = std::min(address + count, f.address + f.size);
        std::memcpy(data + (from - address), value.data() + (from - f.address), to - from);
    }
}

uint16_t U3vAddressSpace::_WriteStream(uint64_t field, uint32_t value)
{
    if (field == kSirm + u3v::kSiControl)
    {
        const bool enable = (value & u3v::kSiControlEnable) != 0;
        // A stream starts only with room for the leader and trailer it needs.
        if (enable && !m_stream.enabled &&
            (m_stream.maxLeader < u3v::kLeaderSize || m_stream.maxTrailer < u3v::kTrailerSize ||
             (m_stream.payloadCount > 0 && m_stream.payloadSize == 0)))
            return status::kInvalidParameter;
        if (enable != m_stream.enabled)
            ++m_stream.generation;
        m_stream.enabled = enable;
        return status::kSuccess;
    }
    // The other settings hold still while the stream runs.
    if (m_stream.enabled)
        return status::kAccessDenied;
    switch (field)
    {
    case kSirm + u3v::kSiMaxLeaderSize:
        m_stream.maxLeader = value;
        break;
    case kSirm + u3v::kSiPayloadTransferSize:
        m_stream.payloadSize = value;
        break;
    case kSirm + u3v::kSiPayloadTransferCount:
        m_stream.payloadCount = value;
        break;
    case kSirm + u3v::kSiTransfer1Size:
        m_stream.transfer1 = value;
        break;
    case kSirm + u3v::kSiTransfer2Size:
        m_stream.transfer2 = value;
        break;
    case kSirm + u3v::kSiMaxTrailerSize:
        m_stream.maxTrailer = value;
        break;
    default:
        return status::kWriteProtect;
    }
    return status::kSuccess;
}

uint16_t U3vAddressSpace::_WriteField(SimDevice& device, uint64_t field, uint32_t size, uint64_t from,
                                      const uint8_t* part, uint32_t length, Clock::time_point now)
{
    if (field == u3v::kUserDefinedName)
    {
        std::vector<uint8_t> name = _Value(device, field, size);
        std::memcpy(name.data() + (from - field), part, length);
        const auto zero = std::find(name.begin(), name.end(), uint8_t(0));
        return StatusOf(device.Features().SetString("DeviceUserID", std::string(name.begin(), zero)));
    }
    // Numbers are written whole.
    if (from != field || length != size)
        return status::kInvalidParameter;
    const uint64_t value = GetUint(part, size, ByteOrder::Little);
    switch (field)
    {
    case u3v::kDeviceConfiguration:
        m_deviceConfiguration = value;
        break;
    case u3v::kHeartbeatTimeout:
        m_heartbeatMs = static_cast<uint32_t>(value);
        break;
    case u3v::kMessageChannelId:
        m_messageChannel = static_cast<uint32_t>(value);
        break;
    case u3v::kTimestampLatch:
        if (value & 1)
            m_latched = static_cast<uint64_t>(
                std::chrono::duration_cast<std::chrono::nanoseconds>(now - m_epoch).count());
        break;
    case u3v::kAccessPrivilege:
        m_privilege = static_cast<uint32_t>(value);
        break;
    case kSbrm + u3v::kU3vcpConfiguration:
        m_u3vcpConfiguration = value;
        break;
    default:
        return _WriteStream(field, static_cast<uint32_t>(value));
    }
    return status::kSuccess;
}

uint16_t U3vAddressSpace::_WriteBootstrap(SimDevice& device, uint64_t address, const uint8_t* data, uint32_t count,
                                          Clock::time_point now)
{
    for (const Field& f : kFields)
        if (overlaps(address, count, f.address, f.size) && !f.writable)
            return status::kWriteProtect;
    uint64_t plainFrom = address;
    const uint64_t end = address + count;
    auto writePlain = [&](uint64_t to) -> uint16_t {
        if (to <= plainFrom)
            return status::kSuccess;
        return StatusOf(device.WriteMemory(plainFrom, data + (plainFrom - address), uint32_t(to - plainFrom)));
    };
    for (const Field& f : kFields)
    {
        if (!overlaps(address, count, f.address, f.size))
            continue;
        if (uint16_t result = writePlain(f.address))
            return result;
        const uint64_t from = std::max(address, f.address);
        const uint64_t to = std::min(end, f.address + f.size);
        plainFrom = to;
        if (uint16_t result = _WriteField(device, f.address, f.size, from, data + (from - address),
                                          uint32_t(to - from), now))
            return result;
    }
    return writePlain(end);
}

uint16_t U3vAddressSpace::Read(uint64_t address, uint32_t count, uint8_t* data)
{
    if (!m_built || count == 0 || !data)
        return status::kInvalidParameter;
    if (address > UINT64_MAX - count)
        return status::kInvalidAddress;
    uint16_t result = status::kSuccess;
    const bool reached = m_device.WithDevice([&](SimDevice& device) {
        const uint32_t inMemory =
            address < RegisterMap::kMemoryEnd ? uint32_t(std::min<uint64_t>(count, RegisterMap::kMemoryEnd - address)) : 0;
        if (inMemory)
            _ReadBootstrap(device, address, inMemory, data);
        if (count > inMemory)
            result = m_device.Read(device, address + inMemory, count - inMemory, data + inMemory);
    });
    return reached ? result : status::kError;
}

uint16_t U3vAddressSpace::Write(uint64_t address, const uint8_t* data, uint32_t count, Clock::time_point now,
                                uint32_t& written, uint32_t& completionMs)
{
    written = 0;
    completionMs = 0;
    if (!m_built || count == 0 || !data)
        return status::kInvalidParameter;
    if (address > UINT64_MAX - count)
        return status::kInvalidAddress;
    const uint32_t inMemory =
        address < RegisterMap::kMemoryEnd ? uint32_t(std::min<uint64_t>(count, RegisterMap::kMemoryEnd - address)) : 0;
    // Layout and protection are checked for the whole message before anything is written.
    if (count > inMemory)
        if (uint16_t result = m_device.CheckWrite(address + inMemory, count - inMemory))
            return result;
    uint16_t result = status::kSuccess;
    const bool reached = m_device.WithDevice([&](SimDevice& device) {
        if (inMemory)
            result = _WriteBootstrap(device, address, data, inMemory, now);
        if (result != status::kSuccess)
            return;
        written = inMemory;
        uint32_t registers = 0;
        if (count > inMemory)
            result = m_device.Write(device, address + inMemory, data + inMemory, count - inMemory, registers,
                                    completionMs);
        written += registers;
    });
    return reached ? result : status::kError;
}

} // namespace vcam
