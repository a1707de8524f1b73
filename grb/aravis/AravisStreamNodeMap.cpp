#include "AravisStreamNodeMap.h"

#include "AravisError.h"

#include <arv.h>

namespace grb::aravis {

namespace {

constexpr const char* kProtocol = "GVSPProtocol";
constexpr const char* kAdjustPacketSize = "GVSPAdjustPacketSize";

} // namespace

AravisStreamNodeMap::AravisStreamNodeMap(std::shared_ptr<AravisConnection> connection)
    : m_connection(std::move(connection))
{
}

GrbErrorType AravisStreamNodeMap::Describe(const std::string& name, unsigned, FeatureDescription& d)
{
    d = FeatureDescription();
    if (m_connection->Type() == GrbTransportLayerGEV && name == kProtocol)
    {
        d.type = GrbFeatureDataEnum;
        d.readable = true;
        d.entries = {{"UDP", 0, true}};
    }
    else if (m_connection->Type() == GrbTransportLayerGEV && name == kAdjustPacketSize)
    {
        d.type = GrbFeatureDataCommand;
        d.writable = m_connection->Writable();
    }
    else
        return AravisError::Fail(GrbErrorNotFound, "the stream has no feature named " + name);
    return m_connection->Run([](ArvDevice*, ArvCamera*) { return GrbErrorSuccess; });
}

GrbErrorType AravisStreamNodeMap::Read(const std::string&, GrbFeatureDataType, FeatureValue& value)
{
    value.integer = 0; // UDP
    return m_connection->Run([](ArvDevice*, ArvCamera*) { return GrbErrorSuccess; });
}

GrbErrorType AravisStreamNodeMap::Write(const std::string&, GrbFeatureDataType, const FeatureValue&)
{
    return AravisError::Fail(GrbErrorInvalidAccess, "the stream's features cannot be written");
}

GrbErrorType AravisStreamNodeMap::Execute(const std::string&)
{
    return m_connection->Run([](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        GError* error = nullptr;
        arv_gv_device_auto_packet_size(ARV_GV_DEVICE(device), &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisStreamNodeMap::IsDone(const std::string& name, bool& done)
{
    FeatureDescription d;
    GrbErrorType err = Describe(name, FeatureDescription::Access, d);
    if (err == GrbErrorSuccess && d.type != GrbFeatureDataCommand)
        err = GrbErrorWrongType;
    done = true;
    return err;
}

} // namespace grb::aravis
