// pellix-virtual-camera: one simulated camera over its own transport, control and image
// stream: GigE Vision on a loopback address or USB3 Vision on the virtual USB bus.
#include "VirtualCamera.h"
#include "VirtualUsbCamera.h"

#include <csignal>
#include <cstdio>

namespace {

std::atomic<bool> g_stop{false};

void onSignal(int)
{
    g_stop = true;
}

template <typename Clock> typename Clock::time_point deadlineOf(const vcam::VirtualCameraOptions& options)
{
    return options.lifetimeSeconds ? Clock::now() + std::chrono::seconds(options.lifetimeSeconds)
                                   : Clock::time_point::max();
}

int serveUsb(vcam::ServedCamera served, const vcam::VirtualCameraOptions& options)
{
    std::string error;
    std::unique_ptr<vcam::VirtualUsbCamera> camera = vcam::VirtualUsbCamera::Create(std::move(served), error);
    if (!camera)
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    if (options.printXml)
    {
        std::fputs(camera->Camera().AddressSpace().Device().Xml().c_str(), stdout);
        return 0;
    }
    if (!camera->Attach(error))
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    std::printf("serving camera %s as a USB3 Vision device at %s\n", camera->Serial().c_str(),
                camera->SocketPath().c_str());
    std::fflush(stdout);
    camera->Serve(g_stop, deadlineOf<vcam::UsbDeviceServer::Clock>(options));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    vcam::VirtualCameraOptions options;
    std::string error;
    if (!vcam::VirtualCameraOptions::Parse(std::vector<std::string>(argv + 1, argv + argc), options, error))
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s (see pellix-virtual-camera --help)\n", error.c_str());
        return 2;
    }
    if (options.help)
    {
        std::fputs(vcam::VirtualCameraOptions::Usage(), stdout);
        return 0;
    }
    if (options.version)
    {
        std::puts("pellix-virtual-camera " PELLIX_VERSION_TEXT);
        return 0;
    }
    vcam::ServedCamera served;
    if (!vcam::ServedCamera::Load(options, served, error))
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    if (served.transport == GrbTransportLayerU3V)
        return serveUsb(std::move(served), options);
    std::unique_ptr<vcam::VirtualCamera> camera = vcam::VirtualCamera::Create(std::move(served), options, error);
    if (!camera)
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    if (options.printXml)
    {
        std::fputs(camera->AddressSpace().Xml().c_str(), stdout);
        return 0;
    }
    if (!camera->Listen(error))
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n", error.c_str());
        return 1;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    const auto deadline = deadlineOf<vcam::GvcpServer::Clock>(options);
    std::printf("serving camera %s\n", camera->Serial().c_str());
    std::fflush(stdout);
    camera->Serve(g_stop, deadline);
    return 0;
}
