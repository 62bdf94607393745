#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <cstddef>
#include <vector>

/// An array of samples, all zero, that begins at a line of the cache: vectors that cross the end of a line
/// take twice as long to load.
/// Thread: any, one at a time.
class AlignedSamples
{
public:
    static constexpr int kLine = 4; ///< Samples in a line.

    /// Room for `samples`, 1 or more.
    explicit AlignedSamples(int samples)
        : m_lines(static_cast<std::size_t>((samples + kLine - 1) / kLine))
    {
    }

    [[nodiscard]] DoubleComplex* data() { return m_lines.front().samples; }
    [[nodiscard]] const DoubleComplex* data() const { return m_lines.front().samples; }

private:
    struct alignas(64) Line
    {
        DoubleComplex samples[kLine];
    };

    std::vector<Line> m_lines;
};
