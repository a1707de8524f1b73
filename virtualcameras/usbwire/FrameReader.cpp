#include "FrameReader.h"

namespace vusb {

FrameReader::FrameReader(bool fromDevice)
    : m_fromDevice(fromDevice)
{
}

void FrameReader::Append(const uint8_t* data, size_t size)
{
    if (m_broken || size == 0)
        return;
    // What was consumed goes before the buffer grows.
    if (m_start > 0 && m_start >= m_buffer.size() / 2)
    {
        m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_start));
        m_start = 0;
    }
    m_buffer.insert(m_buffer.end(), data, data + size);
}

bool FrameReader::_Acceptable(uint8_t type) const
{
    if (m_fromDevice)
        return type == static_cast<uint8_t>(Type::Reply);
    return type >= static_cast<uint8_t>(Type::Hello) && type <= static_cast<uint8_t>(Type::Cancel);
}

FrameReader::Result FrameReader::Next(Frame& frame)
{
    if (m_broken)
        return Broken;
    const size_t available = m_buffer.size() - m_start;
    if (available < kHeaderSize)
        return NeedMore;
    const uint8_t* h = m_buffer.data() + m_start;
    const uint32_t length = Get32(h + 12);
    if (Get32(h) != kMagic || h[4] != kVersion || !_Acceptable(h[5]) || Get16(h + 6) != 0 || length > kMaxBody)
    {
        m_broken = true;
        m_buffer.clear();
        m_start = 0;
        return Broken;
    }
    if (available < kHeaderSize + length)
        return NeedMore;
    frame.type = static_cast<Type>(h[5]);
    frame.tag = Get32(h + 8);
    frame.body.assign(h + kHeaderSize, h + kHeaderSize + length);
    m_start += kHeaderSize + length;
    if (m_start == m_buffer.size())
    {
        m_buffer.clear();
        m_start = 0;
    }
    return Complete;
}

size_t FrameReader::Wanted() const
{
    const size_t available = m_buffer.size() - m_start;
    if (available < kHeaderSize)
        return kHeaderSize - available;
    const size_t whole = kHeaderSize + Get32(m_buffer.data() + m_start + 12);
    return whole > available ? whole - available : 1;
}

} // namespace vusb
