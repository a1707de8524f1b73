#ifndef SDK_CAMERAMODELCOMPATIBILITY_H
#define SDK_CAMERAMODELCOMPATIBILITY_H

#include <QString>

// Whether a camera model belongs to a family whose cameras support file access.
// family receives the family label of the first matching row, or empty text.
// The window's camera list and the command-line program both filter with it.
bool IsCameraModelCompatible(const QString& modelName, QString& family);

#endif
