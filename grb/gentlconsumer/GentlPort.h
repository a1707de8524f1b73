#ifndef GRB_GENTLCONSUMER_GENTLPORT_H
#define GRB_GENTLCONSUMER_GENTLPORT_H

#include "GentlLibrary.h"

#include <aravis/RegisterPort.h>

#include <memory>
#include <mutex>
#include <vector>

namespace grb::gentl {

// A producer's port (the camera's, or a module's own) as a register space: what the
// GenICam engine and memory access read and write.
class GentlPort : public aravis::RegisterPort
{
public:
    GentlPort(std::shared_ptr<GentlLibrary> library, PORT_HANDLE port);

    GrbErrorType Read(uint64_t address, void* data, uint32_t size, std::string& why) override;
    GrbErrorType Write(uint64_t address, const void* data, uint32_t size, std::string& why) override;

    GentlLibrary& Library() { return *m_library; }
    PORT_HANDLE Handle() const { return m_port; }

private:
    // The bytes of one transfer, owned by the call that moves them.
    struct Transfer
    {
        std::vector<uint8_t> storage;
        uint8_t* bytes = nullptr;
        size_t size = 0;
        size_t done = 0;
    };
    // The last transfer's, when no call holds it any more: a file moves in thousands of
    // chunks of the same size, and fresh pages for each cost more than the move. The
    // bytes lie at the same place within a cache line as the caller's.
    std::shared_ptr<Transfer> _Take(size_t size, const void* caller);

    std::shared_ptr<GentlLibrary> m_library;
    PORT_HANDLE m_port;
    std::mutex m_mutex;
    std::shared_ptr<Transfer> m_spare;
};

} // namespace grb::gentl

#endif
