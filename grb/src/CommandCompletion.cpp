#include "CommandCompletion.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace grb {

namespace {

constexpr auto kSettleLimit = std::chrono::milliseconds(200);
constexpr auto kFirstPause = std::chrono::microseconds(100);
constexpr auto kLongestPause = std::chrono::microseconds(1000);

} // namespace

GrbErrorType RunCommandAndSettle(CheckedNodeMap& map, const std::string& name)
{
    const GrbErrorType err = map.RunCommand(name);
    if (err != GrbErrorSuccess)
        return err;
    const auto start = std::chrono::steady_clock::now();
    auto pause = std::chrono::duration_cast<std::chrono::microseconds>(kFirstPause);
    for (;;)
    {
        bool done = true;
        // A device that cannot say (or has just left, as after a reset) is not waited for.
        if (map.IsCommandDone(name, done) != GrbErrorSuccess || done)
            return GrbErrorSuccess;
        if (std::chrono::steady_clock::now() - start >= kSettleLimit)
            return GrbErrorSuccess;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::duration_cast<std::chrono::microseconds>(kLongestPause));
    }
}

} // namespace grb
