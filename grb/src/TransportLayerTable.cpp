#include "TransportLayerTable.h"

#include <aravis/AravisDriver.h>
#include <gentlconsumer/GentlDriver.h>
#include <sim/SimulatorDriver.h>

#include <cstdlib>
#include <functional>

namespace grb {

namespace {

struct Row
{
    const char* name;
    bool simulator;
    std::function<std::unique_ptr<TransportLayerDriver>(const std::string& configuration, std::string& error)> create;
};

const std::vector<Row>& rows()
{
    static const std::vector<Row> table{
        {"simulator", true, [](const std::string& configuration, std::string& error) {
             return sim::SimulatorDriver::Create(configuration, error);
         }},
        {"GigE Vision", false, [](const std::string&, std::string&) {
             return aravis::AravisDriver::Create(GrbTransportLayerGEV);
         }},
        {"USB3 Vision", false, [](const std::string&, std::string&) {
             return aravis::AravisDriver::Create(GrbTransportLayerU3V);
         }},
        {"GenTL", false, [](const std::string&, std::string& error) { return gentl::GentlDriver::Create(error); }},
    };
    return table;
}

} // namespace

std::vector<std::unique_ptr<TransportLayerDriver>> TransportLayerTable::Load(std::string& error)
{
    const char* variable = std::getenv(kSimulatorVariable);
    const std::string simulator = variable ? variable : "";
    std::vector<std::unique_ptr<TransportLayerDriver>> drivers;
    for (const Row& row : rows())
    {
        if (row.simulator != !simulator.empty())
            continue;
        std::string reason;
        // A layer may load and still have something to say (a producer that did not).
        if (auto driver = row.create(simulator, reason))
            drivers.push_back(std::move(driver));
        if (!reason.empty())
            error += (error.empty() ? "" : "; ") + std::string(row.name) + ": " + reason;
    }
    return drivers;
}

} // namespace grb
