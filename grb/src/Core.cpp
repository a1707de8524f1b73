#include "Core.h"

#include "TransportLayerTable.h"

#include <algorithm>
#include <cstdio>

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

std::string interfaceKey(const DeviceRecord& r)
{
    return r.transportLayerName + '\n' + r.transportLayerPath + '\n' + r.interfaceId;
}

} // namespace

Core& Core::Instance()
{
    static Core core;
    return core;
}

void Core::SetEventSinks(EventSink cameraEvents, EventSink interfaceEvents)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cameraEvents = std::move(cameraEvents);
    m_interfaceEvents = std::move(interfaceEvents);
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
        if (!error.empty())
            std::fprintf(stderr, "GrbSystem: %s\n", error.c_str());
        if (m_drivers.empty())
            return GrbErrorNoTransportLayer;
        for (auto& driver : m_drivers)
            drivers.push_back(driver.get());
        m_eventStop = false;
        m_eventThread = std::thread([this] { _EventLoop(); });
    }
    // Outside the lock: a real layer's first discovery takes its time and may report.
    std::vector<TransportLayerDriver*> failed;
    for (TransportLayerDriver* driver : drivers)
        if (driver->Start([this] { _OnListChanged(); }) != GrbErrorSuccess)
            failed.push_back(driver);

    std::lock_guard<std::mutex> lock(m_mutex);
    for (TransportLayerDriver* driver : failed)
        m_drivers.erase(std::find_if(m_drivers.begin(), m_drivers.end(),
                                     [driver](const auto& d) { return d.get() == driver; }));
    m_started = true;
    // The cameras present at start-up are the first list, not plug-in events.
    std::vector<DeviceRecord> records;
    for (auto& driver : m_drivers)
        if (driver->Enumerate(records) == GrbErrorSuccess)
            for (const auto& record : records)
            {
                Entry& entry = m_entries[reinterpret_cast<uintptr_t>(_Merge(record, driver.get()))];
                entry.present = true;
                auto key = interfaceKey(record);
                if (!m_interfaces.count(key))
                {
                    Entry iface;
                    iface.kind = Kind::Interface;
                    iface.record = record;
                    iface.record.fieldErrors = {};
                    iface.interfaceKey = key;
                    iface.present = true;
                    m_interfaces[key] = _NewHandle(iface);
                }
            }
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
        drivers = std::move(m_drivers);
        m_drivers.clear();
        for (auto& item : m_entries)
            if (item.second.session)
                sessions.push_back(std::move(item.second.session));
        m_entries.clear();
        m_byExtendedId.clear();
        m_interfaces.clear();
    }
    for (auto& session : sessions)
        session->Close();
    sessions.clear();
    for (auto& driver : drivers)
        driver->Stop();
    drivers.clear();

    {
        std::lock_guard<std::mutex> lock(m_eventMutex);
        m_eventStop = true;
        m_events.clear();
    }
    m_eventWake.notify_all();
    if (m_eventThread.joinable())
    {
        // An observer may shut the SDK down from its own callback.
        if (m_eventThread.get_id() == std::this_thread::get_id())
            m_eventThread.detach();
        else
            m_eventThread.join();
    }
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

Core::Entry* Core::_Get(GrbHandle handle, Kind kind)
{
    auto it = m_entries.find(reinterpret_cast<uintptr_t>(handle));
    if (it == m_entries.end() || it->second.kind != kind)
        return nullptr;
    return &it->second;
}

Core::Entry* Core::_Camera(GrbHandle handle, GrbErrorType& err)
{
    if (!m_started)
    {
        err = GrbErrorApiNotStarted;
        return nullptr;
    }
    Entry* entry = _Get(handle, Kind::Camera);
    err = entry ? GrbErrorSuccess : GrbErrorBadHandle;
    return entry;
}

GrbHandle Core::_NewHandle(Entry entry)
{
    uintptr_t id = m_nextHandle++;
    m_entries.emplace(id, std::move(entry));
    return reinterpret_cast<GrbHandle>(id);
}

