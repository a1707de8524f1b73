#ifndef GRBCPP_FEATURECONTAINER_H
#define GRBCPP_FEATURECONTAINER_H

#include <GrbCPP/GrbCPPTypes.h>

namespace GrbCPP {

class FeatureContainer
{
public:
    explicit FeatureContainer(GrbHandle handle);
    virtual ~FeatureContainer() = default;
    FeatureContainer(const FeatureContainer&) = delete;
    FeatureContainer& operator=(const FeatureContainer&) = delete;

    // -3 when the container has no feature of that name.
    GrbErrorType GetFeatureByName(const char* name, FeaturePtr& feature) const;
    // The handle for the GrbC functions.
    GrbErrorType GetHandle(GrbHandle& handle) const;

protected:
    GrbHandle m_handle;
};

} // namespace GrbCPP

#endif
