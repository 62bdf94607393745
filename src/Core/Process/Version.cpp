#include "Core/Process/Version.h"

constexpr QLatin1String Version::kMajor(ORVENLINK_VERSION_MAJOR, sizeof(ORVENLINK_VERSION_MAJOR) - 1);
constexpr QLatin1String Version::kMinor(ORVENLINK_VERSION_MINOR, sizeof(ORVENLINK_VERSION_MINOR) - 1);

QString Version::text()
{
    return QStringLiteral(ORVENLINK_VERSION);
}
