#include "ProducerError.h"

#include "InfoBuffer.h"

namespace vcam::gentl {

namespace {

thread_local GC_ERROR t_code = GC_ERR_SUCCESS;
thread_local std::string t_text = "no error";

} // namespace

GC_ERROR ProducerError::Fail(GC_ERROR code, const std::string& text)
{
    t_code = code;
    t_text = text;
    return code;
}

GC_ERROR ProducerError::Last(GC_ERROR* code, char* text, size_t* size)
{
    if (!code || !size)
        return GC_ERR_INVALID_PARAMETER;
    *code = t_code;
    return InfoBuffer::Text(t_text, text, size);
}

} // namespace vcam::gentl
