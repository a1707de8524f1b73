#ifndef GRB_GENTLCONSUMER_GENTLPRODUCER_H
#define GRB_GENTLCONSUMER_GENTLPRODUCER_H

#include "GentlLibrary.h"

#include <contract/DeviceRecord.h>
#include <contract/DeviceSession.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace grb::gentl {

// One producer's system module as the SDK sees it: a transport layer whose interfaces
// and cameras are the producer's, found anew by each discovery round.
class GentlProducer
{
public:
    // Opens the system module; null with the reason.
    static std::unique_ptr<GentlProducer> Open(std::shared_ptr<GentlLibrary> library, std::string& error);
    // Closes the interfaces and the system module.
    ~GentlProducer();

    // The cameras on every interface now. problems: what could not be asked, for the log.
    void Discover(std::vector<DeviceRecord>& devices, std::string& problems);
    GrbErrorType Open(const std::string& interfaceId, const std::string& deviceId, GrbTransportLayerType type,
                      GrbAccessModeType mode, std::unique_ptr<DeviceSession>& session);

    // "GenTL:FILE:", before an interface's and a camera's id in an extended id.
    const std::string& Prefix() const { return m_prefix; }

private:
    GentlProducer(std::shared_ptr<GentlLibrary> library, TL_HANDLE system);
    GrbErrorType _Interfaces(std::vector<std::string>& ids);
    GrbErrorType _Devices(IF_HANDLE iface, const std::string& interfaceId, std::vector<DeviceRecord>& devices);
    DeviceRecord _Record(IF_HANDLE iface, const std::string& interfaceId, const std::string& deviceId);
    IF_HANDLE _Interface(const std::string& id);

    std::shared_ptr<GentlLibrary> m_library;
    TL_HANDLE m_system;
    std::string m_name;
    std::string m_prefix;
    std::mutex m_mutex;
    std::map<std::string, IF_HANDLE> m_interfaces;
};

} // namespace grb::gentl

#endif
