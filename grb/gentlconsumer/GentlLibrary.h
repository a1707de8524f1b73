#ifndef GRB_GENTLCONSUMER_GENTLLIBRARY_H
#define GRB_GENTLCONSUMER_GENTLLIBRARY_H

#include "GentlCaller.h"
#include "GentlFunctions.h"

#include <GrbC/GrbCTypes.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace grb::gentl {

// One producer library, loaded, initialised and of a GenTL version this layer speaks.
// Every call into it runs bounded on its own thread and comes back as an SDK code,
// with the producer's own text of a failure kept for the log.
class GentlLibrary
{
public:
    // Null with the reason when the file does not load, lacks functions the layer
    // needs, does not initialise or speaks another major version.
    static std::shared_ptr<GentlLibrary> Load(const std::string& path, std::chrono::milliseconds bound,
                                              std::string& error);
    // Closes the library, and unloads it unless a call is still inside.
    ~GentlLibrary();
    GentlLibrary(const GentlLibrary&) = delete;
    GentlLibrary& operator=(const GentlLibrary&) = delete;

    const GentlFunctions& Functions() const { return m_functions; }
    const std::string& Path() const { return m_path; }
    // The file's name, which names the producer in texts.
    const std::string& Name() const { return m_name; }
    // What is missing for streams; empty when the producer has them.
    const std::vector<std::string>& MissingForStreams() const { return m_missingForStreams; }
    std::chrono::milliseconds Bound() const { return m_caller.Bound(); }

    // call captures what it works on by value. extra: time the call itself is allowed
    // to take, beyond the bound. undo: what takes back a call that succeeded after it
    // was given up on (closing the module it opened), run on the producer's thread.
    GrbErrorType Call(const std::string& function, std::function<GC_ERROR()> call,
                      std::chrono::milliseconds extra = std::chrono::milliseconds(0),
                      std::function<void()> undo = nullptr);
    // An info query in its two steps, size then value: query(type, buffer, size).
    GrbErrorType Info(const std::string& function, std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query,
                      INFO_DATATYPE& type, std::vector<uint8_t>& value);
    // The same, for a text; a value that is not a text ends in -13.
    GrbErrorType Text(const std::string& function, std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query,
                      std::string& text);
    // The same, for a number of any integer type.
    GrbErrorType Integer(const std::string& function, std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query,
                         int64_t& number);

private:
    GentlLibrary(std::string path, std::chrono::milliseconds bound);
    GrbErrorType _Outcome(const std::string& function, GentlCaller::Outcome outcome, const std::string& busyIn);

    std::string m_path;
    std::string m_name;
    GentlCaller m_caller;
    void* m_handle = nullptr;
    bool m_initialised = false;
    GentlFunctions m_functions;
    std::vector<std::string> m_missingForStreams;
};

} // namespace grb::gentl

#endif
