#include <GrbCPP/TransportLayer.h>

#include "Core.h"
#include "TextBuffer.h"

namespace GrbCPP {

TransportLayer::TransportLayer(GrbHandle handle)
    : m_handle(handle)
{
}

GrbErrorType TransportLayer::GetName(char* buffer, unsigned int& length) const
{
    std::string name;
    GrbErrorType err = grb::Core::Instance().TransportLayerText(m_handle, grb::DeviceRecord::TransportLayerName, name);
    return err != GrbErrorSuccess ? err : grb::CopyText(name, buffer, length);
}

GrbErrorType TransportLayer::GetPath(char* buffer, unsigned int& length) const
{
    std::string path;
    GrbErrorType err = grb::Core::Instance().TransportLayerText(m_handle, grb::DeviceRecord::TransportLayerPath, path);
    return err != GrbErrorSuccess ? err : grb::CopyText(path, buffer, length);
}

GrbErrorType TransportLayer::GetType(GrbTransportLayerType& type) const
{
    return grb::Core::Instance().TransportLayerKind(m_handle, type);
}

} // namespace GrbCPP
