#include "U3vStreamChannel.h"

#include "U3vProtocol.h"

#include <ByteOrder.h>
#include <DeviceStatus.h>

#include <algorithm>

namespace vcam {

namespace {

constexpr unsigned kMostFrames = 3;

void put(std::vector<uint8_t>& block, size_t at, uint64_t value, size_t size)
{
    PutUint(block.data() + at, value, size, ByteOrder::Little);
}

} // namespace

U3vStreamChannel::U3vStreamChannel(U3vAddressSpace& space)
    : m_space(space)
{
}

std::vector<std::vector<uint8_t>> U3vStreamChannel::Blocks(const grb::sim::SimFrame& frame,
                                                            const U3vAddressSpace::StreamSettings& settings)
{
    std::vector<std::vector<uint8_t>> blocks;
    std::vector<uint8_t> leader(u3v::kLeaderSize, 0);
    put(leader, 0, u3v::kLeaderPrefix, 4);
    put(leader, 6, u3v::kLeaderSize, 2);
    put(leader, 8, frame.id, 8);
    put(leader, 18, u3v::kPayloadImage, 2);
    put(leader, 20, frame.timestampNs, 8);
    put(leader, 28, frame.pixelFormat, 4);
    put(leader, 32, frame.width, 4);
    put(leader, 36, frame.height, 4);
    put(leader, 40, frame.offsetX, 4);
    put(leader, 44, frame.offsetY, 4);
    blocks.push_back(std::move(leader));

    const std::vector<uint8_t>& data = frame.data;
    size_t offset = 0;
    auto transfer = [&](size_t most) {
        const size_t n = std::min(most, data.size() - offset);
        if (n == 0)
            return;
        blocks.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(offset),
                            data.begin() + static_cast<std::ptrdiff_t>(offset + n));
        offset += n;
    };
    for (uint32_t i = 0; i < settings.payloadCount && offset < data.size(); ++i)
        transfer(settings.payloadSize);
    transfer(settings.transfer1);
    transfer(settings.transfer2);

    // What the transfers had no room for is lost, and the trailer says so.
    std::vector<uint8_t> trailer(u3v::kTrailerSize, 0);
    put(trailer, 0, u3v::kTrailerPrefix, 4);
    put(trailer, 6, u3v::kTrailerSize, 2);
    put(trailer, 8, frame.id, 8);
    put(trailer, 16, offset < data.size() ? u3v::kStatusDataOverrun : status::kSuccess, 2);
    put(trailer, 20, offset, 8);
    put(trailer, 28, frame.height, 4);
    blocks.push_back(std::move(trailer));
    return blocks;
}

void U3vStreamChannel::Drop()
{
    m_blocks.clear();
    m_sent = 0;
    m_frames = 0;
}

void U3vStreamChannel::Poll(Clock::time_point now)
{
    const U3vAddressSpace::StreamSettings& settings = m_space.Stream();
    if (settings.generation != m_generation)
    {
        Drop();
        m_generation = settings.generation;
    }
    std::vector<grb::sim::SimFrame> frames;
    m_space.Device().WithDevice([&](grb::sim::SimDevice& device) {
        grb::sim::SimFrame frame;
        // Frames of a stream the host does not read go nowhere, as from a camera.
        while (device.Acquisition().TakeFrame(now, frame))
            if (settings.enabled && m_frames + frames.size() < kMostFrames)
                frames.push_back(std::move(frame));
    });
    for (const auto& frame : frames)
    {
        std::vector<std::vector<uint8_t>> blocks = Blocks(frame, settings);
        for (size_t i = 0; i < blocks.size(); ++i)
            m_blocks.push_back({std::move(blocks[i]), i + 1 == blocks.size()});
        ++m_frames;
    }
}

UsbFunction::Sent U3vStreamChannel::Send(size_t maxLength, std::vector<uint8_t>& data)
{
    if (m_blocks.empty() || !m_space.Stream().enabled || m_space.Stream().generation != m_generation)
        return UsbFunction::Sent::Nothing;
    Block& front = m_blocks.front();
    const size_t n = std::min(maxLength, front.bytes.size() - m_sent);
    data.assign(front.bytes.begin() + static_cast<std::ptrdiff_t>(m_sent),
                front.bytes.begin() + static_cast<std::ptrdiff_t>(m_sent + n));
    m_sent += n;
    if (m_sent == front.bytes.size())
    {
        if (front.lastOfFrame)
            --m_frames;
        m_blocks.pop_front();
        m_sent = 0;
    }
    return UsbFunction::Sent::Data;
}

U3vStreamChannel::Clock::time_point U3vStreamChannel::NextFrame()
{
    Clock::time_point due = Clock::time_point::max();
    m_space.Device().WithDevice([&](grb::sim::SimDevice& device) { due = device.Acquisition().NextDue(); });
    return due;
}

} // namespace vcam
