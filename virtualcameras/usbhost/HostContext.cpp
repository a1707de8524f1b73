#include "HostContext.h"

#include "LibusbTypes.h"
#include "TransferSlot.h"

#include <Rendezvous.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vusb {

namespace {

// How often a context with hot-plug callbacks looks for devices that left.
constexpr auto kBusCheck = std::chrono::milliseconds(250);

} // namespace

HostContext::HostContext()
    : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_nextCheck(Clock::now())
{
}

HostContext::~HostContext()
{
    for (libusb_device* device : m_devices)
        device->Unref();
    for (const Event& event : m_events)
        event.device->Unref();
    if (m_wake >= 0)
        close(m_wake);
}

void HostContext::_Wake()
{
    const uint64_t one = 1;
    if (m_wake >= 0 && write(m_wake, &one, sizeof one) < 0)
    {
        // Already signalled: the counter is full, which wakes the reader all the same.
    }
}

std::vector<libusb_device*> HostContext::Devices()
{
    std::vector<libusb_device*> found;
    for (const std::string& path : Rendezvous::Sockets(Rendezvous::Directory()))
    {
        uint64_t session = 0;
        std::shared_ptr<HostConnection> connection = HostConnection::Open(path, session);
        if (!connection)
            continue;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            auto known = std::find_if(m_devices.begin(), m_devices.end(), [&](libusb_device* d) {
                return d->Path() == path && d->Session() == session;
            });
            if (known != m_devices.end())
            {
                (*known)->Ref();
                found.push_back(*known);
                continue;
            }
        }
        auto* device = new libusb_device(this, path, session);
        if (!device->Describe(*connection))
        {
            device->Unref();
            continue;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_devices.push_back(device);
        device->Ref();
        found.push_back(device);
        _Queue(device, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED);
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<libusb_device*> gone;
        for (libusb_device* device : m_devices)
            if (std::find(found.begin(), found.end(), device) == found.end())
                gone.push_back(device);
        for (libusb_device* device : gone)
            _Left(device);
    }
    _Wake();
    return found;
}

int HostContext::Open(libusb_device* device, libusb_device_handle** handle)
{
    if (!device || !handle)
        return LIBUSB_ERROR_INVALID_PARAM;
    uint64_t session = 0;
    std::shared_ptr<HostConnection> connection = HostConnection::Open(device->Path(), session);
    // Another device now answers there: the one asked for has left.
    if (!connection || session != device->Session())
        return LIBUSB_ERROR_NO_DEVICE;
    device->Ref();
    auto* opened = new libusb_device_handle(device, connection);
    connection->SetOnGone([this, device] {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            _Left(device);
        }
        _Wake();
    });
    connection->SetOnAsync([this] { _Wake(); });
    std::lock_guard<std::mutex> lock(m_mutex);
    m_handles.push_back(opened);
    *handle = opened;
    return LIBUSB_SUCCESS;
}

void HostContext::Close(libusb_device_handle* handle)
{
    if (!handle)
        return;
    handle->Connection()->SetOnGone(nullptr);
    handle->Connection()->SetOnAsync(nullptr);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_handles.erase(std::remove(m_handles.begin(), m_handles.end(), handle), m_handles.end());
    }
    libusb_device* device = handle->Device();
    delete handle;
    device->Unref();
}

int HostContext::Submit(libusb_transfer* transfer)
{
    if (!transfer || !transfer->dev_handle || transfer->length < 0 || (transfer->length > 0 && !transfer->buffer))
        return LIBUSB_ERROR_INVALID_PARAM;
    if (transfer->type != LIBUSB_TRANSFER_TYPE_BULK)
        return LIBUSB_ERROR_NOT_SUPPORTED;
    if (uint64_t(transfer->length) > kMaxBody - 64)
        return LIBUSB_ERROR_INVALID_PARAM;
    TransferSlot& slot = TransferSlot::Of(transfer);
    const bool in = (transfer->endpoint & LIBUSB_ENDPOINT_IN) != 0;
    std::vector<uint8_t> body = EndpointBody(transfer->endpoint, static_cast<uint32_t>(transfer->length), in);
    if (!in)
        body.insert(body.end(), transfer->buffer, transfer->buffer + transfer->length);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (slot.inFlight)
            return LIBUSB_ERROR_BUSY;
        slot.context = this;
        slot.connection = transfer->dev_handle->Connection();
        slot.tag = 0;
        slot.cancelled = false;
        slot.timedOut = false;
        slot.deadline = transfer->timeout ? Clock::now() + std::chrono::milliseconds(transfer->timeout)
                                          : Clock::time_point::max();
        slot.inFlight = true;
        transfer->actual_length = 0;
        m_inFlight.push_back(transfer);
    }
    uint32_t tag = 0;
    const bool started = slot.connection->Start(
        in ? Type::BulkIn : Type::BulkOut, body,
        [this, transfer](HostConnection::Outcome outcome, Reply&& reply) { _Completed(transfer, outcome, std::move(reply)); },
        tag);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!started)
    {
        slot.inFlight = false;
        m_inFlight.erase(std::remove(m_inFlight.begin(), m_inFlight.end(), transfer), m_inFlight.end());
        return LIBUSB_ERROR_NO_DEVICE;
    }
    if (slot.inFlight)
        slot.tag = tag;
    return LIBUSB_SUCCESS;
}

