#ifndef BENCH_RAWFILEPROTOCOL_H
#define BENCH_RAWFILEPROTOCOL_H

#include <ByteOrder.h>
#include <RegisterMap.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

// A virtual camera's file moved by the same device operations PXCamera makes per 64 KiB
// chunk (offset, operation, execute, completion, buffer), as plain memory reads and
// writes of the camera's registers with no GenICam engine between: the least any
// application moving that file over the same link has to do. The registers lie where
// every virtual camera puts them, laid out from the camera's description.
class RawFileProtocol
{
public:
    using Read = std::function<bool(uint64_t address, void* data, size_t size)>;
    using Write = std::function<bool(uint64_t address, const void* data, size_t size)>;

    RawFileProtocol(const std::string& description, vcam::ByteOrder order);

    bool Ok() const { return m_ok; }
    uint64_t Address(const std::string& feature) const;
    // deviceFile to local (download) or local to deviceFile, size bytes in whole chunks.
    bool MoveFile(const Read& read, const Write& write, bool download, const std::string& deviceFile,
                  const std::string& local, long size) const;

private:
    bool _WriteNumber(const Write& write, const std::string& feature, int64_t value) const;
    bool _WriteEntry(const Write& write, const std::string& feature, const std::string& entry) const;
    bool _Execute(const Read& read, const Write& write, const std::string& operation) const;

    vcam::ByteOrder m_order;
    std::map<std::string, vcam::RegisterMap::Register> m_registers;
    std::map<std::string, int64_t> m_entries; // "Feature/Entry"
    bool m_ok = false;
};

#endif
