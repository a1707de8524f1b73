#include "Core.h"

#include "CommandMemoNodeMap.h"

#include "TransportLayerTable.h"

#include <algorithm>

namespace grb {

namespace {

constexpr GrbVersionInfo kVersion{1, 2, 0};

std::string recordText(const DeviceRecord& r, DeviceRecord::Field field)
{
    switch (field)
    {
    case DeviceRecord::ExtendedId:
        return r.extendedId;
    case DeviceRecord::Id:
        return r.id;
    case DeviceRecord::Model:
        return r.model;
    case DeviceRecord::Name:
        return r.name;
    case DeviceRecord::Serial:
        return r.serial;
    case DeviceRecord::InterfaceId:
        return r.interfaceId;
    case DeviceRecord::TransportLayerName:
        return r.transportLayerName;
    case DeviceRecord::TransportLayerPath:
        return r.transportLayerPath;
    default:
        return {};
    }
}

} // namespace

Core& Core::Instance()
{
    static Core core;
    return core;
}

Core::Core()
    : m_sync(m_mutex, m_table, m_events)
{
}

void Core::SetEventSinks(EventThread::Sink cameraEvents, EventThread::Sink interfaceEvents)
{
    m_events.SetSinks(std::move(cameraEvents), std::move(interfaceEvents));
}

GrbErrorType Core::CheckStarted()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_started ? GrbErrorSuccess : GrbErrorApiNotStarted;
}

GrbErrorType Core::Startup()
{
    std::vector<TransportLayerDriver*> drivers;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_started || !m_drivers.empty())
            return GrbErrorSuccess;
        std::string error;
        m_drivers = TransportLayerTable::Load(error);
        m_startupMessage = error;
        if (m_drivers.empty())
            return GrbErrorNoTransportLayer;
        for (auto& driver : m_drivers)
            drivers.push_back(driver.get());
        m_events.Start();
    }
    // Outside the lock: a real layer's first discovery takes its time and may report.
    std::vector<TransportLayerDriver*> failed;
    for (TransportLayerDriver* driver : drivers)
        if (driver->Start(m_sync) != GrbErrorSuccess)
            failed.push_back(driver);

    std::lock_guard<std::mutex> lock(m_mutex);
    for (TransportLayerDriver* driver : failed)
        m_drivers.erase(std::find_if(m_drivers.begin(), m_drivers.end(),
                                     [driver](const auto& d) { return d.get() == driver; }));
    m_started = true;
    std::vector<DeviceRecord> records;
    for (auto& driver : m_drivers)
        if (driver->Enumerate(records) == GrbErrorSuccess)
            m_sync.Populate(*driver, records);
    m_sync.SetActive(true);
    return GrbErrorSuccess;
}

GrbErrorType Core::Shutdown()
{
    std::vector<std::unique_ptr<TransportLayerDriver>> drivers;
    std::vector<std::shared_ptr<DeviceSession>> sessions;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_started)
            return GrbErrorApiNotStarted;
        m_started = false;
        m_sync.SetActive(false);
        m_sync.Clear();
        drivers = std::move(m_drivers);
        m_drivers.clear();
        sessions = m_table.TakeSessions();
        m_table.Clear();
    }
    for (auto& session : sessions)
        session->Close();
    sessions.clear();
    for (auto& driver : drivers)
        driver->Stop();
    drivers.clear();
    m_events.Stop();
    return GrbErrorSuccess;
}

GrbErrorType Core::QueryVersion(GrbVersionInfo& version)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    for (auto& driver : m_drivers)
        if (GrbErrorType fault = driver->VersionQueryFault())
            return fault;
    version = kVersion;
    return GrbErrorSuccess;
}

std::string Core::StartupMessage()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_startupMessage;
}

HandleEntry* Core::_Camera(GrbHandle handle, GrbErrorType& err)
{
    if (!m_started)
    {
        err = GrbErrorApiNotStarted;
        return nullptr;
    }
    HandleEntry* entry = m_table.Get(handle, HandleKind::Camera);
    err = entry ? GrbErrorSuccess : GrbErrorBadHandle;
    return entry;
}

GrbErrorType Core::_Session(GrbHandle camera, std::shared_ptr<DeviceSession>& session,
                            std::shared_ptr<CommandMemo>* commands)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    HandleEntry* entry = _OpenCamera(camera, err);
    if (entry)
    {
        session = entry->session;
        if (commands)
            *commands = entry->commands;
    }
    return err;
}

GrbErrorType Core::_Writing(GrbHandle camera, const std::function<GrbErrorType(DeviceSession&)>& write)
{
    std::shared_ptr<DeviceSession> session;
    std::shared_ptr<CommandMemo> commands;
    const GrbErrorType err = _Session(camera, session, &commands);
    if (err != GrbErrorSuccess)
        return err;
    return commands ? commands->Writing([&] { return write(*session); }) : write(*session);
}

