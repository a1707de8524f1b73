#include "AravisDriver.h"

#include "AravisConnection.h"
#include "AravisError.h"
#include "AravisSession.h"
#include "GvcpClient.h"

#include <gvcp/GvcpProtocol.h>

namespace grb::aravis {

AravisDriver::AravisDriver(GrbTransportLayerType type)
    : m_type(type)
    , m_name(type == GrbTransportLayerU3V ? "USB3 Vision TL" : "GigE Vision TL")
    , m_path(AravisDiscovery::LibraryPath())
    , m_discovery(AravisDiscovery::Acquire())
{
}

AravisDriver::~AravisDriver()
{
    Stop();
}

std::unique_ptr<TransportLayerDriver> AravisDriver::Create(GrbTransportLayerType type)
{
    return std::make_unique<AravisDriver>(type);
}

GrbErrorType AravisDriver::Start(DeviceListObserver& observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_subscription != 0)
        return GrbErrorSuccess;
    m_observer = &observer;
    // A round's report waits for the lock until the first list is known.
    m_subscription = m_discovery->Subscribe([this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<DeviceRecord> devices;
        Enumerate(devices);
        if (m_observer)
            m_snapshot.Update(devices, *this, *m_observer);
    });
    std::vector<DeviceRecord> devices;
    Enumerate(devices);
    m_snapshot.Reset(devices);
    return GrbErrorSuccess;
}

void AravisDriver::Stop()
{
    uint64_t subscription = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        subscription = m_subscription;
        m_subscription = 0;
        m_observer = nullptr;
    }
    if (subscription != 0)
        m_discovery->Unsubscribe(subscription);
}

GrbErrorType AravisDriver::Enumerate(std::vector<DeviceRecord>& devices)
{
    devices.clear();
    for (const AravisDeviceInfo& info : m_discovery->Devices(m_type))
    {
        DeviceRecord record;
        record.extendedId = info.extendedId;
        record.id = info.id;
        record.model = info.model;
        record.name = info.name;
        record.serial = info.serial;
        record.interfaceId = info.interfaceId;
        record.transportLayerName = m_name;
        record.transportLayerPath = m_path;
        record.transportLayerType = m_type;
        record.permittedAccess = info.permittedAccess;
        record.fieldErrors[DeviceRecord::PermittedAccess] = info.accessError;
        devices.push_back(std::move(record));
    }
    return GrbErrorSuccess;
}

GrbErrorType AravisDriver::Open(const std::string& extendedId, GrbAccessModeType mode,
                                std::unique_ptr<DeviceSession>& session)
{
    AravisDeviceInfo info;
    if (!m_discovery->Find(extendedId, info) || info.type != m_type)
        return AravisError::Fail(GrbErrorNotFound, extendedId + " is not present");
    if (m_type == GrbTransportLayerGEV)
    {
        // Asked first, so a held camera is refused at once and left alone: Aravis's
        // failed attempt to take control retries for a second, and a quick release
        // after it was seen to clear the holder's privilege on Aravis's fake camera.
        uint32_t privilege = 0;
        GvcpClient gvcp(info.deviceAddress);
        if (GrbErrorType err = gvcp.ReadRegister(gvcp::kControlChannelPrivilege, privilege))
            return err;
        if (privilege & 0x3)
            return AravisError::Fail(GrbErrorInvalidAccess, "another application controls the camera");
    }

    // Marked first, so a discovery round meanwhile does not take our own control for
    // another application's.
    m_discovery->SetOpenHere(extendedId, true);
    std::weak_ptr<AravisDiscovery> discovery = m_discovery;
    auto onControlLost = [discovery, extendedId] {
        if (auto d = discovery.lock())
        {
            d->SetOpenHere(extendedId, false);
            d->Wake();
        }
    };
    const bool writable = (mode & (GrbAccessModeFull | GrbAccessModeExclusive)) != 0;
    std::shared_ptr<AravisConnection> connection;
    GrbErrorType err = AravisConnection::Open(info, writable, onControlLost, connection);
    if (err != GrbErrorSuccess)
    {
        m_discovery->SetOpenHere(extendedId, false);
        return err;
    }
    session = std::make_unique<AravisSession>(std::move(connection), m_discovery, extendedId);
    return GrbErrorSuccess;
}

} // namespace grb::aravis
