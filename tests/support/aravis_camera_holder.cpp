// Takes control of a camera through Aravis, says "held", and keeps it until its input
// closes or a minute has passed: the GigE Vision camera at an IPv4 address, or any
// other camera by its Aravis id (a USB3 Vision camera's interfaces are then claimed).
#include <arv.h>

#include <poll.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s CAMERA-IPV4-ADDRESS|ARAVIS-ID\n", argv[0]);
        return 2;
    }
    // On loopback the camera's own address is also the local one.
    GInetAddress* address = g_inet_address_new_from_string(argv[1]);
    GError* error = nullptr;
    ArvDevice* device = address ? arv_gv_device_new(address, address, &error) : arv_open_device(argv[1], &error);
    if (address)
        g_object_unref(address);
    if (!device || (address && !arv_gv_device_is_controller(ARV_GV_DEVICE(device))))
    {
        std::fprintf(stderr, "no control: %s\n", error ? error->message : "another application holds it");
        if (error)
            g_error_free(error);
        if (device)
            g_object_unref(device);
        return 1;
    }
    std::printf("held\n");
    std::fflush(stdout);
    pollfd input{STDIN_FILENO, POLLIN, 0};
    char buffer[64];
    for (int waited = 0; waited < 60; ++waited)
        if (poll(&input, 1, 1000) > 0 && read(STDIN_FILENO, buffer, sizeof buffer) <= 0)
            break;
    g_object_unref(device);
    return 0;
}
