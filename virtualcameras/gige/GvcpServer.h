#ifndef VCAM_GIGE_GVCPSERVER_H
#define VCAM_GIGE_GVCPSERVER_H

#include "GvcpHandler.h"
#include "StreamChannel.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

struct sockaddr_in;

namespace vcam {

// The camera on the network: its control channel on UDP port 3956 of one loopback
// address, plus the broadcast address on which discovery arrives, and its stream
// channel on a port of its own there. Answers go out from the camera's own address,
// after pending acknowledges for slow operations; stream packets as the channel paces
// them.
class GvcpServer
{
public:
    using Clock = std::chrono::steady_clock;

    GvcpServer(GvcpHandler& handler, StreamChannel& stream);
    ~GvcpServer();
    GvcpServer(const GvcpServer&) = delete;
    GvcpServer& operator=(const GvcpServer&) = delete;

    // address in host order; must be a loopback address. False with the reason.
    bool Open(uint32_t address, std::string& error);
    // Serves until stop is set or the deadline has passed.
    void Run(const std::atomic<bool>& stop, Clock::time_point deadline);

private:
    void _Receive(int socket, const std::atomic<bool>& stop);
    void _Answer(const GvcpHandler::Reply& reply, const sockaddr_in& to, const std::atomic<bool>& stop);
    void _Send(const std::vector<uint8_t>& packet, const sockaddr_in& to);
    void _Stream(Clock::time_point now);

    GvcpHandler& m_handler;
    StreamChannel& m_stream;
    int m_control = -1;
    int m_discovery = -1;
    int m_streamSocket = -1;
};

} // namespace vcam

#endif
