#ifndef VCAM_DEVICE_VIRTUALDEVICE_H
#define VCAM_DEVICE_VIRTUALDEVICE_H

#include "ByteOrder.h"
#include "GenICamXml.h"
#include "RegisterMap.h"

#include <sim/SimWorld.h>

#include <functional>
#include <memory>
#include <string>

namespace vcam {

// One camera of a simulator world as every virtual camera serves it, whatever the
// transport: its GenICam file and one register per feature of the device model, above
// the device memory where each transport lays its own bootstrap registers. Accesses are
// checked against the layout, and what the model refuses comes back as a status. Not
// locked: one thread serves the camera.
class VirtualDevice
{
public:
    // camera: extended id, id or serial of the world's camera.
    VirtualDevice(std::shared_ptr<grb::sim::SimWorld> world, std::string camera, ByteOrder order);
    // Lets the camera be opened again, by another virtual device or in the world itself.
    ~VirtualDevice();
    VirtualDevice(const VirtualDevice&) = delete;
    VirtualDevice& operator=(const VirtualDevice&) = delete;

    // Lays out the registers and writes the GenICam file, named xmlName in its URL;
    // false with the reason.
    bool Build(const std::string& xmlName, const GenICamXml::TransportNodes& transport, std::string& error);
    // Whether the camera is on the bus (not gone for a reset or unplugged).
    bool Present();
    // Runs f on the camera, opening it again when it has come back from a reset; false
    // while it is away.
    bool WithDevice(const std::function<void(grb::sim::SimDevice&)>& f);

    // Whether the address belongs here rather than to the transport's device memory.
    static bool Owns(uint64_t address) { return address >= RegisterMap::kMemoryEnd; }
    // Statuses of DeviceStatus.h; the range starts at an address this owns.
    uint16_t Read(grb::sim::SimDevice& device, uint64_t address, uint32_t count, uint8_t* data);
    // Whether a write of the range may go ahead, checked before any of it is written.
    uint16_t CheckWrite(uint64_t address, uint32_t count) const;
    // written: bytes taken before a failure; completionMs: how long the operation the
    // write started takes (0: done at once).
    uint16_t Write(grb::sim::SimDevice& device, uint64_t address, const uint8_t* data, uint32_t count,
                   uint32_t& written, uint32_t& completionMs);

    const std::string& ExtendedId() const { return m_extendedId; }
    ByteOrder Order() const { return m_order; }
    const RegisterMap& Map() const { return *m_map; }
    const std::string& Xml() const { return m_xml; }
    // "Local:NAME;ADDRESS;LENGTH", as a camera's manifest or first URL gives it.
    const std::string& Url() const { return m_url; }

private:
    uint16_t _ReadRegister(grb::sim::SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                           uint32_t count, uint8_t* data);
    uint16_t _WriteRegister(grb::sim::SimDevice& device, const RegisterMap::Register& r, uint32_t offset,
                            const uint8_t* data, uint32_t count, uint32_t& completionMs);

    std::shared_ptr<grb::sim::SimWorld> m_world;
    std::string m_camera;
    ByteOrder m_order;
    std::string m_extendedId;
    std::unique_ptr<RegisterMap> m_map;
    std::string m_xml;
    std::string m_url;

    bool m_open = false;
    size_t m_index = 0;
    uint64_t m_generation = 0;
};

} // namespace vcam

#endif
