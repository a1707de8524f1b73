#include "GenICamUrl.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace grb::gentl {

namespace {

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

bool hexNumber(const std::string& text, uint64_t& value)
{
    std::string digits = text;
    if (digits.size() > 2 && (digits.compare(0, 2, "0x") == 0 || digits.compare(0, 2, "0X") == 0))
        digits = digits.substr(2);
    if (digits.empty() || digits.size() > 16 || !std::all_of(digits.begin(), digits.end(), ::isxdigit))
        return false;
    value = std::strtoull(digits.c_str(), nullptr, 16);
    return true;
}

} // namespace

bool GenICamUrl::Parse(const std::string& text, GenICamUrl& url, std::string& error)
{
    const size_t colon = text.find(':');
    const std::string scheme = colon == std::string::npos ? std::string() : lower(text.substr(0, colon));
    std::string rest = colon == std::string::npos ? std::string() : text.substr(colon + 1);
    rest = rest.substr(0, rest.find('?'));
    if (scheme == "file")
    {
        // file:///path, file:/path and file:path alike; no other host.
        if (rest.compare(0, 2, "//") == 0)
        {
            const size_t slash = rest.find('/', 2);
            const std::string host = rest.substr(2, slash == std::string::npos ? std::string::npos : slash - 2);
            if (!host.empty() && lower(host) != "localhost")
            {
                error = "the description is on another host: " + text;
                return false;
            }
            rest = slash == std::string::npos ? std::string() : rest.substr(slash);
        }
        if (rest.empty())
        {
            error = "the description's file URL names no file: " + text;
            return false;
        }
        url = GenICamUrl();
        url.scheme = Scheme::File;
        url.path = rest;
        url.fileName = rest.substr(rest.rfind('/') + 1);
        return true;
    }
    if (scheme == "local")
    {
        const size_t first = rest.find(';');
        const size_t second = first == std::string::npos ? first : rest.find(';', first + 1);
        GenICamUrl parsed;
        parsed.scheme = Scheme::Local;
        if (second == std::string::npos || rest.find(';', second + 1) != std::string::npos ||
            !hexNumber(rest.substr(first + 1, second - first - 1), parsed.address) ||
            !hexNumber(rest.substr(second + 1), parsed.length) || parsed.length == 0 ||
            parsed.address > UINT64_MAX - parsed.length)
        {
            error = "the description's URL is not NAME;ADDRESS;LENGTH: " + text;
            return false;
        }
        parsed.fileName = rest.substr(0, first);
        url = parsed;
        return true;
    }
    error = "the description's URL is not one this layer reads (local: or file:): " + text;
    return false;
}

bool GenICamUrl::Zipped() const
{
    const std::string name = lower(fileName);
    return name.size() > 4 && name.compare(name.size() - 4, 4, ".zip") == 0;
}

} // namespace grb::gentl
