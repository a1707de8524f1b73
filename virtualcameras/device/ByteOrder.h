#ifndef VCAM_DEVICE_BYTEORDER_H
#define VCAM_DEVICE_BYTEORDER_H

#include <cstddef>
#include <cstdint>

namespace vcam {

// A camera's register byte order: GigE Vision is big-endian, USB3 Vision little-endian.
enum class ByteOrder
{
    Big,
    Little
};

// size bytes of value at p, in the given order.
inline void PutUint(uint8_t* p, uint64_t value, size_t size, ByteOrder order)
{
    for (size_t i = 0; i < size; ++i)
    {
        const size_t shift = 8 * (order == ByteOrder::Big ? size - 1 - i : i);
        p[i] = static_cast<uint8_t>(value >> shift);
    }
}

inline uint64_t GetUint(const uint8_t* p, size_t size, ByteOrder order)
{
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i)
    {
        const size_t shift = 8 * (order == ByteOrder::Big ? size - 1 - i : i);
        value |= uint64_t(p[i]) << shift;
    }
    return value;
}

} // namespace vcam

#endif
