#include "ControlChannel.h"

#include <gvcp/GvcpProtocol.h>

#include <algorithm>

namespace vcam {

namespace {

constexpr uint32_t kPrivilegeBits = gvcp::kPrivilegeExclusive | gvcp::kPrivilegeControl;

} // namespace

ControlChannel::ControlChannel(bool heldElsewhere)
    : m_heldElsewhere(heldElsewhere)
{
}

uint32_t ControlChannel::Privilege() const
{
    return m_heldElsewhere ? gvcp::kPrivilegeControl : m_privilege;
}

bool ControlChannel::IsController(const GvcpPeer& peer) const
{
    return !m_heldElsewhere && m_privilege != 0 && m_controller == peer;
}

bool ControlChannel::MayRead(const GvcpPeer& peer) const
{
    return (m_privilege & gvcp::kPrivilegeExclusive) == 0 || IsController(peer);
}

bool ControlChannel::MayWrite(const GvcpPeer& peer) const
{
    return IsController(peer);
}

uint16_t ControlChannel::WritePrivilege(const GvcpPeer& peer, uint32_t value, Clock::time_point now)
{
    const uint32_t wanted = value & kPrivilegeBits;
    if (m_heldElsewhere || (m_privilege != 0 && m_controller != peer))
        return gvcp::kStatusAccessDenied;
    if (wanted == 0)
    {
        Release();
        return gvcp::kStatusSuccess;
    }
    m_privilege = wanted;
    m_controller = peer;
    m_lastHeard = now;
    return gvcp::kStatusSuccess;
}

void ControlChannel::SetHeartbeatTimeout(uint32_t ms)
{
    m_heartbeatMs = std::clamp(ms, kMinHeartbeatMs, kMaxHeartbeatMs);
}

void ControlChannel::Heard(const GvcpPeer& peer, Clock::time_point now)
{
    // Never earlier: a slow operation may have pushed it past a later message.
    if (IsController(peer))
        m_lastHeard = std::max(m_lastHeard, now);
}

bool ControlChannel::Expire(Clock::time_point now)
{
    if (m_privilege == 0 || now - m_lastHeard <= std::chrono::milliseconds(m_heartbeatMs))
        return false;
    Release();
    return true;
}

void ControlChannel::Release()
{
    m_privilege = 0;
    m_controller = {};
    // A new controller starts with the default time-out, as after power-up.
    m_heartbeatMs = kDefaultHeartbeatMs;
}

} // namespace vcam
