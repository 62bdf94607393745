#pragma once

#include <QString>

/// The version of the application, from CMakeLists.txt; the protocol has one of its own.
/// Thread: any.
namespace Version
{

extern const QLatin1String kMajor;
extern const QLatin1String kMinor;

/// The pieces joined by points, as people see them.
QString text();

} // namespace Version
