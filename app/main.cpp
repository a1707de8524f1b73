// Lists the cameras the SDK sees, with their file storage, until the window exists.
#include <GrbC/GrbC.h>
#include <GrbCPP/GrbCPP.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string readText(const GrbCPP::Camera& camera,
                     GrbErrorType (GrbCPP::Camera::*getter)(char*, unsigned int&) const)
{
    unsigned int length = 0;
    if ((camera.*getter)(nullptr, length) != GrbErrorSuccess || length == 0)
        return {};
    std::vector<char> buffer(length, '\0');
    if ((camera.*getter)(buffer.data(), length) != GrbErrorSuccess)
        return {};
    return buffer.data();
}

} // namespace

int main()
{
    GrbCPP::GrbSystem& system = GrbCPP::GrbSystem::GetInstance();
    if (GrbErrorType err = system.Startup())
    {
        std::fprintf(stderr, "The camera SDK did not start (code %d).\n", err);
        return 1;
    }
    unsigned int count = 0;
    system.GetCameras(nullptr, count);
    std::vector<GrbCPP::CameraPtr> cameras(count);
    system.GetCameras(cameras.data(), count);
    std::printf("%u camera(s)\n", count);
    for (unsigned int i = 0; i < count; ++i)
    {
        const GrbCPP::Camera& camera = *cameras[i];
        unsigned int length = 0;
        camera.GetID(nullptr, length, true);
        std::vector<char> id(length ? length : 1, '\0');
        camera.GetID(id.data(), length, true);
        GrbAccessModeType access = 0;
        camera.GetPermittedAccess(access);
        std::printf("  %-24s %-14s %-10s %-18s %s\n", id.data(), readText(camera, &GrbCPP::Camera::GetModel).c_str(),
                    readText(camera, &GrbCPP::Camera::GetSerialNumber).c_str(),
                    readText(camera, &GrbCPP::Camera::GetName).c_str(),
                    (access & (GrbAccessModeFull | GrbAccessModeExclusive)) ? "free" : "held by another process");
    }
    system.Shutdown();
    return 0;
}
