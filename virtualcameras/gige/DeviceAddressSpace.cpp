#include "DeviceAddressSpace.h"

#include <DeviceStatus.h>
#include <IdentityTexts.h>
#include <gvcp/GvcpProtocol.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vcam {

namespace {

using grb::sim::SimDevice;
using grb::sim::SimFeature;

static_assert(gvcp::kStatusInvalidParameter == status::kInvalidParameter && gvcp::kStatusBusy == status::kBusy &&
                  gvcp::kStatusError == status::kError,
              "GVCP statuses are the device's own");

// Pending acknowledges announce an operation this long before the client gives up on it.
constexpr uint32_t kPendingTimeoutMs = 200;
// Writable, persistent, DHCP and link-local addressing, as cameras usually report.
constexpr uint32_t kInterfaceCapability = 0x7;
constexpr uint32_t kInterfaceConfiguration = 0x6;
// User-defined name, serial number, pending acknowledge, packet resend, WRITEMEM,
// several registers a message.
constexpr uint32_t kCapabilities =
    0x80000000u | 0x40000000u | 0x00000020u | 0x00000004u | 0x00000002u | 0x00000001u;
// The acquisition's frames taken in one go, should several be due at once.
constexpr int kFramesAtOnce = 8;

struct Bootstrap
{
    uint32_t address;
    uint32_t size;
    bool writable;
};

// In address order, as writes walk it front to back. Everything else below the end of
// device memory is plain memory.
const Bootstrap kBootstrap[] = {
    {gvcp::kVersion, 4, false},
    {gvcp::kDeviceMode, 4, false},
    {gvcp::kMacHigh, 4, false},
    {gvcp::kMacLow, 4, false},
    {gvcp::kInterfaceCapability, 4, false},
    {gvcp::kInterfaceConfiguration, 4, false},
    {gvcp::kCurrentAddress, 4, false},
    {gvcp::kCurrentSubnet, 4, false},
    {gvcp::kCurrentGateway, 4, false},
    {gvcp::kManufacturerName, 32, false},
    {gvcp::kModelName, 32, false},
    {gvcp::kDeviceVersion, 32, false},
    {gvcp::kManufacturerInfo, 48, false},
    {gvcp::kSerialNumber, 16, false},
    {gvcp::kUserDefinedName, 16, true},
    {gvcp::kFirstUrl, gvcp::kUrlSize, false},
    {gvcp::kSecondUrl, gvcp::kUrlSize, false},
    {gvcp::kInterfaceCount, 4, false},
    {gvcp::kMessageChannelCount, 4, false},
    {gvcp::kStreamChannelCount, 4, false},
    {gvcp::kCapability, 4, false},
    {gvcp::kHeartbeatTimeout, 4, true},
    {gvcp::kTickFrequencyHigh, 4, false},
    {gvcp::kTickFrequencyLow, 4, false},
    {gvcp::kConfiguration, 4, true},
    {gvcp::kPendingTimeout, 4, false},
    {gvcp::kControlChannelPrivilege, 4, true},
    {gvcp::kPrimaryPort, 4, false},
    {gvcp::kPrimaryAddress, 4, false},
    {gvcp::kStreamChannelPort, 4, true},
    {gvcp::kStreamChannelPacketSize, 4, true},
    {gvcp::kStreamChannelPacketDelay, 4, true},
    {gvcp::kStreamChannelDestination, 4, true},
    {gvcp::kStreamChannelSourcePort, 4, false},
    {gvcp::kStreamChannelCapability, 4, false},
};

bool overlaps(uint32_t a, uint32_t aSize, uint32_t b, uint32_t bSize)
{
    return uint64_t(a) < uint64_t(b) + bSize && uint64_t(b) < uint64_t(a) + aSize;
}

void putText(std::vector<uint8_t>& field, const std::string& text)
{
    // A text that fills its field has no terminating zero.
    std::memcpy(field.data(), text.data(), std::min(text.size(), field.size()));
}

const IdentityTexts kIdentity{gvcp::kManufacturerName, gvcp::kModelName,    gvcp::kDeviceVersion,
                              gvcp::kManufacturerInfo, gvcp::kSerialNumber, gvcp::kUserDefinedName};

} // namespace

DeviceAddressSpace::DeviceAddressSpace(std::shared_ptr<grb::sim::SimWorld> world, std::string camera,
                                       uint32_t ownAddress, ControlChannel& control, StreamChannel& stream)
    : m_device(std::move(world), std::move(camera), ByteOrder::Big)
    , m_ownAddress(ownAddress)
    , m_control(control)
    , m_stream(stream)
{
}

bool DeviceAddressSpace::Build(std::string& error)
{
    if (!m_device.Build("pellix-virtual-camera.xml", StreamChannel::Nodes(), error))
        return false;
    // Locally administered, derived from the identity so that each camera has its own.
    uint32_t hash = 2166136261u;
    for (char c : m_device.ExtendedId())
        hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
    const uint8_t mac[6] = {0x02, 0x50, 0x58, static_cast<uint8_t>(hash >> 16), static_cast<uint8_t>(hash >> 8),
                            static_cast<uint8_t>(hash)};
    std::memcpy(m_mac, mac, sizeof mac);
    m_built = true;
    return true;
}

