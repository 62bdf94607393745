#pragma once

#include "Core/Signal/DoubleComplex.h"

/// Full scale of a byte, 128, becomes 1/80.
constexpr double kRtlUsbScale = 1.0 / 10'240.0;

/// Turns `count` samples of two bytes into `out`. The bytes are read as two's complement, with the middle of
/// the dongle's offset binary left in, and the second one is re unless `swapIQ` says otherwise.
/// Thread: any.
void convertRtlUsb(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out);

/// As `convertRtlUsb`, but 128 is taken from each byte first.
void convertRtlUsbOffset(const unsigned char* bytes, int count, bool swapIQ, DoubleComplex* out);
