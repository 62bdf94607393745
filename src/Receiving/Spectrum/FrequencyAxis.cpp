#include "Receiving/Spectrum/FrequencyAxis.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr int kMostMarks = 100;

// 1, 2 or 5 times a power of ten, not below `least`.
double roundStep(double least)
{
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * 0.999999) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

} // namespace

QVector<FrequencyAxis::Mark> FrequencyAxis::marks(int most) const
{
    QVector<Mark> all;
    const double span = highest - lowest;
    if (most < 1 || !(span > 0.0) || !std::isfinite(span)) {
        return all;
    }
    const double step = roundStep(span / std::min(most, kMostMarks));
    const int digits = std::clamp(6 - static_cast<int>(std::floor(std::log10(step))), 0, 6);
    for (double n = std::ceil(lowest / step); n * step <= highest && all.size() < most; n += 1.0) {
        all.append({n * step, QString::number(n * step / 1e6, 'f', digits)});
    }
    return all;
}
