#include "DeviceAddressSpace.h"

#include "GenICamXml.h"
#include <gvcp/GvcpProtocol.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vcam {

namespace {

using grb::sim::SimDevice;
using grb::sim::SimFeature;

static_assert(RegisterMap::kMemoryEnd == SimDevice::kMemorySize, "bootstrap registers lie in device memory");

// Pending acknowledges announce an operation this long before the client gives up on it.
constexpr uint32_t kPendingTimeoutMs = 200;
constexpr uint32_t kTickFrequency = 1000000000;
// Writable, persistent, DHCP and link-local addressing, as cameras usually report.
constexpr uint32_t kInterfaceCapability = 0x7;
constexpr uint32_t kInterfaceConfiguration = 0x6;
// User-defined name, serial number, pending acknowledge, WRITEMEM, several registers a message.
constexpr uint32_t kCapabilities = 0x80000000u | 0x40000000u | 0x00000020u | 0x00000002u | 0x00000001u;

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
};

bool overlaps(uint32_t a, uint32_t aSize, uint32_t b, uint32_t bSize)
{
    return uint64_t(a) < uint64_t(b) + bSize && uint64_t(b) < uint64_t(a) + aSize;
}

uint16_t statusOf(GrbErrorType err)
{
    switch (err)
    {
    case GrbErrorSuccess:
        return gvcp::kStatusSuccess;
    case GrbErrorInvalidValue:
    case GrbErrorBadParameter:
    case GrbErrorWrongType:
        return gvcp::kStatusInvalidParameter;
    case GrbErrorInvalidAccess:
        return gvcp::kStatusWriteProtect;
    case GrbErrorNotFound:
        return gvcp::kStatusInvalidAddress;
    case GrbErrorResources:
        return gvcp::kStatusBusy;
    case GrbErrorNotImplemented:
        return gvcp::kStatusNotImplemented;
    default:
        return gvcp::kStatusError;
    }
}

// A raw feature's length now: no more than its register holds.
uint32_t rawLength(grb::sim::SimNodeMap& features, const std::string& name, uint32_t registerLength)
{
    const SimFeature* f = features.Find(name);
    return f ? static_cast<uint32_t>(std::min<size_t>(f->raw.size(), registerLength)) : registerLength;
}

std::string textOf(SimDevice& device, const char* feature)
{
    std::string value;
    if (device.Features().GetString(feature, value) != GrbErrorSuccess)
        value.clear();
    return value;
}

void putText(std::vector<uint8_t>& field, const std::string& text)
{
    // Room is left for the terminating zero.
    const size_t n = std::min(text.size(), field.size() - 1);
    std::memcpy(field.data(), text.data(), n);
}

std::string hexNumber(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

} // namespace

DeviceAddressSpace::DeviceAddressSpace(std::shared_ptr<grb::sim::SimWorld> world, std::string camera,
                                       uint32_t ownAddress, ControlChannel& control)
    : m_world(std::move(world))
    , m_camera(std::move(camera))
    , m_ownAddress(ownAddress)
    , m_control(control)
{
}

bool DeviceAddressSpace::Build(std::string& error)
{
    std::vector<grb::DeviceRecord> devices;
    if (m_world->Enumerate(devices) != GrbErrorSuccess)
    {
        error = "the camera list could not be read";
        return false;
    }
    for (const auto& d : devices)
        if (d.extendedId == m_camera || d.id == m_camera || d.serial == m_camera)
            m_extendedId = d.extendedId;
    if (m_extendedId.empty())
    {
        error = "no camera " + m_camera + " is present";
        return false;
    }
    const bool built = _WithDevice([&](SimDevice& device) {
        const std::vector<const SimFeature*> features = device.Features().Features();
        m_map = std::make_unique<RegisterMap>(features);
        m_xml = GenICamXml::Generate(device.Config(), *m_map, features);
    });
    if (!built)
    {
        error = "the camera " + m_camera + " did not open";
        return false;
    }
    if (m_xml.size() > RegisterMap::kXmlLimit)
    {
        error = "the GenICam description is too large";
        return false;
    }
    m_url = "Local:pellix-virtual-camera.xml;" + hexNumber(RegisterMap::kXmlAddress) + ";" +
            hexNumber(static_cast<uint32_t>(m_xml.size()));
    // Locally administered, derived from the identity so that each camera has its own.
    uint32_t hash = 2166136261u;
    for (char c : m_extendedId)
        hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
    const uint8_t mac[6] = {0x02, 0x50, 0x58, static_cast<uint8_t>(hash >> 16), static_cast<uint8_t>(hash >> 8),
                            static_cast<uint8_t>(hash)};
    std::memcpy(m_mac, mac, sizeof mac);
    return true;
}

