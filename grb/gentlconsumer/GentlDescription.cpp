#include "GentlDescription.h"

#include "GenICamUrl.h"
#include "GentlError.h"
#include "ZipReader.h"

#include <sys/stat.h>

#include <fstream>
#include <iterator>

namespace grb::gentl {

namespace {

constexpr uint32_t kChunk = 65536;
constexpr uint32_t kMaxUrls = 16;

bool looksZipped(const std::vector<uint8_t>& data)
{
    return data.size() >= 4 && data[0] == 'P' && data[1] == 'K' && data[2] == 3 && data[3] == 4;
}

} // namespace

GrbErrorType GentlDescription::_Urls(GentlPort& port, std::vector<std::string>& urls)
{
    GentlLibrary& library = port.Library();
    const GentlFunctions& f = library.Functions();
    const PORT_HANDLE handle = port.Handle();
    if (f.GCGetNumPortURLs && f.GCGetPortURLInfo)
    {
        auto count = std::make_shared<uint32_t>(0);
        const PGCGetNumPortURLs number = f.GCGetNumPortURLs;
        if (GrbErrorType err = library.Call("GCGetNumPortURLs", [number, handle, count] { return number(handle, count.get()); }))
            return err;
        const PGCGetPortURLInfo info = f.GCGetPortURLInfo;
        for (uint32_t i = 0; i < *count && i < kMaxUrls; ++i)
        {
            std::string url;
            if (GrbErrorType err = library.Text("GCGetPortURLInfo", [info, handle, i](INFO_DATATYPE* t, void* b, size_t* s) {
                    return info(handle, i, URL_INFO_URL, t, b, s);
                }, url))
                return err;
            urls.push_back(url);
        }
        return GrbErrorSuccess;
    }
    const PGCGetPortURL single = f.GCGetPortURL;
    std::string url;
    if (GrbErrorType err = library.Text("GCGetPortURL", [single, handle](INFO_DATATYPE* t, void* b, size_t* s) {
            *t = INFO_DATATYPE_STRING;
            return single(handle, static_cast<char*>(b), s);
        }, url))
        return err;
    urls.push_back(url);
    return GrbErrorSuccess;
}

GrbErrorType GentlDescription::Fetch(GentlPort& port, std::string& xml)
{
    const std::string& producer = port.Library().Name();
    std::vector<std::string> urls;
    if (GrbErrorType err = _Urls(port, urls))
        return err;
    if (urls.empty())
        return GentlError::Fail(GrbErrorTransportLayer, producer + " gives no URL of the GenICam description");
    std::string reasons;
    for (const std::string& text : urls)
    {
        GenICamUrl url;
        std::string why;
        if (!GenICamUrl::Parse(text, url, why))
        {
            reasons += (reasons.empty() ? "" : "; ") + why;
            continue;
        }
        std::vector<uint8_t> data;
        if (url.scheme == GenICamUrl::Scheme::Local)
        {
            if (url.length > kLimit)
                return GentlError::Fail(GrbErrorTransportLayer, producer + ": the GenICam description at " + text +
                                                                    " is larger than 64 MiB");
            data.resize(size_t(url.length));
            for (uint64_t done = 0; done < url.length;)
            {
                const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(kChunk, url.length - done));
                if (GrbErrorType err = port.Read(url.address + done, data.data() + done, n, why))
                    return GentlError::Fail(err, producer + ": the GenICam description could not be read: " + why);
                done += n;
            }
        }
        else
        {
            // A pipe or a device could block or never end.
            struct stat status{};
            std::ifstream file;
            if (stat(url.path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && uint64_t(status.st_size) <= kLimit)
                file.open(url.path, std::ios::binary);
            if (!file)
                return GentlError::Fail(GrbErrorTransportLayer, producer + ": the GenICam description file " +
                                                                    url.path + " is not a readable file of at most 64 MiB");
            data.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        }
        if (url.Zipped() || looksZipped(data))
        {
            if (!ZipReader::Extract(data, xml, why))
                return GentlError::Fail(GrbErrorTransportLayer, producer + ": " + why);
        }
        else
            xml.assign(data.begin(), data.end());
        return GrbErrorSuccess;
    }
    return GentlError::Fail(GrbErrorTransportLayer, producer + ": " + reasons);
}

} // namespace grb::gentl
