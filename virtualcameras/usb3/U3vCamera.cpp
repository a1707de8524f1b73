#include "U3vCamera.h"

#include "U3vDescriptors.h"

namespace vcam {

namespace {

constexpr uint8_t kDeviceType = 0x01;
constexpr uint8_t kConfigType = 0x02;
constexpr uint8_t kStringType = 0x03;

} // namespace

U3vCamera::U3vCamera(std::shared_ptr<grb::sim::SimWorld> world, std::string camera)
    : m_space(std::move(world), std::move(camera))
    , m_handler(m_space)
    , m_stream(m_space)
{
}

bool U3vCamera::Build(std::string& error)
{
    return m_space.Build(error);
}

std::vector<uint8_t> U3vCamera::Descriptor(uint8_t type, uint8_t index)
{
    if (type == kDeviceType && index == 0)
        return U3vDescriptors::Device();
    if (type == kConfigType && index == 0)
        return U3vDescriptors::Configuration();
    if (type == kStringType && index < U3vDescriptors::kStringCount)
        return U3vDescriptors::String(index, m_space.Text(index));
    return {};
}

bool U3vCamera::HasInterface(uint8_t interface) const
{
    return interface <= U3vDescriptors::kStreamInterface;
}

int U3vCamera::InterfaceOf(uint8_t endpoint) const
{
    switch (endpoint)
    {
    case U3vDescriptors::kControlOut:
    case U3vDescriptors::kControlIn:
        return U3vDescriptors::kControlInterface;
    case U3vDescriptors::kEventIn:
        return U3vDescriptors::kEventInterface;
    case U3vDescriptors::kStreamIn:
        return U3vDescriptors::kStreamInterface;
    default:
        return -1;
    }
}

bool U3vCamera::Receive(uint8_t endpoint, const uint8_t* data, size_t size, Clock::time_point now)
{
    if (endpoint != U3vDescriptors::kControlOut)
        return false;
    for (auto& ack : m_handler.Handle(data, size, now))
        m_acks.push_back({now + std::chrono::milliseconds(ack.delayMs), std::move(ack.bytes)});
    return true;
}

UsbFunction::Sent U3vCamera::Send(uint8_t endpoint, size_t maxLength, Clock::time_point now, std::vector<uint8_t>& data)
{
    if (endpoint == U3vDescriptors::kStreamIn)
    {
        m_stream.Poll(now);
        return m_stream.Send(maxLength, data);
    }
    if (endpoint != U3vDescriptors::kControlIn || m_acks.empty() || m_acks.front().at > now)
        return Sent::Nothing;
    Due ack = std::move(m_acks.front());
    m_acks.pop_front();
    // An acknowledge longer than the host's buffer is lost to it, as on the bus.
    if (ack.bytes.size() > maxLength)
        return Sent::Overflow;
    data = std::move(ack.bytes);
    return Sent::Data;
}

UsbFunction::Clock::time_point U3vCamera::NextEvent(Clock::time_point now)
{
    // What is ready already waits for the host to ask: only what is still to come counts.
    m_stream.Poll(now);
    Clock::time_point next = m_stream.NextFrame();
    for (const Due& ack : m_acks)
        if (ack.at > now)
        {
            next = std::min(next, ack.at);
            break;
        }
    return next;
}

bool U3vCamera::Quiet() const
{
    return m_acks.empty();
}

void U3vCamera::Released(uint8_t interface)
{
    // The host has gone: what it started stops, as on a camera.
    if (interface == U3vDescriptors::kControlInterface)
    {
        m_acks.clear();
        m_space.Device().WithDevice([](grb::sim::SimDevice& device) { device.Acquisition().Stop(); });
    }
    if (interface == U3vDescriptors::kStreamInterface)
    {
        m_space.StopStream();
        m_stream.Drop();
    }
}

void U3vCamera::EndpointReset(uint8_t endpoint)
{
    if (endpoint == U3vDescriptors::kControlIn)
        m_acks.clear();
    if (endpoint == U3vDescriptors::kStreamIn)
        m_stream.Drop();
}

bool U3vCamera::Present()
{
    return m_space.Present();
}

} // namespace vcam
