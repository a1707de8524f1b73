#include "SimulatorDriver.h"

#include "SimDescription.h"
#include "SimSession.h"

namespace grb::sim {

SimulatorDriver::SimulatorDriver(std::shared_ptr<SimWorld> world)
    : m_world(std::move(world))
{
}

SimulatorDriver::~SimulatorDriver()
{
    Stop();
}

std::unique_ptr<TransportLayerDriver> SimulatorDriver::Create(const std::string& configuration, std::string& error)
{
    std::vector<SimCameraConfig> cameras;
    if (configuration == "demo")
        cameras = SimDescription::Demo();
    else if (!SimDescription::Load(configuration, cameras, error))
        return nullptr;
    return std::make_unique<SimulatorDriver>(std::make_shared<SimWorld>(std::move(cameras)));
}

GrbErrorType SimulatorDriver::Start(DeviceListObserver& observer)
{
    m_world->SetListObserver([this, &observer](const SimWorld::Change& change) {
        if (change.kind == SimWorld::Change::Arrived)
            observer.DeviceArrived(*this, change.device);
        else if (change.kind == SimWorld::Change::Left)
            observer.DeviceLeft(*this, change.device.extendedId);
        else
            observer.DeviceChanged(*this, change.device);
    });
    SimWorld::SetActive(m_world);
    return GrbErrorSuccess;
}

void SimulatorDriver::Stop()
{
    m_world->SetListObserver(nullptr);
    if (SimWorld::Active() == m_world)
        SimWorld::SetActive(nullptr);
}

GrbErrorType SimulatorDriver::Enumerate(std::vector<DeviceRecord>& devices)
{
    return m_world->Enumerate(devices);
}

GrbErrorType SimulatorDriver::Open(const std::string& extendedId, GrbAccessModeType mode,
                                   std::unique_ptr<DeviceSession>& session)
{
    size_t index = 0;
    uint64_t generation = 0;
    GrbErrorType err = m_world->Open(extendedId, mode, index, generation);
    if (err != GrbErrorSuccess)
        return err;
    const bool writable = (mode & (GrbAccessModeFull | GrbAccessModeExclusive)) != 0;
    session = std::make_unique<SimSession>(m_world, index, generation, writable);
    return GrbErrorSuccess;
}

GrbErrorType SimulatorDriver::VersionQueryFault()
{
    return m_world->VersionQueryFault();
}

} // namespace grb::sim
