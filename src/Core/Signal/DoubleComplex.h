#pragma once

/// One complex sample; full scale 1.0.
/// Thread: any, one at a time.
struct DoubleComplex
{
    double re = 0.0;
    double im = 0.0;
};
