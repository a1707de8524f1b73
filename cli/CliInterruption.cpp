#include "CliInterruption.h"

#include "device/PXCamera.h"

#include <atomic>
#include <csignal>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include <ctime>
#include <unistd.h>

namespace {

std::atomic<int> g_signal{0};
std::atomic<bool> g_finished{false};
std::mutex g_mutex;
// Cameras with a transfer in flight, and how many each has.
std::map<PXCamera*, int> g_transfers;

// After the last transfer has ended, the program gets this long to clean up and return
// on its own (removing partial files, printing its results) before it is ended.
constexpr int kGraceMs = 3000;
constexpr long kPollNs = 100L * 1000 * 1000;

sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

void say(const char* text)
{
    // The progress line of a terminal goes first.
    static const char clearLine[] = "\r\033[K";
    if (isatty(STDERR_FILENO) == 1)
    {
        ssize_t ignored = write(STDERR_FILENO, clearLine, sizeof(clearLine) - 1);
        (void)ignored;
    }
    ssize_t ignored = write(STDERR_FILENO, text, std::char_traits<char>::length(text));
    (void)ignored;
}

bool transfersInFlight()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return !g_transfers.empty();
}

} // namespace

void CliInterruption::Install()
{
    // Blocked in every thread, taken by the watcher only.
    const sigset_t set = watchedSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::thread(&CliInterruption::_Watch).detach();
}

int CliInterruption::Signal()
{
    return g_signal;
}

void CliInterruption::Finished()
{
    g_finished = true;
}

void CliInterruption::_Watch()
{
    const sigset_t set = watchedSignals();
    int signal = 0;
    while (sigwait(&set, &signal) != 0)
    {
    }
    g_signal = signal;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        for (const auto& transfer : g_transfers)
            transfer.first->AbortTransfers(true);
    }
    say(transfersInFlight() ? "pellix-fa: interrupted; ending the transfer and closing the device file\n"
                            : "pellix-fa: interrupted\n");
    int graceLeftMs = kGraceMs;
    for (;;)
    {
        const timespec pause{0, kPollNs};
        if (sigtimedwait(&set, nullptr, &pause) > 0)
        {
            say("pellix-fa: interrupted again; ending now\n");
            _exit(128 + signal);
        }
        if (g_finished)
            return;
        if (transfersInFlight())
            graceLeftMs = kGraceMs;
        else if ((graceLeftMs -= int(kPollNs / 1000000)) <= 0)
            _exit(128 + signal);
    }
}

CliInterruption::Transfer::Transfer(PXCamera* camera)
    : m_camera(camera)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    ++g_transfers[m_camera];
    // One that starts after the signal ends at once.
    if (g_signal)
        m_camera->AbortTransfers(true);
}

CliInterruption::Transfer::~Transfer()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    if (--g_transfers[m_camera] <= 0)
        g_transfers.erase(m_camera);
}
