#pragma once

#include <QByteArray>
#include <QDateTime>

/// The content of the chunk `auxi`, in which a recording says when and where on the dial it was made; what
/// reads IQ recordings knows it.
///
///     0      16     32              36        40      44          48             68       164
///     | start | stop | centre, Hz    | rate, Hz | 0      | bandwidth | 5 x 0         | 96 x 0 |
///
/// All little-endian. A time is year, month, day of the week (0 is Sunday), day, hour, minute, second and
/// millisecond, 16 bits each, in UTC.
/// Thread: any.
namespace AuxiChunk
{

constexpr int kSize = 164;      ///< Bytes.
constexpr int kStopOffset = 16; ///< Where the stop time is.

/// Frequencies in hertz, 0 to 4,294,967,295; what is beyond becomes the nearest of them.
QByteArray content(const QDateTime& start, const QDateTime& stop, double centre, double sampleRate,
                   double bandwidth);
/// One time, 16 bytes.
QByteArray time(const QDateTime& when);

} // namespace AuxiChunk