HandleEntry* Core::_OpenCamera(GrbHandle handle, GrbErrorType& err)
{
    HandleEntry* entry = _Camera(handle, err);
    if (entry && !entry->session)
    {
        err = GrbErrorDeviceNotOpen;
        return nullptr;
    }
    return entry;
}

const DeviceRecord* Core::_LinkedRecord(GrbHandle handle, HandleKind kind, GrbErrorType& err)
{
    err = m_started ? GrbErrorBadHandle : GrbErrorApiNotStarted;
    HandleEntry* entry = m_started ? m_table.Get(handle, kind) : nullptr;
    if (!entry)
        return nullptr;
    const HandleEntry* source = entry->camera ? m_table.Get(entry->camera, HandleKind::Camera) : entry;
    if (!source)
        return nullptr;
    err = GrbErrorSuccess;
    return &source->record;
}

GrbHandle Core::_Link(GrbHandle from, HandleKind kind)
{
    HandleEntry* origin = m_table.Get(from, HandleKind::Camera);
    const bool fromCamera = origin != nullptr;
    if (!origin)
        origin = m_table.Get(from, HandleKind::Interface);
    GrbHandle* link = kind == HandleKind::Interface ? &origin->linkedInterface : &origin->linkedTransportLayer;
    if (*link)
        return *link;
    HandleEntry linked;
    linked.kind = kind;
    linked.camera = fromCamera ? from : origin->camera;
    if (!fromCamera)
        linked.record = origin->record;
    // The table is node-based: origin stays where it is.
    *link = m_table.Add(std::move(linked));
    return *link;
}

GrbErrorType Core::Cameras(std::vector<GrbHandle>& cameras)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    cameras.clear();
    if (!m_started)
        return GrbErrorApiNotStarted;
    std::vector<DeviceRecord> records;
    for (auto& driver : m_drivers)
    {
        GrbErrorType err = driver->Enumerate(records);
        if (err != GrbErrorSuccess)
        {
            cameras.clear();
            return err;
        }
        for (const auto& record : records)
            cameras.push_back(m_table.MergeCamera(record, driver.get()));
    }
    return GrbErrorSuccess;
}

GrbErrorType Core::FindCamera(const char* id, GrbHandle& camera)
{
    if (!id)
        return GrbErrorBadParameter;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    const GrbHandle found = m_table.FindCamera(id);
    if (!found)
        return GrbErrorNotFound;
    camera = found;
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraText(GrbHandle camera, DeviceRecord::Field field, std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    HandleEntry* entry = _Camera(camera, err);
    if (!entry)
        return err;
    if (GrbErrorType fault = entry->record.fieldErrors[field])
        return fault;
    text = recordText(entry->record, field);
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraRecord(GrbHandle camera, DeviceRecord& record)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    if (HandleEntry* entry = _Camera(camera, err))
        record = entry->record;
    return err;
}

GrbErrorType Core::OpenCamera(GrbHandle camera, GrbAccessModeType mode)
{
    if ((mode & (GrbAccessModeFull | GrbAccessModeRead | GrbAccessModeExclusive)) == 0)
        return GrbErrorBadParameter;
    TransportLayerDriver* driver = nullptr;
    std::string extendedId;
    std::shared_ptr<DeviceSession> stale;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        HandleEntry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (entry->opening || (entry->session && entry->sessionDepartures == entry->departures))
            return GrbErrorInvalidAccess;
        stale = std::move(entry->session);
        entry->opening = true;
        driver = entry->driver;
        extendedId = entry->record.extendedId;
    }
    if (stale)
        stale->Close();
    std::unique_ptr<DeviceSession> session;
    const GrbErrorType err = driver->Open(extendedId, mode, session);

    std::unique_lock<std::mutex> lock(m_mutex);
    HandleEntry* entry = m_started ? m_table.Get(camera, HandleKind::Camera) : nullptr;
    if (!entry)
    {
        lock.unlock();
        if (session)
            session->Close();
        return GrbErrorApiNotStarted; // shut down while opening
    }
    entry->opening = false;
    if (err != GrbErrorSuccess)
        return err;
    entry->session = std::move(session);
    if (mode & (GrbAccessModeFull | GrbAccessModeExclusive))
        entry->commands = std::make_shared<CommandMemo>();
    else
        entry->commands.reset();
    entry->sessionDepartures = entry->departures;
    lock.unlock();
    m_events.Post(true, camera, ListEventReason::OpenStateChanged);
    return GrbErrorSuccess;
}

