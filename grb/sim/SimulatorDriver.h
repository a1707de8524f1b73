#ifndef GRB_SIM_SIMULATORDRIVER_H
#define GRB_SIM_SIMULATORDRIVER_H

#include "SimWorld.h"

#include <contract/TransportLayerDriver.h>

#include <memory>
#include <string>

namespace grb::sim {

// The simulator as a transport layer: its world becomes the active one while it runs.
class SimulatorDriver : public TransportLayerDriver
{
public:
    explicit SimulatorDriver(std::shared_ptr<SimWorld> world);
    ~SimulatorDriver() override;

    // configuration: "demo" or the path of a description file. Null with the reason
    // in error when the description is refused.
    static std::unique_ptr<TransportLayerDriver> Create(const std::string& configuration, std::string& error);

    GrbErrorType Start(DeviceListObserver& observer) override;
    void Stop() override;
    GrbErrorType Enumerate(std::vector<DeviceRecord>& devices) override;
    GrbErrorType Open(const std::string& extendedId, GrbAccessModeType mode,
                      std::unique_ptr<DeviceSession>& session) override;
    GrbErrorType VersionQueryFault() override;

private:
    std::shared_ptr<SimWorld> m_world;
};

} // namespace grb::sim

#endif
