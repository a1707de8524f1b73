#include "ModuleNodeMap.h"

#include "ProducerError.h"

#include <ByteOrder.h>
#include <GenICamXml.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace vcam::gentl {

namespace {

constexpr uint64_t kXmlAddress = 0x10000;
constexpr uint32_t kStringLength = 256;
constexpr const char* kPort = "TLPort";

std::string hex(uint64_t value)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

} // namespace

ModuleNodeMap::ModuleNodeMap(Identity identity, std::string xmlName)
    : m_identity(std::move(identity))
    , m_xmlName(std::move(xmlName))
{
}

ModuleNodeMap::Node& ModuleNodeMap::_Add(const std::string& name, Kind kind, uint32_t length)
{
    Node node;
    node.name = name;
    node.kind = kind;
    node.address = m_next;
    node.length = length;
    m_next += (length + 7) & ~7u;
    m_nodes.push_back(std::move(node));
    return m_nodes.back();
}

void ModuleNodeMap::AddString(const std::string& name, std::function<std::string()> get)
{
    _Add(name, Kind::String, kStringLength).text = std::move(get);
}

void ModuleNodeMap::AddInteger(const std::string& name, std::function<int64_t()> get,
                               std::function<GC_ERROR(int64_t)> set)
{
    Node& node = _Add(name, Kind::Integer, 8);
    node.number = std::move(get);
    node.set = std::move(set);
}

void ModuleNodeMap::AddBoolean(const std::string& name, std::function<bool()> get)
{
    _Add(name, Kind::Boolean, 4).number = [get] { return get() ? 1 : 0; };
}

void ModuleNodeMap::AddEnumeration(const std::string& name, std::vector<std::pair<std::string, int64_t>> entries,
                                   std::function<int64_t()> get)
{
    Node& node = _Add(name, Kind::Enumeration, 8);
    node.number = std::move(get);
    node.entries = std::move(entries);
}

void ModuleNodeMap::AddCommand(const std::string& name, std::function<GC_ERROR()> run)
{
    Node& node = _Add(name, Kind::Command, 4);
    node.number = [] { return 0; };
    node.set = [run](int64_t value) { return value == 1 ? run() : GC_ERR_INVALID_VALUE; };
}

const std::string& ModuleNodeMap::Xml()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_xml.empty())
        return m_xml;
    std::ostringstream out;
    const std::string endianess = "<Endianess>LittleEndian</Endianess>";
    out << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        << "<RegisterDescription ModelName=\"" << GenICamXml::Escape(m_identity.model) << "\" VendorName=\""
        << GenICamXml::Escape(m_identity.vendor)
        << "\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\""
           " SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\""
           " ToolTip=\""
        << m_identity.module
        << " of pellix-gentl\" ProductGuid=\"0\" VersionGuid=\"0\""
           " xmlns=\"http://www.genicam.org/GenApi/Version_1_1\""
           " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
           " xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 GenApiSchema.xsd\">\n"
        << "<Category Name=\"Root\" NameSpace=\"Standard\">\n";
    for (const Node& node : m_nodes)
        out << "  <pFeature>" << node.name << "</pFeature>\n";
    out << "</Category>\n";
    for (const Node& node : m_nodes)
    {
        const std::string reg = node.name + "Reg";
        const std::string access = node.set ? (node.kind == Kind::Command ? "WO" : "RW") : "RO";
        auto intReg = [&](const std::string& regName) {
            out << "<IntReg Name=\"" << regName << "\">\n  <Address>" << hex(node.address) << "</Address>\n  <Length>"
                << node.length << "</Length>\n  <AccessMode>" << access << "</AccessMode>\n  <pPort>" << kPort
                << "</pPort>\n  <Sign>Signed</Sign>\n  " << endianess << "\n</IntReg>\n";
        };
        switch (node.kind)
        {
        case Kind::String:
            out << "<StringReg Name=\"" << node.name << "\">\n  <Address>" << hex(node.address)
                << "</Address>\n  <Length>" << node.length << "</Length>\n  <AccessMode>RO</AccessMode>\n  <pPort>"
                << kPort << "</pPort>\n</StringReg>\n";
            break;
        case Kind::Integer:
            intReg(node.name);
            break;
        case Kind::Boolean:
            out << "<Boolean Name=\"" << node.name << "\">\n  <pValue>" << reg
                << "</pValue>\n  <OnValue>1</OnValue>\n  <OffValue>0</OffValue>\n</Boolean>\n";
            intReg(reg);
            break;
        case Kind::Enumeration:
            out << "<Enumeration Name=\"" << node.name << "\">\n";
            for (const auto& entry : node.entries)
                out << "  <EnumEntry Name=\"" << entry.first << "\">\n    <Value>" << entry.second
                    << "</Value>\n  </EnumEntry>\n";
            out << "  <pValue>" << reg << "</pValue>\n</Enumeration>\n";
            intReg(reg);
            break;
        case Kind::Command:
            out << "<Command Name=\"" << node.name << "\">\n  <pValue>" << reg
                << "</pValue>\n  <CommandValue>1</CommandValue>\n</Command>\n";
            intReg(reg);
            break;
        }
    }
    out << "<Port Name=\"" << kPort << "\" NameSpace=\"Standard\"></Port>\n</RegisterDescription>\n";
    m_xml = out.str();
    return m_xml;
}

