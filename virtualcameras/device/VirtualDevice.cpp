#include "VirtualDevice.h"

#include "DeviceStatus.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vcam {

namespace {

using grb::sim::SimDevice;
using grb::sim::SimFeature;

static_assert(RegisterMap::kMemoryEnd == SimDevice::kMemorySize, "bootstrap registers lie in device memory");

constexpr uint64_t kXmlEnd = uint64_t(RegisterMap::kXmlAddress) + RegisterMap::kXmlLimit;

// A raw feature's length now: no more than its register holds.
uint32_t rawLength(grb::sim::SimNodeMap& features, const std::string& name, uint32_t registerLength)
{
    const SimFeature* f = features.Find(name);
    return f ? static_cast<uint32_t>(std::min<size_t>(f->raw.size(), registerLength)) : registerLength;
}

std::string hexNumber(uint64_t value)
{
    char text[24];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
    return text;
}

} // namespace

VirtualDevice::VirtualDevice(std::shared_ptr<grb::sim::SimWorld> world, std::string camera, ByteOrder order)
    : m_world(std::move(world))
    , m_camera(std::move(camera))
    , m_order(order)
{
}

VirtualDevice::~VirtualDevice()
{
    if (m_open)
        m_world->Close(m_index, m_generation);
}

bool VirtualDevice::Build(const std::string& xmlName, const GenICamXml::TransportNodes& transport, std::string& error)
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
    const bool built = WithDevice([&](SimDevice& device) {
        const std::vector<const SimFeature*> features = device.Features().Features();
        m_map = std::make_unique<RegisterMap>(features);
        m_xml = GenICamXml::Generate(device.Config(), *m_map, features, m_order, transport);
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
    m_url = "Local:" + xmlName + ";" + hexNumber(RegisterMap::kXmlAddress) + ";" + hexNumber(m_xml.size());
    return true;
}

bool VirtualDevice::Present()
{
    return !m_extendedId.empty() && m_world->IsPresent(m_extendedId);
}

bool VirtualDevice::WithDevice(const std::function<void(SimDevice&)>& f)
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

uint16_t VirtualDevice::Read(SimDevice& device, uint64_t address, uint32_t count, uint8_t* data)
{
    if (!m_map || !data || count == 0 || !Owns(address))
        return status::kInvalidParameter;
    const uint64_t end = address + count;
    uint16_t result = status::kSuccess;
    for (uint64_t at = address; at < end && result == status::kSuccess;)
    {
        uint8_t* out = data + (at - address);
        uint32_t n = 0;
        if (at >= RegisterMap::kXmlAddress && at < kXmlEnd)
        {
            n = static_cast<uint32_t>(std::min(end, kXmlEnd) - at);
            const uint64_t offset = at - RegisterMap::kXmlAddress;
            // The file, then zeros to the end of its region.
            const uint32_t inside = offset < m_xml.size() ? static_cast<uint32_t>(std::min<uint64_t>(n, m_xml.size() - offset)) : 0;
            std::memcpy(out, m_xml.data() + offset, inside);
            std::memset(out + inside, 0, n - inside);
        }
        else if (const RegisterMap::Register* r = m_map->At(at))
        {
            n = static_cast<uint32_t>(std::min<uint64_t>(end, uint64_t(r->address) + r->span) - at);
            result = _ReadRegister(device, *r, static_cast<uint32_t>(at - r->address), n, out);
        }
        else
            result = status::kInvalidAddress;
        at += n;
    }
    return result;
}

uint16_t VirtualDevice::CheckWrite(uint64_t address, uint32_t count) const
{
    if (!m_map || count == 0 || !Owns(address))
        return status::kInvalidParameter;
    const uint64_t end = address + count;
    for (uint64_t at = address; at < end;)
    {
        const RegisterMap::Register* r = m_map->At(at);
        if (!r)
            return at >= RegisterMap::kXmlAddress && at < kXmlEnd ? status::kWriteProtect : status::kInvalidAddress;
        at = std::min<uint64_t>(end, uint64_t(r->address) + r->span);
    }
    return status::kSuccess;
}

uint16_t VirtualDevice::Write(SimDevice& device, uint64_t address, const uint8_t* data, uint32_t count,
                              uint32_t& written, uint32_t& completionMs)
{
    written = 0;
    completionMs = 0;
    if (!data)
        return status::kInvalidParameter;
    if (uint16_t result = CheckWrite(address, count))
        return result;
    const uint64_t end = address + count;
    uint16_t result = status::kSuccess;
    for (uint64_t at = address; at < end && result == status::kSuccess;)
    {
        const RegisterMap::Register* r = m_map->At(at);
        const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(end, uint64_t(r->address) + r->span) - at);
        uint32_t completion = 0;
        result = _WriteRegister(device, *r, static_cast<uint32_t>(at - r->address), data + (at - address), n,
                                completion);
        completionMs = std::max(completionMs, completion);
        if (result == status::kSuccess)
            written += n;
        at += n;
    }
    return result;
}

