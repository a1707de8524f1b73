#ifndef SDK_CAMERAINFOMAP_H
#define SDK_CAMERAINFOMAP_H

#include <QMap>
#include <QString>
#include <QVariant>

// One camera as the camera list shows it; the keys are listed where ApiController builds it.
using CameraInfoMap = QMap<QString, QVariant>;

#endif
