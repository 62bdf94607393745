#pragma once

#include "Core/Signal/AlignedSamples.h"
#include "Core/Signal/DoubleComplex.h"

/// Samples split into even and odd positions, so that vectors of successive outputs of a stage that halves
/// the rate lie side by side. Both arrays begin with the history: what a filter needs of the previous block.
/// Thread: that of its `DspH`.
class PolyphaseBuffer
{
public:
    /// Room for `history` samples and `samples` after them in each of the two arrays, all zero.
    PolyphaseBuffer(int history, int samples);
    PolyphaseBuffer(const PolyphaseBuffer&) = delete;
    PolyphaseBuffer& operator=(const PolyphaseBuffer&) = delete;

    /// The first sample after the history; `history` samples are before it.
    [[nodiscard]] DoubleComplex* even() const { return m_even; }
    [[nodiscard]] DoubleComplex* odd() const { return m_odd; }

    /// Copies `count` samples to the place after the history.
    void fill(const DoubleComplex* samples, int count);
    /// Makes the history out of what is before place `end` in each array.
    void keepBefore(int end);

private:
    int m_history;
    AlignedSamples m_samples;
    DoubleComplex* m_even;
    DoubleComplex* m_odd;
};
