#pragma once

#include "Core/Worker/DoubleComplex.h"

/// A stage that halves the sample rate of a stream handed over in blocks. It keeps what it needs of the block
/// before, so that the stream is filtered as one signal.
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
};
