// pellix-virtual-camera: one simulated camera on GigE Vision, control and image stream.
#include "VirtualCamera.h"

#include <csignal>
#include <cstdio>

namespace {

std::atomic<bool> g_stop{false};

void onSignal(int)
{
    g_stop = true;
}

} // namespace

int main(int argc, char** argv)
{
    vcam::VirtualCameraOptions options;
    std::string error;
    if (!vcam::VirtualCameraOptions::Parse(std::vector<std::string>(argv + 1, argv + argc), options, error))
    {
        std::fprintf(stderr, "pellix-virtual-camera: %s\n%s", error.c_str(), vcam::VirtualCameraOptions::Usage());
        return 2;
    }
    if (options.help)
    {
        std::fputs(vcam::VirtualCameraOptions::Usage(), stdout);
        return 0;
    }
    std::unique_ptr<vcam::VirtualCamera> camera = vcam::VirtualCamera::Create(options, error);
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
    const auto deadline = options.lifetimeSeconds
                              ? vcam::GvcpServer::Clock::now() + std::chrono::seconds(options.lifetimeSeconds)
                              : vcam::GvcpServer::Clock::time_point::max();
    std::printf("serving camera %s\n", camera->Serial().c_str());
    std::fflush(stdout);
    camera->Serve(g_stop, deadline);
    return 0;
}
