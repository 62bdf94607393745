#pragma once

#include "Core/Worker/DspH/Dec2.h"
#include "Core/Worker/DspH/PolyphaseBuffer.h"

/// Half-band FIR decimator of any length 4k + 3. Every second coefficient but the centre is zero and skipped.
/// Thread: that of its `DspH`.
class CHalfBandDecimateBy2 : public Dec2
{
public:
    /// `bufLen`: the block length of the whole chain, the longest block there will be. `coefficients`: a
    /// table of `taps` values, not owned. Throws std::bad_array_new_length if 2 * `bufLen` doesn't fit an int
    /// or is negative.
    CHalfBandDecimateBy2(int bufLen, int taps, const double* coefficients);

    /// Gives (`count` + 1) / 2 outputs. In place the outputs of a block below 2 * (`taps` - 1) samples reach
    /// into what the next block needs as history; what the history lacks after a block below `taps` - 1
    /// samples counts as zeros.
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override;

private:
    int m_taps;
    const double* m_coefficients;
    PolyphaseBuffer m_buffer; // the end of the block before, taps - 1 samples; then a chunk of the block
};
