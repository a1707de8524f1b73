#ifndef VCAM_USB3_U3VADDRESSSPACE_H
#define VCAM_USB3_U3VADDRESSSPACE_H

#include <VirtualDevice.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace vcam {

// The camera as its USB3 Vision address space shows it: device memory with the
// bootstrap registers laid over it (ABRM at 0, the manifest, SBRM, SIRM), then the
// virtual device's GenICam file and feature registers, little-endian. Accesses are
// checked against the layout; what the model refuses comes back as a status. Not
// locked: one thread serves the camera.
class U3vAddressSpace
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr uint64_t kManifestAddress = 0x0400;
    static constexpr uint64_t kSbrmAddress = 0x0500;
    static constexpr uint64_t kSirmAddress = 0x0600;
    // What the camera promises to answer within, pending acknowledges aside.
    static constexpr uint32_t kResponseTimeMs = 500;
    // The largest messages on the control endpoints. Aravis 0.8 sizes the data of a
    // write by the acknowledge limit, so a command may be 8 bytes longer than that.
    static constexpr uint32_t kMaxAckTransfer = 65536;
    static constexpr uint32_t kMaxCommandTransfer = kMaxAckTransfer + 8;

    // The streaming interface's settings, as the host writes them into SIRM.
    struct StreamSettings
    {
        bool enabled = false;
        uint32_t maxLeader = 0;
        uint32_t payloadSize = 0;
        uint32_t payloadCount = 0;
        uint32_t transfer1 = 0;
        uint32_t transfer2 = 0;
        uint32_t maxTrailer = 0;
        // Counts each start and stop, so that a stream can tell it was restarted.
        uint64_t generation = 0;
    };

    // camera: extended id, id or serial of the world's camera to serve.
    U3vAddressSpace(std::shared_ptr<grb::sim::SimWorld> world, std::string camera);

    // Lays out the registers and writes the GenICam file; false with the reason.
    bool Build(std::string& error);
    bool Present();

    // Statuses of DeviceStatus.h. A read fills count bytes of data.
    uint16_t Read(uint64_t address, uint32_t count, uint8_t* data);
    // written: bytes taken before a failure; completionMs: how long the operation the
    // write started takes before it completes (0: at once).
    uint16_t Write(uint64_t address, const uint8_t* data, uint32_t count, Clock::time_point now, uint32_t& written,
                   uint32_t& completionMs);

    const StreamSettings& Stream() const { return m_stream; }
    // The host stopped using the stream: it is disabled, as after power-up.
    void StopStream();

    // The text of one of the camera's USB string descriptors (U3vDescriptors::StringIndex).
    std::string Text(uint8_t index);
    VirtualDevice& Device() { return m_device; }

private:
    std::vector<uint8_t> _Value(grb::sim::SimDevice& device, uint64_t address, uint32_t size);
    void _ReadBootstrap(grb::sim::SimDevice& device, uint64_t address, uint32_t count, uint8_t* data);
    uint16_t _WriteBootstrap(grb::sim::SimDevice& device, uint64_t address, const uint8_t* data, uint32_t count,
                             Clock::time_point now);
    uint16_t _WriteField(grb::sim::SimDevice& device, uint64_t field, uint32_t size, uint64_t from,
                         const uint8_t* part, uint32_t length, Clock::time_point now);
    uint16_t _WriteStream(uint64_t field, uint32_t value);

    VirtualDevice m_device;
    bool m_built = false;
    std::string m_guid;
    Clock::time_point m_epoch = Clock::now();
    uint64_t m_latched = 0;
    uint64_t m_deviceConfiguration = 0;
    uint64_t m_u3vcpConfiguration = 0;
    uint32_t m_heartbeatMs = 3000;
    uint32_t m_messageChannel = 0;
    uint32_t m_privilege = 0;
    StreamSettings m_stream;
};

} // namespace vcam

#endif
