#pragma once

#include <QString>

/// The file that holds the settings, for those who have to mend it.
namespace SettingsFile
{

/// Its full name.
[[nodiscard]] QString name();

/// Why it can't be read and written, in the system's own words as far as it has any. For after a check that
/// failed.
[[nodiscard]] QString trouble();

} // namespace SettingsFile
