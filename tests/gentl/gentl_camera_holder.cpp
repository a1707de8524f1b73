// Another application holding a camera of a GenTL producer: opens it for control, says
// "held", and keeps it until its input closes or a minute has passed.
//
//   gentl_camera_holder PRODUCER.cti INTERFACE DEVICE
#include <gentl/GenTLApi.h>

#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        std::fprintf(stderr, "usage: %s PRODUCER INTERFACE DEVICE\n", argv[0]);
        return 2;
    }
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return 1;
#define RESOLVE(name) auto name = reinterpret_cast<P##name>(dlsym(library, #name))
    RESOLVE(GCInitLib);
    RESOLVE(TLOpen);
    RESOLVE(TLUpdateInterfaceList);
    RESOLVE(TLOpenInterface);
    RESOLVE(IFUpdateDeviceList);
    RESOLVE(IFOpenDevice);
#undef RESOLVE
    TL_HANDLE system = nullptr;
    IF_HANDLE iface = nullptr;
    DEV_HANDLE device = nullptr;
    bool8_t changed = 0;
    if (GCInitLib() != GC_ERR_SUCCESS || TLOpen(&system) != GC_ERR_SUCCESS ||
        TLUpdateInterfaceList(system, &changed, 1000) != GC_ERR_SUCCESS ||
        TLOpenInterface(system, argv[2], &iface) != GC_ERR_SUCCESS ||
        IFUpdateDeviceList(iface, &changed, 1000) != GC_ERR_SUCCESS ||
        IFOpenDevice(iface, argv[3], DEVICE_ACCESS_EXCLUSIVE, &device) != GC_ERR_SUCCESS)
    {
        std::fprintf(stderr, "the camera did not open\n");
        return 1;
    }
    std::printf("held\n");
    std::fflush(stdout);
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char buffer[64];
    for (int waited = 0; waited < 60; ++waited)
        if (poll(&input, 1, 1000) > 0 && read(STDIN_FILENO, buffer, sizeof buffer) <= 0)
            break;
    return 0; // the process ending lets the camera go
}
