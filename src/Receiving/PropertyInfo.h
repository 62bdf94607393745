#pragma once

#include <QString>
#include <array>

/// What is known of a receiver's property by its name alone. The table has all that receivers have.
struct PropertyInfo
{
    enum class Type
    {
        Boolean,
        Integer,
        Number,
        Text,
        List, ///< Of texts.
    };
    struct Range
    {
        int lowest = 0;
        int highest = 0; ///< The same as the lowest: not known, or another one for each receiver.
    };
    /// Names of the whole numbers from `first` on, without gaps.
    struct Options
    {
        int first = 0;
        std::array<const char*, 3> names{}; ///< nullptr after the last.
    };

    const char* name;
    Type type; ///< To be written.
    bool isWritable;
    const char* unit;    ///< "Hz", "kHz", "dB", "0.1 dB", "ppm" or "".
    const char* meaning; ///< In a few words, with the range.
    Range range;
    Options options;

    /// nullptr for an unknown one. Any thread.
    [[nodiscard]] static const PropertyInfo* find(const QString& name);
};
