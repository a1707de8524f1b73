#include "TextBuffer.h"

#include <cstring>

namespace grb {

GrbErrorType CopyText(const std::string& text, char* buffer, unsigned int& length)
{
    const unsigned int needed = static_cast<unsigned int>(text.size()) + 1;
    if (!buffer)
    {
        length = needed;
        return GrbErrorSuccess;
    }
    if (length < needed)
    {
        length = needed;
        return GrbErrorMoreData;
    }
    std::memcpy(buffer, text.c_str(), needed);
    length = needed;
    return GrbErrorSuccess;
}

} // namespace grb
