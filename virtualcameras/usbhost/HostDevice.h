#ifndef VUSB_HOSTDEVICE_H
#define VUSB_HOSTDEVICE_H

#include "HostConnection.h"

#include <libusb.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace vusb {

class HostContext;

// One device as a context has seen it on the bus: where it is, which appearance of it
// (a device that leaves and comes back is another device), and its descriptors, read
// once when it was found. Counted references, as libusb's devices are.
class HostDevice
{
public:
    // Reads the descriptors over a greeted connection; false when they are not sound.
    bool Describe(HostConnection& connection);

    void Ref() { ++m_references; }
    void Unref()
    {
        if (--m_references == 0)
            delete this;
    }

    HostContext* Context() const { return m_context; }
    const std::string& Path() const { return m_path; }
    uint64_t Session() const { return m_session; }
    const libusb_device_descriptor& Descriptor() const { return m_descriptor; }
    const std::vector<uint8_t>& Configuration() const { return m_configuration; }

protected:
    HostDevice(HostContext* context, std::string path, uint64_t session);
    virtual ~HostDevice() = default;

private:
    HostContext* m_context;
    std::string m_path;
    uint64_t m_session;
    std::atomic<int> m_references{1};
    libusb_device_descriptor m_descriptor{};
    std::vector<uint8_t> m_configuration;
};

} // namespace vusb

#endif
