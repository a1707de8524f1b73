#ifndef VUSB_TRANSFERSLOT_H
#define VUSB_TRANSFERSLOT_H

#include "HostConnection.h"

#include <libusb.h>

#include <memory>

namespace vusb {

class HostContext;

// What the stand-in keeps with each asynchronous transfer, in the same allocation,
// just before the libusb_transfer the caller sees.
class TransferSlot
{
public:
    static libusb_transfer* Allocate(int isoPackets);
    static void Free(libusb_transfer* transfer);
    static TransferSlot& Of(libusb_transfer* transfer);

    HostContext* context = nullptr;
    std::shared_ptr<HostConnection> connection;
    uint32_t tag = 0;
    bool inFlight = false;
    bool cancelled = false;
    bool timedOut = false;
    HostConnection::Clock::time_point deadline = HostConnection::Clock::time_point::max();
};

} // namespace vusb

#endif
