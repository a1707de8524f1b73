#ifndef VCAM_GENTL_INFOBUFFER_H
#define VCAM_GENTL_INFOBUFFER_H

#include <gentl/GenTLApi.h>

#include <string>

namespace vcam::gentl {

// Where an info query's answer goes: the data type, and the value in the caller's
// buffer. Without a buffer the caller learns the size it needs; a buffer too small is
// refused with that size. Texts count their terminating zero.
class InfoBuffer
{
public:
    InfoBuffer(INFO_DATATYPE* type, void* buffer, size_t* size);

    GC_ERROR Put(const std::string& text);
    GC_ERROR PutInt32(int32_t value);
    GC_ERROR PutUint32(uint32_t value);
    GC_ERROR PutInt64(int64_t value);
    GC_ERROR PutUint64(uint64_t value);
    GC_ERROR PutSize(size_t value);
    GC_ERROR PutBool(bool value);
    GC_ERROR PutPointer(void* value);
    GC_ERROR PutFloat(double value);
    GC_ERROR PutBytes(const void* data, size_t size);

    // A text without a data type, as the ID queries give it.
    static GC_ERROR Text(const std::string& text, char* buffer, size_t* size);

private:
    GC_ERROR _Put(INFO_DATATYPE type, const void* data, size_t size);

    INFO_DATATYPE* m_type;
    void* m_buffer;
    size_t* m_size;
};

} // namespace vcam::gentl

#endif