uint16_t VirtualDevice::_ReadRegister(SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                                      uint32_t count, uint8_t* data)
{
    grb::sim::SimNodeMap& features = device.Features();
    const std::string& name = r.feature;
    if (!r.readable)
        return status::kInvalidAddress;
    if (r.type == GrbFeatureDataRaw)
    {
        // The part past the feature's length is padding: to a whole word, or, for a buffer
        // as long as the last transfer length, to the register's full extent.
        const uint32_t length = rawLength(features, name, r.length);
        const uint32_t inside = offset < length ? std::min(count, length - offset) : 0;
        std::memset(data + inside, 0, count - inside);
        return inside ? StatusOf(features.GetRawPart(name, offset, data, inside)) : status::kSuccess;
    }
    std::vector<uint8_t> value(r.span, 0);
    GrbErrorType err = GrbErrorSuccess;
    switch (r.type)
    {
    case GrbFeatureDataInt: {
        int64_t v = 0;
        err = features.GetInt(name, v);
        PutUint(value.data(), static_cast<uint64_t>(v), 8, m_order);
        break;
    }
    case GrbFeatureDataFloat: {
        double v = 0.0;
        err = features.GetFloat(name, v);
        uint64_t bits = 0;
        std::memcpy(&bits, &v, sizeof bits);
        PutUint(value.data(), bits, 8, m_order);
        break;
    }
    case GrbFeatureDataBool: {
        bool v = false;
        err = features.GetBool(name, v);
        PutUint(value.data(), v ? 1 : 0, 4, m_order);
        break;
    }
    case GrbFeatureDataEnum: {
        int64_t v = 0;
        err = features.GetEnumInt(name, v);
        PutUint(value.data(), static_cast<uint64_t>(v), 8, m_order);
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
        PutUint(value.data(), done ? 0 : RegisterMap::kCommandValue, 4, m_order);
        break;
    }
    default:
        err = GrbErrorWrongType;
        break;
    }
    if (err != GrbErrorSuccess)
        return StatusOf(err);
    std::memcpy(data, value.data() + offset, count);
    return status::kSuccess;
}

uint16_t VirtualDevice::_WriteRegister(SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                                       const uint8_t* data, uint32_t count, uint32_t& completionMs)
{
    grb::sim::SimNodeMap& features = device.Features();
    const std::string& name = r.feature;
    if (!r.writable)
        return status::kWriteProtect;
    if (r.type == GrbFeatureDataRaw)
    {
        const uint32_t length = rawLength(features, name, r.length);
        const uint32_t inside = offset < length ? std::min(count, length - offset) : 0;
        return inside ? StatusOf(features.SetRawPart(name, offset, data, inside)) : status::kSuccess;
    }
    // Any other register is written whole, in one message: its length, or, where the
    // transport rounds lengths up to words (GigE Vision), its span.
    if (offset != 0 || (count != r.length && count != r.span))
        return status::kInvalidParameter;
    GrbErrorType err = GrbErrorSuccess;
    switch (r.type)
    {
    case GrbFeatureDataInt:
        err = features.SetInt(name, static_cast<int64_t>(GetUint(data, 8, m_order)));
        break;
    case GrbFeatureDataFloat: {
        const uint64_t bits = GetUint(data, 8, m_order);
        double v = 0.0;
        std::memcpy(&v, &bits, sizeof v);
        err = features.SetFloat(name, v);
        break;
    }
    case GrbFeatureDataBool: {
        const uint64_t v = GetUint(data, 4, m_order);
        if (v > 1)
            return status::kInvalidParameter;
        err = features.SetBool(name, v == 1);
        break;
    }
    case GrbFeatureDataEnum:
        err = features.SetEnumInt(name, static_cast<int64_t>(GetUint(data, 8, m_order)));
        break;
    case GrbFeatureDataString: {
        const uint8_t* zero = std::find(data, data + r.length, uint8_t(0));
        err = features.SetString(name, std::string(data, zero));
        break;
    }
    case GrbFeatureDataCommand: {
        const uint64_t v = GetUint(data, 4, m_order);
        if (v == 0)
            return status::kSuccess;
        if (v != RegisterMap::kCommandValue)
            return status::kInvalidParameter;
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
    return StatusOf(err);
}

} // namespace vcam