bool DeviceAddressSpace::Present()
{
    return m_device.Present();
}

std::vector<uint8_t> DeviceAddressSpace::_BootstrapValue(SimDevice& device, uint32_t address, uint32_t size)
{
    std::vector<uint8_t> value(size, 0);
    if (const char* feature = kIdentity.FeatureAt(address))
    {
        putText(value, FeatureText(device, feature));
        return value;
    }
    uint32_t word = 0;
    switch (address)
    {
    case gvcp::kVersion:
        word = SimDevice::kVersionRegister;
        break;
    case gvcp::kDeviceMode:
        word = 0x80000001u; // big-endian, UTF-8 texts
        break;
    case gvcp::kMacHigh:
        word = uint32_t(m_mac[0]) << 8 | m_mac[1];
        break;
    case gvcp::kMacLow:
        word = uint32_t(m_mac[2]) << 24 | uint32_t(m_mac[3]) << 16 | uint32_t(m_mac[4]) << 8 | m_mac[5];
        break;
    case gvcp::kInterfaceCapability:
        word = kInterfaceCapability;
        break;
    case gvcp::kInterfaceConfiguration:
        word = kInterfaceConfiguration;
        break;
    case gvcp::kCurrentAddress:
        word = m_ownAddress;
        break;
    case gvcp::kCurrentSubnet:
        word = 0xFF000000u;
        break;
    case gvcp::kFirstUrl:
        putText(value, m_device.Url());
        return value;
    case gvcp::kInterfaceCount:
    case gvcp::kStreamChannelCount:
        word = 1;
        break;
    case gvcp::kCapability:
        word = kCapabilities;
        break;
    case gvcp::kHeartbeatTimeout:
        word = m_control.HeartbeatTimeout();
        break;
    case gvcp::kTickFrequencyLow:
        word = StreamChannel::kTickFrequency;
        break;
    case gvcp::kConfiguration:
        word = m_configuration;
        break;
    case gvcp::kPendingTimeout:
        word = kPendingTimeoutMs;
        break;
    case gvcp::kControlChannelPrivilege:
        word = m_control.Privilege();
        break;
    case gvcp::kPrimaryPort:
        word = m_control.Privilege() ? m_control.Controller().port : 0;
        break;
    case gvcp::kPrimaryAddress:
        word = m_control.Privilege() ? m_control.Controller().address : 0;
        break;
    case gvcp::kStreamChannelPort:
    case gvcp::kStreamChannelPacketSize:
    case gvcp::kStreamChannelPacketDelay:
    case gvcp::kStreamChannelDestination:
    case gvcp::kStreamChannelSourcePort:
    case gvcp::kStreamChannelCapability:
        word = m_stream.Read(address);
        break;
    default:
        break;
    }
    if (size >= 4)
        gvcp::Put32(value.data(), word);
    return value;
}

void DeviceAddressSpace::_ReadBootstrap(SimDevice& device, uint32_t address, uint32_t count, uint8_t* data)
{
    if (device.ReadMemory(address, data, count) != GrbErrorSuccess)
        std::memset(data, 0, count);
    for (const Bootstrap& b : kBootstrap)
    {
        if (!overlaps(address, count, b.address, b.size))
            continue;
        const std::vector<uint8_t> value = _BootstrapValue(device, b.address, b.size);
        const uint32_t from = std::max(address, b.address);
        const uint32_t to = std::min(address + count, b.address + b.size);
        std::memcpy(data + (from - address), value.data() + (from - b.address), to - from);
    }
}

