#ifndef GRBCPP_STREAM_H
#define GRBCPP_STREAM_H

#include <GrbCPP/FeatureContainer.h>

namespace GrbCPP {

// A stream of an open camera; its features are reachable while the camera is open.
class Stream : public FeatureContainer
{
public:
    explicit Stream(GrbHandle handle);
};

} // namespace GrbCPP

#endif
