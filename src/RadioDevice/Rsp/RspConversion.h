#pragma once

#include "Core/Signal/DoubleComplex.h"

/// Turns `count` samples of an RSP, I and Q apart, into those of `block`: re = Q and im = I, full scale
/// (32,768) at 0.32.
/// Thread: any.
void convertRsp(const short* xi, const short* xq, int count, DoubleComplex* block);
