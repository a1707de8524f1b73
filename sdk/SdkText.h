#ifndef SDK_SDKTEXT_H
#define SDK_SDKTEXT_H

#include <GrbC/GrbCTypes.h>

#include <string>
#include <vector>

// The SDK's two-call text read: a null buffer asks for the size (terminating NUL
// included), the second call fills a zeroed buffer of that size. text is only
// replaced when both calls succeed.
template <class Getter>
GrbErrorType ReadSdkText(Getter&& get, std::string& text)
{
    unsigned int length = 0;
    GrbErrorType err = get(static_cast<char*>(nullptr), length);
    if (err != GrbErrorSuccess)
        return err;
    std::vector<char> buffer(static_cast<size_t>(length) + 1, '\0');
    err = get(buffer.data(), length);
    if (err != GrbErrorSuccess)
        return err;
    text.assign(buffer.data());
    return GrbErrorSuccess;
}

#endif