int HostContext::Cancel(libusb_transfer* transfer)
{
    if (!transfer)
        return LIBUSB_ERROR_INVALID_PARAM;
    TransferSlot& slot = TransferSlot::Of(transfer);
    std::shared_ptr<HostConnection> connection;
    uint32_t tag = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!slot.inFlight)
            return LIBUSB_ERROR_NOT_FOUND;
        slot.cancelled = true;
        connection = slot.connection;
        tag = slot.tag;
    }
    if (tag != 0)
        connection->Cancel(tag);
    return LIBUSB_SUCCESS;
}

void HostContext::_Completed(libusb_transfer* transfer, HostConnection::Outcome outcome, Reply&& reply)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        TransferSlot& slot = TransferSlot::Of(transfer);
        slot.inFlight = false;
        slot.connection.reset();
        m_inFlight.erase(std::remove(m_inFlight.begin(), m_inFlight.end(), transfer), m_inFlight.end());
        const bool in = (transfer->endpoint & LIBUSB_ENDPOINT_IN) != 0;
        libusb_transfer_status status = LIBUSB_TRANSFER_ERROR;
        if (outcome == HostConnection::Gone)
            status = LIBUSB_TRANSFER_NO_DEVICE;
        else if (reply.status == Status::Ok)
        {
            const size_t limit = size_t(transfer->length);
            if (in && reply.data.size() > limit)
                status = LIBUSB_TRANSFER_OVERFLOW;
            else
            {
                const size_t moved = in ? reply.data.size() : std::min<size_t>(reply.count, limit);
                if (in && moved)
                    std::memcpy(transfer->buffer, reply.data.data(), moved);
                transfer->actual_length = static_cast<int>(moved);
                const bool shortNotOk = (transfer->flags & LIBUSB_TRANSFER_SHORT_NOT_OK) != 0;
                status = shortNotOk && moved < limit ? LIBUSB_TRANSFER_ERROR : LIBUSB_TRANSFER_COMPLETED;
            }
        }
        else if (reply.status == Status::Cancelled)
            status = slot.timedOut ? LIBUSB_TRANSFER_TIMED_OUT : LIBUSB_TRANSFER_CANCELLED;
        else if (reply.status == Status::Stall)
            status = LIBUSB_TRANSFER_STALL;
        else if (reply.status == Status::Overflow)
            status = LIBUSB_TRANSFER_OVERFLOW;
        transfer->status = status;
        m_completed.push_back(transfer);
    }
    _Wake();
}

bool HostContext::_Wants(const Hotplug& hotplug, libusb_device* device, libusb_hotplug_event event) const
{
    const libusb_device_descriptor& d = device->Descriptor();
    return !hotplug.removed && (hotplug.events & event) &&
           (hotplug.vendor == LIBUSB_HOTPLUG_MATCH_ANY || hotplug.vendor == d.idVendor) &&
           (hotplug.product == LIBUSB_HOTPLUG_MATCH_ANY || hotplug.product == d.idProduct) &&
           (hotplug.deviceClass == LIBUSB_HOTPLUG_MATCH_ANY || hotplug.deviceClass == d.bDeviceClass);
}

void HostContext::_Queue(libusb_device* device, libusb_hotplug_event event)
{
    for (const Hotplug& hotplug : m_hotplugs)
        if (_Wants(hotplug, device, event))
        {
            device->Ref();
            m_events.push_back({device, event});
            return;
        }
}

void HostContext::_Left(libusb_device* device)
{
    auto known = std::find(m_devices.begin(), m_devices.end(), device);
    if (known == m_devices.end())
        return;
    m_devices.erase(known);
    _Queue(device, LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT);
    device->Unref();
}

int HostContext::_Deliver()
{
    std::deque<libusb_transfer*> completed;
    std::deque<Event> events;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        completed.swap(m_completed);
        events.swap(m_events);
    }
    for (libusb_transfer* transfer : completed)
    {
        const bool freeTransfer = (transfer->flags & LIBUSB_TRANSFER_FREE_TRANSFER) != 0;
        if (transfer->callback)
            transfer->callback(transfer);
        if (freeTransfer)
        {
            if (transfer->flags & LIBUSB_TRANSFER_FREE_BUFFER)
                std::free(transfer->buffer);
            TransferSlot::Free(transfer);
        }
    }
    for (const Event& event : events)
    {
        std::vector<Hotplug> hotplugs;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            hotplugs = m_hotplugs;
        }
        for (const Hotplug& hotplug : hotplugs)
            if (_Wants(hotplug, event.device, event.event) &&
                hotplug.callback(static_cast<libusb_context*>(this), event.device, event.event, hotplug.userData))
                DeregisterHotplug(hotplug.id);
        event.device->Unref();
    }
    return static_cast<int>(completed.size() + events.size());
}

