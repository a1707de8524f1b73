#include "InfoBuffer.h"

#include "ProducerError.h"

#include <cstring>

namespace vcam::gentl {

InfoBuffer::InfoBuffer(INFO_DATATYPE* type, void* buffer, size_t* size)
    : m_type(type)
    , m_buffer(buffer)
    , m_size(size)
{
}

GC_ERROR InfoBuffer::_Put(INFO_DATATYPE type, const void* data, size_t size)
{
    if (!m_size)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no size given");
    if (m_type)
        *m_type = type;
    if (!m_buffer)
    {
        *m_size = size;
        return GC_ERR_SUCCESS;
    }
    if (*m_size < size)
    {
        *m_size = size;
        return ProducerError::Fail(GC_ERR_BUFFER_TOO_SMALL, "the buffer is too small for the value");
    }
    if (size > 0)
        std::memcpy(m_buffer, data, size);
    *m_size = size;
    return GC_ERR_SUCCESS;
}

GC_ERROR InfoBuffer::Put(const std::string& text)
{
    return _Put(INFO_DATATYPE_STRING, text.c_str(), text.size() + 1);
}

GC_ERROR InfoBuffer::PutInt32(int32_t value)
{
    return _Put(INFO_DATATYPE_INT32, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutUint32(uint32_t value)
{
    return _Put(INFO_DATATYPE_UINT32, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutInt64(int64_t value)
{
    return _Put(INFO_DATATYPE_INT64, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutUint64(uint64_t value)
{
    return _Put(INFO_DATATYPE_UINT64, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutSize(size_t value)
{
    return _Put(INFO_DATATYPE_SIZET, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutBool(bool value)
{
    const bool8_t v = value ? 1 : 0;
    return _Put(INFO_DATATYPE_BOOL8, &v, sizeof v);
}

GC_ERROR InfoBuffer::PutPointer(void* value)
{
    return _Put(INFO_DATATYPE_PTR, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutFloat(double value)
{
    return _Put(INFO_DATATYPE_FLOAT64, &value, sizeof value);
}

GC_ERROR InfoBuffer::PutBytes(const void* data, size_t size)
{
    return _Put(INFO_DATATYPE_BUFFER, data, size);
}

GC_ERROR InfoBuffer::Text(const std::string& text, char* buffer, size_t* size)
{
    return InfoBuffer(nullptr, buffer, size).Put(text);
}

} // namespace vcam::gentl