GrbHandle Core::_Merge(const DeviceRecord& record, TransportLayerDriver* driver)
{
    auto it = m_byExtendedId.find(record.extendedId);
    if (it != m_byExtendedId.end())
    {
        Entry& entry = m_entries[reinterpret_cast<uintptr_t>(it->second)];
        entry.record = record;
        entry.driver = driver;
        return it->second;
    }
    Entry entry;
    entry.kind = Kind::Camera;
    entry.record = record;
    entry.driver = driver;
    GrbHandle handle = _NewHandle(std::move(entry));
    m_byExtendedId[record.extendedId] = handle;
    return handle;
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
            cameras.push_back(_Merge(record, driver.get()));
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
    auto it = m_byExtendedId.find(id);
    if (it != m_byExtendedId.end())
    {
        camera = it->second;
        return GrbErrorSuccess;
    }
    for (const auto& item : m_entries)
        if (item.second.kind == Kind::Camera && item.second.record.id == id)
        {
            camera = reinterpret_cast<GrbHandle>(item.first);
            return GrbErrorSuccess;
        }
    return GrbErrorNotFound;
}

GrbErrorType Core::CameraText(GrbHandle camera, DeviceRecord::Field field, std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    Entry* entry = _Camera(camera, err);
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
    Entry* entry = _Camera(camera, err);
    if (entry)
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
        Entry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (entry->opening || (entry->session && entry->sessionDepartures == entry->departures))
            return GrbErrorInvalidAccess;
        if (entry->session)
            stale = std::move(entry->session);
        entry->opening = true;
        driver = entry->driver;
        extendedId = entry->record.extendedId;
    }
    if (stale)
        stale->Close();
    std::unique_ptr<DeviceSession> session;
    GrbErrorType err = driver->Open(extendedId, mode, session);

    std::unique_lock<std::mutex> lock(m_mutex);
    Entry* entry = m_started ? _Get(camera, Kind::Camera) : nullptr;
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
    entry->sessionDepartures = entry->departures;
    lock.unlock();
    _Post(true, camera, 3);
    return GrbErrorSuccess;
}

GrbErrorType Core::CloseCamera(GrbHandle camera)
{
    std::shared_ptr<DeviceSession> session;
    bool present = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        Entry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (!entry->session)
            return GrbErrorDeviceNotOpen;
        session = std::move(entry->session);
        present = entry->present;
    }
    session->Close();
    if (present)
        _Post(true, camera, 3);
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraInterface(GrbHandle camera, GrbHandle& cameraInterface)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    Entry* entry = _Camera(camera, err);
    if (!entry)
        return err;
    if (!entry->linkedInterface)
    {
        Entry link;
        link.kind = Kind::Interface;
        link.camera = camera;
        GrbHandle handle = _NewHandle(std::move(link));
        _Get(camera, Kind::Camera)->linkedInterface = handle;
    }
    cameraInterface = _Get(camera, Kind::Camera)->linkedInterface;
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraTransportLayer(GrbHandle camera, GrbHandle& transportLayer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    Entry* entry = _Camera(camera, err);
    if (!entry)
        return err;
    if (GrbErrorType fault = entry->record.fieldErrors[DeviceRecord::TransportLayer])
        return fault;
    if (!entry->linkedTransportLayer)
    {
        Entry link;
        link.kind = Kind::TransportLayer;
        link.camera = camera;
        GrbHandle handle = _NewHandle(std::move(link));
        _Get(camera, Kind::Camera)->linkedTransportLayer = handle;
    }
    transportLayer = _Get(camera, Kind::Camera)->linkedTransportLayer;
    return GrbErrorSuccess;
}

GrbErrorType Core::InterfaceId(GrbHandle cameraInterface, std::string& id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    Entry* entry = _Get(cameraInterface, Kind::Interface);
    if (!entry)
        return GrbErrorBadHandle;
    const Entry* source = entry->camera ? _Get(entry->camera, Kind::Camera) : entry;
    if (!source)
        return GrbErrorBadHandle;
    if (GrbErrorType fault = source->record.fieldErrors[DeviceRecord::InterfaceId])
        return fault;
    id = source->record.interfaceId;
    return GrbErrorSuccess;
}