GrbErrorType Core::CloseCamera(GrbHandle camera)
{
    std::shared_ptr<DeviceSession> session;
    bool present = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        HandleEntry* entry = _OpenCamera(camera, err);
        if (!entry)
            return err;
        session = std::move(entry->session);
        present = entry->present;
    }
    session->Close();
    if (present)
        m_events.Post(true, camera, ListEventReason::OpenStateChanged);
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraInterface(GrbHandle camera, GrbHandle& cameraInterface)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    if (!_Camera(camera, err))
        return err;
    cameraInterface = _Link(camera, HandleKind::Interface);
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraTransportLayer(GrbHandle camera, GrbHandle& transportLayer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    HandleEntry* entry = _Camera(camera, err);
    if (!entry)
        return err;
    if (GrbErrorType fault = entry->record.fieldErrors[DeviceRecord::TransportLayer])
        return fault;
    transportLayer = _Link(camera, HandleKind::TransportLayer);
    return GrbErrorSuccess;
}

GrbErrorType Core::InterfaceId(GrbHandle cameraInterface, std::string& id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    const DeviceRecord* record = _LinkedRecord(cameraInterface, HandleKind::Interface, err);
    if (!record)
        return err;
    if (GrbErrorType fault = record->fieldErrors[DeviceRecord::InterfaceId])
        return fault;
    id = record->interfaceId;
    return GrbErrorSuccess;
}

GrbErrorType Core::InterfaceTransportLayer(GrbHandle cameraInterface, GrbHandle& transportLayer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    if (!m_table.Get(cameraInterface, HandleKind::Interface))
        return GrbErrorBadHandle;
    transportLayer = _Link(cameraInterface, HandleKind::TransportLayer);
    return GrbErrorSuccess;
}

GrbErrorType Core::TransportLayerText(GrbHandle transportLayer, DeviceRecord::Field field, std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    const DeviceRecord* record = _LinkedRecord(transportLayer, HandleKind::TransportLayer, err);
    if (!record)
        return err;
    if (GrbErrorType fault = record->fieldErrors[field])
        return fault;
    text = recordText(*record, field);
    return GrbErrorSuccess;
}

GrbErrorType Core::TransportLayerKind(GrbHandle transportLayer, GrbTransportLayerType& type)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    const DeviceRecord* record = _LinkedRecord(transportLayer, HandleKind::TransportLayer, err);
    if (record)
        type = record->transportLayerType;
    return err;
}

GrbErrorType Core::CameraStreams(GrbHandle camera, std::vector<GrbHandle>& streams)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    HandleEntry* entry = _OpenCamera(camera, err);
    if (!entry)
        return err;
    const uint32_t count = entry->session->StreamCount();
    while (entry->streams.size() < count)
    {
        HandleEntry stream;
        stream.kind = HandleKind::Stream;
        stream.camera = camera;
        stream.streamIndex = static_cast<uint32_t>(entry->streams.size());
        entry->streams.push_back(m_table.Add(std::move(stream)));
    }
    streams.assign(entry->streams.begin(), entry->streams.begin() + count);
    return GrbErrorSuccess;
}

GrbErrorType Core::ReadMemory(GrbHandle camera, uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    std::shared_ptr<DeviceSession> session;
    const GrbErrorType err = _Session(camera, session);
    return err != GrbErrorSuccess ? err : session->ReadMemory(address, buffer, size, done);
}

GrbErrorType Core::WriteMemory(GrbHandle camera, uint64_t address, const uint8_t* buffer, uint32_t size,
                               uint32_t& done)
{
    done = 0;
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    // A command's register may be among the bytes.
    return _Writing(camera, [&](DeviceSession& session) { return session.WriteMemory(address, buffer, size, done); });
}

GrbErrorType Core::AcquireSingleFrame(GrbHandle camera, uint32_t timeoutMs, FrameData& frame)
{
    // Acquisition runs commands of its own.
    return _Writing(camera, [&](DeviceSession& session) { return session.AcquireSingleFrame(timeoutMs, frame); });
}

GrbErrorType Core::WithFeatures(GrbHandle container, const std::function<GrbErrorType(CheckedNodeMap&)>& f)
{
    std::shared_ptr<DeviceSession> session;
    std::shared_ptr<CommandMemo> commands;
    NodeMap* map = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_started)
            return GrbErrorApiNotStarted;
        HandleEntry* stream = m_table.Get(container, HandleKind::Stream);
        HandleEntry* camera = stream ? m_table.CameraOf(container) : m_table.Get(container, HandleKind::Camera);
        if (!camera)
            return GrbErrorBadHandle;
        if (!camera->session)
            return GrbErrorDeviceNotOpen;
        session = camera->session;
        // A camera seen leaving answers for itself: its session's calls fail.
        if (camera->sessionDepartures == camera->departures)
            commands = camera->commands;
        map = stream ? session->StreamFeatures(stream->streamIndex) : &session->Features();
        if (!map)
            return GrbErrorNotFound;
    }
    if (!commands)
    {
        CheckedNodeMap checked(*map);
        return f(checked);
    }
    CommandMemoNodeMap remembered(*map, *commands);
    CheckedNodeMap checked(remembered);
    return f(checked);
}

const char* Core::Keep(GrbHandle container, const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    HandleEntry* camera = m_table.CameraOf(container);
    return camera ? camera->kept.insert(text).first->c_str() : nullptr;
}

} // namespace grb
