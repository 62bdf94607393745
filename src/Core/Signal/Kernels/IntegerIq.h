#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <cstdint>

namespace Kernels
{

/// Turns `count` pairs of whole numbers into `block`: each number times `scale`, the pair's first one becomes
/// the real part.
/// Bytes without a sign are offset binary: 128 of them is zero.
/// Thread: any.
/// Shapes: `samples` 2 * `count` values, `block` `count`; they don't overlap and need no alignment.
void scalePairs(const std::int8_t* samples, int count, double scale, DoubleComplex* block);
void scalePairs(const std::uint8_t* samples, int count, double scale, DoubleComplex* block);
void scalePairs(const std::int16_t* samples, int count, double scale, DoubleComplex* block);

/// As `scalePairs`, but the pair's second number becomes the real part.
void scaleSwappedPairs(const std::int8_t* samples, int count, double scale, DoubleComplex* block);
void scaleSwappedPairs(const std::uint8_t* samples, int count, double scale, DoubleComplex* block);

/// As `scalePairs`, from separate arrays of real and imaginary parts, `count` of each.
void scaleParts(const std::int16_t* re, const std::int16_t* im, int count, double scale,
                DoubleComplex* block);

} // namespace Kernels