GrbErrorType Core::InterfaceTransportLayer(GrbHandle cameraInterface, GrbHandle& transportLayer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    Entry* entry = _Get(cameraInterface, Kind::Interface);
    if (!entry)
        return GrbErrorBadHandle;
    if (!entry->linkedTransportLayer)
    {
        Entry link;
        link.kind = Kind::TransportLayer;
        link.camera = entry->camera;
        link.record = entry->record;
        GrbHandle handle = _NewHandle(std::move(link));
        _Get(cameraInterface, Kind::Interface)->linkedTransportLayer = handle;
    }
    transportLayer = _Get(cameraInterface, Kind::Interface)->linkedTransportLayer;
    return GrbErrorSuccess;
}

GrbErrorType Core::TransportLayerText(GrbHandle transportLayer, DeviceRecord::Field field, std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    Entry* entry = _Get(transportLayer, Kind::TransportLayer);
    if (!entry)
        return GrbErrorBadHandle;
    const Entry* source = entry->camera ? _Get(entry->camera, Kind::Camera) : entry;
    if (!source)
        return GrbErrorBadHandle;
    if (GrbErrorType fault = source->record.fieldErrors[field])
        return fault;
    text = recordText(source->record, field);
    return GrbErrorSuccess;
}

GrbErrorType Core::TransportLayerKind(GrbHandle transportLayer, GrbTransportLayerType& type)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_started)
        return GrbErrorApiNotStarted;
    Entry* entry = _Get(transportLayer, Kind::TransportLayer);
    if (!entry)
        return GrbErrorBadHandle;
    const Entry* source = entry->camera ? _Get(entry->camera, Kind::Camera) : entry;
    if (!source)
        return GrbErrorBadHandle;
    type = source->record.transportLayerType;
    return GrbErrorSuccess;
}

GrbErrorType Core::CameraStreams(GrbHandle camera, std::vector<GrbHandle>& streams)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    GrbErrorType err = GrbErrorSuccess;
    Entry* entry = _Camera(camera, err);
    if (!entry)
        return err;
    if (!entry->session)
        return GrbErrorDeviceNotOpen;
    const uint32_t count = entry->session->StreamCount();
    while (entry->streams.size() < count)
    {
        Entry stream;
        stream.kind = Kind::Stream;
        stream.camera = camera;
        stream.streamIndex = static_cast<uint32_t>(entry->streams.size());
        GrbHandle handle = _NewHandle(std::move(stream));
        entry = _Get(camera, Kind::Camera);
        entry->streams.push_back(handle);
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
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        Entry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (!entry->session)
            return GrbErrorDeviceNotOpen;
        session = entry->session;
    }
    return session->ReadMemory(address, buffer, size, done);
}

GrbErrorType Core::WriteMemory(GrbHandle camera, uint64_t address, const uint8_t* buffer, uint32_t size,
                               uint32_t& done)
{
    done = 0;
    if (!buffer || size == 0)
        return GrbErrorBadParameter;
    std::shared_ptr<DeviceSession> session;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        Entry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (!entry->session)
            return GrbErrorDeviceNotOpen;
        session = entry->session;
    }
    return session->WriteMemory(address, buffer, size, done);
}

GrbErrorType Core::AcquireSingleFrame(GrbHandle camera, uint32_t timeoutMs, FrameData& frame)
{
    std::shared_ptr<DeviceSession> session;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        GrbErrorType err = GrbErrorSuccess;
        Entry* entry = _Camera(camera, err);
        if (!entry)
            return err;
        if (!entry->session)
            return GrbErrorDeviceNotOpen;
        session = entry->session;
    }
    return session->AcquireSingleFrame(timeoutMs, frame);
}

GrbErrorType Core::WithFeatures(GrbHandle container, const std::function<GrbErrorType(NodeMap&)>& f)
{
    std::shared_ptr<DeviceSession> session;
    NodeMap* map = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_started)
            return GrbErrorApiNotStarted;
        auto it = m_entries.find(reinterpret_cast<uintptr_t>(container));
        if (it == m_entries.end() || (it->second.kind != Kind::Camera && it->second.kind != Kind::Stream))
            return GrbErrorBadHandle;
        const bool isStream = it->second.kind == Kind::Stream;
        Entry* camera = isStream ? _Get(it->second.camera, Kind::Camera) : &it->second;
        if (!camera)
            return GrbErrorBadHandle;
        if (!camera->session)
            return GrbErrorDeviceNotOpen;
        session = camera->session;
        map = isStream ? session->StreamFeatures(it->second.streamIndex) : &session->Features();
        if (!map)
            return GrbErrorNotFound;
    }
    return f(*map);
}

