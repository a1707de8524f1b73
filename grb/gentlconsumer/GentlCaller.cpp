#include "GentlCaller.h"

#include <sched.h>

#include <cerrno>
#include <ctime>

namespace grb::gentl {

namespace {

// Waits for the semaphore until the deadline on the monotonic clock.
bool waitUntil(sem_t& semaphore, std::chrono::steady_clock::time_point deadline)
{
    const auto since = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline.time_since_epoch()).count();
    timespec at{};
    at.tv_sec = static_cast<time_t>(since / 1000000000);
    at.tv_nsec = static_cast<long>(since % 1000000000);
    int result = 0;
    while ((result = sem_clockwait(&semaphore, CLOCK_MONOTONIC, &at)) != 0 && errno == EINTR)
        ;
    return result == 0;
}

// How long each side watches for the other before it sleeps. A transfer makes one port
// call after another, each taking microseconds in a producer of the same process, while
// waking a sleeping thread on another processor costs tens of microseconds (up to a
// hundred on small virtual machines), which made the hand-over most of a transfer's time.
constexpr auto kWatch = std::chrono::microseconds(50);

// Watching only pays while the other side runs at the same time: on a single processor it
// would hold up the very thread it waits for.
bool severalProcessors()
{
    cpu_set_t usable;
    CPU_ZERO(&usable);
    return sched_getaffinity(0, sizeof usable, &usable) == 0 && CPU_COUNT(&usable) > 1;
}

// Takes the semaphore if it is posted within the watch. Yielding rather than spinning:
// the scheduler may have put the thread that posts on this very processor, and anything
// else that needs it there (the kernel writing a downloaded chunk to its file) gets it.
bool watch(sem_t& semaphore)
{
    const auto until = std::chrono::steady_clock::now() + kWatch;
    do
    {
        if (sem_trywait(&semaphore) == 0)
            return true;
        sched_yield();
    } while (std::chrono::steady_clock::now() < until);
    return false;
}

} // namespace

GentlCaller::State::State()
    : watch(severalProcessors())
{
    sem_init(&work, 0, 0);
    sem_init(&done, 0, 0);
}

GentlCaller::State::~State()
{
    sem_destroy(&work);
    sem_destroy(&done);
}

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
        stuck = m_state->busy || m_state->pending;
    }
    sem_post(&m_state->work);
    if (stuck)
        m_thread.detach(); // it ends on its own once the producer returns, if ever
    else
        m_thread.join();
}

void GentlCaller::_Serve(std::shared_ptr<State> state)
{
    for (;;)
    {
        if (!(state->watch && watch(state->work)))
            while (sem_wait(&state->work) != 0 && errno == EINTR)
                ;
        std::function<void()> call;
        std::function<void()> undo;
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            if (!state->pending)
                return; // stopped
            call = std::move(state->pending);
            undo = std::move(state->undo);
            state->pending = nullptr;
            state->undo = nullptr;
            state->busy = true;
        }
        call();
        call = nullptr;
        bool abandoned = false;
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            abandoned = state->abandoned;
        }
        // Still before the next call can come: the caller who gave up waits no more.
        if (abandoned && undo)
            undo();
        undo = nullptr;
        std::lock_guard<std::mutex> lock(state->mutex);
        state->busy = false;
        if (!abandoned)
            sem_post(&state->done);
        state->abandoned = false;
    }
}

bool GentlCaller::Stuck()
{
    std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->abandoned;
}

GentlCaller::Outcome GentlCaller::Run(const std::string& name, std::function<void()> call,
                                      std::chrono::milliseconds extra, std::string& busyIn,
                                      std::function<void()> undo)
{
    const auto deadline = std::chrono::steady_clock::now() + m_bound + extra;
    std::unique_lock<std::timed_mutex> turn(m_turn, deadline);
    {
        std::lock_guard<std::mutex> lock(m_state->mutex);
        if (!turn.owns_lock() || m_state->busy || m_state->pending)
        {
            busyIn = m_state->busyIn;
            return m_state->abandoned ? Outcome::Stuck : Outcome::TimedOut;
        }
        m_state->pending = std::move(call);
        m_state->undo = std::move(undo);
        m_state->busyIn = name;
    }
    sem_post(&m_state->work);
    if ((m_state->watch && watch(m_state->done)) || waitUntil(m_state->done, deadline))
        return Outcome::Done;
    std::lock_guard<std::mutex> lock(m_state->mutex);
    // Finished after all, between the time-out and here: its hand-over is waiting.
    if (!m_state->busy && !m_state->pending)
    {
        while (sem_wait(&m_state->done) != 0 && errno == EINTR)
            ;
        return Outcome::Done;
    }
    m_state->abandoned = true;
    busyIn = name;
    return Outcome::TimedOut;
}

} // namespace grb::gentl
