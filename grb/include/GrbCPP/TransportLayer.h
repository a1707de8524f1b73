#ifndef GRBCPP_TRANSPORTLAYER_H
#define GRBCPP_TRANSPORTLAYER_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

class TransportLayer
{
public:
    explicit TransportLayer(GrbHandle handle);
    // Two calls each: a null buffer returns the size (NUL included) in length.
    GrbErrorType GetName(char* buffer, unsigned int& length) const;
    GrbErrorType GetPath(char* buffer, unsigned int& length) const;
    GrbErrorType GetType(GrbTransportLayerType& type) const;

private:
    GrbHandle m_handle;
};

} // namespace GrbCPP

#endif
