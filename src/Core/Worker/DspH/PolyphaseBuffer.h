#pragma once

#include "Core/Signal/AlignedSamples.h"
#include "Core/Signal/DoubleComplex.h"

/// Samples with even and odd positions apart, so that vectors of successive outputs of a stage that halves
/// the rate lie side by side. Both arrays begin with the history, what a filter needs of the block before.
class PolyphaseBuffer
{
public:
    /// Room for `history` samples and `samples` behind them in each of the two arrays, all zero.
    PolyphaseBuffer(int history, int samples);
    PolyphaseBuffer(const PolyphaseBuffer&) = delete;
    PolyphaseBuffer& operator=(const PolyphaseBuffer&) = delete;

    /// The first sample behind the history; `history` samples stand before it.
    [[nodiscard]] DoubleComplex* even() const { return m_even; }
    [[nodiscard]] DoubleComplex* odd() const { return m_odd; }

    /// Copies `count` samples behind the history.
    void fill(const DoubleComplex* samples, int count);
    /// Makes the history out of what stands before place `end` in each array.
    void keepBefore(int end);

private:
    int m_history;
    AlignedSamples m_samples;
    DoubleComplex* m_even;
    DoubleComplex* m_odd;
};
