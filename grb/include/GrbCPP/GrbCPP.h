#ifndef GRBCPP_GRBCPP_H
#define GRBCPP_GRBCPP_H

#include <GrbCPP/Camera.h>
#include <GrbCPP/EnumEntry.h>
#include <GrbCPP/Feature.h>
#include <GrbCPP/FeatureContainer.h>
#include <GrbCPP/Frame.h>
#include <GrbCPP/GrbSystem.h>
#include <GrbCPP/ICameraListObserver.h>
#include <GrbCPP/IInterfaceListObserver.h>
#include <GrbCPP/Interface.h>
#include <GrbCPP/Stream.h>
#include <GrbCPP/TransportLayer.h>

#endif
