#include "EventThread.h"

namespace grb {

EventThread::~EventThread()
{
    Stop();
}

void EventThread::SetSinks(Sink cameraEvents, Sink interfaceEvents)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cameraEvents = std::move(cameraEvents);
    m_interfaceEvents = std::move(interfaceEvents);
}

void EventThread::Start()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_thread.joinable())
        return;
    m_stop = false;
    m_thread = std::thread([this] { _Run(); });
}

void EventThread::Stop()
{
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        m_events.clear();
        thread = std::move(m_thread);
    }
    m_wake.notify_all();
    if (!thread.joinable())
        return;
    if (thread.get_id() == std::this_thread::get_id())
        thread.detach();
    else
        thread.join();
}

void EventThread::Post(bool camera, GrbHandle handle, ListEventReason reason)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stop)
            return;
        m_events.push_back({camera, handle, reason});
    }
    m_wake.notify_all();
}

void EventThread::_Run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;)
    {
        m_wake.wait(lock, [this] { return m_stop || !m_events.empty(); });
        if (m_stop)
            return;
        const Event event = m_events.front();
        m_events.pop_front();
        const Sink sink = event.camera ? m_cameraEvents : m_interfaceEvents;
        lock.unlock();
        if (sink)
            sink(event.handle, event.reason);
        lock.lock();
    }
}

} // namespace grb
