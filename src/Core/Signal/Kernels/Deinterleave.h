#pragma once

#include "Core/Signal/DoubleComplex.h"

namespace Kernels
{

/// Copies the samples of even positions to `even`, (`count` + 1) / 2 of them, the others to `odd`. The arrays
/// don't overlap.
/// Thread: any.
void deinterleave(const DoubleComplex* samples, int count, DoubleComplex* even, DoubleComplex* odd);

} // namespace Kernels
