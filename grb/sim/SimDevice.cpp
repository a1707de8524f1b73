#include "SimDevice.h"

#include <algorithm>
#include <cstring>

namespace grb::sim {

namespace {

const std::vector<std::string> kUserSetFeatures{"Width", "Height", "PixelFormat", "ExposureTime", "Gain", "ReverseX"};

constexpr int64_t kIndexLimit = 1023;

std::vector<SimEnumEntry> entriesOf(const std::vector<std::string>& names)
{
    std::vector<SimEnumEntry> entries;
    for (size_t i = 0; i < names.size(); ++i)
        entries.push_back({names[i], static_cast<int64_t>(i), true});
    return entries;
}

void putText(std::vector<uint8_t>& memory, uint32_t address, const std::string& text, uint32_t size)
{
    std::memcpy(memory.data() + address, text.data(), std::min<size_t>(text.size(), size - 1));
}

} // namespace

SimDevice::SimDevice(SimCameraConfig config, SimDeviceEvents* events)
    : m_config(std::move(config))
    , m_events(events)
    , m_files(m_config.capacity, m_config.slotNames)
    , m_memory(kMemorySize, 0)
{
    // Moved, not copied: a description may generate files of hundreds of megabytes.
    for (auto& file : m_config.files)
        if (std::vector<uint8_t>* data = m_files.Create(file.selector, file.name))
            *data = std::move(file.data);
    m_config.files.clear();
    m_config.files.shrink_to_fit();

    const bool bigEndian = m_config.transport != GrbTransportLayerU3V;
    for (int i = 0; i < 4; ++i)
    {
        int shift = bigEndian ? 24 - 8 * i : 8 * i;
        m_memory[static_cast<size_t>(i)] = static_cast<uint8_t>(kVersionRegister >> shift);
    }
    putText(m_memory, 0x48, m_config.vendor, 32);
    putText(m_memory, 0x68, m_config.model, 32);
    putText(m_memory, 0xD8, m_config.serial, 16);

    _AddStandardFeatures();
    _AddFileAccessFeatures();
    _AddStreams();
    _ApplyFaults(false);
}

void SimDevice::_ApplyFaults(bool afterReset)
{
    for (const SimFaultConfig& fault : m_config.faults)
    {
        if (fault.kind == SimFaultConfig::Kind::UnplugAfterChunks)
        {
            if (!afterReset)
                m_unplugAfterChunks = static_cast<unsigned>(fault.count);
            continue;
        }
        SimNodeMap* map = fault.stream < 0 ? &m_features
                          : static_cast<size_t>(fault.stream) < m_streams.size()
                              ? &m_streams[static_cast<size_t>(fault.stream)]
                              : nullptr;
        SimFeature* feature = map ? map->Find(fault.feature) : nullptr;
        if (!feature)
            continue;
        if (fault.kind == SimFaultConfig::Kind::CommandDelay)
            feature->commandDelayMs = fault.delayMs;
        else if (fault.kind == SimFaultConfig::Kind::ShortRead)
            feature->rawReadLimit = static_cast<uint32_t>(fault.count);
        else if (fault.kind == SimFaultConfig::Kind::FailAccess && !afterReset)
        {
            feature->failOnAccess = static_cast<uint64_t>(fault.count);
            feature->failCode = fault.code;
        }
    }
}

std::string SimDevice::Firmware() const
{
    return m_config.firmware;
}

void SimDevice::_AddStandardFeatures()
{
    SimNodeMap& f = m_features;
    f.AddString("DeviceVendorName", m_config.vendor).writable = false;
    f.AddString("DeviceModelName", m_config.model).writable = false;
    f.AddString("DeviceManufacturerInfo", m_config.firmware).writable = false;
    f.AddString("DeviceSerialNumber", m_config.serial).writable = false;
    f.AddString("DeviceUserID", m_config.name, 16);
    f.AddString("DeviceFirmwareVersion", m_config.firmware).writable = false;
    f.AddFloat("DeviceTemperature", 41.5, -40.0, 125.0).writable = false;
    m_acquisition.AddFeatures(f);
    f.AddFloat("ExposureTime", 5000.0, 10.0, 1000000.0);
    f.AddFloat("Gain", 0.0, 0.0, 24.0, 0.1);
    f.AddBool("ReverseX", false);

    f.AddEnum("UserSetSelector", entriesOf({"Default", "UserSet1", "UserSet2"}), 0);
    f.AddCommand("UserSetSave").onCommand = [this](SimFeature&) -> GrbErrorType {
        int64_t set = m_features.Find("UserSetSelector")->enumValue;
        if (set == 0)
            return GrbErrorInvalidAccess; // the factory set is read-only
        auto& saved = m_userSets[set];
        for (const auto& name : kUserSetFeatures)
            if (SimFeature* feature = m_features.Find(name))
                saved[name] = *feature;
        return GrbErrorSuccess;
    };
    f.AddCommand("UserSetLoad").onCommand = [this](SimFeature&) -> GrbErrorType {
        int64_t set = m_features.Find("UserSetSelector")->enumValue;
        auto it = m_userSets.find(set);
        if (it == m_userSets.end())
            return set == 0 ? GrbErrorSuccess : GrbErrorNotFound;
        for (const auto& [name, value] : it->second)
            if (SimFeature* feature = m_features.Find(name))
            {
                feature->intValue = value.intValue;
                feature->floatValue = value.floatValue;
                feature->boolValue = value.boolValue;
                feature->enumValue = value.enumValue;
            }
        return GrbErrorSuccess;
    };
    f.AddCommand("DeviceReset").onCommand = [this](SimFeature&) -> GrbErrorType {
        m_events->DeviceResetting(*this);
        return GrbErrorSuccess;
    };
}

void SimDevice::_AddFileAccessFeatures()
{
    SimNodeMap& f = m_features;
    f.AddEnum("FileSelector", entriesOf(m_files.SelectorEntries()), 0);
    f.AddEnum("FileOperationSelector", entriesOf({"Open", "Close", "Read", "Write", "Delete"}), 0);
    f.AddEnum("FileOpenMode", entriesOf({"Read", "Write", "ReadWrite"}), 0);
    f.AddCommand("FileOperationExecute").onCommand = [this](SimFeature&) -> GrbErrorType { return _ExecuteFileOperation(); };
    f.AddInt("FileAccessOffset", 0, 0, INT32_MAX);
    SimFeature& length = f.AddInt("FileAccessLength", m_config.bufferSize, 0, m_config.bufferSize);
    length.writable = m_config.accessLengthWritable;
    if (m_config.bufferFollowsLength)
        length.afterWrite = [this](SimFeature& feature) -> GrbErrorType {
            if (SimFeature* buffer = m_features.Find("FileAccessBuffer"))
                buffer->raw.resize(static_cast<size_t>(feature.intValue));
            return GrbErrorSuccess;
        };
    f.AddRaw("FileAccessBuffer", m_config.bufferSize);
    f.AddEnum("FileOperationStatus", entriesOf({"Success", "Failure"}), 0).writable = false;
    f.AddInt("FileOperationResult", 0, 0, INT64_MAX).writable = false;

    f.AddString("Filename", "");
    f.AddInt("FilenameIndex", 0, 0, kIndexLimit).afterWrite = [this](SimFeature& index) -> GrbErrorType {
        std::vector<std::string> names = m_files.Names(_EnumText("FileSelector"));
        if (index.intValue >= static_cast<int64_t>(names.size()))
            return GrbErrorInvalidValue;
        m_features.Store("Filename", names[static_cast<size_t>(index.intValue)]);
        return GrbErrorSuccess;
    };
    SimFeature& count = f.AddInt("FilenameCount", 0, 0, kIndexLimit + 1);
    count.writable = false;
    count.beforeRead = [this](SimFeature& feature) -> GrbErrorType {
        feature.intValue = static_cast<int64_t>(m_files.Names(_EnumText("FileSelector")).size());
        return GrbErrorSuccess;
    };
    SimFeature& size = f.AddInt("FileSize", 0, 0, INT64_MAX);
    size.writable = false;
    size.beforeRead = [this](SimFeature& feature) -> GrbErrorType {
        SimFeature* name = m_features.Find("Filename");
        std::vector<uint8_t>* data = m_files.Find(_EnumText("FileSelector"), name ? name->stringValue : "");
        feature.intValue = data ? static_cast<int64_t>(data->size()) : 0;
        return GrbErrorSuccess;
    };
    SimFeature& free = f.AddInt("FilesystemFreeSize", 0, 0, INT64_MAX);
    free.writable = false;
    free.beforeRead = [this](SimFeature& feature) -> GrbErrorType {
        feature.intValue = static_cast<int64_t>(m_files.Free());
        return GrbErrorSuccess;
    };

    for (const auto& name : m_config.without)
        f.Remove(name);
    for (const auto& extra : m_config.extraFeatures)
    {
        f.AddBool(extra.name, false); // reserves the name and its place in the order
        *f.Find(extra.name) = extra;
    }
}

void SimDevice::_AddStreams()
{
    m_streams.clear();
    m_streams.emplace_back();
    if (m_config.transport != GrbTransportLayerGEV)
        return;
    SimNodeMap& stream = m_streams.front();
    stream.AddEnum("GVSPProtocol", {{"UDP", 0, true}, {"TCP", 1, true}}, m_config.streamProtocol == "TCP" ? 1 : 0);
    stream.AddInt("GVSPPacketSize", 1500, 576, 9000, 4);
    stream.AddCommand("GVSPAdjustPacketSize").onCommand = [this](SimFeature&) -> GrbErrorType {
        m_streams.front().Store("GVSPPacketSize", int64_t{9000});
        return GrbErrorSuccess;
    };
}

GrbErrorType SimDevice::ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size)
{
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    if (GrbErrorType err = _CheckMemoryRange(address, size))
        return err;
    std::memcpy(buffer, m_memory.data() + address, size);
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size)
{
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    if (GrbErrorType err = _CheckMemoryRange(address, size))
        return err;
    std::memcpy(m_memory.data() + address, buffer, size);
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::_CheckMemoryRange(uint64_t address, uint32_t size) const
{
    // As over the real transports: a range the transport cannot address at all (GigE
    // Vision addresses are 32 bits wide) is a bad parameter, one the device does not map
    // an invalid value.
    const uint64_t space = m_config.transport == GrbTransportLayerGEV ? uint64_t(1) << 32 : ~uint64_t(0);
    if (address > space - size)
        return GrbErrorBadParameter;
    if (address > kMemorySize || size > kMemorySize - address)
        return GrbErrorInvalidValue;
    return GrbErrorSuccess;
}

void SimDevice::CompleteReset()
{
    if (!m_pendingFirmware.empty())
        m_config.firmware = m_pendingFirmware;
    m_pendingFirmware.clear();
    m_firmwareImage.clear();
    m_fileOpen = false;
    m_unplugAfterChunks = 0;
    m_acquisition.Reset();
    m_features = SimNodeMap();
    _AddStandardFeatures();
    _AddFileAccessFeatures();
    _AddStreams();
    _ApplyFaults(true);
}

void SimDevice::UnplugAfterChunks(unsigned chunks)
{
    m_unplugAfterChunks = chunks;
}

std::string SimDevice::_EnumText(const std::string& name)
{
    SimFeature* f = m_features.Find(name);
    if (!f)
        return {};
    for (const auto& e : f->entries)
        if (e.value == f->enumValue)
            return e.name;
    return {};
}

GrbErrorType SimDevice::_ExecuteFileOperation()
{
    const std::string op = _EnumText("FileOperationSelector");
    SimFeature* filename = m_features.Find("Filename");
    const std::string name = filename ? filename->stringValue : std::string();
    SimFeature* offset = m_features.Find("FileAccessOffset");
    SimFeature* length = m_features.Find("FileAccessLength");

    uint64_t done = 0;
    GrbErrorType err = GrbErrorInvalidCall;
    if (op == "Open")
        err = _Open(_EnumText("FileSelector"), name, _EnumText("FileOpenMode"));
    else if (op == "Read" && offset && length)
        err = _Read(static_cast<uint64_t>(offset->intValue), static_cast<uint64_t>(length->intValue), done);
    else if (op == "Write" && offset && length)
        err = _Write(static_cast<uint64_t>(offset->intValue), static_cast<uint64_t>(length->intValue), done);
    else if (op == "Close")
        err = _Close();
    else if (op == "Delete")
        err = _Delete(_EnumText("FileSelector"), name);

    m_features.Store("FileOperationStatus", int64_t{err == GrbErrorSuccess ? 0 : 1});
    m_features.Store("FileOperationResult", static_cast<int64_t>(done));
    if (err == GrbErrorSuccess && (op == "Read" || op == "Write"))
        _CountChunk();
    return err;
}

GrbErrorType SimDevice::_Open(const std::string& selector, const std::string& name, const std::string& mode)
{
    if (m_fileOpen)
        return GrbErrorInvalidCall;
    const bool write = mode != "Read";
    if (selector == SimFileSystem::kFirmware)
    {
        if (mode != "Write")
            return GrbErrorInvalidAccess;
        m_firmwareImage.clear();
    }
    else if (selector != SimFileSystem::kUserfile && !m_files.IsSlot(selector))
        return GrbErrorNotFound;
    else if (selector == SimFileSystem::kUserfile && name.empty())
        return GrbErrorInvalidValue;
    else if (mode == "Write")
        m_files.Create(selector, name);
    else if (!m_files.Find(selector, name))
    {
        if (!write)
            return GrbErrorNotFound;
        m_files.Create(selector, name);
    }
    m_fileOpen = true;
    m_openSelector = selector;
    m_openName = name;
    m_openMode = mode;
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::_Read(uint64_t offset, uint64_t length, uint64_t& done)
{
    if (!m_fileOpen || m_openMode == "Write")
        return GrbErrorInvalidCall;
    std::vector<uint8_t>* data = m_files.Find(m_openSelector, m_openName);
    SimFeature* buffer = m_features.Find("FileAccessBuffer");
    if (!data || !buffer)
        return GrbErrorNotFound;
    if (length > buffer->raw.size())
        return GrbErrorInvalidValue;
    if (offset > data->size() || (length > 0 && offset == data->size()))
        return GrbErrorInvalidValue; // past the end
    done = std::min<uint64_t>(length, data->size() - offset);
    std::memcpy(buffer->raw.data(), data->data() + offset, done);
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::_Write(uint64_t offset, uint64_t length, uint64_t& done)
{
    if (!m_fileOpen || m_openMode == "Read")
        return GrbErrorInvalidCall;
    SimFeature* buffer = m_features.Find("FileAccessBuffer");
    std::vector<uint8_t>* data = m_openSelector == SimFileSystem::kFirmware
                                     ? &m_firmwareImage
                                     : m_files.Find(m_openSelector, m_openName);
    if (!data || !buffer)
        return GrbErrorNotFound;
    // With a read-only length the device writes what the client last put in the buffer.
    if (!m_config.accessLengthWritable)
        length = std::min<uint64_t>(length, buffer->rawWritten);
    if (length > buffer->raw.size() || offset > data->size())
        return GrbErrorInvalidValue;
    uint64_t end = offset + length;
    if (m_openSelector != SimFileSystem::kFirmware && end > data->size() && end - data->size() > m_files.Free())
        return GrbErrorResources; // file system full
    if (end > data->size())
        data->resize(end);
    std::memcpy(data->data() + offset, buffer->raw.data(), length);
    done = length;
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::_Close()
{
    if (!m_fileOpen)
        return GrbErrorInvalidCall;
    m_fileOpen = false;
    if (m_openSelector != SimFileSystem::kFirmware)
        return GrbErrorSuccess;

    // An image is accepted when it starts with the magic and a one-line version text.
    std::string image(m_firmwareImage.begin(), m_firmwareImage.begin() + std::min<size_t>(m_firmwareImage.size(), 256));
    m_firmwareImage.clear();
    const size_t magic = std::strlen(kFirmwareMagic);
    size_t eol = image.find('\n');
    if (image.compare(0, magic, kFirmwareMagic) != 0 || eol == std::string::npos || eol <= magic)
        return GrbErrorInvalidValue;
    std::string version = image.substr(magic, eol - magic);
    if (!version.empty() && version.back() == '\r')
        version.pop_back();
    if (version.empty() || version.size() > 64)
        return GrbErrorInvalidValue;
    m_pendingFirmware = version;
    return GrbErrorSuccess;
}

GrbErrorType SimDevice::_Delete(const std::string& selector, const std::string& name)
{
    if (selector == SimFileSystem::kFirmware)
        return GrbErrorInvalidAccess;
    if (m_fileOpen && m_openSelector == selector && (m_openName == name || selector != SimFileSystem::kUserfile))
        return GrbErrorInvalidCall;
    return m_files.Remove(selector, name) ? GrbErrorSuccess : GrbErrorNotFound;
}

void SimDevice::_CountChunk()
{
    if (m_unplugAfterChunks == 0)
        return;
    if (--m_unplugAfterChunks == 0)
        m_events->DeviceLeft(*this);
}

} // namespace grb::sim
