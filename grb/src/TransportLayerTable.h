#ifndef GRB_TRANSPORTLAYERTABLE_H
#define GRB_TRANSPORTLAYERTABLE_H

#include <contract/TransportLayerDriver.h>

#include <memory>
#include <string>
#include <vector>

namespace grb {

// Every transport layer the SDK can load is a row here. With GRB_SIMULATOR set only
// the simulator row loads, configured by the variable's value; otherwise the others.
class TransportLayerTable
{
public:
    static constexpr const char* kSimulatorVariable = "GRB_SIMULATOR";

    // The layers to run. A refused simulator description leaves the list empty and
    // says why in error, as do producers the GenTL layer could not load.
    static std::vector<std::unique_ptr<TransportLayerDriver>> Load(std::string& error);
};

} // namespace grb

#endif
