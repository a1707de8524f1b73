#include "SimSession.h"

namespace grb::sim {

SimSession::SimSession(std::shared_ptr<SimWorld> world, size_t index, uint64_t generation, bool writable)
    : m_world(std::move(world))
    , m_index(index)
    , m_generation(generation)
    , m_writable(writable)
    , m_features(m_world, index, generation, -1, writable)
{
}

SimSession::~SimSession()
{
    Close();
}

uint32_t SimSession::StreamCount()
{
    uint32_t count = 0;
    m_world->Call(m_index, m_generation, [&](SimDevice& device) -> GrbErrorType {
        count = static_cast<uint32_t>(device.Streams().size());
        return GrbErrorSuccess;
    });
    return count;
}

NodeMap* SimSession::StreamFeatures(uint32_t index)
{
    if (index >= StreamCount())
        return nullptr;
    while (m_streams.size() <= index)
        m_streams.push_back(std::make_unique<SimNodeMapView>(m_world, m_index, m_generation,
                                                             static_cast<int>(m_streams.size()), m_writable));
    return m_streams[index].get();
}

GrbErrorType SimSession::ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    GrbErrorType err = m_world->Call(m_index, m_generation,
                                     [&](SimDevice& device) -> GrbErrorType { return device.ReadMemory(address, buffer, size); });
    if (err == GrbErrorSuccess)
        done = size;
    return err;
}

GrbErrorType SimSession::WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done)
{
    done = 0;
    if (!m_writable)
        return GrbErrorInvalidAccess;
    GrbErrorType err = m_world->Call(m_index, m_generation,
                                     [&](SimDevice& device) -> GrbErrorType { return device.WriteMemory(address, buffer, size); });
    if (err == GrbErrorSuccess)
        done = size;
    return err;
}

GrbErrorType SimSession::AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame)
{
    (void)timeoutMs; // a simulated frame is ready at once
    return m_world->Call(m_index, m_generation, [&](SimDevice& device) -> GrbErrorType {
        SimFrame image = device.Acquisition().Snapshot();
        frame.width = image.width;
        frame.height = image.height;
        frame.buffer = std::move(image.data);
        frame.status = GrbFrameStatusComplete;
        return GrbErrorSuccess;
    });
}

void SimSession::Close()
{
    if (m_closed)
        return;
    m_closed = true;
    m_world->Close(m_index, m_generation);
}

} // namespace grb::sim
