#ifndef VCAM_GIGE_GENICAMXML_H
#define VCAM_GIGE_GENICAMXML_H

#include "RegisterMap.h"

#include <sim/SimCameraConfig.h>

#include <string>
#include <vector>

namespace vcam {

// The camera's GenICam description, written from the device model and its register
// map: each feature with its type, range, increment, entries (with availability) and
// access mode, on the register the map gives it.
class GenICamXml
{
public:
    static std::string Generate(const grb::sim::SimCameraConfig& camera, const RegisterMap& map,
                                const std::vector<const grb::sim::SimFeature*>& features);
    // Text made safe for XML: markup escaped, control characters and broken UTF-8 as '?'.
    static std::string Escape(const std::string& text);
};

} // namespace vcam

#endif
