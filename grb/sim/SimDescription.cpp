#include "SimDescription.h"

#include "SimDevice.h"
#include "SimNodeMap.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <sys/stat.h>

namespace grb::sim {

namespace {

constexpr uint64_t kMaxGeneratedFile = 1ull << 32;

using Fields = std::map<std::string, std::string>;

bool tokenize(const std::string& line, std::string& keyword, Fields& fields, std::string& error)
{
    size_t i = 0;
    auto skipBlanks = [&] {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
            ++i;
    };
    skipBlanks();
    while (i < line.size() && line[i] != ' ' && line[i] != '\t')
        keyword += line[i++];
    for (;;)
    {
        skipBlanks();
        if (i >= line.size())
            return true;
        std::string key;
        while (i < line.size() && line[i] != '=' && line[i] != ' ' && line[i] != '\t')
            key += line[i++];
        if (i >= line.size() || line[i] != '=' || key.empty())
        {
            error = "expected key=value, found '" + key + "'";
            return false;
        }
        ++i;
        std::string value;
        if (i < line.size() && line[i] == '"')
        {
            ++i;
            bool closed = false;
            while (i < line.size())
            {
                char c = line[i++];
                if (c == '"')
                {
                    closed = true;
                    break;
                }
                if (c == '\\' && i < line.size())
                {
                    char e = line[i++];
                    value += e == 'n' ? '\n' : e;
                }
                else
                    value += c;
            }
            if (!closed)
            {
                error = "unterminated quote in value of " + key;
                return false;
            }
            if (i < line.size() && line[i] != ' ' && line[i] != '\t')
            {
                error = "blank expected after the quoted value of " + key;
                return false;
            }
        }
        else
        {
            while (i < line.size() && line[i] != ' ' && line[i] != '\t')
                value += line[i++];
        }
        if (!fields.emplace(key, value).second)
        {
            error = "key " + key + " given twice";
            return false;
        }
    }
}

bool checkKeys(const Fields& fields, const std::set<std::string>& allowed, const std::set<std::string>& required,
               const std::string& keyword, std::string& error)
{
    for (const auto& f : fields)
        if (!allowed.count(f.first))
        {
            error = "unknown key '" + f.first + "' for " + keyword;
            return false;
        }
    for (const auto& r : required)
        if (!fields.count(r))
        {
            error = keyword + " needs " + r + "=";
            return false;
        }
    return true;
}

bool toInt(const std::string& text, const std::string& key, int64_t& value, std::string& error)
{
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno == ERANGE)
    {
        error = "bad number '" + text + "' for " + key;
        return false;
    }
    value = v;
    return true;
}

bool toUnsigned(const std::string& text, const std::string& key, uint64_t max, uint64_t& value, std::string& error)
{
    int64_t v = 0;
    if (!toInt(text, key, v, error))
        return false;
    if (v < 0 || static_cast<uint64_t>(v) > max)
    {
        error = key + " must be between 0 and " + std::to_string(max);
        return false;
    }
    value = static_cast<uint64_t>(v);
    return true;
}

bool toDouble(const std::string& text, const std::string& key, double& value, std::string& error)
{
    errno = 0;
    char* end = nullptr;
    double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE)
    {
        error = "bad number '" + text + "' for " + key;
        return false;
    }
    value = v;
    return true;
}

bool toBool(const std::string& text, const std::string& key, bool& value, std::string& error)
{
    if (text == "yes" || text == "true" || text == "1")
        value = true;
    else if (text == "no" || text == "false" || text == "0")
        value = false;
    else
    {
        error = key + " must be yes or no";
        return false;
    }
    return true;
}

std::vector<std::string> splitList(const std::string& text, char separator)
{
    std::vector<std::string> items;
    std::string item;
    std::istringstream in(text);
    while (std::getline(in, item, separator))
        items.push_back(item);
    return items;
}

