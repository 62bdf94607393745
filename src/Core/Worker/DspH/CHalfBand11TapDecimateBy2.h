#pragma once

#include "Core/Worker/DspH/Dec2.h"

#include <array>

/// Half-band FIR decimator of 11 taps that filters a block in place, without a copy of it.
///
/// The number of outputs it computes follows from the block length of the whole chain and not from `count`.
/// Behind another stage it therefore runs on past its data, inside the work array of `bufLen` samples, and
/// its history may take up values of that overrun.
class CHalfBand11TapDecimateBy2 : public Dec2
{
public:
    /// `bufLen`: the block length of the whole chain, and the length of the array that `decimate` works in.
    /// Inputs beyond it count as zeros. `coefficients`: a table of 11 values, copied.
    CHalfBand11TapDecimateBy2(int bufLen, const double* coefficients);

    /// Gives `count` / 2 outputs; `in` and `out` hold `bufLen` samples. What would lie before a block of less
    /// than 10 samples counts as zeros in the history.
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override;

private:
    static constexpr int kHistory = 10;
    static constexpr int kHead = 9;

    // The output of the 11 samples from `x` on.
    [[nodiscard]] DoubleComplex filter(const DoubleComplex* x) const;

    int m_loopCount;
    int m_headInputs;  // inputs that the head's outputs may read
    int m_headOutputs; // outputs of the head that fit the array
    double m_h0;
    double m_h2;
    double m_h4;
    double m_h5;
    double m_h6;
    double m_h8;
    double m_h10;
    std::array<DoubleComplex, kHistory> m_history{};
};
