#include "GentlProducer.h"

#include "GentlDescription.h"
#include "GentlError.h"
#include "GentlPort.h"
#include "GentlSession.h"
#include "GentlStream.h"

#include <aravis/AravisConnection.h>

#include <chrono>

namespace grb::gentl {

namespace {

// A producer may take this long to search its links, besides the usual bound.
constexpr uint64_t kUpdateMs = 1000;
// More than any frame grabber has.
constexpr uint32_t kMaxInterfaces = 256;
constexpr uint32_t kMaxDevices = 1024;

GrbTransportLayerType typeOf(const std::string& tlType)
{
    if (tlType == "GEV")
        return GrbTransportLayerGEV;
    if (tlType == "U3V")
        return GrbTransportLayerU3V;
    if (tlType == "CXP")
        return GrbTransportLayerCXP;
    if (tlType == "CL" || tlType == "CLHS")
        return GrbTransportLayerCL;
    if (tlType == "Mixed")
        return GrbTransportLayerMixed;
    return GrbTransportLayerCustom;
}

GrbAccessModeType accessOf(int64_t status)
{
    switch (status)
    {
    case DEVICE_ACCESS_STATUS_READWRITE:
    case DEVICE_ACCESS_STATUS_OPEN_READWRITE: // by this process
        return GrbAccessModeFull | GrbAccessModeRead;
    case DEVICE_ACCESS_STATUS_READONLY:
    case DEVICE_ACCESS_STATUS_OPEN_READONLY:
    case DEVICE_ACCESS_STATUS_BUSY: // another application has it
        return GrbAccessModeRead;
    case DEVICE_ACCESS_STATUS_NOACCESS:
        return GrbAccessModeNone;
    default:
        return GrbAccessModeUnknown;
    }
}

void note(std::string& problems, const std::string& problem)
{
    if (problems.find(problem) == std::string::npos)
        problems += (problems.empty() ? "" : "; ") + problem;
}

} // namespace

GentlProducer::GentlProducer(std::shared_ptr<GentlLibrary> library, TL_HANDLE system)
    : m_library(std::move(library))
    , m_system(system)
    , m_prefix("GenTL:" + m_library->Name() + ":")
{
}

std::unique_ptr<GentlProducer> GentlProducer::Open(std::shared_ptr<GentlLibrary> library, std::string& error)
{
    auto system = std::make_shared<TL_HANDLE>(nullptr);
    const PTLOpen open = library->Functions().TLOpen;
    const PTLClose close = library->Functions().TLClose;
    if (library->Call("TLOpen", [open, system] { return open(system.get()); }, std::chrono::milliseconds(0),
                      [close, system] { close(*system); }) != GrbErrorSuccess)
    {
        error = GentlError::LastMessage();
        return nullptr;
    }
    std::unique_ptr<GentlProducer> producer(new GentlProducer(library, *system));
    const PTLGetInfo info = library->Functions().TLGetInfo;
    const TL_HANDLE handle = *system;
    for (TL_INFO_CMD command : {TL_INFO_DISPLAYNAME, TL_INFO_MODEL})
        if (producer->m_name.empty())
            library->Text("TLGetInfo", [info, handle, command](INFO_DATATYPE* t, void* b, size_t* s) {
                return info(handle, command, t, b, s);
            }, producer->m_name);
    if (producer->m_name.empty())
        producer->m_name = library->Name();
    return producer;
}

GentlProducer::~GentlProducer()
{
    const GentlFunctions& f = m_library->Functions();
    const PIFClose closeInterface = f.IFClose;
    for (const auto& item : m_interfaces)
    {
        const IF_HANDLE iface = item.second;
        m_library->Call("IFClose", [closeInterface, iface] { return closeInterface(iface); });
    }
    const PTLClose close = f.TLClose;
    const TL_HANDLE system = m_system;
    m_library->Call("TLClose", [close, system] { return close(system); });
}

GrbErrorType GentlProducer::_Interfaces(std::vector<std::string>& ids)
{
    const GentlFunctions& f = m_library->Functions();
    const TL_HANDLE system = m_system;
    const PTLUpdateInterfaceList update = f.TLUpdateInterfaceList;
    auto changed = std::make_shared<bool8_t>(0);
    if (GrbErrorType err = m_library->Call("TLUpdateInterfaceList", [update, system, changed] {
            return update(system, changed.get(), kUpdateMs);
        }, std::chrono::milliseconds(kUpdateMs)))
        return err;
    auto count = std::make_shared<uint32_t>(0);
    const PTLGetNumInterfaces number = f.TLGetNumInterfaces;
    if (GrbErrorType err = m_library->Call("TLGetNumInterfaces", [number, system, count] { return number(system, count.get()); }))
        return err;
    const PTLGetInterfaceID interfaceId = f.TLGetInterfaceID;
    for (uint32_t i = 0; i < *count && i < kMaxInterfaces; ++i)
    {
        std::string id;
        if (GrbErrorType err = m_library->Text("TLGetInterfaceID", [interfaceId, system, i](INFO_DATATYPE* t, void* b, size_t* s) {
                *t = INFO_DATATYPE_STRING;
                return interfaceId(system, i, static_cast<char*>(b), s);
            }, id))
            return err;
        ids.push_back(id);
    }
    return GrbErrorSuccess;
}

IF_HANDLE GentlProducer::_Interface(const std::string& id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto known = m_interfaces.find(id);
    if (known != m_interfaces.end())
        return known->second;
    auto iface = std::make_shared<IF_HANDLE>(nullptr);
    const PTLOpenInterface open = m_library->Functions().TLOpenInterface;
    const PIFClose close = m_library->Functions().IFClose;
    const TL_HANDLE system = m_system;
    if (m_library->Call("TLOpenInterface", [open, system, id, iface] { return open(system, id.c_str(), iface.get()); },
                        std::chrono::milliseconds(0), [close, iface] { close(*iface); }) != GrbErrorSuccess)
        return nullptr;
    m_interfaces[id] = *iface;
    return *iface;
}

DeviceRecord GentlProducer::_Record(IF_HANDLE iface, const std::string& interfaceId, const std::string& deviceId)
{
    DeviceRecord r;
    r.extendedId = m_prefix + interfaceId + ":" + deviceId;
    r.id = deviceId;
    r.interfaceId = interfaceId;
    r.transportLayerName = m_name;
    r.transportLayerPath = m_library->Path();
    const PIFGetDeviceInfo info = m_library->Functions().IFGetDeviceInfo;
    auto query = [&, info, iface, deviceId](DEVICE_INFO_CMD command) {
        return [info, iface, deviceId, command](INFO_DATATYPE* t, void* b, size_t* s) {
            return info(iface, deviceId.c_str(), command, t, b, s);
        };
    };
    // A text the producer does not have is empty; one it fails to give is a fault.
    auto text = [&](DEVICE_INFO_CMD command, std::string& value, DeviceRecord::Field field) {
        const GrbErrorType err = m_library->Text("IFGetDeviceInfo", query(command), value);
        if (err != GrbErrorSuccess && err != GrbErrorNotSupported && err != GrbErrorNotImplemented)
            r.fieldErrors[field] = err;
    };
    text(DEVICE_INFO_MODEL, r.model, DeviceRecord::Model);
    text(DEVICE_INFO_USER_DEFINED_NAME, r.name, DeviceRecord::Name);
    text(DEVICE_INFO_SERIAL_NUMBER, r.serial, DeviceRecord::Serial);
    std::string tlType;
    if (m_library->Text("IFGetDeviceInfo", query(DEVICE_INFO_TLTYPE), tlType) != GrbErrorSuccess)
        tlType.clear();
    r.transportLayerType = typeOf(tlType);
    int64_t status = DEVICE_ACCESS_STATUS_UNKNOWN;
    if (GrbErrorType err = m_library->Integer("IFGetDeviceInfo", query(DEVICE_INFO_ACCESS_STATUS), status))
        r.fieldErrors[DeviceRecord::PermittedAccess] = err;
    r.permittedAccess = accessOf(status);
    return r;
}

GrbErrorType GentlProducer::_Devices(IF_HANDLE iface, const std::string& interfaceId, std::vector<DeviceRecord>& devices)
{
    const GentlFunctions& f = m_library->Functions();
    const PIFUpdateDeviceList update = f.IFUpdateDeviceList;
    auto changed = std::make_shared<bool8_t>(0);
    if (GrbErrorType err = m_library->Call("IFUpdateDeviceList", [update, iface, changed] {
            return update(iface, changed.get(), kUpdateMs);
        }, std::chrono::milliseconds(kUpdateMs)))
        return err;
    auto count = std::make_shared<uint32_t>(0);
    const PIFGetNumDevices number = f.IFGetNumDevices;
    if (GrbErrorType err = m_library->Call("IFGetNumDevices", [number, iface, count] { return number(iface, count.get()); }))
        return err;
    const PIFGetDeviceID deviceIdOf = f.IFGetDeviceID;
    for (uint32_t i = 0; i < *count && i < kMaxDevices; ++i)
    {
        std::string id;
        if (GrbErrorType err = m_library->Text("IFGetDeviceID", [deviceIdOf, iface, i](INFO_DATATYPE* t, void* b, size_t* s) {
                *t = INFO_DATATYPE_STRING;
                return deviceIdOf(iface, i, static_cast<char*>(b), s);
            }, id))
            return err;
        devices.push_back(_Record(iface, interfaceId, id));
    }
    return GrbErrorSuccess;
}

void GentlProducer::Discover(std::vector<DeviceRecord>& devices, std::string& problems)
{
    devices.clear();
    std::vector<std::string> ids;
    if (_Interfaces(ids) != GrbErrorSuccess)
    {
        note(problems, GentlError::LastMessage());
        return;
    }
    for (const std::string& id : ids)
    {
        const IF_HANDLE iface = _Interface(id);
        std::vector<DeviceRecord> found;
        if (!iface || _Devices(iface, id, found) != GrbErrorSuccess)
            note(problems, GentlError::LastMessage());
        devices.insert(devices.end(), found.begin(), found.end());
    }
}

GrbErrorType GentlProducer::Open(const std::string& interfaceId, const std::string& deviceId,
                                 GrbTransportLayerType type, GrbAccessModeType mode,
                                 std::unique_ptr<DeviceSession>& session)
{
    const IF_HANDLE iface = _Interface(interfaceId);
    if (!iface)
        return GrbErrorTransportLayer;
    const GentlFunctions& f = m_library->Functions();
    const bool writable = (mode & (GrbAccessModeFull | GrbAccessModeExclusive)) != 0;
    const DEVICE_ACCESS_FLAGS flags = writable ? DEVICE_ACCESS_EXCLUSIVE : DEVICE_ACCESS_READONLY;
    auto device = std::make_shared<DEV_HANDLE>(nullptr);
    const PIFOpenDevice open = f.IFOpenDevice;
    const PDevClose close = f.DevClose;
    if (GrbErrorType err = m_library->Call("IFOpenDevice", [open, iface, deviceId, flags, device] {
            return open(iface, deviceId.c_str(), flags, device.get());
        }, std::chrono::milliseconds(0), [close, device] { close(*device); }))
        return err;
    const DEV_HANDLE handle = *device;
    auto fail = [&](GrbErrorType err) {
        const std::string why = GentlError::LastMessage();
        m_library->Call("DevClose", [close, handle] { return close(handle); });
        return GentlError::Fail(err, why);
    };
    auto port = std::make_shared<PORT_HANDLE>(nullptr);
    const PDevGetPort getPort = f.DevGetPort;
    if (GrbErrorType err = m_library->Call("DevGetPort", [getPort, handle, port] { return getPort(handle, port.get()); }))
        return fail(err);
    auto remote = std::make_shared<GentlPort>(m_library, *port);
    std::string xml;
    if (GrbErrorType err = GentlDescription::Fetch(*remote, xml))
        return fail(err);
    std::shared_ptr<aravis::AravisConnection> connection;
    if (GrbErrorType err = aravis::AravisConnection::OverPort(remote, xml, type, writable, connection))
        return fail(GentlError::Fail(err, m_library->Name() + ": the camera's GenICam description is not a GenICam "
                                                              "document"));
    std::string why;
    std::unique_ptr<GentlStream> stream = GentlStream::Open(m_library, handle, why);
    if (stream)
        why.clear();
    session = std::make_unique<GentlSession>(m_library, handle, remote, std::move(connection), std::move(stream), why,
                                             writable);
    return GrbErrorSuccess;
}

} // namespace grb::gentl