bool parseCamera(const Fields& f, SimCameraConfig& c, std::string& error)
{
    if (!checkKeys(f,
                   {"id", "model", "serial", "ext", "name", "transport", "interface", "vendor", "firmware", "held",
                    "capacity", "buffer", "buffer-length", "access-length", "protocol", "reset-delay", "slots",
                    "without"},
                   {"id", "model"}, "camera", error))
        return false;
    c.id = f.at("id");
    c.model = f.at("model");
    c.serial = f.count("serial") ? f.at("serial") : c.id;
    c.name = f.count("name") ? f.at("name") : c.model;
    if (f.count("transport"))
    {
        const std::string& t = f.at("transport");
        if (t == "gige")
            c.transport = GrbTransportLayerGEV;
        else if (t == "usb3")
            c.transport = GrbTransportLayerU3V;
        else
        {
            error = "transport must be gige or usb3";
            return false;
        }
    }
    const bool gige = c.transport == GrbTransportLayerGEV;
    c.extendedId = f.count("ext") ? f.at("ext") : std::string(gige ? "SIM-GEV::" : "SIM-U3V::") + c.id;
    c.interfaceId = f.count("interface") ? f.at("interface") : std::string(gige ? "sim-eth0" : "sim-usb0");
    if (f.count("vendor"))
        c.vendor = f.at("vendor");
    if (f.count("firmware"))
        c.firmware = f.at("firmware");
    if (f.count("held") && !toBool(f.at("held"), "held", c.heldByOther, error))
        return false;
    uint64_t number = 0;
    if (f.count("capacity"))
    {
        if (!toUnsigned(f.at("capacity"), "capacity", 1ull << 40, number, error))
            return false;
        c.capacity = number;
    }
    if (f.count("buffer"))
    {
        if (!toUnsigned(f.at("buffer"), "buffer", 1u << 24, number, error) || number == 0)
        {
            if (error.empty())
                error = "buffer must be at least 1";
            return false;
        }
        c.bufferSize = static_cast<uint32_t>(number);
    }
    if (f.count("buffer-length"))
    {
        const std::string& b = f.at("buffer-length");
        if (b != "fixed" && b != "follows")
        {
            error = "buffer-length must be fixed or follows";
            return false;
        }
        c.bufferFollowsLength = b == "follows";
    }
    if (f.count("access-length"))
    {
        const std::string& a = f.at("access-length");
        if (a != "rw" && a != "ro")
        {
            error = "access-length must be rw or ro";
            return false;
        }
        c.accessLengthWritable = a == "rw";
    }
    if (f.count("protocol"))
    {
        c.streamProtocol = f.at("protocol");
        if (c.streamProtocol != "UDP" && c.streamProtocol != "TCP")
        {
            error = "protocol must be UDP or TCP";
            return false;
        }
    }
    if (f.count("reset-delay"))
    {
        if (!toUnsigned(f.at("reset-delay"), "reset-delay", 600000, number, error))
            return false;
        c.resetDelayMs = static_cast<int>(number);
    }
    if (f.count("slots"))
    {
        for (const auto& slot : splitList(f.at("slots"), ','))
        {
            if (slot.empty() || slot == "Userfile" || slot == "Firmware")
            {
                error = "slot names must be given and differ from Userfile and Firmware";
                return false;
            }
            c.slotNames.push_back(slot);
        }
    }
    if (f.count("without"))
        c.without = splitList(f.at("without"), ',');
    return true;
}

bool parseFile(const Fields& f, SimCameraConfig& c, std::string& error)
{
    if (!checkKeys(f, {"selector", "name", "text", "size", "seed"}, {"selector"}, "file", error))
        return false;
    SimFileConfig file;
    file.selector = f.at("selector");
    file.name = f.count("name") ? f.at("name") : file.selector;
    if (file.selector == "Userfile")
    {
        if (!f.count("name") || file.name.empty())
        {
            error = "a Userfile file needs name=";
            return false;
        }
    }
    else if (std::find(c.slotNames.begin(), c.slotNames.end(), file.selector) == c.slotNames.end())
    {
        error = "selector " + file.selector + " is neither Userfile nor a slot of this camera";
        return false;
    }
    for (const SimFileConfig& known : c.files)
        if (known.selector == file.selector && (file.selector != "Userfile" || known.name == file.name))
        {
            error = file.selector == "Userfile" ? "file " + file.name + " is described twice"
                                                : "slot " + file.selector + " holds one file and is given two";
            return false;
        }
    if (f.count("text") == f.count("size"))
    {
        error = "file needs exactly one of text= and size=";
        return false;
    }
    if (f.count("text"))
        file.data.assign(f.at("text").begin(), f.at("text").end());
    else
    {
        uint64_t size = 0;
        uint64_t seed = 1;
        if (!toUnsigned(f.at("size"), "size", kMaxGeneratedFile, size, error))
            return false;
        if (f.count("seed") && !toUnsigned(f.at("seed"), "seed", UINT32_MAX, seed, error))
            return false;
        file.data = SimDescription::Pattern(size, static_cast<uint32_t>(seed));
    }
    c.files.push_back(std::move(file));
    return true;
}

