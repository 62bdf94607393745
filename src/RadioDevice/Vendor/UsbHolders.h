#pragma once

#include <QString>

/// Who else uses the USB. A library that finds a receiver busy doesn't say who has it, nor which of the
/// devices it is; what can be found out is which other processes hold USB devices open.
/// Thread: any.
namespace UsbHolders
{

/// For people: names the other processes that hold something below `devices` open, with their numbers.
QString describe(const QString& devices = QStringLiteral("/dev/bus/usb"));

} // namespace UsbHolders
