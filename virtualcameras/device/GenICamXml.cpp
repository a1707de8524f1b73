#include "GenICamXml.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

namespace vcam {

namespace {

using grb::sim::SimFeature;

constexpr const char* kPort = "Device";
constexpr const char* kZero = "VcamAlwaysZero";
constexpr const char* kTransportCategory = "TransportLayerControl";
// Features of the model that no standard category holds.
constexpr const char* kVendorCategory = "VendorFeatures";

struct Category
{
    const char* name;
    std::vector<const char*> features;
};

// The standard features of the model in the categories and the order the standard
// feature naming convention gives them; the vendor's file listing features sit with
// file access.
const Category kCategories[] = {
    {"DeviceControl",
     {"DeviceVendorName", "DeviceModelName", "DeviceManufacturerInfo", "DeviceVersion", "DeviceFirmwareVersion",
      "DeviceSerialNumber", "DeviceUserID", "DeviceTemperature", "DeviceReset"}},
    {"ImageFormatControl",
     {"SensorWidth", "SensorHeight", "WidthMax", "HeightMax", "Width", "Height", "OffsetX", "OffsetY", "PixelFormat",
      "ReverseX", "ReverseY"}},
    {"AcquisitionControl",
     {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop", "AcquisitionFrameCount", "AcquisitionFrameRate",
      "TriggerSelector", "TriggerMode", "TriggerSoftware", "TriggerSource", "ExposureTime"}},
    {"AnalogControl", {"Gain"}},
    {"UserSetControl", {"UserSetSelector", "UserSetLoad", "UserSetSave"}},
    {"FileAccessControl",
     {"FileSelector", "FileOperationSelector", "FileOperationExecute", "FileOpenMode", "FileAccessBuffer",
      "FileAccessOffset", "FileAccessLength", "FileOperationStatus", "FileOperationResult", "FileSize",
      "FilenameCount", "FilenameIndex", "Filename", "FilesystemFreeSize"}},
    {kTransportCategory, {"PayloadSize"}},
};

std::string hex(uint64_t value)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

// The description's names of vendor and model are identifiers: letters, digits, '_'.
std::string identifier(const std::string& text)
{
    std::string out;
    for (char c : text)
        out += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return out.empty() || !std::isalpha(static_cast<unsigned char>(out[0])) ? "V" + out : out;
}

// A GUID made from the text, so that the same camera describes itself the same way:
// FNV-1a from two starting points for the 128 bits.
std::string guid(const std::string& text)
{
    auto fnv = [&](uint64_t h) {
        for (unsigned char c : text)
            h = (h ^ c) * 1099511628211ull;
        return h;
    };
    const unsigned long long a = fnv(1469598103934665603ull);
    const unsigned long long b = fnv(0x84222325cbf29ce4ull);
    char out[40];
    std::snprintf(out, sizeof out, "%08llx-%04llx-%04llx-%04llx-%012llx", a >> 32, a >> 16 & 0xFFFF, a & 0xFFFF,
                  b >> 48, b & 0xFFFFFFFFFFFFull);
    return out;
}

// Shortest text that reads back as the same double.
std::string number(double value)
{
    char text[64];
    for (int precision = 15; precision <= 17; ++precision)
    {
        std::snprintf(text, sizeof text, "%.*g", precision, value);
        if (std::strtod(text, nullptr) == value)
            break;
    }
    return text;
}

const char* accessOf(const RegisterMap::Register& r)
{
    if (r.readable && r.writable)
        return "RW";
    return r.writable ? "WO" : "RO";
}

// Length-bytes UTF-8 sequence starting at text[i], or 0 when it is broken.
size_t utf8Sequence(const std::string& text, size_t i)
{
    const auto lead = static_cast<unsigned char>(text[i]);
    size_t length = lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 && lead < 0xE0 ? 2 : 0;
    if (length == 0 || i + length > text.size())
        return 0;
    for (size_t k = 1; k < length; ++k)
        if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
            return 0;
    return length;
}

class Writer
{
public:
    Writer(const RegisterMap& map, const std::vector<const SimFeature*>& features, ByteOrder order)
        : m_map(map)
        , m_endianess(order == ByteOrder::Big ? "BigEndian" : "LittleEndian")
    {
        std::set<std::string> taken{kPort, kZero};
        for (const SimFeature* f : features)
            if (f)
            {
                m_features[f->name] = f;
                taken.insert(f->name);
            }
        // Register node names must not shadow a feature of the model.
        for (const auto& r : map.Registers())
        {
            std::string name = r.feature + "Reg";
            while (taken.count(name))
                name += '_';
            taken.insert(name);
            m_registerNames[r.feature] = name;
        }
    }

