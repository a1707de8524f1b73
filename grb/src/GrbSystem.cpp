#include <GrbCPP/Camera.h>
#include <GrbCPP/GrbSystem.h>
#include <GrbCPP/ICameraListObserver.h>
#include <GrbCPP/IInterfaceListObserver.h>
#include <GrbCPP/Interface.h>

#include "Core.h"
#include "TextBuffer.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace GrbCPP {

namespace {

struct Observers
{
    std::mutex mutex;
    std::vector<ICameraListObserverPtr> cameras;
    std::vector<IInterfaceListObserverPtr> interfaces;
    // One object per camera, so callers may compare pointers.
    std::map<GrbHandle, CameraPtr> objects;
};

Observers& observers()
{
    static Observers instance;
    return instance;
}

CameraPtr cameraObject(GrbHandle handle)
{
    Observers& o = observers();
    std::lock_guard<std::mutex> lock(o.mutex);
    CameraPtr& camera = o.objects[handle];
    if (!camera)
        camera = std::make_shared<Camera>(handle);
    return camera;
}

template <class T>
GrbErrorType addObserver(std::vector<std::shared_ptr<T>>& list, const std::shared_ptr<T>& observer)
{
    if (!observer)
        return GrbErrorBadParameter;
    if (GrbErrorType err = grb::Core::Instance().CheckStarted())
        return err;
    std::lock_guard<std::mutex> lock(observers().mutex);
    if (std::find(list.begin(), list.end(), observer) != list.end())
        return GrbErrorInvalidCall;
    list.push_back(observer);
    return GrbErrorSuccess;
}

template <class T>
GrbErrorType removeObserver(std::vector<std::shared_ptr<T>>& list, const std::shared_ptr<T>& observer)
{
    if (!observer)
        return GrbErrorBadParameter;
    if (GrbErrorType err = grb::Core::Instance().CheckStarted())
        return err;
    std::lock_guard<std::mutex> lock(observers().mutex);
    auto it = std::find(list.begin(), list.end(), observer);
    if (it == list.end())
        return GrbErrorNotFound;
    list.erase(it);
    return GrbErrorSuccess;
}

} // namespace

GrbSystem& GrbSystem::GetInstance()
{
    static GrbSystem* system = [] {
        grb::Core::Instance().SetEventSinks(
            [](GrbHandle handle, grb::ListEventReason reason) {
                CameraPtr camera = cameraObject(handle);
                std::vector<ICameraListObserverPtr> list;
                {
                    std::lock_guard<std::mutex> lock(observers().mutex);
                    list = observers().cameras;
                }
                for (const auto& observer : list)
                    observer->CameraListChanged(camera, static_cast<UpdateTriggerType>(reason));
            },
            [](GrbHandle handle, grb::ListEventReason reason) {
                auto cameraInterface = std::make_shared<Interface>(handle);
                std::vector<IInterfaceListObserverPtr> list;
                {
                    std::lock_guard<std::mutex> lock(observers().mutex);
                    list = observers().interfaces;
                }
                for (const auto& observer : list)
                    observer->InterfaceListChanged(cameraInterface, static_cast<UpdateTriggerType>(reason));
            });
        return new GrbSystem();
    }();
    return *system;
}

GrbErrorType GrbSystem::Startup()
{
    return grb::Core::Instance().Startup();
}

GrbErrorType GrbSystem::Shutdown()
{
    GrbErrorType err = grb::Core::Instance().Shutdown();
    if (err == GrbErrorSuccess)
    {
        std::lock_guard<std::mutex> lock(observers().mutex);
        observers().cameras.clear();
        observers().interfaces.clear();
        observers().objects.clear();
    }
    return err;
}

GrbErrorType GrbSystem::QueryVersion(GrbVersionInfo& version) const
{
    return grb::Core::Instance().QueryVersion(version);
}

GrbErrorType GrbSystem::GetStartupMessage(char* buffer, unsigned int& length) const
{
    return grb::CopyText(grb::Core::Instance().StartupMessage(), buffer, length);
}

GrbErrorType GrbSystem::RegisterCameraListObserver(const ICameraListObserverPtr& observer)
{
    return addObserver(observers().cameras, observer);
}

GrbErrorType GrbSystem::UnregisterCameraListObserver(const ICameraListObserverPtr& observer)
{
    return removeObserver(observers().cameras, observer);
}

GrbErrorType GrbSystem::RegisterInterfaceListObserver(const IInterfaceListObserverPtr& observer)
{
    return addObserver(observers().interfaces, observer);
}

GrbErrorType GrbSystem::UnregisterInterfaceListObserver(const IInterfaceListObserverPtr& observer)
{
    return removeObserver(observers().interfaces, observer);
}

GrbErrorType GrbSystem::GetCameras(CameraPtr* cameras, unsigned int& count)
{
    std::vector<GrbHandle> handles;
    GrbErrorType err = grb::Core::Instance().Cameras(handles);
    if (err != GrbErrorSuccess)
        return err;
    if (!cameras)
    {
        count = static_cast<unsigned int>(handles.size());
        return GrbErrorSuccess;
    }
    unsigned int filled = 0;
    for (; filled < count && filled < handles.size(); ++filled)
        cameras[filled] = cameraObject(handles[filled]);
    count = filled;
    return GrbErrorSuccess;
}

GrbErrorType GrbSystem::GetCameraByID(const char* id, CameraPtr& camera)
{
    GrbHandle handle = nullptr;
    GrbErrorType err = grb::Core::Instance().FindCamera(id, handle);
    if (err == GrbErrorSuccess)
        camera = cameraObject(handle);
    return err;
}

} // namespace GrbCPP