bool DeviceAddressSpace::Present()
{
    return !m_extendedId.empty() && m_world->IsPresent(m_extendedId);
}

bool DeviceAddressSpace::_WithDevice(const std::function<void(SimDevice&)>& f)
{
    // A session goes stale when the device leaves; one that came back is opened again.
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        if (!m_open)
        {
            if (m_world->Open(m_extendedId, GrbAccessModeRead, m_index, m_generation) != GrbErrorSuccess)
                return false;
            m_open = true;
        }
        bool ran = false;
        m_world->Call(m_index, m_generation, [&](SimDevice& device) {
            ran = true;
            f(device);
            return GrbErrorSuccess;
        });
        if (ran)
            return true;
        m_open = false;
    }
    return false;
}

std::vector<uint8_t> DeviceAddressSpace::_BootstrapValue(SimDevice& device, uint32_t address, uint32_t size)
{
    std::vector<uint8_t> value(size, 0);
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
    case gvcp::kManufacturerName:
        putText(value, textOf(device, "DeviceVendorName"));
        return value;
    case gvcp::kModelName:
        putText(value, textOf(device, "DeviceModelName"));
        return value;
    case gvcp::kDeviceVersion:
    case gvcp::kManufacturerInfo:
        putText(value, textOf(device, "DeviceManufacturerInfo"));
        return value;
    case gvcp::kSerialNumber:
        putText(value, textOf(device, "DeviceSerialNumber"));
        return value;
    case gvcp::kUserDefinedName:
        putText(value, textOf(device, "DeviceUserID"));
        return value;
    case gvcp::kFirstUrl:
        putText(value, m_url);
        return value;
    case gvcp::kInterfaceCount:
        word = 1;
        break;
    case gvcp::kCapability:
        word = kCapabilities;
        break;
    case gvcp::kHeartbeatTimeout:
        word = m_control.HeartbeatTimeout();
        break;
    case gvcp::kTickFrequencyLow:
        word = kTickFrequency;
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
        return statusOf(device.WriteMemory(plainFrom, data + (plainFrom - address), to - plainFrom));
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
            status = statusOf(device.Features().SetString("DeviceUserID", std::string(name.begin(), zero)));
        }
        else if (to - from != 4)
            status = gvcp::kStatusInvalidParameter;
        else if (b.address == gvcp::kControlChannelPrivilege)
            status = m_control.WritePrivilege(peer, gvcp::Get32(part), now);
        else if (b.address == gvcp::kHeartbeatTimeout)
            m_control.SetHeartbeatTimeout(gvcp::Get32(part));
        else if (b.address == gvcp::kConfiguration)
            m_configuration = gvcp::Get32(part);
        if (status != gvcp::kStatusSuccess)
            return status;
    }
    return writePlain(end);
}

