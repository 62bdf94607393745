#pragma once

#include "Core/Signal/DoubleComplex.h"

/// A stage that halves the sample rate of a stream that comes in blocks. It keeps what it needs of the
/// previous block, so that the stream is filtered as one signal.
/// Thread:    that of its `DspH`; no locks.
/// Ownership: made and kept by `DownConvertor`. No reset: a new setup makes new stages.
class Dec2
{
public:
    Dec2() = default;
    Dec2(const Dec2&) = delete;
    Dec2& operator=(const Dec2&) = delete;
    virtual ~Dec2() = default;

    /// Consumes `count` samples of `in`, writes the outputs to `out` and returns how many there are.
    /// `in` and `out` may be the same array, and are in the chain; `count` is trusted.
    virtual int decimate(int count, DoubleComplex* in, DoubleComplex* out) = 0;

    /// A stage may write outputs beyond those that it returns, and keep samples for the next block as they
    /// are after that: the last so many before `count`. 0 for a stage that doesn't.
    [[nodiscard]] virtual int overrun() const { return 0; }

    /// As `decimate` in place, with the same history after it, but beyond the outputs returned only those at
    /// the last `needed` places before `count` are sure to be there: `overrun()` of them or more.
    virtual int decimateShort(int count, DoubleComplex* samples, int /*needed*/)
    {
        return decimate(count, samples, samples);
    }
};
