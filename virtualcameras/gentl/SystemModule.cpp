#include "SystemModule.h"

#include "ProducerError.h"

#include <dlfcn.h>

#include <algorithm>

namespace vcam::gentl {

namespace {

constexpr const char* kVendor = "Zorvan Technologies";
constexpr const char* kModel = "Pellix GenTL Simulator";
constexpr const char* kVersion = "1.0.0";

std::string libraryPath()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&SystemModule::LibraryInfo), &info) == 0 || !info.dli_fname)
        return std::string();
    return info.dli_fname;
}

std::string fileName(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

ModulePort::Identity identity()
{
    ModulePort::Identity identity;
    identity.id = "pellix-gentl";
    identity.vendor = kVendor;
    identity.model = "pellix-gentl";
    identity.tlType = "Mixed";
    identity.module = "TLSystem";
    identity.version = kVersion;
    identity.name = "TLSystemPort";
    return identity;
}

} // namespace

SystemModule::SystemModule(HandleRegistry& registry, ProducerSettings settings)
    : Module(Kind::System)
    , m_registry(registry)
    , m_settings(std::move(settings))
    , m_nodeMap(identity(), "TLSystem.xml")
{
    m_nodeMap.AddString("TLID", [] { return std::string("pellix-gentl"); });
    m_nodeMap.AddString("TLVendorName", [] { return std::string(kVendor); });
    m_nodeMap.AddString("TLModelName", [] { return std::string(kModel); });
    m_nodeMap.AddString("TLVersion", [] { return std::string(kVersion); });
    m_nodeMap.AddString("TLPath", [] { return libraryPath(); });
    m_nodeMap.AddString("TLType", [] { return std::string("Mixed"); });
    m_nodeMap.AddInteger("GenTLVersionMajor", [] { return GENTL_VERSION_MAJOR; });
    m_nodeMap.AddInteger("GenTLVersionMinor", [] { return GENTL_VERSION_MINOR; });
    m_nodeMap.AddCommand("InterfaceUpdateList", [this] { return UpdateInterfaceList(nullptr); });
    m_nodeMap.AddInteger(
        "InterfaceSelector",
        [this] {
            std::lock_guard<std::mutex> lock(m_mutex);
            return m_selected;
        },
        [this](int64_t value) -> GC_ERROR {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (value < 0 || size_t(value) >= (m_listed ? m_links.size() : 0))
                return ProducerError::Fail(GC_ERR_INVALID_VALUE, "no interface with that index");
            m_selected = value;
            return GC_ERR_SUCCESS;
        });
    m_nodeMap.AddString("InterfaceID", [this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_listed && size_t(m_selected) < m_links.size() ? m_links[size_t(m_selected)].id : std::string();
    });
}

SystemModule::~SystemModule()
{
    Close();
}

bool SystemModule::Start(std::string& error)
{
    std::vector<grb::sim::SimCameraConfig> cameras = m_settings.Cameras();
    for (const auto& camera : cameras)
    {
        const std::string tlType = DeviceIdentity::TlTypeOf(camera.transport);
        auto link = std::find_if(m_links.begin(), m_links.end(), [&](const Link& l) { return l.id == camera.interfaceId; });
        if (link == m_links.end())
            m_links.push_back({camera.interfaceId, tlType});
        else if (link->tlType != tlType)
            link->tlType = "Mixed";
    }
    m_world = std::make_shared<grb::sim::SimWorld>(std::move(cameras));
    m_world->SetListObserver([this](const grb::sim::SimWorld::Change& change) {
        if (change.kind == grb::sim::SimWorld::Change::Left)
            _DeviceLeft(change.device.extendedId);
    });
    (void)error;
    return true;
}

void SystemModule::_DeviceLeft(const std::string& extendedId)
{
    std::shared_ptr<DeviceModule> device;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_devices.find(extendedId);
        if (it != m_devices.end())
            device = it->second.lock();
    }
    if (device)
        device->MarkLost();
}

void SystemModule::Close()
{
    std::vector<std::shared_ptr<InterfaceModule>> interfaces;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& item : m_interfaces)
            if (auto iface = item.second.lock())
                interfaces.push_back(std::move(iface));
        m_interfaces.clear();
    }
    for (const auto& iface : interfaces)
        CloseInterface(*iface);
    if (m_world)
        m_world->SetListObserver(nullptr);
}

