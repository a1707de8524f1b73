#ifndef GRB_SRC_EVENTTHREAD_H
#define GRB_SRC_EVENTTHREAD_H

#include <GrbC/GrbCTypes.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace grb {

// Why a camera or an interface is reported to the list observers; the numbers are the
// object interface's UpdateTriggerType.
enum class ListEventReason : int
{
    PluggedIn = 0,
    PluggedOut = 1,
    OpenStateChanged = 3,
};

// The SDK's own thread that hands list changes to the observers, in the order they
// happened, so that no observer is ever called from inside a caller's call.
class EventThread
{
public:
    using Sink = std::function<void(GrbHandle handle, ListEventReason reason)>;

    ~EventThread();

    // Set once by the object layer.
    void SetSinks(Sink cameraEvents, Sink interfaceEvents);
    void Start();
    // Drops what is still queued. Called from a sink itself (an observer that shuts the
    // SDK down), it leaves the thread to end on its own.
    void Stop();
    void Post(bool camera, GrbHandle handle, ListEventReason reason);

private:
    struct Event
    {
        bool camera;
        GrbHandle handle;
        ListEventReason reason;
    };

    void _Run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Event> m_events;
    bool m_stop = true;
    Sink m_cameraEvents;
    Sink m_interfaceEvents;
    std::thread m_thread;
};

} // namespace grb

#endif
