#pragma once

#include "Core/Worker/DspH/Dec2.h"

/// Third-order CIC decimator by 2 (Hogenauer 1981), which comes down to the FIR (1, 3, 3, 1) / 8. Cheap, and
/// good where the band of interest is a small part of the rate.
class CCicN3DecimateBy2 : public Dec2
{
public:
    /// Gives `count` / 2 outputs; the last sample of an odd `count` is dropped and leaves no trace.
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override;

    /// As `decimate`, of the 2 * `outputs` samples whose even and odd positions stand apart; writes one place
    /// before them. `out` is an array of its own.
    void decimateApart(DoubleComplex* even, DoubleComplex* odd, int outputs, DoubleComplex* out);
    /// The same, and the outputs come apart as well. `outputs` is even.
    void decimateApart(DoubleComplex* even, DoubleComplex* odd, int outputs, DoubleComplex* outEven,
                       DoubleComplex* outOdd);

private:
    DoubleComplex m_previousOdd{};
    DoubleComplex m_previousEven{};
};
