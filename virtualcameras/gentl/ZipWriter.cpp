#include "ZipWriter.h"

#include <ByteOrder.h>

#include <zlib.h>

namespace vcam::gentl {

namespace {

constexpr uint16_t kDeflate = 8;
constexpr uint16_t kVersion = 20;

void put(std::vector<uint8_t>& out, uint64_t value, size_t size)
{
    const size_t at = out.size();
    out.resize(at + size);
    PutUint(out.data() + at, value, size, ByteOrder::Little);
}

// Raw deflate, as zip stores it: no zlib header or trailer.
std::vector<uint8_t> deflateRaw(const std::string& content)
{
    z_stream zs{};
    std::vector<uint8_t> out;
    if (deflateInit2(&zs, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return out;
    out.resize(deflateBound(&zs, static_cast<uLong>(content.size())));
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    zs.avail_in = static_cast<uInt>(content.size());
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&zs, Z_FINISH);
    out.resize(result == Z_STREAM_END ? zs.total_out : 0);
    deflateEnd(&zs);
    return out;
}

} // namespace

std::vector<uint8_t> ZipWriter::Single(const std::string& name, const std::string& content)
{
    const std::vector<uint8_t> data = deflateRaw(content);
    const uint32_t crc =
        static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
    std::vector<uint8_t> zip;
    auto header = [&](bool central) {
        put(zip, central ? 0x02014b50 : 0x04034b50, 4);
        if (central)
            put(zip, kVersion, 2); // made by
        put(zip, kVersion, 2);     // needed to extract
        put(zip, 0, 2);            // flags
        put(zip, kDeflate, 2);
        put(zip, 0, 4); // time and date
        put(zip, crc, 4);
        put(zip, data.size(), 4);
        put(zip, content.size(), 4);
        put(zip, name.size(), 2);
        put(zip, 0, 2); // extra field
        if (central)
        {
            put(zip, 0, 2); // comment
            put(zip, 0, 2); // disk
            put(zip, 0, 2); // internal attributes
            put(zip, 0, 4); // external attributes
            put(zip, 0, 4); // offset of the local header
        }
        zip.insert(zip.end(), name.begin(), name.end());
    };
    header(false);
    zip.insert(zip.end(), data.begin(), data.end());
    const size_t directory = zip.size();
    header(true);
    const size_t directorySize = zip.size() - directory;
    put(zip, 0x06054b50, 4);
    put(zip, 0, 2); // this disk
    put(zip, 0, 2); // disk of the directory
    put(zip, 1, 2); // entries here
    put(zip, 1, 2); // entries in all
    put(zip, directorySize, 4);
    put(zip, directory, 4);
    put(zip, 0, 2); // comment
    return zip;
}

} // namespace vcam::gentl