uint16_t DeviceAddressSpace::_ReadRegister(SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                                           uint32_t count, uint8_t* data)
{
    grb::sim::SimNodeMap& features = device.Features();
    const std::string& name = r.feature;
    if (!r.readable)
        return gvcp::kStatusInvalidAddress;
    if (r.type == GrbFeatureDataRaw)
    {
        // The part past the feature's length is padding: to a whole word, or, for a buffer
        // as long as the last transfer length, to the register's full extent.
        const uint32_t length = rawLength(features, name, r.length);
        const uint32_t inside = offset < length ? std::min(count, length - offset) : 0;
        std::memset(data + inside, 0, count - inside);
        return inside ? statusOf(features.GetRawPart(name, offset, data, inside)) : gvcp::kStatusSuccess;
    }
    std::vector<uint8_t> value(r.span, 0);
    GrbErrorType err = GrbErrorSuccess;
    switch (r.type)
    {
    case GrbFeatureDataInt: {
        int64_t v = 0;
        err = features.GetInt(name, v);
        gvcp::Put64(value.data(), static_cast<uint64_t>(v));
        break;
    }
    case GrbFeatureDataFloat: {
        double v = 0.0;
        err = features.GetFloat(name, v);
        uint64_t bits = 0;
        std::memcpy(&bits, &v, sizeof bits);
        gvcp::Put64(value.data(), bits);
        break;
    }
    case GrbFeatureDataBool: {
        bool v = false;
        err = features.GetBool(name, v);
        gvcp::Put32(value.data(), v ? 1 : 0);
        break;
    }
    case GrbFeatureDataEnum: {
        int64_t v = 0;
        err = features.GetEnumInt(name, v);
        gvcp::Put64(value.data(), static_cast<uint64_t>(v));
        break;
    }
    case GrbFeatureDataString: {
        std::string v;
        err = features.GetString(name, v);
        std::memcpy(value.data(), v.data(), std::min<size_t>(v.size(), r.length));
        break;
    }
    case GrbFeatureDataCommand: {
        bool done = true;
        err = features.IsCommandDone(name, done);
        gvcp::Put32(value.data(), done ? 0 : RegisterMap::kCommandValue);
        break;
    }
    default:
        err = GrbErrorWrongType;
        break;
    }
    if (err != GrbErrorSuccess)
        return statusOf(err);
    std::memcpy(data, value.data() + offset, count);
    return gvcp::kStatusSuccess;
}

uint16_t DeviceAddressSpace::_WriteRegister(SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                                            const uint8_t* data, uint32_t count, uint32_t& completionMs)
{
    grb::sim::SimNodeMap& features = device.Features();
    const std::string& name = r.feature;
    if (!r.writable)
        return gvcp::kStatusWriteProtect;
    if (r.type == GrbFeatureDataRaw)
    {
        const uint32_t length = rawLength(features, name, r.length);
        const uint32_t inside = offset < length ? std::min(count, length - offset) : 0;
        return inside ? statusOf(features.SetRawPart(name, offset, data, inside)) : gvcp::kStatusSuccess;
    }
    // Any other register is written whole, in one message.
    if (offset != 0 || count != r.span)
        return gvcp::kStatusInvalidParameter;
    GrbErrorType err = GrbErrorSuccess;
    switch (r.type)
    {
    case GrbFeatureDataInt:
        err = features.SetInt(name, static_cast<int64_t>(gvcp::Get64(data)));
        break;
    case GrbFeatureDataFloat: {
        const uint64_t bits = gvcp::Get64(data);
        double v = 0.0;
        std::memcpy(&v, &bits, sizeof v);
        err = features.SetFloat(name, v);
        break;
    }
    case GrbFeatureDataBool: {
        const uint32_t v = gvcp::Get32(data);
        if (v > 1)
            return gvcp::kStatusInvalidParameter;
        err = features.SetBool(name, v == 1);
        break;
    }
    case GrbFeatureDataEnum:
        err = features.SetEnumInt(name, static_cast<int64_t>(gvcp::Get64(data)));
        break;
    case GrbFeatureDataString: {
        const uint8_t* zero = std::find(data, data + r.length, uint8_t(0));
        err = features.SetString(name, std::string(data, zero));
        break;
    }
    case GrbFeatureDataCommand: {
        const uint32_t v = gvcp::Get32(data);
        if (v == 0)
            return gvcp::kStatusSuccess;
        if (v != RegisterMap::kCommandValue)
            return gvcp::kStatusInvalidParameter;
        // The operation runs now, before the acknowledge; a slow one holds the acknowledge back.
        err = features.RunCommand(name);
        const SimFeature* f = features.Find(name);
        if (err == GrbErrorSuccess && f && f->commandDelayMs > 0)
            completionMs = static_cast<uint32_t>(f->commandDelayMs);
        break;
    }
    default:
        err = GrbErrorWrongType;
        break;
    }
    return statusOf(err);
}

std::vector<uint8_t> DeviceAddressSpace::DiscoveryData()
{
    std::vector<uint8_t> data(gvcp::kDiscoveryAckSize, 0);
    if (!_WithDevice([&](SimDevice& device) { _ReadBootstrap(device, 0, gvcp::kDiscoveryAckSize, data.data()); }))
        data.clear();
    return data;
}

