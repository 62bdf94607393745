#pragma once

#include "Core/Worker/DoubleComplex.h"

/// The two halves of the transform, over `points` samples, a power of two of at least 2, with the tables that
/// FftTables built for `nw` = `points` / 2.
namespace FftKernels
{

/// The forward transform, in place; its output stands in bit-reversed order.
void splitRadix(DoubleComplex* data, int points, const double* w);

/// Swaps every sample with the one at the reversed index, which restores the natural order.
void reverseBits(DoubleComplex* data, int points, const int* ip);

} // namespace FftKernels
