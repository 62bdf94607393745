#include "Receiving/Sinks/AuxiChunk.h"

#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

void append16(QByteArray& bytes, int value)
{
    const quint16 little = qToLittleEndian(static_cast<quint16>(value));
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

void appendHertz(QByteArray& bytes, double hertz)
{
    constexpr double kHighest = std::numeric_limits<quint32>::max();
    const quint32 little =
        qToLittleEndian(static_cast<quint32>(std::clamp(std::round(hertz), 0.0, kHighest)));
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

} // namespace

QByteArray AuxiChunk::content(const QDateTime& start, const QDateTime& stop, double centre, double sampleRate,
                              double bandwidth)
{
    QByteArray bytes = time(start) + time(stop);
    appendHertz(bytes, centre);
    appendHertz(bytes, sampleRate);
    appendHertz(bytes, 0.0); // the intermediate frequency: there is none
    appendHertz(bytes, bandwidth);
    return bytes.leftJustified(kSize, '\0');
}

QByteArray AuxiChunk::time(const QDateTime& when)
{
    const QDateTime utc = when.toUTC();
    const QDate date = utc.date();
    const QTime clock = utc.time();
    QByteArray bytes;
    for (const int value : {date.year(), date.month(), date.dayOfWeek() % 7, date.day(), clock.hour(),
                            clock.minute(), clock.second(), clock.msec()}) {
        append16(bytes, value);
    }
    return bytes;
}
