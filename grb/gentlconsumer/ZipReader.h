#ifndef GRB_GENTLCONSUMER_ZIPREADER_H
#define GRB_GENTLCONSUMER_ZIPREADER_H

#include <cstdint>
#include <string>
#include <vector>

namespace grb::gentl {

// The GenICam description out of a zipped one: the archive's first ".xml" file (or its
// first file), stored or deflated. Every field is checked against the archive's size,
// the result against its size and checksum: a camera's archive is untrusted input.
class ZipReader
{
public:
    // Largest description taken, unpacked.
    static constexpr uint64_t kLimit = 64u * 1024 * 1024;

    // False with the reason.
    static bool Extract(const std::vector<uint8_t>& archive, std::string& content, std::string& error);
};

} // namespace grb::gentl

#endif
