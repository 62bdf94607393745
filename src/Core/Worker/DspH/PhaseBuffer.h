#pragma once

#include "Core/Worker/DoubleComplex.h"

#include <memory>

/// Samples with even and odd positions apart, so that vectors of successive outputs of a stage that halves
/// the rate lie side by side. Both arrays begin with the history, what a filter needs of the block before.
class PhaseBuffer
{
public:
    /// Room for `history` samples and `samples` behind them in each of the two arrays, all zero.
    PhaseBuffer(int history, int samples);

    /// The first sample behind the history; `history` samples stand before it.
    [[nodiscard]] DoubleComplex* even() const { return m_even; }
    [[nodiscard]] DoubleComplex* odd() const { return m_odd; }

    /// Copies `count` samples behind the history.
    void fill(const DoubleComplex* samples, int count);
    /// Makes the history out of what stands before place `end` in each array.
    void keepBefore(int end);

private:
    // A line of the cache: vectors that don't cross its end are quicker to load.
    struct alignas(64) Line
    {
        DoubleComplex samples[4];
    };

    int m_history;
    std::unique_ptr<Line[]> m_lines;
    DoubleComplex* m_even;
    DoubleComplex* m_odd;
};
