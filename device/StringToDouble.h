#ifndef DEVICE_STRINGTODOUBLE_H
#define DEVICE_STRINGTODOUBLE_H

#include <QString>

// A user-typed number: German rules (decimal comma) first, then English. 0.0 with
// *ok false when neither accepts it; ok may be null.
double StringToDouble(const QString& text, bool* ok = nullptr);

#endif
