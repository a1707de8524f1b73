#include "ConfigParser.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace vusb {

namespace {

constexpr uint8_t kConfigType = 0x02;
constexpr uint8_t kInterfaceType = 0x04;
constexpr uint8_t kEndpointType = 0x05;
constexpr size_t kConfigLength = 9;
constexpr size_t kInterfaceLength = 9;
constexpr size_t kEndpointLength = 7;

struct Endpoint
{
    libusb_endpoint_descriptor d{};
    std::vector<uint8_t> extra;
};

struct Setting
{
    libusb_interface_descriptor d{};
    std::vector<uint8_t> extra;
    std::vector<Endpoint> endpoints;
};

struct Interface
{
    uint8_t number = 0;
    std::vector<Setting> settings;
};

// A copy in memory of its own, or null for none.
unsigned char* copyOf(const std::vector<uint8_t>& bytes, int& length)
{
    length = static_cast<int>(bytes.size());
    if (bytes.empty())
        return nullptr;
    auto* copy = static_cast<unsigned char*>(std::malloc(bytes.size()));
    if (copy)
        std::memcpy(copy, bytes.data(), bytes.size());
    else
        length = 0;
    return copy;
}

template <typename T> T* array(size_t n)
{
    return n ? static_cast<T*>(std::calloc(n, sizeof(T))) : nullptr;
}

libusb_config_descriptor* build(const libusb_config_descriptor& head, const std::vector<uint8_t>& extra,
                                const std::vector<Interface>& interfaces)
{
    auto* config = array<libusb_config_descriptor>(1);
    if (!config)
        return nullptr;
    *config = head;
    config->bNumInterfaces = static_cast<uint8_t>(interfaces.size());
    config->extra = copyOf(extra, config->extra_length);
    auto* out = array<libusb_interface>(interfaces.size());
    config->interface = out;
    for (size_t i = 0; out && i < interfaces.size(); ++i)
    {
        auto* settings = array<libusb_interface_descriptor>(interfaces[i].settings.size());
        out[i].altsetting = settings;
        out[i].num_altsetting = settings ? static_cast<int>(interfaces[i].settings.size()) : 0;
        for (size_t s = 0; settings && s < interfaces[i].settings.size(); ++s)
        {
            const Setting& from = interfaces[i].settings[s];
            settings[s] = from.d;
            settings[s].bNumEndpoints = static_cast<uint8_t>(from.endpoints.size());
            settings[s].extra = copyOf(from.extra, settings[s].extra_length);
            auto* endpoints = array<libusb_endpoint_descriptor>(from.endpoints.size());
            settings[s].endpoint = endpoints;
            if (!endpoints)
                settings[s].bNumEndpoints = 0;
            for (size_t e = 0; endpoints && e < from.endpoints.size(); ++e)
            {
                endpoints[e] = from.endpoints[e].d;
                endpoints[e].extra = copyOf(from.endpoints[e].extra, endpoints[e].extra_length);
            }
        }
    }
    return config;
}

} // namespace

libusb_config_descriptor* ConfigParser::Parse(const uint8_t* bytes, size_t size)
{
    if (!bytes || size < kConfigLength || bytes[0] < kConfigLength || bytes[1] != kConfigType)
        return nullptr;
    const size_t total = uint16_t(bytes[2] | bytes[3] << 8);
    if (total < bytes[0] || total > size)
        return nullptr;
    libusb_config_descriptor head{};
    head.bLength = bytes[0];
    head.bDescriptorType = bytes[1];
    head.wTotalLength = static_cast<uint16_t>(total);
    head.bConfigurationValue = bytes[5];
    head.iConfiguration = bytes[6];
    head.bmAttributes = bytes[7];
    head.MaxPower = bytes[8];

    std::vector<uint8_t> extra;
    std::vector<Interface> interfaces;
    Setting* setting = nullptr;
    Endpoint* endpoint = nullptr;
    for (size_t at = bytes[0]; at < total;)
    {
        const uint8_t length = bytes[at];
        if (length < 2 || at + length > total)
            return nullptr;
        const uint8_t* d = bytes + at;
        const uint8_t type = d[1];
        if (type == kInterfaceType)
        {
            if (length < kInterfaceLength)
                return nullptr;
            Interface* owner = nullptr;
            for (auto& i : interfaces)
                if (i.number == d[2])
                    owner = &i;
            if (!owner)
            {
                interfaces.push_back(Interface{d[2], {}});
                owner = &interfaces.back();
            }
            owner->settings.emplace_back();
            setting = &owner->settings.back();
            setting->d.bLength = length;
            setting->d.bDescriptorType = type;
            setting->d.bInterfaceNumber = d[2];
            setting->d.bAlternateSetting = d[3];
            setting->d.bNumEndpoints = d[4];
            setting->d.bInterfaceClass = d[5];
            setting->d.bInterfaceSubClass = d[6];
            setting->d.bInterfaceProtocol = d[7];
            setting->d.iInterface = d[8];
            endpoint = nullptr;
        }
        else if (type == kEndpointType && setting)
        {
            if (length < kEndpointLength || setting->endpoints.size() >= setting->d.bNumEndpoints)
                return nullptr;
            setting->endpoints.emplace_back();
            endpoint = &setting->endpoints.back();
            endpoint->d.bLength = length;
            endpoint->d.bDescriptorType = type;
            endpoint->d.bEndpointAddress = d[2];
            endpoint->d.bmAttributes = d[3];
            endpoint->d.wMaxPacketSize = uint16_t(d[4] | d[5] << 8);
            endpoint->d.bInterval = d[6];
            endpoint->d.bRefresh = length > 7 ? d[7] : 0;
            endpoint->d.bSynchAddress = length > 8 ? d[8] : 0;
        }
        else if (type == kConfigType || type == kEndpointType)
            return nullptr;
        else
        {
            std::vector<uint8_t>& owner = endpoint ? endpoint->extra : setting ? setting->extra : extra;
            owner.insert(owner.end(), d, d + length);
        }
        at += length;
    }
    // Settings promise their endpoints; interfaces come as many as the header says.
    for (const auto& i : interfaces)
        for (const auto& s : i.settings)
            if (s.endpoints.size() != s.d.bNumEndpoints)
                return nullptr;
    if (interfaces.size() != bytes[4])
        return nullptr;
    libusb_config_descriptor* config = build(head, extra, interfaces);
    if (config && (!config->interface && !interfaces.empty()))
    {
        Free(config);
        return nullptr;
    }
    return config;
}

void ConfigParser::Free(libusb_config_descriptor* config)
{
    if (!config)
        return;
    for (int i = 0; config->interface && i < config->bNumInterfaces; ++i)
    {
        const libusb_interface& interface = config->interface[i];
        for (int s = 0; interface.altsetting && s < interface.num_altsetting; ++s)
        {
            const libusb_interface_descriptor& setting = interface.altsetting[s];
            for (int e = 0; setting.endpoint && e < setting.bNumEndpoints; ++e)
                std::free(const_cast<unsigned char*>(setting.endpoint[e].extra));
            std::free(const_cast<libusb_endpoint_descriptor*>(setting.endpoint));
            std::free(const_cast<unsigned char*>(setting.extra));
        }
        std::free(const_cast<libusb_interface_descriptor*>(interface.altsetting));
    }
    std::free(const_cast<libusb_interface*>(config->interface));
    std::free(const_cast<unsigned char*>(config->extra));
    std::free(config);
}

} // namespace vusb
