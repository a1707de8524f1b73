#ifndef VCAM_GENTL_INTERFACEMODULE_H
#define VCAM_GENTL_INTERFACEMODULE_H

#include "DeviceIdentity.h"
#include "Module.h"
#include "ModuleNodeMap.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vcam::gentl {

class SystemModule;

// One link of the simulated frame grabber and the cameras on it, as they were at the
// last IFUpdateDeviceList.
class InterfaceModule : public Module
{
public:
    InterfaceModule(std::shared_ptr<SystemModule> system, std::string id, std::string tlType);

    const std::string& Id() const { return m_id; }
    void* ParentHandle();
    ModulePort* Port() override { return &m_nodeMap; }
    GC_ERROR Info(INTERFACE_INFO_CMD command, InfoBuffer& out);

    GC_ERROR UpdateDeviceList(bool8_t* changed);
    GC_ERROR DeviceCount(uint32_t* count);
    GC_ERROR DeviceId(uint32_t index, char* id, size_t* size);
    GC_ERROR DeviceInfo(const char* id, DEVICE_INFO_CMD command, InfoBuffer& out);
    GC_ERROR OpenDevice(const char* id, DEVICE_ACCESS_FLAGS flags, DEV_HANDLE* handle);

private:
    // The identity in the list, with the access status as it is now.
    bool _Find(const std::string& id, DeviceIdentity& device);

    std::shared_ptr<SystemModule> m_system;
    std::string m_id;
    std::string m_tlType;
    ModuleNodeMap m_nodeMap;
    std::mutex m_mutex;
    std::vector<DeviceIdentity> m_devices;
    int64_t m_selected = 0;
};

} // namespace vcam::gentl

#endif