bool parseFeature(const Fields& f, SimCameraConfig& c, std::string& error)
{
    if (!checkKeys(f, {"name", "type", "value", "min", "max", "inc", "access", "entries", "length", "delay"},
                   {"name", "type"}, "feature", error))
        return false;
    SimNodeMap scratch;
    const std::string& name = f.at("name");
    const std::string& type = f.at("type");
    const std::string value = f.count("value") ? f.at("value") : std::string();
    SimFeature* feature = nullptr;
    if (type == "int")
    {
        int64_t v = 0, min = INT64_MIN, max = INT64_MAX, inc = 1;
        if ((f.count("value") && !toInt(value, "value", v, error)) ||
            (f.count("min") && !toInt(f.at("min"), "min", min, error)) ||
            (f.count("max") && !toInt(f.at("max"), "max", max, error)) ||
            (f.count("inc") && !toInt(f.at("inc"), "inc", inc, error)))
            return false;
        if (min > max || inc < 1 || v < min || v > max)
        {
            error = "int feature needs min <= value <= max and inc >= 1";
            return false;
        }
        feature = &scratch.AddInt(name, v, min, max, inc);
    }
    else if (type == "float")
    {
        double v = 0, min = -1e300, max = 1e300, inc = 0;
        if ((f.count("value") && !toDouble(value, "value", v, error)) ||
            (f.count("min") && !toDouble(f.at("min"), "min", min, error)) ||
            (f.count("max") && !toDouble(f.at("max"), "max", max, error)) ||
            (f.count("inc") && !toDouble(f.at("inc"), "inc", inc, error)))
            return false;
        if (min > max || inc < 0 || v < min || v > max)
        {
            error = "float feature needs min <= value <= max and inc >= 0";
            return false;
        }
        feature = &scratch.AddFloat(name, v, min, max, inc);
    }
    else if (type == "bool")
    {
        bool v = false;
        if (f.count("value") && !toBool(value, "value", v, error))
            return false;
        feature = &scratch.AddBool(name, v);
    }
    else if (type == "enum")
    {
        if (!f.count("entries"))
        {
            error = "enum feature needs entries=";
            return false;
        }
        std::vector<SimEnumEntry> entries;
        for (const auto& item : splitList(f.at("entries"), ','))
        {
            std::vector<std::string> parts = splitList(item, ':');
            SimEnumEntry entry;
            if (parts.size() < 2 || parts.size() > 3 || parts[0].empty() ||
                !toInt(parts[1], "entries", entry.value, error) ||
                (parts.size() == 3 && parts[2] != "unavailable"))
            {
                if (error.empty())
                    error = "entries are NAME:VALUE or NAME:VALUE:unavailable";
                return false;
            }
            entry.name = parts[0];
            entry.available = parts.size() == 2;
            entries.push_back(entry);
        }
        if (entries.empty())
        {
            error = "enum feature needs at least one entry in entries=";
            return false;
        }
        int64_t current = entries.front().value;
        if (f.count("value"))
        {
            bool known = false;
            for (const auto& e : entries)
                if (e.name == value)
                {
                    current = e.value;
                    known = true;
                }
            if (!known)
            {
                error = "value " + value + " is not an entry";
                return false;
            }
        }
        feature = &scratch.AddEnum(name, entries, current);
    }
    else if (type == "string")
        feature = &scratch.AddString(name, value);
    else if (type == "command")
    {
        feature = &scratch.AddCommand(name);
        int64_t delay = 0;
        if (f.count("delay") && !toInt(f.at("delay"), "delay", delay, error))
            return false;
        feature->commandDelayMs = static_cast<int>(delay);
    }
    else if (type == "raw")
    {
        uint64_t length = 0;
        if (f.count("length") && !toUnsigned(f.at("length"), "length", 1u << 24, length, error))
            return false;
        feature = &scratch.AddRaw(name, static_cast<uint32_t>(length));
    }
    else
    {
        error = "unknown feature type " + type;
        return false;
    }
    if (f.count("access"))
    {
        const std::string& a = f.at("access");
        if (a != "rw" && a != "ro" && a != "wo")
        {
            error = "access must be rw, ro or wo";
            return false;
        }
        feature->readable = a != "wo" && type != "command";
        feature->writable = a != "ro";
    }
    c.extraFeatures.push_back(*feature);
    return true;
}