    std::string Write(const grb::sim::SimCameraConfig& camera, const GenICamXml::TransportNodes& transport)
    {
        m_out << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              << "<RegisterDescription ModelName=\"" << identifier(camera.model) << "\" VendorName=\""
              << identifier(camera.vendor) << "\" StandardNameSpace=\""
              << (camera.transport == GrbTransportLayerGEV   ? "GEV"
                  : camera.transport == GrbTransportLayerU3V ? "USB"
                                                             : "None")
              << "\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\""
                 " SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\""
                 " ToolTip=\"Generated by pellix-virtual-camera\" ProductGuid=\""
              << guid(camera.vendor + '\n' + camera.model) << "\" VersionGuid=\""
              << guid(camera.vendor + '\n' + camera.model + '\n' + camera.firmware) << "\""
                 " xmlns=\"http://www.genicam.org/GenApi/Version_1_1\""
                 " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
                 " xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 GenApiSchema.xsd\">\n";
        m_bufferFollowsLength = camera.bufferFollowsLength && m_registerNames.count("FileAccessLength");
        _Categories(transport);
        for (const auto& r : m_map.Registers())
            _Feature(r, *m_features.at(r.feature));
        m_out << transport.nodes;
        m_out << "<Integer Name=\"" << kZero << "\"><Value>0</Value></Integer>\n"
              << "<Port Name=\"" << kPort << "\" NameSpace=\"Standard\"></Port>\n"
              << "</RegisterDescription>\n";
        return m_out.str();
    }

private:
    // Root holds the categories, each category its features; a transport's own
    // features join the transport layer's category.
    void _Categories(const GenICamXml::TransportNodes& transport)
    {
        std::vector<std::pair<std::string, std::vector<std::string>>> categories;
        std::set<std::string> placed;
        for (const Category& c : kCategories)
        {
            std::vector<std::string> features;
            for (const char* name : c.features)
                if (m_registerNames.count(name) && placed.insert(name).second)
                    features.emplace_back(name);
            if (c.name == std::string(kTransportCategory))
                features.insert(features.end(), transport.features.begin(), transport.features.end());
            categories.emplace_back(c.name, std::move(features));
        }
        std::vector<std::string> vendor;
        for (const auto& r : m_map.Registers())
            if (!placed.count(r.feature))
                vendor.push_back(r.feature);
        categories.emplace_back(kVendorCategory, std::move(vendor));

        m_out << "<Category Name=\"Root\" NameSpace=\"Standard\">\n";
        for (const auto& [name, features] : categories)
            if (!features.empty())
                m_out << "  <pFeature>" << name << "</pFeature>\n";
        m_out << "</Category>\n";
        for (const auto& [name, features] : categories)
        {
            if (features.empty())
                continue;
            m_out << "<Category Name=\"" << name << "\" NameSpace=\""
                  << (name == kVendorCategory ? "Custom" : "Standard") << "\">\n";
            for (const auto& feature : features)
                m_out << "  <pFeature>" << GenICamXml::Escape(feature) << "</pFeature>\n";
            m_out << "</Category>\n";
        }
        m_standard = std::move(placed);
    }

