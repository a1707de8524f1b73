#include <GrbCPP/Feature.h>
#include <GrbCPP/FeatureContainer.h>

#include "Core.h"

namespace GrbCPP {

FeatureContainer::FeatureContainer(GrbHandle handle)
    : m_handle(handle)
{
}

GrbErrorType FeatureContainer::GetFeatureByName(const char* name, FeaturePtr& feature) const
{
    if (!name)
        return GrbErrorBadParameter;
    GrbErrorType err = grb::Core::Instance().WithFeatures(m_handle, [name](grb::CheckedNodeMap& map) -> GrbErrorType {
        GrbFeatureDataType type = GrbFeatureDataUnknown;
        return map.Type(name, type);
    });
    if (err == GrbErrorSuccess)
        feature = std::make_shared<Feature>(m_handle, name);
    return err;
}

GrbErrorType FeatureContainer::GetHandle(GrbHandle& handle) const
{
    handle = m_handle;
    return GrbErrorSuccess;
}

} // namespace GrbCPP
