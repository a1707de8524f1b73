#ifndef VCAM_DEVICE_REGISTERMAP_H
#define VCAM_DEVICE_REGISTERMAP_H

#include <sim/SimFeature.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vcam {

// Where each feature of the device model lies in the camera's address space, the same
// for every transport. Registers follow one another in the model's feature order, each
// on a word boundary, so the layout stays the same across resets (the model is rebuilt
// then). The whole layout fits 32 bits, as GigE Vision addresses.
class RegisterMap
{
public:
    // Device memory with the transport's bootstrap registers, then the GenICam file, then features.
    static constexpr uint32_t kMemoryEnd = 0x00010000;
    static constexpr uint32_t kXmlAddress = 0x00080000;
    static constexpr uint32_t kXmlLimit = 0x00080000;
    static constexpr uint32_t kFeatureBase = 0x00100000;
    // The value a command's register takes while the command runs.
    static constexpr uint32_t kCommandValue = 1;

    struct Register
    {
        std::string feature;
        GrbFeatureDataType type = GrbFeatureDataUnknown;
        uint32_t address = 0;
        // The GenICam length, and the word-rounded extent the register occupies.
        uint32_t length = 0;
        uint32_t span = 0;
        bool readable = false;
        bool writable = false;
    };

    explicit RegisterMap(const std::vector<const grb::sim::SimFeature*>& features);

    const std::vector<Register>& Registers() const { return m_registers; }
    // The register that holds the address, or null.
    const Register* At(uint64_t address) const;
    const Register* Find(const std::string& feature) const;

private:
    std::vector<Register> m_registers;
};

} // namespace vcam

#endif
