#include <GrbCPP/Stream.h>

namespace GrbCPP {

Stream::Stream(GrbHandle handle)
    : FeatureContainer(handle)
{
}

} // namespace GrbCPP
