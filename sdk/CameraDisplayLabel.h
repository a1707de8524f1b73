#ifndef SDK_CAMERADISPLAYLABEL_H
#define SDK_CAMERADISPLAYLABEL_H

#include "sdk/CameraInfoMap.h"

#include <QString>

// How a camera is named to the user everywhere: model, serial number and camera id,
// as "MODEL-SERIAL(ID)".
QString CameraDisplayLabel(const CameraInfoMap& camera);

#endif
