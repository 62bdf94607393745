#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <cstdint>

namespace Kernels
{

constexpr int kPointsPerDecibel = -4;
/// The point of a bin that holds no number, or one without a limit: -200 dB.
constexpr std::int16_t kNoLevel = 800;

/// The levels of bins, as -4 times their power in dB: with p = re * re + im * im and x = p * `scale` + 1e-22
/// in single precision, log2(x) (by a polynomial of the mantissa) times 0.30103 times -40, truncated.
/// `scale` is above 0.
/// Thread: any.
/// Shapes: `count` of both.
void levels(const DoubleComplex* bins, int count, double scale, std::int16_t* points);

} // namespace Kernels
