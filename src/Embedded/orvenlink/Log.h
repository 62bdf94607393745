#pragma once

#include <orvenlink/Values.h>

#include <functional>

namespace orvenlink
{

enum class LogLevel
{
    Debug,
    Info,
    Warning,
    Critical,
};

/// Takes the library's log lines, of all its objects. By default, and again with an empty function, they go
/// the way of Qt's logging in the category "orvenlink", which lets warnings and worse through: without more,
/// to standard error.
/// Thread: any. The handler is called on the library's threads, one call at a time, and must not call the library.
///         After this function has returned the handler before is called no more.
ORVENLINK_API void setLogHandler(std::function<void(LogLevel level, const std::string& text)> handler);

} // namespace orvenlink
