#include "SimWorld.h"

#include <algorithm>

namespace grb::sim {

namespace {

std::mutex g_activeMutex;
std::shared_ptr<SimWorld> g_active;

const char* transportLayerName(GrbTransportLayerType type)
{
    return type == GrbTransportLayerU3V ? "USB3 Vision TL (Simulator)" : "GigE Vision TL (Simulator)";
}

const char* transportLayerPath(GrbTransportLayerType type)
{
    return type == GrbTransportLayerU3V ? "builtin:simulator/u3v" : "builtin:simulator/gev";
}

} // namespace

SimWorld::SimWorld(std::vector<SimCameraConfig> cameras)
{
    for (auto& camera : cameras)
        _Add(std::make_unique<SimDevice>(std::move(camera), this));
}

void SimWorld::_Add(std::unique_ptr<SimDevice> device)
{
    const size_t index = m_slots.size();
    const SimCameraConfig& c = device->Config();
    for (const std::string* name : {&c.extendedId, &c.id, &c.serial})
        m_byName[name == &c.extendedId ? 0 : name == &c.id ? 1 : 2].emplace(*name, index);
    m_byDevice[device.get()] = index;
    m_slots.push_back({std::move(device)});
}

SimWorld::~SimWorld()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_scheduler.joinable())
        m_scheduler.join();
}

std::shared_ptr<SimWorld> SimWorld::Active()
{
    std::lock_guard<std::mutex> lock(g_activeMutex);
    return g_active;
}

void SimWorld::SetActive(std::shared_ptr<SimWorld> world)
{
    std::lock_guard<std::mutex> lock(g_activeMutex);
    g_active = std::move(world);
}

void SimWorld::SetListObserver(std::function<void(const Change&)> observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_observer = std::move(observer);
    m_changes.clear();
}

void SimWorld::_Note(Change::Kind kind, const Slot& slot)
{
    m_changes.push_back({kind, _Record(slot)});
}

void SimWorld::_NotifyIfPending(std::unique_lock<std::mutex>& lock)
{
    if (m_changes.empty() || m_enumerationFault != GrbErrorSuccess)
        return;
    std::vector<Change> changes;
    changes.swap(m_changes);
    std::function<void(const Change&)> observer = m_observer;
    lock.unlock();
    if (observer)
        for (const Change& change : changes)
            observer(change);
}

DeviceRecord SimWorld::_Record(const Slot& slot) const
{
    const SimCameraConfig& c = slot.device->Config();
    DeviceRecord r;
    r.extendedId = c.extendedId;
    r.id = c.id;
    r.model = c.model;
    r.name = c.name;
    r.serial = c.serial;
    r.interfaceId = c.interfaceId;
    r.transportLayerName = transportLayerName(c.transport);
    r.transportLayerPath = transportLayerPath(c.transport);
    r.transportLayerType = c.transport;
    r.permittedAccess = c.heldByOther ? GrbAccessModeRead : (GrbAccessModeFull | GrbAccessModeRead);
    r.fieldErrors = slot.identityErrors;
    return r;
}

GrbErrorType SimWorld::Enumerate(std::vector<DeviceRecord>& devices)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    devices.clear();
    if (m_enumerationFault != GrbErrorSuccess)
        return m_enumerationFault;
    for (const auto& slot : m_slots)
        if (slot.present)
            devices.push_back(_Record(slot));
    return GrbErrorSuccess;
}

GrbErrorType SimWorld::Open(const std::string& extendedId, GrbAccessModeType mode, size_t& index,
                            uint64_t& generation)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (size_t i = 0; i < m_slots.size(); ++i)
    {
        Slot& slot = m_slots[i];
        if (slot.device->Config().extendedId != extendedId)
            continue;
        if (!slot.present)
            return GrbErrorNotFound;
        const bool control = (mode & (GrbAccessModeFull | GrbAccessModeExclusive)) != 0;
        if (slot.openHere || (control && slot.device->Config().heldByOther))
            return GrbErrorInvalidAccess;
        slot.openHere = true;
        index = i;
        generation = slot.generation;
        return GrbErrorSuccess;
    }
    return GrbErrorNotFound;
}

