// libusb's opaque types, as the stand-in makes them: its own classes under libusb's
// names, so that the pointers libusb's callers hold are the stand-in's objects.
#ifndef VUSB_LIBUSBTYPES_H
#define VUSB_LIBUSBTYPES_H

#include "HostContext.h"
#include "HostDevice.h"
#include "HostHandle.h"

struct libusb_context final : vusb::HostContext
{
    libusb_context() = default;
    ~libusb_context() override = default;
};

struct libusb_device final : vusb::HostDevice
{
    libusb_device(vusb::HostContext* context, std::string path, uint64_t session)
        : HostDevice(context, std::move(path), session)
    {
    }
};

struct libusb_device_handle final : vusb::HostHandle
{
    libusb_device_handle(libusb_device* device, std::shared_ptr<vusb::HostConnection> connection)
        : HostHandle(device, std::move(connection))
    {
    }
};

#endif
