#include "U3vDescriptors.h"

#include "U3vProtocol.h"

#include <cstdio>

namespace vcam {

namespace {

constexpr uint8_t kDeviceType = 0x01;
constexpr uint8_t kConfigType = 0x02;
constexpr uint8_t kStringType = 0x03;
constexpr uint8_t kInterfaceType = 0x04;
constexpr uint8_t kEndpointType = 0x05;
constexpr uint8_t kAssociationType = 0x0B;
constexpr uint8_t kCompanionType = 0x30;
constexpr uint8_t kBulk = 0x02;
constexpr uint16_t kSuperSpeedPacket = 1024;
constexpr uint16_t kEnglish = 0x0409;
constexpr uint8_t kSuperSpeed = 0x08;
// The longest text a string descriptor holds: 255 bytes, two a character after two.
constexpr size_t kMostCharacters = 126;

void put16(std::vector<uint8_t>& out, uint16_t v)
{
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}

void put32(std::vector<uint8_t>& out, uint32_t v)
{
    put16(out, uint16_t(v));
    put16(out, uint16_t(v >> 16));
}

void interface(std::vector<uint8_t>& out, uint8_t number, uint8_t endpoints, uint8_t protocol)
{
    out.insert(out.end(), {9, kInterfaceType, number, 0, endpoints, u3v::kMiscellaneousClass, u3v::kU3vSubclass,
                           protocol, 0});
}

void bulkEndpoint(std::vector<uint8_t>& out, uint8_t address)
{
    out.insert(out.end(), {7, kEndpointType, address, kBulk});
    put16(out, kSuperSpeedPacket);
    out.push_back(0);
    out.insert(out.end(), {6, kCompanionType, 0, 0, 0, 0});
}

// UTF-8 to UTF-16 code units; what is broken or beyond the first plane becomes '?'.
std::vector<uint16_t> utf16(const std::string& text)
{
    std::vector<uint16_t> units;
    for (size_t i = 0; i < text.size();)
    {
        const auto c = static_cast<unsigned char>(text[i]);
        size_t length = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : 0;
        uint32_t code = length == 1 ? c : length == 2 ? (c & 0x1F) : (c & 0x0F);
        bool sound = length > 0 && i + length <= text.size();
        for (size_t k = 1; sound && k < length; ++k)
        {
            const auto next = static_cast<unsigned char>(text[i + k]);
            sound = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3F);
        }
        units.push_back(sound && !(code >= 0xD800 && code < 0xE000) ? uint16_t(code) : uint16_t('?'));
        i += sound ? length : 1;
    }
    return units;
}

} // namespace

std::vector<uint8_t> U3vDescriptors::Device()
{
    std::vector<uint8_t> d{18, kDeviceType};
    put16(d, 0x0300);
    d.insert(d.end(), {u3v::kMiscellaneousClass, u3v::kCommonSubclass, u3v::kAssociationProtocol, 9});
    put16(d, kVendorId);
    put16(d, kProductId);
    put16(d, 0x0100);
    d.insert(d.end(), {kManufacturer, kProduct, kSerialNumber, 1});
    return d;
}

std::vector<uint8_t> U3vDescriptors::Configuration()
{
    std::vector<uint8_t> d{9, kConfigType, 0, 0, 3, 1, 0, 0xC0, 0};
    d.insert(d.end(), {8, kAssociationType, kControlInterface, 3, u3v::kMiscellaneousClass, u3v::kU3vSubclass,
                       u3v::kControlProtocol, 0});
    interface(d, kControlInterface, 2, u3v::kControlProtocol);
    // The device info descriptor: versions of GenCP and USB3 Vision (1.0 each), then the
    // index of each of the camera's strings (0: none), then the speeds it supports.
    d.insert(d.end(), {20, u3v::kDeviceInfoType, u3v::kDeviceInfoSubtype});
    put32(d, 0x00010000);
    put32(d, 0x00010000);
    d.insert(d.end(), {kGuid, kManufacturer, kProduct, 0, kDeviceVersion, kManufacturerInfo, kSerialNumber,
                       kUserDefinedName, kSuperSpeed});
    bulkEndpoint(d, kControlOut);
    bulkEndpoint(d, kControlIn);
    interface(d, kEventInterface, 1, u3v::kEventProtocol);
    bulkEndpoint(d, kEventIn);
    interface(d, kStreamInterface, 1, u3v::kStreamProtocol);
    bulkEndpoint(d, kStreamIn);
    d[2] = uint8_t(d.size());
    d[3] = uint8_t(d.size() >> 8);
    return d;
}

std::vector<uint8_t> U3vDescriptors::String(uint8_t index, const std::string& text)
{
    std::vector<uint8_t> d{0, kStringType};
    if (index == kLanguages)
        put16(d, kEnglish);
    else
    {
        std::vector<uint16_t> units = utf16(text);
        if (units.size() > kMostCharacters)
            units.resize(kMostCharacters);
        for (uint16_t unit : units)
            put16(d, unit);
    }
    d[0] = uint8_t(d.size());
    return d;
}

std::string U3vDescriptors::Guid(const std::string& identity)
{
    uint32_t hash = 2166136261u;
    for (char c : identity)
        hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
    char text[16];
    std::snprintf(text, sizeof text, "%04X%08X", kVendorId, hash);
    return text;
}

} // namespace vcam
