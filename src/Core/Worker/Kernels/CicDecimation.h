#pragma once

#include "Core/Worker/DoubleComplex.h"

namespace Kernels
{

/// The third-order CIC filter by 2 of samples whose even and odd positions stand apart: output i is
/// ((odd[i - 1] + even[i]) * 3 + even[i - 1] + odd[i]) / 8, added in this order, for i from 0 to `outputs`
/// - 1. Shapes: `even` and `odd` `outputs` samples, and the one before them; `out` `outputs`. They don't
/// overlap.
void cic(const DoubleComplex* even, const DoubleComplex* odd, int outputs, DoubleComplex* out);

/// As `cic`, but the even and odd outputs come apart as well. `outputs` is even.
void cicApart(const DoubleComplex* even, const DoubleComplex* odd, int outputs, DoubleComplex* outEven,
              DoubleComplex* outOdd);

} // namespace Kernels
