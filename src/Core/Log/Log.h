#pragma once

#include <QDebug>

/// The form of every warning and critical record: "[ W ][ Core/Worker/Worker ] start : 57 =>\t", then the
/// message, each item followed by one blank. Debug and info records are the message alone.
/// Of the records of one place in the source, but those at info level, 1,000 a minute are logged
/// (LogLimiter).
namespace Log
{

/// The source tag of a file: its path below src/, without its extension.
QString sourceTag(const char* file);

/// A record at warning or critical level that already holds its tag; stream the message into it.
QDebug warning(const char* file, const char* function, int line);
QDebug critical(const char* file, const char* function, int line);

/// Records at debug and info level, unquoted.
QDebug debug(const char* file, int line);
inline QDebug info()
{
    return qInfo().noquote();
}

/// For what has to be seen, and for answers to the person at the console.
inline QDebug unlimitedDebug()
{
    return qDebug().noquote();
}
QDebug unlimitedWarning(const char* file, const char* function, int line);

} // namespace Log

// Macros, since only they know the place where they are used. Thread: any.
#define LOG_WARNING() Log::warning(__FILE__, __func__, __LINE__)
#define LOG_CRITICAL() Log::critical(__FILE__, __func__, __LINE__)
#define LOG_DEBUG() Log::debug(__FILE__, __LINE__)
#define LOG_INFO() Log::info()