const char* Core::Keep(GrbHandle container, const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_entries.find(reinterpret_cast<uintptr_t>(container));
    if (it == m_entries.end())
        return nullptr;
    Entry* camera = it->second.kind == Kind::Stream ? _Get(it->second.camera, Kind::Camera) : &it->second;
    if (!camera)
        return nullptr;
    return camera->kept.insert(text).first->c_str();
}

void Core::_OnListChanged()
{
    std::vector<Event> events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_started)
            return;
        std::set<std::string> seen;
        std::set<TransportLayerDriver*> answered;
        std::vector<DeviceRecord> records;
        for (auto& driver : m_drivers)
        {
            // A layer that cannot list its devices now keeps its cameras as they were.
            if (driver->Enumerate(records) != GrbErrorSuccess)
                continue;
            answered.insert(driver.get());
            for (const auto& record : records)
            {
                seen.insert(record.extendedId);
                auto known = m_byExtendedId.find(record.extendedId);
                const bool wasPresent =
                    known != m_byExtendedId.end() && m_entries[reinterpret_cast<uintptr_t>(known->second)].present;
                const GrbAccessModeType oldAccess =
                    wasPresent ? m_entries[reinterpret_cast<uintptr_t>(known->second)].record.permittedAccess : 0;
                GrbHandle handle = _Merge(record, driver.get());
                Entry& entry = m_entries[reinterpret_cast<uintptr_t>(handle)];
                entry.present = true;
                if (!wasPresent)
                    events.push_back({true, handle, 0});
                else if (oldAccess != record.permittedAccess)
                    events.push_back({true, handle, 3});
            }
        }
        std::set<std::string> interfaces;
        for (auto& item : m_entries)
        {
            Entry& entry = item.second;
            if (entry.kind != Kind::Camera)
                continue;
            if (entry.present && answered.count(entry.driver) && !seen.count(entry.record.extendedId))
            {
                entry.present = false;
                ++entry.departures;
                events.push_back({true, reinterpret_cast<GrbHandle>(item.first), 1});
            }
            if (entry.present)
                interfaces.insert(interfaceKey(entry.record));
        }
        for (const auto& key : interfaces)
        {
            if (m_interfaces.count(key))
                continue;
            Entry iface;
            iface.kind = Kind::Interface;
            iface.interfaceKey = key;
            for (const auto& item : m_entries)
                if (item.second.kind == Kind::Camera && item.second.present &&
                    interfaceKey(item.second.record) == key)
                    iface.record = item.second.record;
            iface.record.fieldErrors = {};
            GrbHandle handle = _NewHandle(std::move(iface));
            m_interfaces[key] = handle;
            events.push_back({false, handle, 0});
        }
        for (auto it = m_interfaces.begin(); it != m_interfaces.end();)
        {
            if (interfaces.count(it->first))
            {
                ++it;
                continue;
            }
            events.push_back({false, it->second, 1});
            it = m_interfaces.erase(it);
        }
    }
    for (const auto& event : events)
        _Post(event.camera, event.handle, event.reason);
}

void Core::_Post(bool camera, GrbHandle handle, int reason)
{
    {
        std::lock_guard<std::mutex> lock(m_eventMutex);
        if (m_eventStop)
            return;
        m_events.push_back({camera, handle, reason});
    }
    m_eventWake.notify_all();
}

void Core::_EventLoop()
{
    std::unique_lock<std::mutex> lock(m_eventMutex);
    for (;;)
    {
        m_eventWake.wait(lock, [this] { return m_eventStop || !m_events.empty(); });
        if (m_eventStop)
            return;
        Event event = m_events.front();
        m_events.pop_front();
        lock.unlock();
        EventSink sink;
        {
            std::lock_guard<std::mutex> coreLock(m_mutex);
            sink = event.camera ? m_cameraEvents : m_interfaceEvents;
        }
        if (sink)
            sink(event.handle, event.reason);
        lock.lock();
    }
}

} // namespace grb
