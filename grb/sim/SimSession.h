#ifndef GRB_SIM_SIMSESSION_H
#define GRB_SIM_SIMSESSION_H

#include "SimNodeMapView.h"
#include "SimWorld.h"

#include <contract/DeviceSession.h>

#include <memory>

namespace grb::sim {

class SimSession : public DeviceSession
{
public:
    SimSession(std::shared_ptr<SimWorld> world, size_t index, uint64_t generation, bool writable);
    ~SimSession() override;

    NodeMap& Features() override { return m_features; }
    uint32_t StreamCount() override;
    NodeMap* StreamFeatures(uint32_t index) override;
    GrbErrorType ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame) override;
    void Close() override;

private:
    std::shared_ptr<SimWorld> m_world;
    size_t m_index;
    uint64_t m_generation;
    bool m_writable;
    bool m_closed = false;
    SimNodeMapView m_features;
    std::vector<std::unique_ptr<SimNodeMapView>> m_streams;
};

} // namespace grb::sim

#endif
