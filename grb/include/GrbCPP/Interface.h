#ifndef GRBCPP_INTERFACE_H
#define GRBCPP_INTERFACE_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

class Interface
{
public:
    explicit Interface(GrbHandle handle);
    // Two calls: a null buffer returns the size (NUL included) in length.
    GrbErrorType GetID(char* buffer, unsigned int& length) const;
    GrbErrorType GetTransportLayer(TransportLayerPtr& transportLayer) const;

private:
    GrbHandle m_handle;
};

} // namespace GrbCPP

#endif
