#ifndef GRB_GENTLCONSUMER_GENTLSESSION_H
#define GRB_GENTLCONSUMER_GENTLSESSION_H

#include "GentlPort.h"
#include "GentlStream.h"

#include <aravis/AravisConnection.h>
#include <aravis/AravisNodeMap.h>
#include <contract/DeviceSession.h>

#include <atomic>
#include <memory>

namespace grb::gentl {

// A camera open through a producer: its features are Aravis's GenICam engine over the
// remote device port, its memory the port itself, its first stream the producer's.
class GentlSession : public DeviceSession
{
public:
    // noStream: why there is no stream, when there is none.
    GentlSession(std::shared_ptr<GentlLibrary> library, DEV_HANDLE device, std::shared_ptr<GentlPort> remote,
                 std::shared_ptr<aravis::AravisConnection> connection, std::unique_ptr<GentlStream> stream,
                 std::string noStream, bool writable);
    ~GentlSession() override;

    NodeMap& Features() override { return m_features; }
    uint32_t StreamCount() override { return m_stream ? 1 : 0; }
    NodeMap* StreamFeatures(uint32_t index) override;
    GrbErrorType ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame) override;
    void Close() override;

private:
    std::shared_ptr<GentlLibrary> m_library;
    DEV_HANDLE m_device;
    std::shared_ptr<GentlPort> m_remote;
    std::shared_ptr<aravis::AravisConnection> m_connection;
    aravis::AravisNodeMap m_features;
    std::unique_ptr<GentlStream> m_stream;
    std::string m_noStream;
    bool m_writable;
    std::atomic<bool> m_closed{false};
};

} // namespace grb::gentl

#endif