bool parseFault(const Fields& f, int line, SimCameraConfig& c, std::string& error)
{
    if (!checkKeys(f, {"unplug-after-chunks", "feature", "stream", "delay", "short-read", "fail-access", "code"}, {},
                   "fault", error))
        return false;
    SimFaultConfig fault;
    fault.line = line;
    const int kinds = int(f.count("unplug-after-chunks") + f.count("delay") + f.count("short-read") +
                          f.count("fail-access"));
    if (kinds != 1)
    {
        error = "fault needs exactly one of unplug-after-chunks=, delay=, short-read= and fail-access=";
        return false;
    }
    if (f.count("unplug-after-chunks") != 0 && (f.count("feature") || f.count("stream")))
    {
        error = "unplug-after-chunks= takes no feature=";
        return false;
    }
    if (!f.count("unplug-after-chunks") && !f.count("feature"))
    {
        error = "this fault needs feature=";
        return false;
    }
    if (f.count("code") && !f.count("fail-access"))
    {
        error = "code= goes with fail-access=";
        return false;
    }
    uint64_t number = 0;
    int64_t signedNumber = 0;
    if (f.count("feature"))
        fault.feature = f.at("feature");
    if (f.count("stream"))
    {
        if (!toUnsigned(f.at("stream"), "stream", 15, number, error))
            return false;
        fault.stream = static_cast<int>(number);
    }
    if (f.count("unplug-after-chunks"))
    {
        if (!toUnsigned(f.at("unplug-after-chunks"), "unplug-after-chunks", 1u << 30, number, error) || number == 0)
        {
            if (error.empty())
                error = "unplug-after-chunks must be at least 1";
            return false;
        }
        fault.kind = SimFaultConfig::Kind::UnplugAfterChunks;
        fault.count = static_cast<int64_t>(number);
    }
    else if (f.count("delay"))
    {
        if (!toInt(f.at("delay"), "delay", signedNumber, error) || signedNumber < -1 || signedNumber > 600000)
        {
            if (error.empty())
                error = "delay must be -1 (never) to 600000 ms";
            return false;
        }
        fault.kind = SimFaultConfig::Kind::CommandDelay;
        fault.delayMs = static_cast<int>(signedNumber);
    }
    else if (f.count("short-read"))
    {
        if (!toUnsigned(f.at("short-read"), "short-read", 1u << 24, number, error) || number == 0)
        {
            if (error.empty())
                error = "short-read must be at least 1";
            return false;
        }
        fault.kind = SimFaultConfig::Kind::ShortRead;
        fault.count = static_cast<int64_t>(number);
    }
    else
    {
        if (!toUnsigned(f.at("fail-access"), "fail-access", 1u << 30, number, error) || number == 0)
        {
            if (error.empty())
                error = "fail-access must be at least 1";
            return false;
        }
        fault.kind = SimFaultConfig::Kind::FailAccess;
        fault.count = static_cast<int64_t>(number);
        if (f.count("code"))
        {
            if (!toInt(f.at("code"), "code", signedNumber, error) || signedNumber > -1 || signedNumber < -18)
            {
                if (error.empty())
                    error = "code must be an SDK error code, -1 to -18";
                return false;
            }
            fault.code = static_cast<GrbErrorType>(signedNumber);
        }
    }
    c.faults.push_back(fault);
    return true;
}

// Faults name features that exist only once the device is built: each is checked on a
// device built from the camera's description without its files.
bool checkFaults(const SimCameraConfig& camera, std::string& error)
{
    if (camera.faults.empty())
        return true;
    SimCameraConfig bare = camera;
    bare.files.clear();
    bare.faults.clear();
    SimDevice device(std::move(bare), nullptr);
    for (const SimFaultConfig& fault : camera.faults)
    {
        if (fault.kind == SimFaultConfig::Kind::UnplugAfterChunks)
            continue;
        SimNodeMap* map = fault.stream < 0 ? &device.Features()
                          : static_cast<size_t>(fault.stream) < device.Streams().size()
                              ? &device.Streams()[static_cast<size_t>(fault.stream)]
                              : nullptr;
        const SimFeature* feature = map ? map->Find(fault.feature) : nullptr;
        std::string problem;
        if (!feature)
            problem = "the camera has no feature " + fault.feature +
                      (fault.stream < 0 ? std::string() : " on stream " + std::to_string(fault.stream));
        else if (fault.kind == SimFaultConfig::Kind::CommandDelay && feature->type != GrbFeatureDataCommand)
            problem = fault.feature + " is not a command; delay= applies to commands";
        else if (fault.kind == SimFaultConfig::Kind::ShortRead && feature->type != GrbFeatureDataRaw)
            problem = fault.feature + " is not a raw feature; short-read= applies to raw features";
        if (!problem.empty())
        {
            error = "line " + std::to_string(fault.line) + ": " + problem;
            return false;
        }
    }
    return true;
}

} // namespace

