#pragma once

#include "Core/Signal/DoubleComplex.h"

namespace Kernels
{

/// Multiplies sample k of `block` by `window[k]`, and by -1 where k is odd, which moves 0 Hz to the middle of
/// the block's transform.
/// Thread: any.
/// Shapes: `count` of both.
void alternateAndWindow(const float* window, int count, DoubleComplex* block);

} // namespace Kernels
