#pragma once

#include <QString>

/// The version of the application, kept as its pieces; that of the protocol is another.
namespace Version
{

constexpr QLatin1String kMajor("0", 1);
constexpr QLatin1String kMinor("8", 1);
constexpr QLatin1String kPatch("", 0);

/// The pieces joined, as people see them: "0.8".
QString text();

} // namespace Version
