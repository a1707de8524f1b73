#ifndef VCAM_GENTL_SYSTEMMODULE_H
#define VCAM_GENTL_SYSTEMMODULE_H

#include "DeviceIdentity.h"
#include "DeviceModule.h"
#include "HandleRegistry.h"
#include "InterfaceModule.h"
#include "ModuleNodeMap.h"
#include "ProducerSettings.h"

#include <sim/SimWorld.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vcam::gentl {

// The producer's system module: a simulated frame grabber whose links are the
// description's interfaces and whose cameras are the simulator's, fresh from the
// description when it opens.
class SystemModule : public Module
{
public:
    SystemModule(HandleRegistry& registry, ProducerSettings settings);
    ~SystemModule() override;

    // Makes the cameras; false with the reason.
    bool Start(std::string& error);
    // Closes every interface and device opened through it.
    void Close();
    ModulePort* Port() override { return &m_nodeMap; }

    // GCGetInfo and TLGetInfo alike.
    static GC_ERROR LibraryInfo(TL_INFO_CMD command, InfoBuffer& out);
    static GC_ERROR InterfaceAnswer(const std::string& id, const std::string& tlType, INTERFACE_INFO_CMD command,
                                    InfoBuffer& out);

    GC_ERROR UpdateInterfaceList(bool8_t* changed);
    GC_ERROR InterfaceCount(uint32_t* count);
    GC_ERROR InterfaceId(uint32_t index, char* id, size_t* size);
    GC_ERROR InterfaceInfo(const char* id, INTERFACE_INFO_CMD command, InfoBuffer& out);
    GC_ERROR OpenInterface(const char* id, IF_HANDLE* handle);
    // Closes the devices opened through the interface, then the interface.
    void CloseInterface(InterfaceModule& iface);

    // The cameras on the link now, with their access status.
    GC_ERROR Devices(const std::string& interfaceId, std::vector<DeviceIdentity>& devices);
    // Marks a camera this process has open as such.
    void OwnAccess(DeviceIdentity& device);
    GC_ERROR OpenDevice(std::shared_ptr<Module> parent, const DeviceIdentity& device, bool control,
                        DEV_HANDLE* handle);
    void CloseDevice(DeviceModule& device);

private:
    struct Link
    {
        std::string id;
        std::string tlType;
    };

    const Link* _Link(const std::string& id) const;
    GC_ERROR _Open(std::shared_ptr<Module> parent, const DeviceIdentity& device, bool control,
                   std::shared_ptr<DeviceModule>& opened);
    void _DeviceLeft(const std::string& extendedId);

    HandleRegistry& m_registry;
    ProducerSettings m_settings;
    std::shared_ptr<grb::sim::SimWorld> m_world;
    std::vector<Link> m_links;
    ModuleNodeMap m_nodeMap;

    std::mutex m_mutex;
    bool m_listed = false;
    int64_t m_selected = 0;
    std::map<std::string, std::weak_ptr<InterfaceModule>> m_interfaces;
    std::map<std::string, std::weak_ptr<DeviceModule>> m_devices;
    std::set<std::string> m_opening;
};

} // namespace vcam::gentl

#endif
