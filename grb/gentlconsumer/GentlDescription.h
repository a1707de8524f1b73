#ifndef GRB_GENTLCONSUMER_GENTLDESCRIPTION_H
#define GRB_GENTLCONSUMER_GENTLDESCRIPTION_H

#include "GentlPort.h"

#include <string>

namespace grb::gentl {

// A port's GenICam description, from the first of its URLs this layer can follow: in the
// port itself (plain or zipped) or in a file on this host.
class GentlDescription
{
public:
    // Largest description read from a port or a file.
    static constexpr uint64_t kLimit = 64u * 1024 * 1024;

    // -13 with the reason when there is none to be had.
    static GrbErrorType Fetch(GentlPort& port, std::string& xml);

private:
    static GrbErrorType _Urls(GentlPort& port, std::vector<std::string>& urls);
};

} // namespace grb::gentl

#endif
