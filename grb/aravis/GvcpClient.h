#ifndef GRB_ARAVIS_GVCPCLIENT_H
#define GRB_ARAVIS_GVCPCLIENT_H

#include <GrbC/GrbCTypes.h>

#include <cstdint>
#include <string>
#include <vector>

namespace grb::aravis {

// Reads a GigE Vision camera's bootstrap registers over its control protocol without
// opening it, which Aravis cannot do (it has no monitor mode). Every wait is bounded.
class GvcpClient
{
public:
    explicit GvcpClient(const std::string& deviceAddress);
    ~GvcpClient();
    GvcpClient(const GvcpClient&) = delete;
    GvcpClient& operator=(const GvcpClient&) = delete;

    // The local IPv4 address the route to the camera leaves from; empty without one.
    std::string LocalAddress() const;

    GrbErrorType ReadRegister(uint32_t address, uint32_t& value);
    // count: a multiple of 4, at most 512.
    GrbErrorType ReadMemory(uint32_t address, uint8_t* buffer, uint16_t count);

private:
    GrbErrorType _Transact(uint16_t command, const std::vector<uint8_t>& payload, std::vector<uint8_t>& answer);

    int m_socket = -1;
    GrbErrorType m_setupError = GrbErrorSuccess;
    uint16_t m_requestId = 0;
};

} // namespace grb::aravis

#endif
