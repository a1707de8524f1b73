#include "sdk/CameraDisplayLabel.h"

QString CameraDisplayLabel(const CameraInfoMap& camera)
{
    return QStringLiteral("%1-%2(%3)")
        .arg(camera.value("Model Name").toString(), camera.value("Serial No.").toString(),
             camera.value("Camera ID").toString());
}
