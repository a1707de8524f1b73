#include "ZipReader.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>

namespace grb::gentl {

namespace {

constexpr uint32_t kEndSignature = 0x06054b50;
constexpr uint32_t kEntrySignature = 0x02014b50;
constexpr uint32_t kLocalSignature = 0x04034b50;
constexpr size_t kEndSize = 22;
constexpr size_t kEntrySize = 46;
constexpr size_t kLocalSize = 30;

struct Bytes
{
    const std::vector<uint8_t>& data;

    bool Has(uint64_t at, uint64_t size) const { return at <= data.size() && size <= data.size() - at; }
    // Little-endian; callers check Has first.
    uint32_t Get(uint64_t at, int size) const
    {
        uint32_t value = 0;
        for (int i = size - 1; i >= 0; --i)
            value = value << 8 | data[size_t(at) + size_t(i)];
        return value;
    }
};

bool endsWithXml(const std::string& name)
{
    if (name.size() < 4)
        return false;
    std::string tail = name.substr(name.size() - 4);
    std::transform(tail.begin(), tail.end(), tail.begin(), [](unsigned char c) { return std::tolower(c); });
    return tail == ".xml";
}

bool inflateRaw(const uint8_t* in, size_t size, std::string& out)
{
    z_stream zs{};
    if (inflateInit2(&zs, -MAX_WBITS) != Z_OK)
        return false;
    zs.next_in = const_cast<Bytef*>(in);
    zs.avail_in = static_cast<uInt>(size);
    zs.next_out = reinterpret_cast<Bytef*>(&out[0]);
    zs.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&zs, Z_FINISH);
    const bool complete = result == Z_STREAM_END && zs.total_out == out.size();
    inflateEnd(&zs);
    return complete;
}

} // namespace

bool ZipReader::Extract(const std::vector<uint8_t>& archive, std::string& content, std::string& error)
{
    const Bytes zip{archive};
    // The end record is the last thing in the archive, before a comment of up to 64 KiB.
    uint64_t end = UINT64_MAX;
    for (uint64_t at = archive.size() >= kEndSize ? archive.size() - kEndSize + 1 : 0; at-- > 0;)
    {
        if (zip.Get(at, 4) == kEndSignature)
        {
            end = at;
            break;
        }
        if (archive.size() - at > kEndSize + 0xFFFF)
            break;
    }
    if (end == UINT64_MAX)
    {
        error = "the zipped description is not a zip archive";
        return false;
    }
    const uint32_t entries = zip.Get(end + 10, 2);
    uint64_t at = zip.Get(end + 16, 4);
    uint64_t chosen = UINT64_MAX;
    for (uint32_t i = 0; i < entries; ++i)
    {
        if (!zip.Has(at, kEntrySize) || zip.Get(at, 4) != kEntrySignature)
            break;
        const uint32_t nameLength = zip.Get(at + 28, 2);
        if (!zip.Has(at + kEntrySize, nameLength))
            break;
        const std::string name(archive.begin() + long(at + kEntrySize), archive.begin() + long(at + kEntrySize + nameLength));
        if (chosen == UINT64_MAX || endsWithXml(name))
            chosen = at;
        if (endsWithXml(name))
            break;
        at += kEntrySize + nameLength + zip.Get(at + 30, 2) + zip.Get(at + 32, 2);
    }
    if (chosen == UINT64_MAX)
    {
        error = "the zipped description holds no file";
        return false;
    }
    const uint32_t method = zip.Get(chosen + 10, 2);
    const uint32_t crc = zip.Get(chosen + 16, 4);
    const uint64_t packed = zip.Get(chosen + 20, 4);
    const uint64_t size = zip.Get(chosen + 24, 4);
    const uint64_t local = zip.Get(chosen + 42, 4);
    if (!zip.Has(local, kLocalSize) || zip.Get(local, 4) != kLocalSignature)
    {
        error = "the zipped description's file is not where its directory says";
        return false;
    }
    const uint64_t data = local + kLocalSize + zip.Get(local + 26, 2) + zip.Get(local + 28, 2);
    if (!zip.Has(data, packed) || size > kLimit || (method != 0 && method != 8) || (method == 0 && packed != size))
    {
        error = "the zipped description's file is cut short, too large or packed in a way this layer does not read";
        return false;
    }
    content.assign(size_t(size), '\0');
    const uint8_t* in = archive.data() + data;
    if (method == 0)
        std::copy(in, in + packed, content.begin());
    else if (size > 0 && !inflateRaw(in, size_t(packed), content))
    {
        error = "the zipped description does not unpack";
        return false;
    }
    if (crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())) != crc)
    {
        error = "the zipped description does not match its checksum";
        return false;
    }
    return true;
}

} // namespace grb::gentl
