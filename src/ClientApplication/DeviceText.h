#pragma once

#include <QString>
#include <QStringList>

class RemoteDevice;

/// Words for what a receiver is and has.
namespace DeviceText
{

/// "IQ file player" for 0, and so on; the number itself for an unknown one.
[[nodiscard]] QString typeName(int type);
/// The unit of a property, as "Hz"; empty for one without or unknown.
[[nodiscard]] QString unit(const QString& property);
/// What a property means, in a few words, with its range where the protocol fixes one; empty for an unknown.
[[nodiscard]] QString meaning(const QString& property);
/// "14.000000 MHz to 14.500000 MHz", one text for each band of the receiver.
[[nodiscard]] QStringList bands(const RemoteDevice& device);
/// What the receiver's ppmCorrection does to its frequency whenever it is started, in a line; empty where it
/// does nothing.
[[nodiscard]] QString correctionAtStart(const RemoteDevice& device);

} // namespace DeviceText
