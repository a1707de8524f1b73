#include "Module.h"

#include <atomic>
#include <cstdint>

namespace vcam::gentl {

namespace {

// Far from small numbers a consumer might pass by mistake.
std::atomic<uintptr_t> g_next{0x6e7400000000};

} // namespace

Module::Module(Kind kind)
    : m_kind(kind)
    , m_handle(reinterpret_cast<void*>(g_next += 16))
{
}

} // namespace vcam::gentl
