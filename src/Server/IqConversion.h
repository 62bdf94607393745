#pragma once

#include <cstdint>

struct DoubleComplex;

/// Complex samples of full scale 1.0 as interleaved 16-bit integers, real part first: each value times 32768,
/// truncated toward zero, its low 16 bits kept. Nothing is clipped: from magnitude 1.0 on it wraps. What no
/// 64-bit integer can hold (not a number, infinite, 2^63 and beyond) becomes 0.
/// `values` takes 2 * `count` numbers. Any thread.
void convertIq(const DoubleComplex* samples, int count, std::int16_t* values);
