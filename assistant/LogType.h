#ifndef LOGTYPE_H
#define LOGTYPE_H

#include <QMetaType>

#include <cstdint>

// Severity of a log line; lines travel as (message, LogType) pairs, also across
// threads, so the type is registered under the name "LogType".
enum LogType : std::int32_t
{
    Info = 0,
    Warning = 1,
    Error = 2
};

Q_DECLARE_METATYPE(LogType)

#endif
