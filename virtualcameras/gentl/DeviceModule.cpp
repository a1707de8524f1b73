#include "DeviceModule.h"

#include "ProducerError.h"

namespace vcam::gentl {

namespace {

constexpr const char* kStreamId = "Stream0";

ModulePort::Identity identityOf(const DeviceIdentity& device)
{
    ModulePort::Identity identity;
    identity.id = device.id;
    identity.vendor = "Zorvan Technologies";
    identity.model = "pellix-gentl";
    identity.tlType = device.tlType;
    identity.module = "TLDevice";
    identity.version = "1.0";
    identity.name = "TLDevicePort";
    return identity;
}

int64_t deviceType(const std::string& tlType)
{
    return tlType == "GEV" ? 0 : tlType == "U3V" ? 1 : tlType == "CXP" ? 2 : 3;
}

} // namespace

DeviceModule::DeviceModule(HandleRegistry& registry, std::shared_ptr<Module> parent, DeviceIdentity identity,
                           std::shared_ptr<RemoteDevicePort> remote, std::unique_ptr<DeviceLock> lock)
    : Module(Kind::Device)
    , m_registry(registry)
    , m_parent(std::move(parent))
    , m_identity(std::move(identity))
    , m_remote(std::move(remote))
    , m_lock(std::move(lock))
    , m_nodeMap(identityOf(m_identity), "TLDevice.xml")
{
    const DeviceIdentity& d = m_identity;
    m_nodeMap.AddString("DeviceID", [d] { return d.id; });
    m_nodeMap.AddString("DeviceVendorName", [d] { return d.vendor; });
    m_nodeMap.AddString("DeviceModelName", [d] { return d.model; });
    m_nodeMap.AddString("DeviceSerialNumber", [d] { return d.serial; });
    m_nodeMap.AddString("DeviceVersion", [d] { return d.version; });
    m_nodeMap.AddEnumeration("DeviceType", {{"GigEVision", 0}, {"USB3Vision", 1}, {"CoaXPress", 2}, {"Custom", 3}},
                             [d] { return deviceType(d.tlType); });
    m_nodeMap.AddEnumeration("DeviceAccessStatus",
                             {{"Unknown", 0}, {"ReadWrite", 1}, {"ReadOnly", 2}, {"NoAccess", 3}, {"Busy", 4},
                              {"OpenReadWrite", 5}, {"OpenReadOnly", 6}},
                             [d] { return d.accessStatus; });
}

DeviceModule::~DeviceModule()
{
    Close();
}

void DeviceModule::Close()
{
    std::shared_ptr<StreamModule> stream;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        stream = m_stream.lock();
        m_stream.reset();
    }
    if (stream)
    {
        stream->Close();
        m_registry.Remove(stream->Handle());
    }
    m_registry.Remove(m_remote->Handle());
    if (m_lock)
        m_lock->Release();
}

GC_ERROR DeviceModule::StreamCount(uint32_t* count)
{
    if (!count)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the count");
    *count = 1;
    return GC_ERR_SUCCESS;
}

GC_ERROR DeviceModule::StreamId(uint32_t index, char* id, size_t* size)
{
    if (index != 0)
        return ProducerError::Fail(GC_ERR_INVALID_INDEX, "the camera has one data stream");
    return InfoBuffer::Text(kStreamId, id, size);
}

GC_ERROR DeviceModule::OpenStream(const char* id, DS_HANDLE* handle)
{
    if (!id || !handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no stream id or no place for the handle");
    if (std::string(id) != kStreamId)
        return ProducerError::Fail(GC_ERR_INVALID_ID, std::string("no data stream ") + id);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_stream.expired())
        return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the data stream is open already");
    std::shared_ptr<RemoteDevicePort> remote = m_remote;
    StreamModule::Source source;
    source.take = [remote](StreamModule::Clock::time_point now, grb::sim::SimFrame& frame,
                           StreamModule::Clock::time_point& next) {
        bool taken = false;
        remote->WithDevice([&](grb::sim::SimDevice& device) {
            taken = device.Acquisition().TakeFrame(now, frame);
            next = device.Acquisition().NextDue();
        });
        return taken;
    };
    source.payloadSize = [remote] {
        uint64_t size = 0;
        remote->WithDevice([&](grb::sim::SimDevice& device) { size = device.Acquisition().PayloadSize(); });
        return size;
    };
    auto stream = std::make_shared<StreamModule>(m_registry, Handle(), kStreamId, m_identity.tlType, std::move(source));
    m_registry.Add(stream);
    m_stream = stream;
    *handle = stream->Handle();
    return GC_ERR_SUCCESS;
}

} // namespace vcam::gentl
