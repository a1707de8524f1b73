#ifndef GRB_SIM_SIMFILESYSTEM_H
#define GRB_SIM_SIMFILESYSTEM_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace grb::sim {

// The storage of a camera: "Userfile" holds any number of named files, each other
// slot at most one file whose name does not matter, and "Firmware" is write-only.
class SimFileSystem
{
public:
    static constexpr const char* kUserfile = "Userfile";
    static constexpr const char* kFirmware = "Firmware";

    SimFileSystem(uint64_t capacity, std::vector<std::string> slotNames);

    // "Userfile", the slots, "Firmware": the device's FileSelector order.
    std::vector<std::string> SelectorEntries() const;
    bool IsSlot(const std::string& selector) const;

    uint64_t Capacity() const { return m_capacity; }
    uint64_t Used() const;
    uint64_t Free() const;

    // Files listed under a selector, in index order.
    std::vector<std::string> Names(const std::string& selector) const;
    std::vector<uint8_t>* Find(const std::string& selector, const std::string& name);
    // Creates the file empty, or empties it; false when the selector cannot hold it.
    std::vector<uint8_t>* Create(const std::string& selector, const std::string& name);
    bool Remove(const std::string& selector, const std::string& name);

private:
    struct NamedFile
    {
        std::string name;
        std::vector<uint8_t> data;
    };

    uint64_t m_capacity;
    std::vector<std::string> m_slotOrder;
    std::vector<NamedFile> m_userfiles;
    std::map<std::string, NamedFile> m_slots; // present only while the slot holds a file
};

} // namespace grb::sim

#endif
