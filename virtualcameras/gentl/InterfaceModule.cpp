#include "InterfaceModule.h"

#include "ProducerError.h"
#include "SystemModule.h"

#include <algorithm>

namespace vcam::gentl {

namespace {

ModulePort::Identity identityOf(const std::string& id, const std::string& tlType)
{
    ModulePort::Identity identity;
    identity.id = id;
    identity.vendor = "Zorvan Technologies";
    identity.model = "pellix-gentl";
    identity.tlType = tlType;
    identity.module = "TLInterface";
    identity.version = "1.0";
    identity.name = "TLInterfacePort";
    return identity;
}

} // namespace

InterfaceModule::InterfaceModule(std::shared_ptr<SystemModule> system, std::string id, std::string tlType)
    : Module(Kind::Interface)
    , m_system(std::move(system))
    , m_id(std::move(id))
    , m_tlType(std::move(tlType))
    , m_nodeMap(identityOf(m_id, m_tlType), "TLInterface.xml")
{
    auto selected = [this](std::string DeviceIdentity::*field) {
        return [this, field] {
            std::lock_guard<std::mutex> lock(m_mutex);
            return m_selected >= 0 && size_t(m_selected) < m_devices.size() ? m_devices[size_t(m_selected)].*field
                                                                             : std::string();
        };
    };
    m_nodeMap.AddString("InterfaceID", [this] { return m_id; });
    m_nodeMap.AddString("InterfaceType", [this] { return m_tlType; });
    m_nodeMap.AddCommand("DeviceUpdateList", [this] { return UpdateDeviceList(nullptr); });
    m_nodeMap.AddInteger(
        "DeviceSelector",
        [this] {
            std::lock_guard<std::mutex> lock(m_mutex);
            return m_selected;
        },
        [this](int64_t value) -> GC_ERROR {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (value < 0 || size_t(value) >= m_devices.size())
                return ProducerError::Fail(GC_ERR_INVALID_VALUE, "no device with that index");
            m_selected = value;
            return GC_ERR_SUCCESS;
        });
    m_nodeMap.AddString("DeviceID", selected(&DeviceIdentity::id));
    m_nodeMap.AddString("DeviceVendorName", selected(&DeviceIdentity::vendor));
    m_nodeMap.AddString("DeviceModelName", selected(&DeviceIdentity::model));
    m_nodeMap.AddString("DeviceSerialNumber", selected(&DeviceIdentity::serial));
}

void* InterfaceModule::ParentHandle()
{
    return m_system->Handle();
}

GC_ERROR InterfaceModule::Info(INTERFACE_INFO_CMD command, InfoBuffer& out)
{
    return SystemModule::InterfaceAnswer(m_id, m_tlType, command, out);
}

GC_ERROR InterfaceModule::UpdateDeviceList(bool8_t* changed)
{
    std::vector<DeviceIdentity> devices;
    if (GC_ERROR err = m_system->Devices(m_id, devices))
        return err;
    std::lock_guard<std::mutex> lock(m_mutex);
    bool differs = devices.size() != m_devices.size();
    for (size_t i = 0; !differs && i < devices.size(); ++i)
        differs = devices[i].id != m_devices[i].id || devices[i].accessStatus != m_devices[i].accessStatus;
    m_devices = std::move(devices);
    if (size_t(m_selected) >= m_devices.size())
        m_selected = 0;
    if (changed)
        *changed = differs ? 1 : 0;
    return GC_ERR_SUCCESS;
}

GC_ERROR InterfaceModule::DeviceCount(uint32_t* count)
{
    if (!count)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the count");
    std::lock_guard<std::mutex> lock(m_mutex);
    *count = static_cast<uint32_t>(m_devices.size());
    return GC_ERR_SUCCESS;
}

GC_ERROR InterfaceModule::DeviceId(uint32_t index, char* id, size_t* size)
{
    std::string text;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index >= m_devices.size())
            return ProducerError::Fail(GC_ERR_INVALID_INDEX, "no device with that index");
        text = m_devices[index].id;
    }
    return InfoBuffer::Text(text, id, size);
}

bool InterfaceModule::_Find(const std::string& id, DeviceIdentity& device)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = std::find_if(m_devices.begin(), m_devices.end(), [&](const DeviceIdentity& d) { return d.id == id; });
        if (it == m_devices.end())
            return false;
        device = *it;
    }
    // An open of this process shows at once; the rest as of the last update.
    m_system->OwnAccess(device);
    return true;
}

GC_ERROR InterfaceModule::DeviceInfo(const char* id, DEVICE_INFO_CMD command, InfoBuffer& out)
{
    DeviceIdentity device;
    if (!id || !_Find(id, device))
        return ProducerError::Fail(GC_ERR_INVALID_ID, std::string("no device ") + (id ? id : "(null)") + " on " + m_id);
    return device.Answer(command, out);
}

GC_ERROR InterfaceModule::OpenDevice(const char* id, DEVICE_ACCESS_FLAGS flags, DEV_HANDLE* handle)
{
    DeviceIdentity device;
    if (!handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the handle");
    if (!id || !_Find(id, device))
        return ProducerError::Fail(GC_ERR_INVALID_ID, std::string("no device ") + (id ? id : "(null)") + " on " + m_id);
    if (flags != DEVICE_ACCESS_READONLY && flags != DEVICE_ACCESS_CONTROL && flags != DEVICE_ACCESS_EXCLUSIVE)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "the access must be read-only, control or exclusive");
    return m_system->OpenDevice(shared_from_this(), device, flags != DEVICE_ACCESS_READONLY, handle);
}

} // namespace vcam::gentl
