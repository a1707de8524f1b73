#ifndef VCAM_GENTL_BUFFERMODULE_H
#define VCAM_GENTL_BUFFERMODULE_H

#include "Module.h"

#include <sim/SimFrame.h>

#include <cstdint>
#include <vector>

namespace vcam::gentl {

// One buffer announced to a data stream: the consumer's memory or the producer's own,
// and what the last frame delivered into it was. Guarded by its stream.
class BufferModule : public Module
{
public:
    // base null: the producer allocates size bytes.
    BufferModule(void* base, size_t size, void* userPointer);

    void* Base() { return m_base; }
    size_t Size() const { return m_size; }
    void* UserPointer() const { return m_userPointer; }
    bool Owned() const { return !m_storage.empty(); }

    // Fills the buffer from frame; what does not fit is cut off and marks it incomplete.
    void Fill(const grb::sim::SimFrame& frame);

    bool queued = false;
    bool delivered = false;
    bool newData = false;
    bool incomplete = false;
    bool larger = false;
    size_t filled = 0;
    uint64_t frameId = 0;
    uint64_t timestampNs = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t offsetX = 0;
    uint32_t offsetY = 0;
    uint32_t pixelFormat = 0;

private:
    std::vector<uint8_t> m_storage;
    void* m_base;
    size_t m_size;
    void* m_userPointer;
};

} // namespace vcam::gentl

#endif
