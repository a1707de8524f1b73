#include "sdk/ProductVersion.h"

QString ProductVersionText()
{
    return QStringLiteral("%1.%2.%3.%4").arg(1).arg(0).arg(0).arg(QStringLiteral(PELLIX_BUILD_TAG));
}
