#ifndef GRB_GENTLCONSUMER_GENTLCALLER_H
#define GRB_GENTLCONSUMER_GENTLCALLER_H

#include <semaphore.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace grb::gentl {

// The one thread a producer's functions run on, so that a call that never returns costs
// its caller a time-out, not the SDK. Calls take turns. A call that outlives its time
// keeps the thread; the ones after it are refused at once until it returns, and a caller
// that gave up never sees it finish: what a call writes must be its own (captured by
// value), never the caller's.
class GentlCaller
{
public:
    enum class Outcome
    {
        Done,
        TimedOut, // this call did not return in time
        Stuck,    // an earlier call still has not returned
    };

    explicit GentlCaller(std::chrono::milliseconds bound);
    // Leaves a stuck thread running on its own.
    ~GentlCaller();
    GentlCaller(const GentlCaller&) = delete;
    GentlCaller& operator=(const GentlCaller&) = delete;

    // Waits for call up to the bound plus extra. busyIn: the name of the call that has
    // not returned, for TimedOut and Stuck. undo runs after a call that returned once its
    // caller had given up on it, to take back what it did (close what it opened).
    Outcome Run(const std::string& name, std::function<void()> call, std::chrono::milliseconds extra,
                std::string& busyIn, std::function<void()> undo = nullptr);
    // Whether a call has not returned after its time.
    bool Stuck();
    std::chrono::milliseconds Bound() const { return m_bound; }

private:
    // Shared with the thread, which may outlive this object. Semaphores hand calls over
    // with at most one wake-up each way: a file transfer makes thousands of calls.
    struct State
    {
        State();
        ~State();
        sem_t work;
        sem_t done;
        // Whether each side watches for the other a little before it sleeps.
        const bool watch;
        std::mutex mutex;
        std::function<void()> pending;
        std::function<void()> undo;
        bool stop = false;
        bool busy = false;
        // Its caller gave up on the call in progress.
        bool abandoned = false;
        std::string busyIn;
    };
    static void _Serve(std::shared_ptr<State> state);

    std::chrono::milliseconds m_bound;
    std::timed_mutex m_turn;
    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace grb::gentl

#endif
