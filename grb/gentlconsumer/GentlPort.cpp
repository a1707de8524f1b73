#include "GentlPort.h"

#include "GentlError.h"

#include <cstring>
#include <vector>

namespace grb::gentl {

namespace {

constexpr uintptr_t kLine = 64;

} // namespace

GentlPort::GentlPort(std::shared_ptr<GentlLibrary> library, PORT_HANDLE port)
    : m_library(std::move(library))
    , m_port(port)
{
}

std::shared_ptr<GentlPort::Transfer> GentlPort::_Take(size_t size, const void* caller)
{
    std::shared_ptr<Transfer> transfer;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // Still held by a call given up on: that one keeps it.
        if (m_spare && m_spare.use_count() == 1)
            transfer = m_spare;
        else
            m_spare = transfer = std::make_shared<Transfer>();
    }
    // Copies between buffers at the same place within a cache line run at full speed;
    // glibc's on some x86 processors is many times slower when the destination lies a
    // few bytes past the source within a page, as the next block on a heap does.
    if (transfer->storage.size() < size + kLine)
        transfer->storage.resize(size + kLine);
    const auto start = reinterpret_cast<uintptr_t>(transfer->storage.data());
    transfer->bytes = transfer->storage.data() + (reinterpret_cast<uintptr_t>(caller) - start) % kLine;
    transfer->size = size;
    return transfer;
}

GrbErrorType GentlPort::Read(uint64_t address, void* data, uint32_t size, std::string& why)
{
    if (!data || size == 0 || address > UINT64_MAX - size)
        return GrbErrorBadParameter;
    std::shared_ptr<Transfer> transfer = _Take(size, data);
    const PGCReadPort read = m_library->Functions().GCReadPort;
    const PORT_HANDLE port = m_port;
    GrbErrorType err = m_library->Call("GCReadPort", [read, port, address, transfer] {
        transfer->done = transfer->size;
        return read(port, address, transfer->bytes, &transfer->done);
    });
    if (err == GrbErrorSuccess && transfer->done != size)
        err = GentlError::Fail(GrbErrorTransportLayer, m_library->Name() + ": GCReadPort read " +
                                                           std::to_string(transfer->done) + " of " +
                                                           std::to_string(size) + " bytes");
    if (err == GrbErrorSuccess)
        std::memcpy(data, transfer->bytes, size);
    else
        why = GentlError::LastMessage();
    return err;
}

GrbErrorType GentlPort::Write(uint64_t address, const void* data, uint32_t size, std::string& why)
{
    if (!data || size == 0 || address > UINT64_MAX - size)
        return GrbErrorBadParameter;
    std::shared_ptr<Transfer> transfer = _Take(size, data);
    std::memcpy(transfer->bytes, data, size);
    const PGCWritePort write = m_library->Functions().GCWritePort;
    const PORT_HANDLE port = m_port;
    GrbErrorType err = m_library->Call("GCWritePort", [write, port, address, transfer] {
        transfer->done = transfer->size;
        return write(port, address, transfer->bytes, &transfer->done);
    });
    if (err == GrbErrorSuccess && transfer->done != size)
        err = GentlError::Fail(GrbErrorTransportLayer, m_library->Name() + ": GCWritePort wrote " +
                                                           std::to_string(transfer->done) + " of " +
                                                           std::to_string(size) + " bytes");
    if (err != GrbErrorSuccess)
        why = GentlError::LastMessage();
    return err;
}

} // namespace grb::gentl