GC_ERROR SystemModule::LibraryInfo(TL_INFO_CMD command, InfoBuffer& out)
{
    switch (command)
    {
    case TL_INFO_ID:
        return out.Put("pellix-gentl");
    case TL_INFO_VENDOR:
        return out.Put(kVendor);
    case TL_INFO_MODEL:
    case TL_INFO_DISPLAYNAME:
        return out.Put(kModel);
    case TL_INFO_VERSION:
        return out.Put(kVersion);
    case TL_INFO_TLTYPE:
        return out.Put("Mixed");
    case TL_INFO_NAME:
        return out.Put(fileName(libraryPath()));
    case TL_INFO_PATHNAME:
        return out.Put(libraryPath());
    case TL_INFO_CHAR_ENCODING:
        return out.PutInt32(TL_CHAR_ENCODING_UTF8);
    case TL_INFO_GENTL_VER_MAJOR:
        return out.PutUint32(GENTL_VERSION_MAJOR);
    case TL_INFO_GENTL_VER_MINOR:
        return out.PutUint32(GENTL_VERSION_MINOR);
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown system info command");
    }
}

GC_ERROR SystemModule::InterfaceAnswer(const std::string& id, const std::string& tlType, INTERFACE_INFO_CMD command,
                                       InfoBuffer& out)
{
    switch (command)
    {
    case INTERFACE_INFO_ID:
        return out.Put(id);
    case INTERFACE_INFO_DISPLAYNAME:
        return out.Put("Simulated link " + id);
    case INTERFACE_INFO_TLTYPE:
        return out.Put(tlType);
    default:
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "unknown interface info command");
    }
}

GC_ERROR SystemModule::UpdateInterfaceList(bool8_t* changed)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    // The links are the grabber's own: they are all there from the first look on.
    if (changed)
        *changed = m_listed ? 0 : 1;
    m_listed = true;
    return GC_ERR_SUCCESS;
}

GC_ERROR SystemModule::InterfaceCount(uint32_t* count)
{
    if (!count)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the count");
    std::lock_guard<std::mutex> lock(m_mutex);
    *count = m_listed ? static_cast<uint32_t>(m_links.size()) : 0;
    return GC_ERR_SUCCESS;
}

GC_ERROR SystemModule::InterfaceId(uint32_t index, char* id, size_t* size)
{
    std::string text;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_listed || index >= m_links.size())
            return ProducerError::Fail(GC_ERR_INVALID_INDEX, "no interface with that index");
        text = m_links[index].id;
    }
    return InfoBuffer::Text(text, id, size);
}

const SystemModule::Link* SystemModule::_Link(const std::string& id) const
{
    for (const Link& link : m_links)
        if (link.id == id)
            return &link;
    return nullptr;
}

GC_ERROR SystemModule::InterfaceInfo(const char* id, INTERFACE_INFO_CMD command, InfoBuffer& out)
{
    const Link* link = id ? _Link(id) : nullptr;
    if (!link)
        return ProducerError::Fail(GC_ERR_INVALID_ID, std::string("no interface ") + (id ? id : "(null)"));
    return InterfaceAnswer(link->id, link->tlType, command, out);
}

GC_ERROR SystemModule::OpenInterface(const char* id, IF_HANDLE* handle)
{
    if (!handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the handle");
    const Link* link = id ? _Link(id) : nullptr;
    if (!link)
        return ProducerError::Fail(GC_ERR_INVALID_ID, std::string("no interface ") + (id ? id : "(null)"));
    std::shared_ptr<InterfaceModule> iface;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_interfaces[link->id].expired())
            return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the interface is open already");
        iface = std::make_shared<InterfaceModule>(std::static_pointer_cast<SystemModule>(shared_from_this()), link->id,
                                                  link->tlType);
        m_interfaces[link->id] = iface;
    }
    m_registry.Add(iface);
    *handle = iface->Handle();
    return GC_ERR_SUCCESS;
}

void SystemModule::CloseInterface(InterfaceModule& iface)
{
    std::vector<std::shared_ptr<DeviceModule>> devices;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& item : m_devices)
            if (auto device = item.second.lock(); device && device->ParentHandle() == iface.Handle())
                devices.push_back(std::move(device));
    }
    for (const auto& device : devices)
        CloseDevice(*device);
    m_registry.Remove(iface.Handle());
}