void HostContext::_CheckBus(Clock::time_point now)
{
    bool arrivals = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_hotplugs.empty() || now < m_nextCheck)
            return;
        m_nextCheck = now + kBusCheck;
        for (const Hotplug& hotplug : m_hotplugs)
            arrivals = arrivals || (hotplug.events & LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED);
    }
    if (arrivals)
    {
        for (libusb_device* device : Devices())
            device->Unref();
        return;
    }
    // Leaving needs no talk to anyone: a device that leaves takes its socket with it.
    const std::vector<std::string> present = Rendezvous::Sockets(Rendezvous::Directory());
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<libusb_device*> gone;
    for (libusb_device* device : m_devices)
        if (!std::binary_search(present.begin(), present.end(), device->Path()))
            gone.push_back(device);
    for (libusb_device* device : gone)
        _Left(device);
}

int HostContext::HandleEvents(const timeval* timeout)
{
    const auto limit = timeout ? std::chrono::seconds(timeout->tv_sec) + std::chrono::microseconds(timeout->tv_usec)
                               : std::chrono::microseconds(std::chrono::seconds(60));
    const auto deadline = Clock::now() + limit;
    for (;;)
    {
        if (_Deliver() > 0)
            return LIBUSB_SUCCESS;
        auto now = Clock::now();
        _CheckBus(now);
        std::vector<std::shared_ptr<HostConnection>> connections;
        auto wakeAt = deadline;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_hotplugs.empty())
                wakeAt = std::min(wakeAt, m_nextCheck);
            for (libusb_transfer* transfer : m_inFlight)
            {
                TransferSlot& slot = TransferSlot::Of(transfer);
                if (!slot.timedOut && slot.tag != 0 && now >= slot.deadline)
                {
                    slot.timedOut = true;
                    slot.connection->Cancel(slot.tag);
                }
                else if (!slot.timedOut)
                    wakeAt = std::min(wakeAt, slot.deadline);
            }
            for (libusb_device_handle* handle : m_handles)
                connections.push_back(handle->Connection());
        }
        std::vector<pollfd> fds{{m_wake, POLLIN, 0}};
        std::vector<std::pair<std::shared_ptr<HostConnection>, bool>> watched;
        for (const auto& connection : connections)
        {
            bool reading = false;
            const int fd = connection->Watch(reading);
            if (fd < 0)
                continue;
            fds.push_back({fd, short(reading ? POLLIN : POLLRDHUP), 0});
            watched.emplace_back(connection, reading);
        }
        const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(wakeAt - now).count();
        const int ready = poll(fds.data(), fds.size(), static_cast<int>(std::clamp<long long>(wait, 0, 1000)));
        for (size_t i = 1; i < fds.size(); ++i)
        {
            auto& [connection, reading] = watched[i - 1];
            if (ready > 0 && fds[i].revents && reading)
                connection->ReadAvailable();
            else if (ready > 0 && fds[i].revents)
                connection->HungUp();
            if (reading)
                connection->EndRead();
        }
        uint64_t count = 0;
        if (ready > 0 && (fds[0].revents & POLLIN) && read(m_wake, &count, sizeof count) < 0)
        {
            // Nothing was there after all.
        }
        if (Clock::now() >= deadline)
        {
            _Deliver();
            return LIBUSB_SUCCESS;
        }
    }
}

int HostContext::RegisterHotplug(int events, int flags, int vendor, int product, int deviceClass,
                                 libusb_hotplug_callback_fn callback, void* userData,
                                 libusb_hotplug_callback_handle* handle)
{
    const int known = LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT;
    if (!callback || events == 0 || (events & ~known))
        return LIBUSB_ERROR_INVALID_PARAM;
    Hotplug hotplug{0, events, vendor, product, deviceClass, callback, userData, false};
    std::vector<libusb_device*> present;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hotplug.id = m_nextHotplug++;
        m_hotplugs.push_back(hotplug);
        if (flags & LIBUSB_HOTPLUG_ENUMERATE)
            for (libusb_device* device : m_devices)
            {
                device->Ref();
                present.push_back(device);
            }
    }
    if (handle)
        *handle = hotplug.id;
    for (libusb_device* device : present)
    {
        if (_Wants(hotplug, device, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED))
            callback(static_cast<libusb_context*>(this), device, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, userData);
        device->Unref();
    }
    return LIBUSB_SUCCESS;
}

void HostContext::DeregisterHotplug(libusb_hotplug_callback_handle handle)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_hotplugs.erase(std::remove_if(m_hotplugs.begin(), m_hotplugs.end(),
                                    [&](const Hotplug& h) { return h.id == handle; }),
                     m_hotplugs.end());
}

} // namespace vusb