std::vector<ModulePort::Url> ModuleNodeMap::Urls()
{
    return {{m_xmlName, kXmlAddress, Xml().size()}};
}

const ModuleNodeMap::Node* ModuleNodeMap::_At(uint64_t address) const
{
    for (const Node& node : m_nodes)
        if (address >= node.address && address < node.address + node.length)
            return &node;
    return nullptr;
}

std::vector<uint8_t> ModuleNodeMap::_Value(const Node& node)
{
    std::vector<uint8_t> value(node.length, 0);
    if (node.kind == Kind::String)
    {
        const std::string text = node.text();
        std::memcpy(value.data(), text.data(), std::min<size_t>(text.size(), node.length - 1));
    }
    else
        PutUint(value.data(), static_cast<uint64_t>(node.number()), node.length, ByteOrder::Little);
    return value;
}

GC_ERROR ModuleNodeMap::Read(uint64_t address, void* data, size_t size)
{
    const std::string& xml = Xml();
    auto* out = static_cast<uint8_t*>(data);
    if (address >= kXmlAddress)
    {
        if (address - kXmlAddress > xml.size() || size > xml.size() - (address - kXmlAddress))
            return ProducerError::Fail(GC_ERR_INVALID_ADDRESS, "the read runs past the description");
        std::memcpy(out, xml.data() + (address - kXmlAddress), size);
        return GC_ERR_SUCCESS;
    }
    for (size_t done = 0; done < size;)
    {
        const Node* node = _At(address + done);
        if (!node)
            return ProducerError::Fail(GC_ERR_INVALID_ADDRESS, "no register at " + hex(address + done));
        const std::vector<uint8_t> value = _Value(*node);
        const size_t offset = static_cast<size_t>(address + done - node->address);
        const size_t n = std::min(size - done, value.size() - offset);
        std::memcpy(out + done, value.data() + offset, n);
        done += n;
    }
    return GC_ERR_SUCCESS;
}

GC_ERROR ModuleNodeMap::Write(uint64_t address, const void* data, size_t size)
{
    const Node* node = _At(address);
    if (!node)
        return ProducerError::Fail(GC_ERR_INVALID_ADDRESS, "no register at " + hex(address));
    if (!node->set)
        return ProducerError::Fail(GC_ERR_ACCESS_DENIED, node->name + " is read-only");
    if (address != node->address || size != node->length)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, node->name + " is written whole");
    return node->set(static_cast<int64_t>(GetUint(static_cast<const uint8_t*>(data), size, ByteOrder::Little)));
}

} // namespace vcam::gentl
