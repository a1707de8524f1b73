#ifndef CLI_HUMANTEXT_H
#define CLI_HUMANTEXT_H

#include <QString>

// Sizes, rates and durations as a person reads them.
class HumanText
{
public:
    // 512 B, 200.0 KiB, 1.5 MiB, ...
    static QString Bytes(qint64 bytes);
    static QString Rate(double bytesPerSecond);
    // 0.4 s, 12.0 s, 2:05 min
    static QString Duration(qint64 ms);
    // m:ss, for the time left of a transfer
    static QString Clock(qint64 seconds);
};

#endif
