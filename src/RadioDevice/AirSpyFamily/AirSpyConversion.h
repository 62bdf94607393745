#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <QStringList>
#include <array>
#include <cstdint>
#include <optional>

/// What passes between the libraries of the Airspy receivers and their drivers, in the form that the other
/// side takes.
/// Thread: any.
namespace AirSpyConversion
{

/// Which of the two floats of a sample becomes its real part.
enum class Order
{
    QThenI, ///< re = Q, im = I: as every receiver here gives its samples. I comes first in the library's.
    IThenQ,
};

/// Widens `count` pairs of `samples` into `block`, without a scale: full scale is 1.0 in both.
void convert(const float* samples, int count, Order order, DoubleComplex* block);

/// The most samples that a library is believed to deliver at once: a third of a second at 3 MHz, and four
/// times what the ring holds. More can only be a mistake.
constexpr int kMaxBlock = 1 << 20;

/// A rate or a frequency in hertz, truncated to what the libraries take; nothing for what they can't be
/// given.
[[nodiscard]] std::optional<quint32> toHertz(double value);

/// The most rates that are asked for, however many a library has.
constexpr quint32 kMaxRates = 32;
using Rates = std::array<quint32, kMaxRates>;

/// The first `count` of `rates` in decimal, at most all, each one logged.
[[nodiscard]] QStringList rateTexts(const Rates& rates, quint32 count);

/// What is read of a version string, in bytes. The library may fill all of them and end none with a 0.
constexpr int kVersionSize = 20;
using Version = std::array<char, kVersionSize>;

/// The text for people: version and serial number.
[[nodiscard]] QString description(const Version& version, quint64 serial);

/// The most receivers that are listed at once.
constexpr int kMaxSerials = 64;
using Serials = std::array<std::uint64_t, kMaxSerials>;

} // namespace AirSpyConversion
