#pragma once

#include <QVector>

/// How high and in which colour a level is drawn.
/// Thread: any.
namespace SpectrumScale
{

/// A range of decibels, both multiples of 10, that shows `decibels` well: from a little below what most of
/// them are to above the strongest.
struct Range
{
    double lowest = -120.0;
    double highest = -20.0;

    /// 0 at the lowest and below, 1 at the highest and above.
    [[nodiscard]] double place(double decibels) const;
};
[[nodiscard]] Range rangeOf(QVector<float> decibels);

/// 0 to 255 each.
struct Colour
{
    int red;
    int green;
    int blue;
};
/// From dark blue, through violet and orange, to white, in 64 steps: dark and light alone tell as much.
[[nodiscard]] Colour colour(double place);

/// `count` values, each the strongest of its share of `decibels`; repeated if there are fewer.
[[nodiscard]] QVector<float> reduce(const QVector<float>& decibels, int count);

} // namespace SpectrumScale
