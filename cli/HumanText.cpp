#include "HumanText.h"

QString HumanText::Bytes(qint64 bytes)
{
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024)
        return QStringLiteral("%1 B").arg(bytes);
    double value = static_cast<double>(bytes);
    int unit = -1;
    while (value >= 1024.0 && unit < 3)
    {
        value /= 1024.0;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(value, 0, 'f', 1).arg(QLatin1String(units[unit]));
}

QString HumanText::Rate(double bytesPerSecond)
{
    return Bytes(static_cast<qint64>(bytesPerSecond)) + QStringLiteral("/s");
}

QString HumanText::Duration(qint64 ms)
{
    if (ms < 60000)
        return QStringLiteral("%1 s").arg(ms / 1000.0, 0, 'f', 1);
    const qint64 seconds = ms / 1000;
    return QStringLiteral("%1:%2 min").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString HumanText::Clock(qint64 seconds)
{
    if (seconds < 0)
        seconds = 0;
    if (seconds >= 3600)
        return QStringLiteral("%1:%2:%3")
            .arg(seconds / 3600)
            .arg((seconds / 60) % 60, 2, 10, QLatin1Char('0'))
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}
