#include "AravisDiscovery.h"

#include "GvcpClient.h"

#include <gvcp/GvcpProtocol.h>

#include <arv.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdio>

namespace grb::aravis {

namespace {

constexpr auto kRoundPause = std::chrono::seconds(1);
// One round takes about a second (Aravis waits that long for answers).
constexpr auto kFirstRoundLimit = std::chrono::seconds(30);

std::mutex g_instanceMutex;
std::weak_ptr<AravisDiscovery> g_instance;

std::string text(const char* value)
{
    return value ? value : "";
}

std::string interfaceName(const std::string& localAddress)
{
    in_addr wanted{};
    if (inet_pton(AF_INET, localAddress.c_str(), &wanted) != 1)
        return {};
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return {};
    std::string name;
    for (ifaddrs* i = list; i && name.empty(); i = i->ifa_next)
        if (i->ifa_addr && i->ifa_addr->sa_family == AF_INET &&
            reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr == wanted.s_addr)
            name = i->ifa_name;
    freeifaddrs(list);
    return name;
}

std::string printable(const uint8_t* bytes, size_t size)
{
    std::string result;
    for (size_t i = 0; i < size && bytes[i] != 0; ++i)
        result += (bytes[i] >= 0x20 && bytes[i] < 0x7f) ? static_cast<char>(bytes[i]) : '?';
    return result;
}

// What discovery cannot tell about a GigE Vision camera it reads from the camera's
// bootstrap registers: the user-defined name and who controls it.
void completeGigE(AravisDeviceInfo& info, bool openHere)
{
    GvcpClient gvcp(info.deviceAddress);
    info.localAddress = gvcp.LocalAddress();
    info.interfaceId = interfaceName(info.localAddress);
    if (info.interfaceId.empty())
        info.interfaceId = info.localAddress;

    uint8_t name[gvcp::kUserDefinedNameSize] = {};
    if (gvcp.ReadMemory(gvcp::kUserDefinedName, name, sizeof name) == GrbErrorSuccess)
        info.name = printable(name, sizeof name);
    if (info.name.empty())
        info.name = info.model;

    if (openHere)
    {
        info.permittedAccess = GrbAccessModeFull | GrbAccessModeRead;
        return;
    }
    uint32_t privilege = 0;
    info.accessError = gvcp.ReadRegister(gvcp::kControlChannelPrivilege, privilege);
    // Bit 0 exclusive, bit 1 control access; either means another application holds it.
    if (info.accessError == GrbErrorSuccess)
        info.permittedAccess = (privilege & 0x3) ? GrbAccessModeRead : (GrbAccessModeFull | GrbAccessModeRead);
}

} // namespace

std::shared_ptr<AravisDiscovery> AravisDiscovery::Acquire()
{
    std::lock_guard<std::mutex> lock(g_instanceMutex);
    std::shared_ptr<AravisDiscovery> instance = g_instance.lock();
    if (!instance)
    {
        instance.reset(new AravisDiscovery());
        g_instance = instance;
    }
    return instance;
}

AravisDiscovery::~AravisDiscovery()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

uint64_t AravisDiscovery::Subscribe(std::function<void()> listChanged)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    // A thread still being stopped must be gone before another may start.
    m_changed.wait(lock, [this] { return !m_joining; });
    const uint64_t token = m_nextToken++;
    m_subscribers[token] = std::move(listChanged);
    if (!m_thread.joinable())
    {
        m_stop = false;
        m_rounds = 0;
        m_thread = std::thread([this] { _Run(); });
    }
    m_changed.wait_for(lock, kFirstRoundLimit, [this] { return m_rounds > 0 || m_stop; });
    return token;
}

void AravisDiscovery::Unsubscribe(uint64_t token)
{
    std::thread finished;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_subscribers.erase(token);
        if (!m_subscribers.empty() || !m_thread.joinable())
            return;
        m_stop = true;
        m_joining = true;
        finished = std::move(m_thread);
    }
    m_changed.notify_all();
    finished.join();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_devices.clear();
        m_joining = false;
    }
    m_changed.notify_all();
}

