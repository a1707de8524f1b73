#ifndef VCAM_DEVICE_GENICAMXML_H
#define VCAM_DEVICE_GENICAMXML_H

#include "ByteOrder.h"
#include "RegisterMap.h"

#include <sim/SimCameraConfig.h>

#include <string>
#include <vector>

namespace vcam {

// The camera's GenICam description, written from the device model and its register
// map: each feature with its type, range, increment, entries (with availability) and
// access mode, on the register the map gives it, in the transport's byte order; Root
// holds the standard feature categories, each category its features.
class GenICamXml
{
public:
    // What a transport adds to the description: nodes on registers of its own (its
    // bootstrap registers, say), and which of them are features a user sees; those go
    // to the TransportLayerControl category.
    struct TransportNodes
    {
        std::string nodes;
        std::vector<std::string> features;
    };

    static std::string Generate(const grb::sim::SimCameraConfig& camera, const RegisterMap& map,
                                const std::vector<const grb::sim::SimFeature*>& features, ByteOrder order,
                                const TransportNodes& transport);
    // Text made safe for XML: markup escaped, control characters and broken UTF-8 as '?'.
    static std::string Escape(const std::string& text);
};

} // namespace vcam

#endif
