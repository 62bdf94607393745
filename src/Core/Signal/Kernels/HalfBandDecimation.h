#pragma once

#include "Core/Signal/DoubleComplex.h"

namespace Kernels
{

/// Every second output of a half-band filter `h` of `taps` coefficients, 4k + 3 of them, over samples x whose
/// even and odd positions are in two arrays: output i is h[0] x[2i] + h[2] x[2i + 2] + ... in ascending
/// order, and last the centre, h[c] x[2i + c] with c = (`taps` - 1) / 2, for i from 0 to `outputs` - 1. The
/// vectors lie across the outputs, so no sum changes its order.
/// Thread: any.
/// Shapes: `even` `outputs` + c samples, `odd` `outputs` + c / 2, `out` `outputs`. They don't overlap.
void halfBand(const DoubleComplex* even, const DoubleComplex* odd, const double* h, int taps, int outputs,
              DoubleComplex* out);

/// As `halfBand` of 11 taps, but the centre is added in the middle of the sum, between h[4] and h[6].
void halfBand11(const DoubleComplex* even, const DoubleComplex* odd, const double* h, int outputs,
                DoubleComplex* out);

} // namespace Kernels
