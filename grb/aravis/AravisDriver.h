#ifndef GRB_ARAVIS_ARAVISDRIVER_H
#define GRB_ARAVIS_ARAVISDRIVER_H

#include "AravisDiscovery.h"

#include <contract/DeviceSnapshot.h>
#include <contract/TransportLayerDriver.h>

#include <memory>
#include <mutex>
#include <string>

namespace grb::aravis {

// One transport layer over Aravis: the cameras of one protocol (GigE Vision or USB3
// Vision) out of the shared discovery.
class AravisDriver : public TransportLayerDriver
{
public:
    explicit AravisDriver(GrbTransportLayerType type);
    ~AravisDriver() override;

    static std::unique_ptr<TransportLayerDriver> Create(GrbTransportLayerType type);

    GrbErrorType Start(DeviceListObserver& observer) override;
    void Stop() override;
    GrbErrorType Enumerate(std::vector<DeviceRecord>& devices) override;
    GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode,
                      std::unique_ptr<DeviceSession>& session) override;

private:
    GrbTransportLayerType m_type;
    std::string m_name;
    std::string m_path;
    std::shared_ptr<AravisDiscovery> m_discovery;
    uint64_t m_subscription = 0;
    // What was reported last, so that a discovery round reports only what changed.
    std::mutex m_mutex;
    DeviceListObserver* m_observer = nullptr;
    DeviceSnapshot m_snapshot;
};

} // namespace grb::aravis

#endif
