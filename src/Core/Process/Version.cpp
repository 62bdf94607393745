#include "Core/Process/Version.h"

QString Version::text()
{
    return QString(kMajor + QLatin1Char('.') + kMinor + kPatch).trimmed();
}
