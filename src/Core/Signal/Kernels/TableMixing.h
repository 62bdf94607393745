#pragma once

#include "Core/Signal/DoubleComplex.h"
#include "Core/Signal/Kernels/MixerTable.h"

namespace Kernels
{

/// Multiplies `count` samples by successive entries of the table, in place, the first by entry `first`;
/// the last entry is followed by the first. A sample x + jy becomes (xc - ys) + j(sx + yc).
/// Thread: any.
void mix(DoubleComplex* samples, int count, const MixerTable& table, int first);

} // namespace Kernels
