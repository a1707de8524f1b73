#include "ListRecorder.h"

#include "GrbTestSupport.h"

#include <GrbCPP/Camera.h>
#include <GrbCPP/Interface.h>

#include <chrono>

namespace {

constexpr std::chrono::seconds kPatience{10};

} // namespace

void ListRecorder::CameraListChanged(GrbCPP::CameraPtr pCam, GrbCPP::UpdateTriggerType reason)
{
    _Add({true, pCam ? GrbTest::ExtendedId(*pCam) : std::string(), reason, std::this_thread::get_id()});
}

void ListRecorder::InterfaceListChanged(GrbCPP::InterfacePtr pInterface, GrbCPP::UpdateTriggerType reason)
{
    std::string id;
    if (pInterface)
        GrbTest::ReadText([&](char* buffer, unsigned int& length) { return pInterface->GetID(buffer, length); }, id);
    _Add({false, id, reason, std::this_thread::get_id()});
}

void ListRecorder::_Add(Event event)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(std::move(event));
    }
    m_arrived.notify_all();
}

int ListRecorder::_Count(bool camera, const std::string& id, int reason) const
{
    int count = 0;
    for (const Event& e : m_events)
        if (e.camera == camera && e.id == id && e.reason == reason)
            ++count;
    return count;
}

bool ListRecorder::WaitFor(bool camera, const std::string& id, int reason, int count)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_arrived.wait_for(lock, kPatience, [&] { return _Count(camera, id, reason) >= count; });
}

int ListRecorder::Count(bool camera, const std::string& id, int reason) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return _Count(camera, id, reason);
}

std::vector<ListRecorder::Event> ListRecorder::Events() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}
