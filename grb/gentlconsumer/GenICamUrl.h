#ifndef GRB_GENTLCONSUMER_GENICAMURL_H
#define GRB_GENTLCONSUMER_GENICAMURL_H

#include <cstdint>
#include <string>

namespace grb::gentl {

// Where a port's GenICam description is, as its URL says: "local:NAME;ADDRESS;LENGTH"
// (hexadecimal, in the port itself, "?SchemaVersion=..." allowed after it) or
// "file:PATH" (on this host, "file:///path" too). Scheme names in any case.
struct GenICamUrl
{
    enum class Scheme
    {
        Local,
        File
    };

    Scheme scheme = Scheme::Local;
    std::string fileName; // local: the name, which tells a zipped file by its ".zip"
    uint64_t address = 0;
    uint64_t length = 0;
    std::string path; // file:

    // False with the reason for anything else.
    static bool Parse(const std::string& text, GenICamUrl& url, std::string& error);
    bool Zipped() const;
};

} // namespace grb::gentl

#endif
