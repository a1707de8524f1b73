#include "StringToDouble.h"

#include <QLocale>

double StringToDouble(const QString& text, bool* ok)
{
    bool parsed = false;
    double value = QLocale(QLocale::German, QLocale::Germany).toDouble(text, &parsed);
    if (!parsed)
        value = QLocale(QLocale::English, QLocale::UnitedStates).toDouble(text, &parsed);
    if (!parsed)
        value = 0.0;
    if (ok)
        *ok = parsed;
    return value;
}