uint16_t DeviceAddressSpace::_WriteBootstrap(SimDevice& device, const GvcpPeer& peer, uint32_t address,
                                             const uint8_t* data, uint32_t count, Clock::time_point now)
{
    for (const Bootstrap& b : kBootstrap)
        if (overlaps(address, count, b.address, b.size) && !b.writable)
            return gvcp::kStatusWriteProtect;
    // Only the privilege register takes writes from an application without control.
    const bool privilegeOnly = address == gvcp::kControlChannelPrivilege && count == 4;
    if (!privilegeOnly && !m_control.MayWrite(peer))
        return gvcp::kStatusAccessDenied;

    uint32_t plainFrom = address;
    const uint32_t end = address + count;
    auto writePlain = [&](uint32_t to) -> uint16_t {
        if (to <= plainFrom)
            return gvcp::kStatusSuccess;
        return StatusOf(device.WriteMemory(plainFrom, data + (plainFrom - address), to - plainFrom));
    };
    for (const Bootstrap& b : kBootstrap)
    {
        if (!overlaps(address, count, b.address, b.size))
            continue;
        if (uint16_t status = writePlain(b.address))
            return status;
        const uint32_t from = std::max(address, b.address);
        const uint32_t to = std::min(end, b.address + b.size);
        plainFrom = to;
        const uint8_t* part = data + (from - address);
        uint16_t status = gvcp::kStatusSuccess;
        if (b.address == gvcp::kUserDefinedName)
        {
            std::vector<uint8_t> name = _BootstrapValue(device, b.address, b.size);
            std::memcpy(name.data() + (from - b.address), part, to - from);
            const auto zero = std::find(name.begin(), name.end(), uint8_t(0));
            status = StatusOf(device.Features().SetString("DeviceUserID", std::string(name.begin(), zero)));
        }
        else if (to - from != 4)
            status = gvcp::kStatusInvalidParameter;
        else if (b.address == gvcp::kControlChannelPrivilege)
            status = m_control.WritePrivilege(peer, gvcp::Get32(part), now);
        else if (b.address == gvcp::kHeartbeatTimeout)
            m_control.SetHeartbeatTimeout(gvcp::Get32(part));
        else if (b.address == gvcp::kConfiguration)
            m_configuration = gvcp::Get32(part);
        // The stream channel's registers come last in the table.
        else if (b.address >= gvcp::kStreamChannelPort)
            status = m_stream.Write(b.address, gvcp::Get32(part));
        if (status != gvcp::kStatusSuccess)
            return status;
    }
    return writePlain(end);
}

std::vector<uint8_t> DeviceAddressSpace::DiscoveryData()
{
    std::vector<uint8_t> data(gvcp::kDiscoveryAckSize, 0);
    if (!m_device.WithDevice([&](SimDevice& device) { _ReadBootstrap(device, 0, gvcp::kDiscoveryAckSize, data.data()); }))
        data.clear();
    return data;
}

void DeviceAddressSpace::StreamFrames(Clock::time_point now)
{
    const bool controlled = m_control.Privilege() != 0;
    if (!controlled)
        m_stream.Close();
    m_device.WithDevice([&](SimDevice& device) {
        grb::sim::SimAcquisition& acquisition = device.Acquisition();
        if (!controlled)
        {
            acquisition.Stop();
            return;
        }
        grb::sim::SimFrame frame;
        for (int i = 0; i < kFramesAtOnce && acquisition.TakeFrame(now, frame); ++i)
            m_stream.Send(std::move(frame));
    });
}

DeviceAddressSpace::Clock::time_point DeviceAddressSpace::NextFrameDue()
{
    Clock::time_point due = Clock::time_point::max();
    m_device.WithDevice([&](SimDevice& device) { due = device.Acquisition().NextDue(); });
    return due;
}

uint16_t DeviceAddressSpace::Read(const GvcpPeer& peer, uint32_t address, uint32_t count, uint8_t* data)
{
    if (!m_built || count == 0 || !data)
        return gvcp::kStatusInvalidParameter;
    if (uint64_t(address) + count > UINT32_MAX)
        return gvcp::kStatusInvalidAddress;
    if (!m_control.MayRead(peer))
        return gvcp::kStatusAccessDenied;
    uint16_t status = gvcp::kStatusSuccess;
    const bool reached = m_device.WithDevice([&](SimDevice& device) {
        const uint32_t inMemory = address < RegisterMap::kMemoryEnd ? std::min(count, RegisterMap::kMemoryEnd - address) : 0;
        if (inMemory)
            _ReadBootstrap(device, address, inMemory, data);
        if (count > inMemory)
            status = m_device.Read(device, address + inMemory, count - inMemory, data + inMemory);
    });
    return reached ? status : gvcp::kStatusError;
}

uint16_t DeviceAddressSpace::Write(const GvcpPeer& peer, uint32_t address, const uint8_t* data, uint32_t count,
                                   Clock::time_point now, uint32_t& written, uint32_t& completionMs)
{
    written = 0;
    completionMs = 0;
    if (!m_built || count == 0 || !data)
        return gvcp::kStatusInvalidParameter;
    if (uint64_t(address) + count > UINT32_MAX)
        return gvcp::kStatusInvalidAddress;
    const uint32_t inMemory = address < RegisterMap::kMemoryEnd ? std::min(count, RegisterMap::kMemoryEnd - address) : 0;
    // Layout, protection and control are checked for the whole message before anything is written.
    if (count > inMemory)
    {
        if (uint16_t status = m_device.CheckWrite(address + inMemory, count - inMemory))
            return status;
        if (!m_control.MayWrite(peer))
            return gvcp::kStatusAccessDenied;
    }
    uint16_t status = gvcp::kStatusSuccess;
    const bool reached = m_device.WithDevice([&](SimDevice& device) {
        if (inMemory)
            status = _WriteBootstrap(device, peer, address, data, inMemory, now);
        if (status != gvcp::kStatusSuccess)
            return;
        written = inMemory;
        uint32_t registers = 0;
        if (count > inMemory)
            status = m_device.Write(device, address + inMemory, data + inMemory, count - inMemory, registers,
                                    completionMs);
        written += registers;
    });
    return reached ? status : gvcp::kStatusError;
}

} // namespace vcam