bool SimDescription::Parse(const std::string& text, std::vector<SimCameraConfig>& cameras, std::string& error)
{
    std::vector<SimCameraConfig> parsed;
    std::set<std::string> ids;
    // A byte-order mark, as some editors write one, is not part of the first statement.
    const std::string kByteOrderMark = "\xEF\xBB\xBF";
    std::istringstream in(text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0
                              ? text.substr(kByteOrderMark.size())
                              : text);
    std::string line;
    int number = 0;
    while (std::getline(in, line))
    {
        ++number;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#')
            continue;

        std::string keyword;
        Fields fields;
        std::string problem;
        bool ok = tokenize(line, keyword, fields, problem);
        if (ok && keyword == "camera")
        {
            SimCameraConfig camera;
            ok = parseCamera(fields, camera, problem);
            if (ok && (!ids.insert(camera.id).second || !ids.insert(camera.extendedId).second))
            {
                problem = "camera " + camera.id + " is described twice";
                ok = false;
            }
            if (ok)
                parsed.push_back(std::move(camera));
        }
        else if (ok && (keyword == "file" || keyword == "feature" || keyword == "fault"))
        {
            if (parsed.empty())
            {
                problem = keyword + " before any camera";
                ok = false;
            }
            else if (keyword == "file")
                ok = parseFile(fields, parsed.back(), problem);
            else if (keyword == "feature")
                ok = parseFeature(fields, parsed.back(), problem);
            else
                ok = parseFault(fields, number, parsed.back(), problem);
        }
        else if (ok)
        {
            problem = "unknown statement '" + keyword + "'";
            ok = false;
        }
        if (!ok)
        {
            error = "line " + std::to_string(number) + ": " + problem;
            return false;
        }
    }
    for (const SimCameraConfig& camera : parsed)
        if (!checkFaults(camera, error))
            return false;
    cameras = std::move(parsed);
    return true;
}

bool SimDescription::Load(const std::string& path, std::vector<SimCameraConfig>& cameras, std::string& error)
{
    // A directory opens as a stream that reads nothing, and a pipe may never end.
    struct stat status{};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    {
        error = path + (S_ISDIR(status.st_mode) ? " is a directory, not a description file"
                                                 : " is not a regular file");
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        error = "cannot read " + path;
        return false;
    }
    std::ostringstream text;
    text << file.rdbuf();
    if (!Parse(text.str(), cameras, error))
    {
        error = path + ": " + error;
        return false;
    }
    return true;
}

std::vector<uint8_t> SimDescription::Pattern(uint64_t size, uint32_t seed)
{
    std::vector<uint8_t> data(size);
    uint32_t state = seed * 2654435761u + 1u;
    for (auto& byte : data)
    {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return data;
}

const char* SimDescription::DemoText()
{
    return R"DEMO(# The built-in demo set of the camera simulator.
camera id=DEV_0F3100A1 model=qda640MXGE serial=40100271 name="Inspection left" transport=gige interface=sim-eth0 firmware="Firmware 2.14.1 (build 3107)" slots=UserSet1,LUTLuminance reset-delay=1500
file selector=Userfile name=readme.txt text="Zorvan Pellix camera file storage.\nFiles kept here survive a power cycle.\n"
file selector=Userfile name=calibration.xml text="<calibration camera=\"40100271\">\n  <focal>12.5</focal>\n  <distortion k1=\"-0.021\" k2=\"0.004\"/>\n</calibration>\n"
file selector=Userfile name=shading_correction.bin size=204800 seed=7
file selector=UserSet1 size=1024 seed=3
camera id=DEV_1AB22C0F model=RZ-12M serial=22031577 name="Line scan" transport=usb3 interface=sim-usb0 firmware="Firmware 1.8.0" slots=DefectPixelList reset-delay=1500
file selector=Userfile name=gamma22.lut size=4096 seed=22
file selector=Userfile name=notes.txt text="Mounted on conveyor 3, 45 degrees.\n"
file selector=DefectPixelList size=512 seed=11
camera id=DEV_00C0FFEE model="Kestrel K12" serial=55501230 name="Lab camera" transport=gige interface=sim-eth0 firmware="Firmware 0.9.2"
camera id=DEV_0F3100B7 model=T-R402 serial=40100388 name="Packaging line" transport=gige interface=sim-eth1 firmware="Firmware 2.10.0" held=yes
file selector=Userfile name=config.ini text="[trigger]\nsource=Line1\n"
)DEMO";
}

std::vector<SimCameraConfig> SimDescription::Demo()
{
    std::vector<SimCameraConfig> cameras;
    std::string error;
    Parse(DemoText(), cameras, error);
    return cameras;
}

} // namespace grb::sim
