#include "RemoteDevicePort.h"

#include "ProducerError.h"
#include "ZipWriter.h"

#include <DeviceStatus.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace vcam::gentl {

namespace {

using grb::sim::SimDevice;

GC_ERROR errorOf(uint16_t deviceStatus)
{
    switch (deviceStatus)
    {
    case status::kSuccess:
        return GC_ERR_SUCCESS;
    case status::kNotImplemented:
        return GC_ERR_NOT_IMPLEMENTED;
    case status::kInvalidParameter:
    case status::kBadAlignment:
        return GC_ERR_INVALID_PARAMETER;
    case status::kInvalidAddress:
        return GC_ERR_INVALID_ADDRESS;
    case status::kWriteProtect:
    case status::kAccessDenied:
        return GC_ERR_ACCESS_DENIED;
    case status::kBusy:
        return GC_ERR_BUSY;
    default:
        return GC_ERR_IO;
    }
}

GC_ERROR fail(uint16_t deviceStatus, uint64_t address)
{
    char text[96];
    std::snprintf(text, sizeof text, "the camera refused the access at 0x%llx (status 0x%04x)",
                  static_cast<unsigned long long>(address), deviceStatus);
    return ProducerError::Fail(errorOf(deviceStatus), text);
}

} // namespace

RemoteDevicePort::RemoteDevicePort(std::shared_ptr<grb::sim::SimWorld> world, std::string extendedId,
                                   ByteOrder order, Identity identity, bool writable)
    : Module(Kind::RemoteDevice)
    , m_device(std::move(world), std::move(extendedId), order)
    , m_identity(std::move(identity))
    , m_writable(writable)
{
}

bool RemoteDevicePort::Build(std::string& error)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string name;
    for (char c : m_identity.model)
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    m_xmlName = "pellix-gentl-" + name;
    if (!m_device.Build(m_xmlName + ".xml", {}, error))
        return false;
    m_zip = ZipWriter::Single(m_xmlName + ".xml", m_device.Xml());
    if (m_zip.empty() || kZipAddress + m_zip.size() > RegisterMap::kXmlAddress)
    {
        error = "the GenICam description does not fit its place in the camera";
        return false;
    }
    return true;
}

std::vector<ModulePort::Url> RemoteDevicePort::Urls()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return {{m_xmlName + ".zip", kZipAddress, m_zip.size()}};
}

GC_ERROR RemoteDevicePort::_Check(uint64_t address, size_t size)
{
    if (m_lost)
        return ProducerError::Fail(GC_ERR_IO, "the camera has left the link; close it and open it again");
    if (size == 0 || size > UINT32_MAX || address > UINT64_MAX - size)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "the access has no size or runs past the address space");
    return GC_ERR_SUCCESS;
}

bool RemoteDevicePort::WithDevice(const std::function<void(SimDevice&)>& f)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_lost || !m_device.WithDevice(f))
    {
        m_lost = true;
        return false;
    }
    return true;
}

GC_ERROR RemoteDevicePort::Read(uint64_t address, void* data, size_t size)
{
    if (GC_ERROR err = _Check(address, size))
        return err;
    auto* out = static_cast<uint8_t*>(data);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (address >= kZipAddress && address < kZipAddress + m_zip.size())
    {
        if (address - kZipAddress + size > m_zip.size())
            return fail(status::kInvalidAddress, address + size);
        std::memcpy(out, m_zip.data() + (address - kZipAddress), size);
        return GC_ERR_SUCCESS;
    }
    uint16_t result = status::kSuccess;
    const bool present = m_device.WithDevice([&](SimDevice& device) {
        const size_t inMemory = address < RegisterMap::kMemoryEnd
                                    ? static_cast<size_t>(std::min<uint64_t>(size, RegisterMap::kMemoryEnd - address))
                                    : 0;
        if (inMemory)
            result = StatusOf(device.ReadMemory(address, out, static_cast<uint32_t>(inMemory)));
        if (result == status::kSuccess && size > inMemory)
            result = m_device.Read(device, address + inMemory, static_cast<uint32_t>(size - inMemory), out + inMemory);
    });
    if (!present)
    {
        m_lost = true;
        return ProducerError::Fail(GC_ERR_IO, "the camera has left the link");
    }
    return result == status::kSuccess ? GC_ERR_SUCCESS : fail(result, address);
}

GC_ERROR RemoteDevicePort::Write(uint64_t address, const void* data, size_t size)
{
    if (GC_ERROR err = _Check(address, size))
        return err;
    if (!m_writable)
        return ProducerError::Fail(GC_ERR_ACCESS_DENIED, "the camera is open for reading only");
    const auto* in = static_cast<const uint8_t*>(data);
    std::lock_guard<std::mutex> lock(m_mutex);
    const size_t inMemory =
        address < RegisterMap::kMemoryEnd ? static_cast<size_t>(std::min<uint64_t>(size, RegisterMap::kMemoryEnd - address)) : 0;
    // The whole range is checked before any of it is written.
    uint16_t result = size > inMemory ? m_device.CheckWrite(address + inMemory, static_cast<uint32_t>(size - inMemory))
                                      : status::kSuccess;
    if (result != status::kSuccess)
        return fail(result, address);
    uint32_t completionMs = 0;
    const bool present = m_device.WithDevice([&](SimDevice& device) {
        if (inMemory)
            result = StatusOf(device.WriteMemory(address, in, static_cast<uint32_t>(inMemory)));
        uint32_t written = 0;
        if (result == status::kSuccess && size > inMemory)
            result = m_device.Write(device, address + inMemory, in + inMemory, static_cast<uint32_t>(size - inMemory),
                                    written, completionMs);
    });
    if (!present)
    {
        m_lost = true;
        return ProducerError::Fail(GC_ERR_IO, "the camera has left the link");
    }
    if (completionMs > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(completionMs));
    return result == status::kSuccess ? GC_ERR_SUCCESS : fail(result, address);
}

} // namespace vcam::gentl