GC_ERROR SystemModule::Devices(const std::string& interfaceId, std::vector<DeviceIdentity>& devices)
{
    std::vector<grb::DeviceRecord> records;
    if (m_world->Enumerate(records) != GrbErrorSuccess)
        return ProducerError::Fail(GC_ERR_IO, "the link could not be searched");
    devices.clear();
    for (const auto& record : records)
    {
        if (record.interfaceId != interfaceId)
            continue;
        std::string vendor;
        for (const auto& camera : m_settings.Cameras())
            if (camera.extendedId == record.extendedId)
                vendor = camera.vendor;
        DeviceIdentity device = DeviceIdentity::Of(record, vendor, m_world->Firmware(record.extendedId));
        if (!(record.permittedAccess & GrbAccessModeFull) ||
            DeviceLock::HeldElsewhere(m_settings.Key() + '\n' + record.extendedId))
            device.accessStatus = DEVICE_ACCESS_STATUS_BUSY;
        else
            device.accessStatus = DEVICE_ACCESS_STATUS_READWRITE;
        OwnAccess(device);
        devices.push_back(std::move(device));
    }
    return GC_ERR_SUCCESS;
}

void SystemModule::OwnAccess(DeviceIdentity& device)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_devices.find(device.extendedId);
    if (std::shared_ptr<DeviceModule> open = it == m_devices.end() ? nullptr : it->second.lock())
        device.accessStatus = open->Identity().accessStatus;
}

GC_ERROR SystemModule::OpenDevice(std::shared_ptr<Module> parent, const DeviceIdentity& identity, bool control,
                                  DEV_HANDLE* handle)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_devices[identity.extendedId].expired() || !m_opening.insert(identity.extendedId).second)
            return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the device is open already");
    }
    // The world is asked outside the lock: a camera leaving reports back into this module.
    std::shared_ptr<DeviceModule> device;
    const GC_ERROR err = _Open(std::move(parent), identity, control, device);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_opening.erase(identity.extendedId);
    if (err != GC_ERR_SUCCESS)
        return err;
    m_devices[identity.extendedId] = device;
    m_registry.Add(device);
    *handle = device->Handle();
    return GC_ERR_SUCCESS;
}

GC_ERROR SystemModule::_Open(std::shared_ptr<Module> parent, const DeviceIdentity& identity, bool control,
                             std::shared_ptr<DeviceModule>& device)
{
    std::vector<grb::DeviceRecord> records;
    m_world->Enumerate(records);
    auto record = std::find_if(records.begin(), records.end(),
                               [&](const grb::DeviceRecord& r) { return r.extendedId == identity.extendedId; });
    if (record == records.end())
        return ProducerError::Fail(GC_ERR_INVALID_ID, "the camera " + identity.id + " is not on the link now");
    if (control && !(record->permittedAccess & GrbAccessModeFull))
        return ProducerError::Fail(GC_ERR_ACCESS_DENIED, "another application controls the camera " + identity.id);
    auto deviceLock = std::make_unique<DeviceLock>();
    if (control && !deviceLock->Take(m_settings.Key() + '\n' + identity.extendedId))
        return ProducerError::Fail(GC_ERR_ACCESS_DENIED, "another process controls the camera " + identity.id);

    ModulePort::Identity port;
    port.id = identity.id;
    port.vendor = identity.vendor;
    port.model = identity.model;
    port.tlType = identity.tlType;
    port.module = "Device";
    port.version = identity.version;
    port.name = "Device";
    port.littleEndian = identity.tlType == "U3V";
    auto remote = std::make_shared<RemoteDevicePort>(m_world, identity.extendedId,
                                                     port.littleEndian ? ByteOrder::Little : ByteOrder::Big, port,
                                                     control);
    std::string error;
    if (!remote->Build(error))
        return ProducerError::Fail(GC_ERR_IO, "the camera " + identity.id + " did not open: " + error);
    DeviceIdentity opened = identity;
    opened.accessStatus = control ? DEVICE_ACCESS_STATUS_OPEN_READWRITE : DEVICE_ACCESS_STATUS_OPEN_READONLY;
    device = std::make_shared<DeviceModule>(m_registry, std::move(parent), opened, remote,
                                            control ? std::move(deviceLock) : nullptr);
    m_registry.Add(remote);
    return GC_ERR_SUCCESS;
}

void SystemModule::CloseDevice(DeviceModule& device)
{
    device.Close();
    m_registry.Remove(device.Handle());
}

} // namespace vcam::gentl
