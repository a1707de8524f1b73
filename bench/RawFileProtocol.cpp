#include "RawFileProtocol.h"

#include <sim/SimDescription.h>
#include <sim/SimWorld.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr size_t kChunk = 65536;

} // namespace

RawFileProtocol::RawFileProtocol(const std::string& description, vcam::ByteOrder order)
    : m_order(order)
{
    std::vector<grb::sim::SimCameraConfig> cameras;
    std::string error;
    if (!grb::sim::SimDescription::Parse(description, cameras, error) || cameras.empty())
        return;
    grb::sim::SimWorld world(cameras);
    size_t index = 0;
    uint64_t generation = 0;
    world.Open(cameras.front().extendedId, GrbAccessModeRead, index, generation);
    world.Call(index, generation, [&](grb::sim::SimDevice& device) {
        const vcam::RegisterMap map(device.Features().Features());
        for (const auto& r : map.Registers())
            m_registers[r.feature] = r;
        for (const grb::sim::SimFeature* f : device.Features().Features())
            for (const auto& e : f->entries)
                m_entries[f->name + "/" + e.name] = e.value;
        return GrbErrorSuccess;
    });
    m_ok = m_registers.count("FileAccessBuffer") && m_registers.count("FileOperationExecute");
}

uint64_t RawFileProtocol::Address(const std::string& feature) const
{
    return m_registers.at(feature).address;
}

bool RawFileProtocol::_WriteNumber(const Write& write, const std::string& feature, int64_t value) const
{
    const auto& r = m_registers.at(feature);
    uint8_t bytes[8];
    if (r.length > sizeof bytes)
        return false;
    vcam::PutUint(bytes, static_cast<uint64_t>(value), r.length, m_order);
    return write(r.address, bytes, r.length);
}

bool RawFileProtocol::_WriteEntry(const Write& write, const std::string& feature, const std::string& entry) const
{
    return _WriteNumber(write, feature, m_entries.at(feature + "/" + entry));
}

bool RawFileProtocol::_Execute(const Read& read, const Write& write, const std::string& operation) const
{
    uint8_t done[4] = {1, 1, 1, 1};
    return _WriteEntry(write, "FileOperationSelector", operation) && _WriteNumber(write, "FileOperationExecute", 1) &&
           read(Address("FileOperationExecute"), done, sizeof done) && vcam::GetUint(done, 4, m_order) == 0;
}

bool RawFileProtocol::MoveFile(const Read& read, const Write& write, bool download, const std::string& deviceFile,
                               const std::string& local, long size) const
{
    if (!m_ok)
        return false;
    std::FILE* file = std::fopen(local.c_str(), download ? "wb" : "rb");
    if (!file)
        return false;
    const auto& name = m_registers.at("Filename");
    std::vector<char> nameBytes(name.span, '\0');
    std::copy_n(deviceFile.begin(), std::min(deviceFile.size(), size_t(name.length)), nameBytes.begin());
    const uint64_t buffer = Address("FileAccessBuffer");
    std::vector<uint8_t> chunk(kChunk);
    bool ok = _WriteEntry(write, "FileSelector", "Userfile") && write(name.address, nameBytes.data(), name.span) &&
              _WriteEntry(write, "FileOpenMode", download ? "Read" : "Write") && _Execute(read, write, "Open") &&
              _WriteNumber(write, "FileAccessLength", kChunk);
    for (long offset = 0; ok && offset < size; offset += long(kChunk))
    {
        ok = _WriteNumber(write, "FileAccessOffset", offset);
        if (download)
            ok = ok && _Execute(read, write, "Read") && read(buffer, chunk.data(), kChunk) &&
                 std::fwrite(chunk.data(), 1, kChunk, file) == kChunk;
        else
            ok = ok && std::fread(chunk.data(), 1, kChunk, file) == kChunk && write(buffer, chunk.data(), kChunk) &&
                 _Execute(read, write, "Write");
    }
    ok = _Execute(read, write, "Close") && ok;
    return std::fclose(file) == 0 && ok;
}