void SimWorld::Close(size_t index, uint64_t generation)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index < m_slots.size() && m_slots[index].generation == generation)
        m_slots[index].openHere = false;
}

GrbErrorType SimWorld::Call(size_t index, uint64_t generation, const std::function<GrbErrorType(SimDevice&)>& f)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (index >= m_slots.size() || !m_slots[index].present || m_slots[index].generation != generation)
        return GrbErrorTransportLayer; // the device has left the bus
    GrbErrorType err = f(*m_slots[index].device);
    _NotifyIfPending(lock);
    return err;
}

GrbErrorType SimWorld::VersionQueryFault()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_versionFault;
}

SimWorld::Slot* SimWorld::_Find(const std::string& camera)
{
    // The first camera that has the name as any of the three.
    size_t first = m_slots.size();
    for (const auto& names : m_byName)
    {
        auto it = names.find(camera);
        if (it != names.end())
            first = std::min(first, it->second);
    }
    return first < m_slots.size() ? &m_slots[first] : nullptr;
}

SimWorld::Slot* SimWorld::_SlotOf(SimDevice& device)
{
    auto it = m_byDevice.find(&device);
    return it == m_byDevice.end() ? nullptr : &m_slots[it->second];
}

void SimWorld::_Leave(Slot& slot)
{
    if (!slot.present)
        return;
    slot.present = false;
    slot.openHere = false;
    ++slot.generation;
    _Note(Change::Left, slot);
}

bool SimWorld::_Change(const std::string& camera, const std::function<void(Slot&)>& f)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    Slot* slot = _Find(camera);
    if (!slot)
        return false;
    f(*slot);
    _NotifyIfPending(lock);
    return true;
}

bool SimWorld::AddCamera(const SimCameraConfig& camera)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (_Find(camera.extendedId) || _Find(camera.id))
        return false;
    _Add(std::make_unique<SimDevice>(camera, this));
    _Note(Change::Arrived, m_slots.back());
    _NotifyIfPending(lock);
    return true;
}

bool SimWorld::Unplug(const std::string& camera)
{
    return _Change(camera, [this](Slot& slot) { _Leave(slot); });
}

bool SimWorld::Plug(const std::string& camera)
{
    return _Change(camera, [this](Slot& slot) {
        if (slot.present)
            return;
        slot.present = true;
        _Note(Change::Arrived, slot);
    });
}

bool SimWorld::SetHeldByOther(const std::string& camera, bool held)
{
    return _Change(camera, [this, held](Slot& slot) {
        SimCameraConfig& c = slot.device->Config();
        if (c.heldByOther == held)
            return;
        c.heldByOther = held;
        if (slot.present)
            _Note(Change::Changed, slot);
    });
}

bool SimWorld::FailFeatureAccess(const std::string& camera, const std::string& feature, unsigned nth,
                                 GrbErrorType code, int stream)
{
    bool found = false;
    bool known = _Change(camera, [&](Slot& slot) {
        SimNodeMap* map = stream < 0 ? &slot.device->Features()
                          : static_cast<size_t>(stream) < slot.device->Streams().size()
                              ? &slot.device->Streams()[static_cast<size_t>(stream)]
                              : nullptr;
        SimFeature* f = map ? map->Find(feature) : nullptr;
        if (!f)
            return;
        f->failOnAccess = nth == 0 ? 0 : f->accessCount + nth;
        f->failCode = code;
        found = true;
    });
    return known && found;
}

bool SimWorld::SetCommandDelay(const std::string& camera, const std::string& feature, int delayMs, int stream)
{
    bool found = false;
    bool known = _Change(camera, [&](Slot& slot) {
        SimNodeMap* map = stream < 0 ? &slot.device->Features()
                          : static_cast<size_t>(stream) < slot.device->Streams().size()
                              ? &slot.device->Streams()[static_cast<size_t>(stream)]
                              : nullptr;
        SimFeature* f = map ? map->Find(feature) : nullptr;
        if (!f || f->type != GrbFeatureDataCommand)
            return;
        f->commandDelayMs = delayMs;
        found = true;
    });
    return known && found;
}

