#ifndef GRBCPP_FEATURE_H
#define GRBCPP_FEATURE_H

#include <GrbCPP/EnumEntry.h>
#include <GrbCPP/GrbCPPTypes.h>

#include <string>
#include <vector>

namespace GrbCPP {

// A named feature of a camera or stream. Every call goes to the device; the object
// keeps only the container handle and the name.
class Feature
{
public:
    Feature(GrbHandle container, std::string name);

    GrbErrorType GetName(std::string& name) const;
    GrbErrorType GetDataType(GrbFeatureDataType& type) const;
    GrbErrorType IsReadable(bool& readable) const;
    GrbErrorType IsWritable(bool& writable) const;

    // Integer, and for enumerations the current entry's integer value.
    GrbErrorType GetValue(int64_t& value) const;
    GrbErrorType SetValue(int64_t value);
    GrbErrorType GetRange(int64_t& minimum, int64_t& maximum) const;
    GrbErrorType GetIncrement(int64_t& increment) const;

    GrbErrorType GetValue(double& value) const;
    GrbErrorType SetValue(double value);
    GrbErrorType GetRange(double& minimum, double& maximum) const;
    // Not supported (-18) for a float feature without a fixed increment.
    GrbErrorType GetIncrement(double& increment) const;

    GrbErrorType GetValue(bool& value) const;
    GrbErrorType SetValue(bool value);

    // String value, or for enumerations the current entry's name. Two calls: a null
    // buffer returns the size (terminating NUL included) in length; a buffer that is
    // too small returns -9 with the size needed.
    GrbErrorType GetValue(char* buffer, unsigned int& length) const;
    // String value, or for enumerations the entry by name.
    GrbErrorType SetValue(const char* value);

    GrbErrorType GetEntries(std::vector<EnumEntry>& entries) const;
    GrbErrorType IsValueAvailable(const char* entryName, bool& available) const;

    GrbErrorType RunCommand();
    GrbErrorType IsCommandDone(bool& done) const;

    // Raw bytes: a null buffer returns the length in length.
    GrbErrorType GetValue(unsigned char* buffer, unsigned int& length) const;
    GrbErrorType SetValue(const unsigned char* buffer, unsigned int length);

private:
    GrbHandle m_container;
    std::string m_name;
};

} // namespace GrbCPP

#endif
