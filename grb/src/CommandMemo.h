#ifndef GRB_SRC_COMMANDMEMO_H
#define GRB_SRC_COMMANDMEMO_H

#include <contract/NodeMap.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace grb {

// The command of one open camera that the camera last said was done, as long as nothing
// has been written to the camera since. A command's register changes only when written:
// once done it stays done until a write runs it again (a command run, a feature write, a
// memory write, an acquisition, a reset), so the question need not go to the camera
// again. A file transfer asks it twice per chunk, once as the run settles and once as
// its caller waits, and on a slow link each question is a round trip.
// Only a command the camera itself called done is remembered, never one merely run: a
// camera that is still working on it is asked again, however long that takes. Kept only
// for a session that may write, as no other client can then run the command behind the
// SDK's back; a read-only session's camera may be under another client's control.
// Every write forgets it, before it goes out and again once it has, so an answer to a
// question that overlapped a write is not kept.
class CommandMemo
{
public:
    // Runs write, anything that writes to the camera.
    template <typename Write> GrbErrorType Writing(Write write)
    {
        _Forget();
        const GrbErrorType err = write();
        _Forget();
        return err;
    }
    // Taken before a completion query; Remember keeps its answer only if nothing was
    // written since.
    uint64_t Mark() const;
    void Remember(const NodeMap& map, const std::string& name, uint64_t mark);
    bool KnownDone(const NodeMap& map, const std::string& name) const;

private:
    void _Forget();

    mutable std::mutex m_mutex;
    uint64_t m_writes = 0;
    const NodeMap* m_map = nullptr;
    std::string m_name;
};

} // namespace grb

#endif