std::vector<AravisDeviceInfo> AravisDiscovery::Devices(GrbTransportLayerType type)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<AravisDeviceInfo> result;
    for (const auto& device : m_devices)
        if (device.type == type)
            result.push_back(device);
    return result;
}

bool AravisDiscovery::Find(const std::string& extendedId, AravisDeviceInfo& info)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& device : m_devices)
        if (device.extendedId == extendedId)
        {
            info = device;
            return true;
        }
    return false;
}

void AravisDiscovery::SetOpenHere(const std::string& extendedId, bool open)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (open)
        m_openHere.insert(extendedId);
    else
        m_openHere.erase(extendedId);
}

void AravisDiscovery::Wake()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wake = true;
    }
    m_changed.notify_all();
}

std::string AravisDiscovery::LibraryPath()
{
    Dl_info where{};
    if (dladdr(reinterpret_cast<void*>(&arv_update_device_list), &where) && where.dli_fname)
        return where.dli_fname;
    return "aravis-" ARAVIS_API_VERSION;
}

void AravisDiscovery::_Run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop)
    {
        const std::set<std::string> openHere = m_openHere;
        lock.unlock();
        std::vector<AravisDeviceInfo> devices = _Round(openHere);
        lock.lock();
        // The camera may have been opened here while the round read its privilege.
        for (auto& device : devices)
            if (m_openHere.count(device.extendedId))
            {
                device.permittedAccess = GrbAccessModeFull | GrbAccessModeRead;
                device.accessError = GrbErrorSuccess;
            }
        const bool changed = devices != m_devices;
        m_devices = std::move(devices);
        ++m_rounds;
        m_changed.notify_all();
        if (changed)
        {
            std::vector<std::function<void()>> subscribers;
            for (const auto& item : m_subscribers)
                subscribers.push_back(item.second);
            lock.unlock();
            for (const auto& listChanged : subscribers)
                if (listChanged)
                    listChanged();
            lock.lock();
        }
        m_changed.wait_for(lock, kRoundPause, [this] { return m_stop || m_wake; });
        m_wake = false;
    }
    lock.unlock();
    // Frees Aravis's interface list on the thread that owns it.
    arv_shutdown();
}

std::vector<AravisDeviceInfo> AravisDiscovery::_Round(const std::set<std::string>& openHere)
{
    arv_update_device_list();
    std::vector<AravisDeviceInfo> devices;
    const unsigned int count = arv_get_n_devices();
    for (unsigned int i = 0; i < count; ++i)
    {
        AravisDeviceInfo info;
        const std::string protocol = text(arv_get_device_protocol(i));
        if (protocol == "GigEVision")
            info.type = GrbTransportLayerGEV;
        else if (protocol == "USB3Vision")
            info.type = GrbTransportLayerU3V;
        else
            continue;
        info.id = text(arv_get_device_id(i));
        info.vendor = text(arv_get_device_vendor(i));
        info.model = text(arv_get_device_model(i));
        info.serial = text(arv_get_device_serial_nbr(i));
        info.deviceAddress = text(arv_get_device_address(i));
        info.extendedId = (info.type == GrbTransportLayerGEV ? "GEV::" : "U3V::") + info.id;
        devices.push_back(std::move(info));
    }
    // Copied out: the rest talks to the cameras, not to Aravis's list.
    for (auto& info : devices)
    {
        if (info.type == GrbTransportLayerGEV)
            completeGigE(info, openHere.count(info.extendedId) != 0);
        else
        {
            // A USB3 Vision camera cannot be asked who holds it without opening it.
            info.interfaceId = "usb";
            info.name = info.model;
            info.permittedAccess = GrbAccessModeFull | GrbAccessModeRead;
        }
    }
    return devices;
}

} // namespace grb::aravis