bool SimWorld::SetRawReadLimit(const std::string& camera, const std::string& feature, uint32_t bytes)
{
    bool found = false;
    bool known = _Change(camera, [&](Slot& slot) {
        SimFeature* f = slot.device->Features().Find(feature);
        if (!f || f->type != GrbFeatureDataRaw)
            return;
        f->rawReadLimit = bytes;
        found = true;
    });
    return known && found;
}

bool SimWorld::UnplugAfterChunks(const std::string& camera, unsigned chunks)
{
    return _Change(camera, [chunks](Slot& slot) { slot.device->UnplugAfterChunks(chunks); });
}

bool SimWorld::FailIdentity(const std::string& camera, DeviceRecord::Field field, GrbErrorType code)
{
    if (field < 0 || field >= DeviceRecord::FieldCount)
        return false;
    return _Change(camera, [this, field, code](Slot& slot) {
        slot.identityErrors[field] = code;
        if (slot.present)
            _Note(Change::Changed, slot);
    });
}

bool SimWorld::SetResetDelay(const std::string& camera, int delayMs)
{
    return _Change(camera, [delayMs](Slot& slot) {
        slot.device->Config().resetDelayMs = delayMs;
    });
}

void SimWorld::FailEnumeration(GrbErrorType code)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    // Once listing works again what changed in between is reported.
    m_enumerationFault = code;
    _NotifyIfPending(lock);
}

void SimWorld::FailVersionQuery(GrbErrorType code)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_versionFault = code;
}

bool SimWorld::ReadFile(const std::string& camera, const std::string& selector, const std::string& name,
                        std::vector<uint8_t>& data)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Slot* slot = _Find(camera);
    std::vector<uint8_t>* file = slot ? slot->device->Files().Find(selector, name) : nullptr;
    if (!file)
        return false;
    data = *file;
    return true;
}

bool SimWorld::IsPresent(const std::string& camera)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Slot* slot = _Find(camera);
    return slot && slot->present;
}

std::string SimWorld::Firmware(const std::string& camera)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    Slot* slot = _Find(camera);
    return slot ? slot->device->Firmware() : std::string();
}

void SimWorld::DeviceLeft(SimDevice& device)
{
    if (Slot* slot = _SlotOf(device))
        _Leave(*slot);
}

void SimWorld::DeviceResetting(SimDevice& device)
{
    Slot* slot = _SlotOf(device);
    if (!slot)
        return;
    _Leave(*slot);
    auto delay = std::chrono::milliseconds(device.Config().resetDelayMs < 0 ? 0 : device.Config().resetDelayMs);
    m_pending.push_back({std::chrono::steady_clock::now() + delay, &device});
    if (!m_scheduler.joinable())
        m_scheduler = std::thread([this] { _Scheduler(); });
    m_wake.notify_all();
}

void SimWorld::_Scheduler()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping)
    {
        if (m_pending.empty())
        {
            m_wake.wait(lock);
            continue;
        }
        auto next = std::min_element(m_pending.begin(), m_pending.end(),
                                     [](const Pending& a, const Pending& b) { return a.due < b.due; });
        // A copy: while this waits, another reset may grow m_pending and move its elements.
        const auto due = next->due;
        if (std::chrono::steady_clock::now() < due)
        {
            m_wake.wait_until(lock, due);
            continue;
        }
        SimDevice* device = next->device;
        m_pending.erase(next);
        if (Slot* slot = _SlotOf(*device))
        {
            device->CompleteReset();
            slot->present = true;
            _Note(Change::Arrived, *slot);
        }
        _NotifyIfPending(lock);
        if (!lock.owns_lock())
            lock.lock();
    }
}

} // namespace grb::sim
