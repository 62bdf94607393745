#pragma once

#include <QString>

/// Words for what a receiver is and has.
/// Thread: any.
namespace DeviceText
{

/// "IQ file player" for 0, and so on; the number itself for an unknown one.
[[nodiscard]] QString typeName(int type);
/// The unit of a property, as "Hz"; empty for one without or unknown.
[[nodiscard]] QString unit(const QString& property);
/// What a property means, in a few words, with its range where the protocol fixes one; empty for an unknown.
[[nodiscard]] QString meaning(const QString& property);

} // namespace DeviceText
