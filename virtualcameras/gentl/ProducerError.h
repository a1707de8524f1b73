#ifndef VCAM_GENTL_PRODUCERERROR_H
#define VCAM_GENTL_PRODUCERERROR_H

#include <gentl/GenTLApi.h>

#include <string>

namespace vcam::gentl {

// The last failure of the calling thread, as GCGetLastError reports it.
class ProducerError
{
public:
    // Records the failure and returns code.
    static GC_ERROR Fail(GC_ERROR code, const std::string& text);
    static GC_ERROR Last(GC_ERROR* code, char* text, size_t* size);
};

} // namespace vcam::gentl

#endif
