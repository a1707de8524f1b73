#include "TransferSlot.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace vusb {

namespace {

constexpr size_t kPrefix = (sizeof(TransferSlot) + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
                           alignof(std::max_align_t);

} // namespace

libusb_transfer* TransferSlot::Allocate(int isoPackets)
{
    if (isoPackets < 0)
        return nullptr;
    const size_t transferSize = sizeof(libusb_transfer) + size_t(isoPackets) * sizeof(libusb_iso_packet_descriptor);
    auto* memory = static_cast<unsigned char*>(::operator new(kPrefix + transferSize, std::nothrow));
    if (!memory)
        return nullptr;
    new (memory) TransferSlot();
    auto* transfer = reinterpret_cast<libusb_transfer*>(memory + kPrefix);
    std::memset(static_cast<void*>(transfer), 0, transferSize);
    transfer->num_iso_packets = isoPackets;
    return transfer;
}

void TransferSlot::Free(libusb_transfer* transfer)
{
    if (!transfer)
        return;
    TransferSlot& slot = Of(transfer);
    slot.~TransferSlot();
    ::operator delete(static_cast<void*>(&slot));
}

TransferSlot& TransferSlot::Of(libusb_transfer* transfer)
{
    return *reinterpret_cast<TransferSlot*>(reinterpret_cast<unsigned char*>(transfer) - kPrefix);
}

} // namespace vusb