uint16_t DeviceAddressSpace::Read(const GvcpPeer& peer, uint32_t address, uint32_t count, uint8_t* data)
{
    if (!m_map || count == 0 || !data)
        return gvcp::kStatusInvalidParameter;
    if (uint64_t(address) + count > UINT32_MAX)
        return gvcp::kStatusInvalidAddress;
    if (!m_control.MayRead(peer))
        return gvcp::kStatusAccessDenied;
    const uint32_t end = address + count;
    uint16_t status = gvcp::kStatusSuccess;
    const bool reached = _WithDevice([&](SimDevice& device) {
        for (uint32_t at = address; at < end && status == gvcp::kStatusSuccess;)
        {
            uint8_t* out = data + (at - address);
            uint32_t n = 0;
            const uint32_t xmlEnd = RegisterMap::kXmlAddress + RegisterMap::kXmlLimit;
            if (at < RegisterMap::kMemoryEnd)
            {
                n = std::min(end, RegisterMap::kMemoryEnd) - at;
                _ReadBootstrap(device, at, n, out);
            }
            else if (at >= RegisterMap::kXmlAddress && at < xmlEnd)
            {
                n = std::min(end, xmlEnd) - at;
                const uint32_t offset = at - RegisterMap::kXmlAddress;
                // The file, then zeros to the end of its region.
                const uint32_t inside = offset < m_xml.size() ? std::min<uint32_t>(n, m_xml.size() - offset) : 0;
                std::memcpy(out, m_xml.data() + offset, inside);
                std::memset(out + inside, 0, n - inside);
            }
            else if (const RegisterMap::Register* r = m_map->At(at))
            {
                n = std::min(end, r->address + r->span) - at;
                status = _ReadRegister(device, *r, at - r->address, n, out);
            }
            else
                status = gvcp::kStatusInvalidAddress;
            at += n;
        }
    });
    return reached ? status : gvcp::kStatusError;
}

uint16_t DeviceAddressSpace::Write(const GvcpPeer& peer, uint32_t address, const uint8_t* data, uint32_t count,
                                   Clock::time_point now, uint32_t& written, uint32_t& completionMs)
{
    written = 0;
    completionMs = 0;
    if (!m_map || count == 0 || !data)
        return gvcp::kStatusInvalidParameter;
    if (uint64_t(address) + count > UINT32_MAX)
        return gvcp::kStatusInvalidAddress;
    const uint32_t end = address + count;
    // Layout, protection and control are checked for the whole message before anything is written.
    for (uint32_t at = address; at < end;)
    {
        if (at < RegisterMap::kMemoryEnd)
        {
            at = std::min(end, RegisterMap::kMemoryEnd);
            continue;
        }
        const RegisterMap::Register* r = m_map->At(at);
        if (!r)
            return at >= RegisterMap::kXmlAddress && at < RegisterMap::kXmlAddress + RegisterMap::kXmlLimit
                       ? gvcp::kStatusWriteProtect
                       : gvcp::kStatusInvalidAddress;
        if (!m_control.MayWrite(peer))
            return gvcp::kStatusAccessDenied;
        at = std::min(end, r->address + r->span);
    }
    uint16_t status = gvcp::kStatusSuccess;
    const bool reached = _WithDevice([&](SimDevice& device) {
        for (uint32_t at = address; at < end && status == gvcp::kStatusSuccess;)
        {
            const uint8_t* in = data + (at - address);
            uint32_t n = 0;
            if (at < RegisterMap::kMemoryEnd)
            {
                n = std::min(end, RegisterMap::kMemoryEnd) - at;
                status = _WriteBootstrap(device, peer, at, in, n, now);
            }
            else
            {
                const RegisterMap::Register* r = m_map->At(at);
                n = std::min(end, r->address + r->span) - at;
                status = _WriteRegister(device, *r, at - r->address, in, n, completionMs);
            }
            if (status == gvcp::kStatusSuccess)
                written += n;
            at += n;
        }
    });
    return reached ? status : gvcp::kStatusError;
}

} // namespace vcam
