#pragma once

#include "Core/Signal/DoubleComplex.h"

namespace Kernels
{

/// Widens `count` pairs of floats into `block`: its first value becomes the real part. Exact.
/// Thread: any.
/// Shapes: `samples` 2 * `count` values, `block` `count`; they don't overlap and need no alignment.
void widen(const float* samples, int count, DoubleComplex* block);

/// As `widen`, but the pair's second value becomes the real part.
void widenSwapped(const float* samples, int count, DoubleComplex* block);

} // namespace Kernels
