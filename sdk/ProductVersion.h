#ifndef SDK_PRODUCTVERSION_H
#define SDK_PRODUCTVERSION_H

#include <QString>

// The version text the window and the command-line program both show.
QString ProductVersionText();

#endif