    void _Feature(const RegisterMap::Register& r, const SimFeature& f)
    {
        // The node's name attributes: a standard feature says it is one.
        const std::string name = "Name=\"" + GenICamXml::Escape(r.feature) + "\"" +
                                 (m_standard.count(r.feature) ? " NameSpace=\"Standard\"" : "");
        const std::string reg = GenICamXml::Escape(m_registerNames.at(r.feature));
        switch (r.type)
        {
        case GrbFeatureDataInt:
            m_out << "<Integer " << name << ">\n  <pValue>" << reg << "</pValue>\n  <Min>" << f.intMin
                  << "</Min>\n  <Max>" << f.intMax << "</Max>\n  <Inc>" << f.intInc << "</Inc>\n</Integer>\n";
            _IntReg(r, reg, true);
            break;
        case GrbFeatureDataFloat:
            m_out << "<Float " << name << ">\n  <pValue>" << reg << "</pValue>\n  <Min>" << number(f.floatMin)
                  << "</Min>\n  <Max>" << number(f.floatMax) << "</Max>\n";
            if (f.hasFloatInc)
                m_out << "  <Inc>" << number(f.floatInc) << "</Inc>\n";
            m_out << "</Float>\n";
            _Register("FloatReg", r, "Name=\"" + reg + "\"", "  <Endianess>" + m_endianess + "</Endianess>\n");
            break;
        case GrbFeatureDataBool:
            m_out << "<Boolean " << name << ">\n  <pValue>" << reg
                  << "</pValue>\n  <OnValue>1</OnValue>\n  <OffValue>0</OffValue>\n</Boolean>\n";
            _IntReg(r, reg, false);
            break;
        case GrbFeatureDataEnum:
            m_out << "<Enumeration " << name << ">\n";
            for (const auto& e : f.entries)
            {
                m_out << "  <EnumEntry Name=\"" << GenICamXml::Escape(e.name) << "\">\n";
                if (!e.available)
                    m_out << "    <pIsAvailable>" << kZero << "</pIsAvailable>\n";
                m_out << "    <Value>" << e.value << "</Value>\n  </EnumEntry>\n";
            }
            m_out << "  <pValue>" << reg << "</pValue>\n</Enumeration>\n";
            _IntReg(r, reg, true);
            break;
        case GrbFeatureDataString:
            _Register("StringReg", r, name, "");
            break;
        case GrbFeatureDataCommand:
            m_out << "<Command " << name << ">\n  <pValue>" << reg << "</pValue>\n  <CommandValue>"
                  << RegisterMap::kCommandValue << "</CommandValue>\n</Command>\n";
            _IntReg(r, reg, false);
            break;
        case GrbFeatureDataRaw:
            _Register("Register", r, name, "",
                      r.feature == "FileAccessBuffer" && m_bufferFollowsLength
                          ? GenICamXml::Escape(m_registerNames.at("FileAccessLength"))
                          : std::string());
            break;
        default:
            break;
        }
    }

    void _IntReg(const RegisterMap::Register& r, const std::string& reg, bool sign)
    {
        _Register("IntReg", r, "Name=\"" + reg + "\"",
                  std::string("  <Sign>") + (sign ? "Signed" : "Unsigned") +
                      "</Sign>\n  <Endianess>" + m_endianess + "</Endianess>\n");
    }

    // name: the node's name attributes. pLength: the register whose value is this one's length, as for a buffer that is as
    // long as the transfer length says; empty for a fixed length.
    void _Register(const char* kind, const RegisterMap::Register& r, const std::string& name, const std::string& tail,
                   const std::string& pLength = std::string())
    {
        m_out << "<" << kind << " " << name << ">\n  <Address>" << hex(r.address) << "</Address>\n";
        if (pLength.empty())
            m_out << "  <Length>" << r.length << "</Length>\n";
        else
            m_out << "  <pLength>" << pLength << "</pLength>\n";
        m_out << "  <AccessMode>" << accessOf(r) << "</AccessMode>\n  <pPort>" << kPort << "</pPort>\n"
              << tail << "</" << kind << ">\n";
    }

    const RegisterMap& m_map;
    const std::string m_endianess;
    bool m_bufferFollowsLength = false;
    std::set<std::string> m_standard;
    std::map<std::string, const SimFeature*> m_features;
    std::map<std::string, std::string> m_registerNames;
    std::ostringstream m_out;
};

} // namespace

std::string GenICamXml::Generate(const grb::sim::SimCameraConfig& camera, const RegisterMap& map,
                                 const std::vector<const SimFeature*>& features, ByteOrder order,
                                 const TransportNodes& transport)
{
    return Writer(map, features, order).Write(camera, transport);
}

std::string GenICamXml::Escape(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size();)
    {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80)
        {
            const size_t length = utf8Sequence(text, i);
            out += length ? text.substr(i, length) : std::string("?");
            i += length ? length : 1;
            continue;
        }
        switch (c)
        {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        default:
            out += c < 0x20 || c == 0x7F ? '?' : static_cast<char>(c);
        }
        ++i;
    }
    return out;
}

} // namespace vcam
