#ifndef VCAM_GENTL_ZIPWRITER_H
#define VCAM_GENTL_ZIPWRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace vcam::gentl {

// A zip archive of one deflated file, as cameras keep their GenICam description.
class ZipWriter
{
public:
    static std::vector<uint8_t> Single(const std::string& name, const std::string& content);
};

} // namespace vcam::gentl

#endif
