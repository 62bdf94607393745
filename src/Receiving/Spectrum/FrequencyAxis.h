#pragma once

#include <QString>
#include <QVector>

/// A stretch of the dial, with marks at round frequencies.
/// Thread: any; a value.
struct FrequencyAxis
{
    double lowest = 0.0;  ///< Hz
    double highest = 0.0; ///< Hz, above the lowest.

    struct Mark
    {
        double frequency; ///< Hz
        QString text;     ///< In MHz, with the digits that tell the marks apart.
    };
    /// At most `most` marks, at least one if a round frequency lies within.
    [[nodiscard]] QVector<Mark> marks(int most) const;
    /// 0 at the lowest, 1 at the highest.
    [[nodiscard]] double place(double frequency) const { return (frequency - lowest) / (highest - lowest); }
};
