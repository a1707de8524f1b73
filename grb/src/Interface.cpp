#include <GrbCPP/Interface.h>
#include <GrbCPP/TransportLayer.h>

#include "Core.h"
#include "TextBuffer.h"

namespace GrbCPP {

Interface::Interface(GrbHandle handle)
    : m_handle(handle)
{
}

GrbErrorType Interface::GetID(char* buffer, unsigned int& length) const
{
    std::string id;
    GrbErrorType err = grb::Core::Instance().InterfaceId(m_handle, id);
    return err != GrbErrorSuccess ? err : grb::CopyText(id, buffer, length);
}

GrbErrorType Interface::GetTransportLayer(TransportLayerPtr& transportLayer) const
{
    GrbHandle handle = nullptr;
    GrbErrorType err = grb::Core::Instance().InterfaceTransportLayer(m_handle, handle);
    if (err == GrbErrorSuccess)
        transportLayer = std::make_shared<TransportLayer>(handle);
    return err;
}

} // namespace GrbCPP
