#ifndef VCAM_GENTL_REMOTEDEVICEPORT_H
#define VCAM_GENTL_REMOTEDEVICEPORT_H

#include "Module.h"
#include "ModulePort.h"

#include <VirtualDevice.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vcam::gentl {

// The camera itself as DevGetPort hands it out: device memory, then the virtual
// device's GenICam file and feature registers, and the file zipped where the port's
// URL points. One control channel: accesses take turns, and a write that starts a slow
// operation returns once the operation is done. A camera that left (a reset, an
// unplug) answers nothing more on this port.
class RemoteDevicePort : public Module, public ModulePort
{
public:
    static constexpr uint64_t kZipAddress = 0x00020000;

    // writable: opened for control; else every write is refused.
    RemoteDevicePort(std::shared_ptr<grb::sim::SimWorld> world, std::string extendedId, ByteOrder order,
                     Identity identity, bool writable);

    // Lays out the camera's registers and description; false with the reason.
    bool Build(std::string& error);
    ModulePort* Port() override { return this; }

    GC_ERROR Read(uint64_t address, void* data, size_t size) override;
    GC_ERROR Write(uint64_t address, const void* data, size_t size) override;
    Identity PortIdentity() override { return m_identity; }
    std::vector<Url> Urls() override;

    void MarkLost() { m_lost = true; }
    bool Lost() const { return m_lost; }
    // Runs f on the camera between two port accesses; false once it has left.
    bool WithDevice(const std::function<void(grb::sim::SimDevice&)>& f);

private:
    GC_ERROR _Check(uint64_t address, size_t size);

    std::mutex m_mutex;
    VirtualDevice m_device;
    Identity m_identity;
    std::string m_xmlName;
    std::vector<uint8_t> m_zip;
    bool m_writable;
    std::atomic<bool> m_lost{false};
};

} // namespace vcam::gentl

#endif
