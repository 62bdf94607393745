#include "RadioDevice/AirSpyFamily/AirSpyConversion.h"

#include "Core/Log/Log.h"
#include "Core/Signal/Kernels/FloatIq.h"

#include <limits>

namespace AirSpyConversion
{

void convert(const float* samples, int count, Order order, DoubleComplex* block)
{
    if (order == Order::QThenI) {
        Kernels::widenSwapped(samples, count, block);
    } else {
        Kernels::widen(samples, count, block);
    }
}

std::optional<quint32> toHertz(double value)
{
    // Truncation makes 0 of all that lies above -1.
    if (value > -1.0 && value < std::numeric_limits<quint32>::max() + 1.0) {
        return static_cast<quint32>(value);
    }
    return std::nullopt;
}

QStringList rateTexts(const Rates& rates, quint32 count)
{
    QStringList texts;
    for (quint32 i = 0; i < count && i < kMaxRates; ++i) {
        LOG_DEBUG() << "AirSpy sampleRate:" << rates[i];
        texts.append(QString::number(rates[i]));
    }
    return texts;
}

QString description(const Version& version, quint64 serial)
{
    const auto length = static_cast<int>(qstrnlen(version.data(), kVersionSize));
    return QString::fromUtf8(version.data(), length) + QStringLiteral(" S/N: ") +
           QString::number(serial, 16).toUpper();
}

} // namespace AirSpyConversion
