#ifndef VCAM_GENTL_DEVICEMODULE_H
#define VCAM_GENTL_DEVICEMODULE_H

#include "DeviceIdentity.h"
#include "DeviceLock.h"
#include "HandleRegistry.h"
#include "ModuleNodeMap.h"
#include "RemoteDevicePort.h"
#include "StreamModule.h"

#include <memory>
#include <mutex>

namespace vcam::gentl {

// An open camera on the producer's side: its own small node map, the remote device
// port that reaches the camera, its one data stream, and the lock that tells other
// processes it is taken.
class DeviceModule : public Module
{
public:
    DeviceModule(HandleRegistry& registry, std::shared_ptr<Module> parent, DeviceIdentity identity,
                 std::shared_ptr<RemoteDevicePort> remote, std::unique_ptr<DeviceLock> lock);
    ~DeviceModule() override;

    // Closes the stream and takes the remote port's handle away.
    void Close();
    ModulePort* Port() override { return &m_nodeMap; }

    const DeviceIdentity& Identity() const { return m_identity; }
    RemoteDevicePort& Remote() { return *m_remote; }
    void* ParentHandle() { return m_parent->Handle(); }
    void MarkLost() { m_remote->MarkLost(); }

    GC_ERROR StreamCount(uint32_t* count);
    GC_ERROR StreamId(uint32_t index, char* id, size_t* size);
    GC_ERROR OpenStream(const char* id, DS_HANDLE* handle);

private:
    HandleRegistry& m_registry;
    std::shared_ptr<Module> m_parent;
    DeviceIdentity m_identity;
    std::shared_ptr<RemoteDevicePort> m_remote;
    std::unique_ptr<DeviceLock> m_lock;
    ModuleNodeMap m_nodeMap;
    std::mutex m_mutex;
    std::weak_ptr<StreamModule> m_stream;
};

} // namespace vcam::gentl

#endif
