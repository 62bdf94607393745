#pragma once

#include <QString>

/// The version of the application, of which CMakeLists.txt tells; that of the protocol is another. Any
/// thread.
namespace Version
{

extern const QLatin1String kMajor;
extern const QLatin1String kMinor;

/// The pieces joined, as people see them: "0.8".
QString text();

} // namespace Version
