#ifndef VCAM_GIGE_CONTROLCHANNEL_H
#define VCAM_GIGE_CONTROLCHANNEL_H

#include "GvcpPeer.h"

#include <chrono>
#include <cstdint>

namespace vcam {

// Who controls the camera: the control channel privilege of one application, kept
// alive by its messages and lost when they stop for longer than the heartbeat time-out.
class ControlChannel
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr uint32_t kDefaultHeartbeatMs = 3000;
    static constexpr uint32_t kMinHeartbeatMs = 500;
    static constexpr uint32_t kMaxHeartbeatMs = 600000;

    // heldElsewhere: another application, out of reach, holds control for good.
    explicit ControlChannel(bool heldElsewhere = false);

    // The privilege register as every application reads it.
    uint32_t Privilege() const;
    bool IsController(const GvcpPeer& peer) const;
    GvcpPeer Controller() const { return m_controller; }
    bool MayRead(const GvcpPeer& peer) const;
    bool MayWrite(const GvcpPeer& peer) const;

    // A write of the privilege register; the result is a GVCP status.
    uint16_t WritePrivilege(const GvcpPeer& peer, uint32_t value, Clock::time_point now);
    uint32_t HeartbeatTimeout() const { return m_heartbeatMs; }
    void SetHeartbeatTimeout(uint32_t ms);

    // Any message of the controller counts as its heartbeat.
    void Heard(const GvcpPeer& peer, Clock::time_point now);
    // Releases control once the controller has been silent too long; true if it did.
    bool Expire(Clock::time_point now);
    void Release();

private:
    bool m_heldElsewhere;
    uint32_t m_privilege = 0;
    GvcpPeer m_controller;
    Clock::time_point m_lastHeard;
    uint32_t m_heartbeatMs = kDefaultHeartbeatMs;
};

} // namespace vcam

#endif
