#include "Receiving/Spectrum/SpectrumScale.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{

constexpr double kStep = 10.0;        // dB
constexpr double kBelowMedian = 10.0; // dB of room under what most values are
constexpr double kLeastSpan = 40.0;   // dB
constexpr double kMostSpan = 120.0;   // dB
constexpr double kNoBin = -199.0;     // dB; what is told where no bin exists is below
constexpr int kColours = 64;

struct Stop
{
    double place;
    SpectrumScale::Colour colour;
};
constexpr std::array<Stop, 6> kStops{{
    {0.0, {2, 2, 24}},
    {0.25, {60, 18, 110}},
    {0.5, {165, 44, 96}},
    {0.7, {235, 104, 37}},
    {0.87, {252, 200, 60}},
    {1.0, {255, 255, 230}},
}};

} // namespace

double SpectrumScale::Range::place(double decibels) const
{
    return std::clamp((decibels - lowest) / (highest - lowest), 0.0, 1.0);
}

SpectrumScale::Range SpectrumScale::rangeOf(QVector<float> decibels)
{
    const auto isNone = [](float value) { return !(value > kNoBin); };
    decibels.erase(std::remove_if(decibels.begin(), decibels.end(), isNone), decibels.end());
    if (decibels.isEmpty()) {
        return {};
    }
    const auto median = decibels.begin() + decibels.size() / 2;
    std::nth_element(decibels.begin(), median, decibels.end());
    const double middle = *median;
    const double strongest = *std::max_element(decibels.begin(), decibels.end());
    Range range;
    range.highest = kStep * std::ceil((strongest + 1.0) / kStep);
    range.lowest = kStep * std::floor((middle - kBelowMedian) / kStep);
    range.lowest = std::clamp(range.lowest, range.highest - kMostSpan, range.highest - kLeastSpan);
    return range;
}

SpectrumScale::Colour SpectrumScale::colour(double place)
{
    const double stepped = std::round(std::clamp(place, 0.0, 1.0) * (kColours - 1)) / (kColours - 1);
    std::size_t next = 1;
    while (next + 1 < kStops.size() && stepped > kStops.at(next).place) {
        ++next;
    }
    const Stop& from = kStops.at(next - 1);
    const Stop& to = kStops.at(next);
    const double share = (stepped - from.place) / (to.place - from.place);
    const auto mix = [share](int low, int high) {
        return static_cast<int>(std::lround(low + share * (high - low)));
    };
    return {mix(from.colour.red, to.colour.red), mix(from.colour.green, to.colour.green),
            mix(from.colour.blue, to.colour.blue)};
}

QVector<float> SpectrumScale::reduce(const QVector<float>& decibels, int count)
{
    QVector<float> reduced;
    const qint64 size = decibels.size();
    if (size == 0) {
        return reduced;
    }
    for (int n = 0; n < count; ++n) {
        const qint64 begin = n * size / count;
        const qint64 end = std::max(begin + 1, (n + 1) * size / count);
        reduced.append(*std::max_element(decibels.begin() + begin, decibels.begin() + end));
    }
    return reduced;
}
