#include "AravisStreamNodeMap.h"

#include "AravisError.h"

#include <arv.h>

namespace grb::aravis {

namespace {

constexpr const char* kProtocol = "GVSPProtocol";
constexpr const char* kAdjustPacketSize = "GVSPAdjustPacketSize";
constexpr const char* kUdp = "UDP";

GrbFeatureDataType typeOf(const std::string& name, GrbTransportLayerType transport)
{
    if (transport != GrbTransportLayerGEV)
        return GrbFeatureDataUnknown;
    if (name == kProtocol)
        return GrbFeatureDataEnum;
    if (name == kAdjustPacketSize)
        return GrbFeatureDataCommand;
    return GrbFeatureDataUnknown;
}

} // namespace

AravisStreamNodeMap::AravisStreamNodeMap(std::shared_ptr<AravisConnection> connection)
    : m_connection(std::move(connection))
{
}

GrbErrorType AravisStreamNodeMap::_Check(const std::string& name, GrbFeatureDataType type)
{
    const GrbFeatureDataType actual = typeOf(name, m_connection->Type());
    if (actual == GrbFeatureDataUnknown)
        return AravisError::Fail(GrbErrorNotFound, "the stream has no feature named " + name);
    if (type != GrbFeatureDataUnknown && actual != type)
        return AravisError::Fail(GrbErrorWrongType, name + " has another type");
    return m_connection->Run([](ArvDevice*, ArvCamera*) { return GrbErrorSuccess; });
}

GrbErrorType AravisStreamNodeMap::Info(const std::string& name, FeatureInfo& info)
{
    GrbErrorType err = _Check(name, GrbFeatureDataUnknown);
    if (err != GrbErrorSuccess)
        return err;
    info.type = typeOf(name, m_connection->Type());
    info.readable = info.type == GrbFeatureDataEnum;
    info.writable = info.type == GrbFeatureDataCommand && m_connection->Writable();
    return GrbErrorSuccess;
}

GrbErrorType AravisStreamNodeMap::GetEnum(const std::string& name, std::string& entry)
{
    GrbErrorType err = _Check(name, GrbFeatureDataEnum);
    if (err == GrbErrorSuccess)
        entry = kUdp;
    return err;
}

GrbErrorType AravisStreamNodeMap::GetEnumInt(const std::string& name, int64_t& value)
{
    GrbErrorType err = _Check(name, GrbFeatureDataEnum);
    if (err == GrbErrorSuccess)
        value = 0;
    return err;
}

GrbErrorType AravisStreamNodeMap::GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries)
{
    GrbErrorType err = _Check(name, GrbFeatureDataEnum);
    if (err == GrbErrorSuccess)
        entries = {{kUdp, 0, true}};
    return err;
}

GrbErrorType AravisStreamNodeMap::SetEnum(const std::string& name, const std::string&)
{
    GrbErrorType err = _Check(name, GrbFeatureDataEnum);
    return err != GrbErrorSuccess ? err : AravisError::Fail(GrbErrorInvalidAccess, "Aravis streams over UDP only");
}

GrbErrorType AravisStreamNodeMap::SetEnumInt(const std::string& name, int64_t)
{
    return SetEnum(name, {});
}

GrbErrorType AravisStreamNodeMap::RunCommand(const std::string& name)
{
    GrbErrorType err = _Check(name, GrbFeatureDataCommand);
    if (err != GrbErrorSuccess)
        return err;
    if (!m_connection->Writable())
        return AravisError::Fail(GrbErrorInvalidAccess, "the camera is open for reading only");
    return m_connection->Run([](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        GError* error = nullptr;
        arv_gv_device_auto_packet_size(ARV_GV_DEVICE(device), &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisStreamNodeMap::IsCommandDone(const std::string& name, bool& done)
{
    GrbErrorType err = _Check(name, GrbFeatureDataCommand);
    if (err == GrbErrorSuccess)
        done = true;
    return err;
}

GrbErrorType AravisStreamNodeMap::GetInt(const std::string& name, int64_t&)
{
    return _Check(name, GrbFeatureDataInt);
}

GrbErrorType AravisStreamNodeMap::SetInt(const std::string& name, int64_t)
{
    return _Check(name, GrbFeatureDataInt);
}

GrbErrorType AravisStreamNodeMap::GetIntRange(const std::string& name, int64_t&, int64_t&, int64_t&)
{
    return _Check(name, GrbFeatureDataInt);
}

GrbErrorType AravisStreamNodeMap::GetFloat(const std::string& name, double&)
{
    return _Check(name, GrbFeatureDataFloat);
}

GrbErrorType AravisStreamNodeMap::SetFloat(const std::string& name, double)
{
    return _Check(name, GrbFeatureDataFloat);
}

GrbErrorType AravisStreamNodeMap::GetFloatRange(const std::string& name, double&, double&, double&, bool&)
{
    return _Check(name, GrbFeatureDataFloat);
}

GrbErrorType AravisStreamNodeMap::GetBool(const std::string& name, bool&)
{
    return _Check(name, GrbFeatureDataBool);
}

GrbErrorType AravisStreamNodeMap::SetBool(const std::string& name, bool)
{
    return _Check(name, GrbFeatureDataBool);
}

GrbErrorType AravisStreamNodeMap::GetString(const std::string& name, std::string&)
{
    return _Check(name, GrbFeatureDataString);
}

GrbErrorType AravisStreamNodeMap::SetString(const std::string& name, const std::string&)
{
    return _Check(name, GrbFeatureDataString);
}

GrbErrorType AravisStreamNodeMap::GetRawLength(const std::string& name, uint32_t&)
{
    return _Check(name, GrbFeatureDataRaw);
}

GrbErrorType AravisStreamNodeMap::GetRaw(const std::string& name, uint8_t*, uint32_t&)
{
    return _Check(name, GrbFeatureDataRaw);
}

GrbErrorType AravisStreamNodeMap::SetRaw(const std::string& name, const uint8_t*, uint32_t)
{
    return _Check(name, GrbFeatureDataRaw);
}

} // namespace grb::aravis
