#include "GentlCaller.h"

namespace grb::gentl {

GentlCaller::GentlCaller(std::chrono::milliseconds bound)
    : m_bound(bound)
    , m_state(std::make_shared<State>())
    , m_thread(&GentlCaller::_Serve, m_state)
{
}

GentlCaller::~GentlCaller()
{
    bool stuck = false;
    {
        std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->stop = true;
        stuck = m_state->busy;
    }
    m_state->wake.notify_all();
    if (stuck)
        m_thread.detach(); // it ends on its own once the producer returns, if ever
    else
        m_thread.join();
}

void GentlCaller::_Serve(std::shared_ptr<State> state)
{
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;)
    {
        state->wake.wait(lock, [&] { return state->stop || state->pending; });
        if (!state->pending)
            return;
        std::function<void()> call = std::move(state->pending);
        state->pending = nullptr;
        state->busy = true;
        lock.unlock();
        call();
        call = nullptr;
        lock.lock();
        state->busy = false;
        state->abandoned = false;
        ++state->done;
        state->finished.notify_all();
    }
}

bool GentlCaller::Stuck()
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->abandoned;
}

GentlCaller::Outcome GentlCaller::Run(const std::string& name, std::function<void()> call,
                                      std::chrono::milliseconds extra, std::string& busyIn)
{
    const auto deadline = std::chrono::steady_clock::now() + m_bound + extra;
    std::unique_lock<std::timed_mutex> turn(m_turn, deadline);
    std::unique_lock<std::mutex> lock(m_state->mutex);
    if (!turn.owns_lock() || m_state->busy)
    {
        busyIn = m_state->busyIn;
        return m_state->busy ? Outcome::Stuck : Outcome::TimedOut;
    }
    m_state->pending = std::move(call);
    m_state->busyIn = name;
    const uint64_t ticket = ++m_state->submitted;
    m_state->wake.notify_one();
    if (!m_state->finished.wait_until(lock, deadline, [&] { return m_state->done >= ticket; }))
    {
        m_state->abandoned = true;
        busyIn = name;
        return Outcome::TimedOut;
    }
    return Outcome::Done;
}

} // namespace grb::gentl
