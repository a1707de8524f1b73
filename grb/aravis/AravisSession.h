#ifndef GRB_ARAVIS_ARAVISSESSION_H
#define GRB_ARAVIS_ARAVISSESSION_H

#include "AravisConnection.h"
#include "AravisDiscovery.h"
#include "AravisNodeMap.h"
#include "AravisStreamNodeMap.h"

#include <contract/DeviceSession.h>

#include <memory>
#include <string>

namespace grb::aravis {

class AravisSession : public DeviceSession
{
public:
    AravisSession(std::shared_ptr<AravisConnection> connection, std::shared_ptr<AravisDiscovery> discovery,
                  std::string extendedId);
    ~AravisSession() override;

    NodeMap& Features() override { return m_features; }
    uint32_t StreamCount() override;
    NodeMap* StreamFeatures(uint32_t index) override;
    // Any address and size: Aravis transfers whole 4-byte words from the address it
    // is given, so reads widen to aligned words and writes merge the edge words
    // read back first.
    GrbErrorType ReadMemory(uint64_t address, uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType WriteMemory(uint64_t address, const uint8_t* buffer, uint32_t size, uint32_t& done) override;
    GrbErrorType AcquireSingleFrame(uint32_t timeoutMs, FrameData& frame) override;
    void Close() override;

private:
    GrbErrorType _CheckRange(uint64_t address, uint32_t size);

    std::shared_ptr<AravisConnection> m_connection;
    std::shared_ptr<AravisDiscovery> m_discovery;
    std::string m_extendedId;
    AravisNodeMap m_features;
    AravisStreamNodeMap m_stream;
};

} // namespace grb::aravis

#endif
