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
    // Asking for the text is no failure of its own: a buffer too small leaves it as it was.
    const GC_ERROR last = t_code;
    const std::string lastText = t_text;
    *code = last;
    const GC_ERROR result = InfoBuffer::Text(lastText, text, size);
    t_code = last;
    t_text = lastText;
    return result;
}

} // namespace vcam::gentl
