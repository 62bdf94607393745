#pragma once

#include <QString>

/// The file that holds the settings, for those who have to repair it.
/// Thread: any.
namespace SettingsFile
{

/// Its full name.
[[nodiscard]] QString name();

/// Why it can't be read and written, in the system's own words where it has any. To be called after a check
/// that failed.
[[nodiscard]] QString trouble();

} // namespace SettingsFile
