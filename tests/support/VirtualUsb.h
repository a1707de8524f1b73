// Tests of the virtual USB3 Vision camera: whether this process talks to the virtual
// USB bus (the libusb stand-in preloaded) rather than to the real one.
#ifndef TESTS_SUPPORT_VIRTUALUSB_H
#define TESTS_SUPPORT_VIRTUALUSB_H

#include <dlfcn.h>

#include <cstring>

inline bool VirtualUsbLoaded()
{
    Dl_info where{};
    void* init = dlsym(RTLD_DEFAULT, "libusb_init");
    return init && dladdr(init, &where) && where.dli_fname && std::strstr(where.dli_fname, "libpellix-virtual-usb");
}

#endif
