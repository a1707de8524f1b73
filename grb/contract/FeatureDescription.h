#ifndef GRB_CONTRACT_FEATUREDESCRIPTION_H
#define GRB_CONTRACT_FEATUREDESCRIPTION_H

#include <GrbC/GrbCTypes.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace grb {

struct EnumEntryInfo
{
    std::string name;
    int64_t value = 0;
    bool available = true;
};

// A feature as a transport layer describes it: GenICam's rules are checked against this
// above the transport layer, once for all of them.
struct FeatureDescription
{
    // What a caller needs beyond the type and the access, which are given unless only
    // the type is asked for.
    enum Detail : unsigned
    {
        Access = 0,
        Limits = 1, // ranges, increments, lengths
        Entries = 2,
        // The type alone: a transport layer may leave the rest as it is. Working out the
        // access evaluates availability and locks, often several nodes deep, and every
        // typed call asks for the type before its checked access.
        TypeOnly = 4,
    };

    GrbFeatureDataType type = GrbFeatureDataUnknown;
    // Now, with availability, locks and the session's own access taken into account.
    bool readable = false;
    bool writable = false;

    int64_t intMin = std::numeric_limits<int64_t>::min();
    int64_t intMax = std::numeric_limits<int64_t>::max();
    int64_t intInc = 1;
    double floatMin = -std::numeric_limits<double>::max();
    double floatMax = std::numeric_limits<double>::max();
    double floatInc = 0.0;
    bool hasFloatInc = false;
    // In the device's own order.
    std::vector<EnumEntryInfo> entries;
    // A raw feature's current length in bytes; a string's largest length in bytes.
    uint32_t length = 0;
};

// The value of a feature as it moves between a transport layer and the rules: the member
// its type uses. An enumeration moves as its entry's integer value.
struct FeatureValue
{
    int64_t integer = 0;
    double real = 0.0;
    bool boolean = false;
    std::string text;
    std::vector<uint8_t> bytes;
};

} // namespace grb

#endif
