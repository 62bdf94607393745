#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"

#include <algorithm>
#include <cstddef>

namespace
{

// Inputs that the head reaches: its last output ends at the history and this many samples of the block.
constexpr int kHeadReach = 17;
// The first output behind the head starts here in the block.
constexpr int kLoopStart = 8;

} // namespace

CHalfBand11TapDecimateBy2::CHalfBand11TapDecimateBy2(int bufLen, const double* coefficients)
    : m_loopCount((bufLen - kHeadReach) / 2)
    , m_headInputs(std::clamp(bufLen, 0, kHeadReach))
    , m_headOutputs(std::clamp(bufLen, 0, kHead))
    , m_h0(coefficients[0])
    , m_h2(coefficients[2])
    , m_h4(coefficients[4])
    , m_h5(coefficients[5])
    , m_h6(coefficients[6])
    , m_h8(coefficients[8])
    , m_h10(coefficients[10])
{
}

DoubleComplex CHalfBand11TapDecimateBy2::filter(const DoubleComplex* x) const
{
    return {m_h0 * x[0].re + m_h2 * x[2].re + m_h4 * x[4].re + m_h5 * x[5].re + m_h6 * x[6].re +
                m_h8 * x[8].re + m_h10 * x[10].re,
            m_h0 * x[0].im + m_h2 * x[2].im + m_h4 * x[4].im + m_h5 * x[5].im + m_h6 * x[6].im +
                m_h8 * x[8].im + m_h10 * x[10].im};
}

int CHalfBand11TapDecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    std::array<DoubleComplex, kHistory + kHeadReach> x{};
    std::copy(m_history.begin(), m_history.end(), x.begin());
    std::copy_n(in, m_headInputs, x.begin() + kHistory);
    std::array<DoubleComplex, kHead> head{};
    for (std::size_t i = 0; i < head.size(); ++i) {
        head[i] = filter(x.data() + 2 * i);
    }
    for (std::ptrdiff_t i = 0; i < m_loopCount; ++i) {
        out[kHead + i] = filter(in + kLoopStart + 2 * i);
    }
    std::copy_n(head.begin(), m_headOutputs, out);

    const int historyStart = count - kHistory;
    for (int k = 0; k < kHistory; ++k) {
        m_history[static_cast<std::size_t>(k)] =
            historyStart + k < 0 ? DoubleComplex{} : in[historyStart + k];
    }
    return count / 2;
}
