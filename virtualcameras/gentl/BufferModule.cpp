#include "BufferModule.h"

#include <algorithm>
#include <cstring>

namespace vcam::gentl {

BufferModule::BufferModule(void* base, size_t size, void* userPointer)
    : Module(Kind::Buffer)
    , m_base(base)
    , m_size(size)
    , m_userPointer(userPointer)
{
    if (!m_base)
    {
        m_storage.resize(size);
        m_base = m_storage.data();
    }
}

void BufferModule::Fill(const grb::sim::SimFrame& frame)
{
    filled = std::min(m_size, frame.data.size());
    if (filled > 0)
        std::memcpy(m_base, frame.data.data(), filled);
    larger = frame.data.size() > m_size;
    incomplete = larger;
    newData = true;
    frameId = frame.id;
    timestampNs = frame.timestampNs;
    width = frame.width;
    height = frame.height;
    offsetX = frame.offsetX;
    offsetY = frame.offsetY;
    pixelFormat = frame.pixelFormat;
}

} // namespace vcam::gentl
