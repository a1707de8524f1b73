#ifndef VCAM_GENTL_MODULENODEMAP_H
#define VCAM_GENTL_MODULENODEMAP_H

#include "ModulePort.h"

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vcam::gentl {

// The small node map a producer module (system, interface, device, data stream) shows
// through its own port: read-only texts and numbers, a few writable selectors and
// commands, each on a register of its own, with the GenICam description generated
// from them. Little-endian, as the module ports of a GenTL producer on this host.
class ModuleNodeMap : public ModulePort
{
public:
    ModuleNodeMap(Identity identity, std::string xmlName);

    void AddString(const std::string& name, std::function<std::string()> get);
    // set: absent for a read-only integer.
    void AddInteger(const std::string& name, std::function<int64_t()> get,
                    std::function<GC_ERROR(int64_t)> set = nullptr);
    void AddBoolean(const std::string& name, std::function<bool()> get);
    void AddEnumeration(const std::string& name, std::vector<std::pair<std::string, int64_t>> entries,
                        std::function<int64_t()> get);
    void AddCommand(const std::string& name, std::function<GC_ERROR()> run);

    GC_ERROR Read(uint64_t address, void* data, size_t size) override;
    GC_ERROR Write(uint64_t address, const void* data, size_t size) override;
    Identity PortIdentity() override { return m_identity; }
    std::vector<Url> Urls() override;

    const std::string& Xml();

private:
    enum class Kind
    {
        String,
        Integer,
        Boolean,
        Enumeration,
        Command
    };
    struct Node
    {
        std::string name;
        Kind kind = Kind::Integer;
        uint64_t address = 0;
        uint32_t length = 0;
        std::function<std::string()> text;
        std::function<int64_t()> number;
        std::function<GC_ERROR(int64_t)> set;
        std::vector<std::pair<std::string, int64_t>> entries;
    };

    Node& _Add(const std::string& name, Kind kind, uint32_t length);
    const Node* _At(uint64_t address) const;
    std::vector<uint8_t> _Value(const Node& node);

    Identity m_identity;
    std::string m_xmlName;
    std::vector<Node> m_nodes;
    uint64_t m_next = 0;
    std::mutex m_mutex;
    std::string m_xml;
};

} // namespace vcam::gentl

#endif
