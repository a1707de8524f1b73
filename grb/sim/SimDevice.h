#ifndef GRB_SIM_SIMDEVICE_H
#define GRB_SIM_SIMDEVICE_H

#include "SimAcquisition.h"
#include "SimCameraConfig.h"
#include "SimDeviceEvents.h"
#include "SimFileSystem.h"
#include "SimNodeMap.h"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace grb::sim {

// The state and rules of one simulated camera: features, device memory, streams, the
// image acquisition and the file storage behind the File Access Control features. Not locked: its owner
// serialises calls.
class SimDevice
{
public:
    static constexpr uint32_t kMemorySize = 0x10000;
    // Device memory holds the bootstrap version at address 0, in the device's byte order.
    static constexpr uint32_t kVersionRegister = 0x00010002;
    static constexpr const char* kFirmwareMagic = "PELLIX-FIRMWARE ";

    // The files of config move into the device's storage; Config() keeps none.
    SimDevice(SimCameraConfig config, SimDeviceEvents* events);
    SimDevice(const SimDevice&) = delete;
    SimDevice& operator=(const SimDevice&) = delete;

    const SimCameraConfig& Config() const { return m_config; }
    SimCameraConfig& Config() { return m_config; }
    SimNodeMap& Features() { return m_features; }
    std::vector<SimNodeMap>& Streams() { return m_streams; }
    SimFileSystem& Files() { return m_files; }
    SimAcquisition& Acquisition() { return m_acquisition; }
    std::string Firmware() const;

    GrbErrorType ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size);
    GrbErrorType WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size);

    // Back on the bus after a reset: a pending firmware image takes effect, open
    // files and unsaved settings are gone.
    void CompleteReset();

    // Fault: the device leaves after this many more file Read or Write operations (0: off).
    void UnplugAfterChunks(unsigned chunks);

private:
    GrbErrorType _CheckMemoryRange(uint64_t address, uint32_t size) const;
    void _AddStandardFeatures();
    void _AddFileAccessFeatures();
    void _AddStreams();
    // afterReset: only the faults that are part of the device, not one-off events.
    void _ApplyFaults(bool afterReset);
    GrbErrorType _ExecuteFileOperation();
    GrbErrorType _Open(const std::string& selector, const std::string& name, const std::string& mode);
    GrbErrorType _Read(uint64_t offset, uint64_t length, uint64_t& done);
    GrbErrorType _Write(uint64_t offset, uint64_t length, uint64_t& done);
    GrbErrorType _Close();
    GrbErrorType _Delete(const std::string& selector, const std::string& name);
    void _CountChunk();
    std::string _EnumText(const std::string& name);

    SimCameraConfig m_config;
    SimDeviceEvents* m_events;
    SimNodeMap m_features;
    std::vector<SimNodeMap> m_streams;
    SimFileSystem m_files;
    SimAcquisition m_acquisition;
    std::vector<uint8_t> m_memory;

    bool m_fileOpen = false;
    std::string m_openSelector;
    std::string m_openName;
    std::string m_openMode;
    std::vector<uint8_t> m_firmwareImage;
    std::string m_pendingFirmware;

    std::map<int64_t, std::map<std::string, SimFeature>> m_userSets;
    unsigned m_unplugAfterChunks = 0;
};

} // namespace grb::sim

#endif
