#pragma once

#include "Core/Worker/DspH/Dec2.h"
#include "Core/Worker/DspH/PolyphaseBuffer.h"

#include <array>

/// Half-band FIR decimator of 11 taps that filters a block in place.
///
/// The number of outputs it computes follows from the block length of the whole chain and not from `count`.
/// After another stage it therefore runs on past its data, inside the work array of `bufLen` samples, and
/// its history may take up values of that overrun.
/// Thread: that of its `DspH`.
class CHalfBand11TapDecimateBy2 : public Dec2
{
public:
    /// `bufLen`: the block length of the whole chain, and the length of the array that `decimate` works in.
    /// Inputs beyond it count as zeros. `coefficients`: a table of 11 values, copied.
    CHalfBand11TapDecimateBy2(int bufLen, const double* coefficients);

    /// Gives `count` / 2 outputs; `in` and `out` hold `bufLen` samples. What the history lacks after a
    /// block of less than 10 samples counts as zeros.
    int decimate(int count, DoubleComplex* in, DoubleComplex* out) override;

    [[nodiscard]] int overrun() const override { return kHistory; }
    int decimateShort(int count, DoubleComplex* samples, int needed) override;

private:
    static constexpr int kTaps = 11;
    static constexpr int kHistory = kTaps - 1;

    // The outputs from `first` to before `end`.
    void filter(const DoubleComplex* in, DoubleComplex* out, int first, int end);
    void keepHistory(int count, const DoubleComplex* in);

    int m_bufLen;
    int m_outputs; // of a whole block, the overrun included
    std::array<double, kTaps> m_coefficients{};
    std::array<DoubleComplex, kHistory> m_history{};
    PolyphaseBuffer m_buffer;
};
