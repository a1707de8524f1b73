// Records the camera and interface list changes the SDK reports, with the thread
// each arrived on, and lets a test wait for one.
#ifndef TESTS_GRB_LISTRECORDER_H
#define TESTS_GRB_LISTRECORDER_H

#include <GrbCPP/ICameraListObserver.h>
#include <GrbCPP/IInterfaceListObserver.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ListRecorder : public GrbCPP::ICameraListObserver, public GrbCPP::IInterfaceListObserver
{
public:
    struct Event
    {
        bool camera;
        // Extended id of a camera, id of an interface.
        std::string id;
        int reason;
        std::thread::id thread;
    };

    void CameraListChanged(GrbCPP::CameraPtr pCam, GrbCPP::UpdateTriggerType reason) override;
    void InterfaceListChanged(GrbCPP::InterfacePtr pInterface, GrbCPP::UpdateTriggerType reason) override;

    // True once count events of this kind have arrived; gives up after a generous time.
    bool WaitFor(bool camera, const std::string& id, int reason, int count = 1);
    int Count(bool camera, const std::string& id, int reason) const;
    std::vector<Event> Events() const;

private:
    int _Count(bool camera, const std::string& id, int reason) const;
    void _Add(Event event);

    mutable std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::vector<Event> m_events;
};

#endif
