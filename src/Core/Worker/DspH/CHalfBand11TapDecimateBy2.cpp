#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"

#include "Core/Signal/Kernels/Deinterleave.h"
#include "Core/Signal/Kernels/HalfBandDecimation.h"

#include <algorithm>
#include <cstddef>

namespace
{

// The first outputs, which reach back into the history, and the inputs they reach.
constexpr int kHead = 9;
constexpr int kHeadReach = 17;
constexpr int kChunk = 256; // outputs that are computed at once, to stay in the nearest cache

int outputsOf(int bufLen)
{
    return std::clamp(bufLen, 0, kHead) + std::max((bufLen - kHeadReach) / 2, 0);
}

} // namespace

CHalfBand11TapDecimateBy2::CHalfBand11TapDecimateBy2(int bufLen, const double* coefficients)
    : m_bufLen(bufLen)
    , m_outputs(outputsOf(bufLen))
    , m_buffer(kHistory / 2, kChunk)
{
    std::copy_n(coefficients, kTaps, m_coefficients.begin());
}

int CHalfBand11TapDecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    filter(in, out, 0, m_outputs);
    keepHistory(count, in);
    return count / 2;
}

int CHalfBand11TapDecimateBy2::decimateShort(int count, DoubleComplex* samples, int needed)
{
    const int end = std::min(count, m_outputs);
    const int last = std::max(count - needed, 0);
    // An output of the overrun at place i reads what is at place 2i: that must not be overwritten yet.
    if (last >= count / 2 + kHistory) {
        filter(samples, samples, 0, count / 2);
        filter(samples, samples, last, end);
    } else {
        filter(samples, samples, 0, end);
    }
    keepHistory(count, samples);
    return count / 2;
}

void CHalfBand11TapDecimateBy2::filter(const DoubleComplex* in, DoubleComplex* out, int first, int end)
{
    DoubleComplex* even = m_buffer.even() - kHistory / 2;
    DoubleComplex* odd = m_buffer.odd() - kHistory / 2;
    while (first < end) {
        const int next = std::min(end - first, kChunk);
        const int inputs = 2 * next - 1;
        if (first == 0) {
            for (std::size_t k = 0; k < kHistory / 2; ++k) {
                even[k] = m_history[2 * k];
                odd[k] = m_history[2 * k + 1];
            }
            m_buffer.fill(in, std::clamp(m_bufLen, 0, inputs));
        } else {
            const std::ptrdiff_t start = 2 * first - kHistory;
            Kernels::deinterleave(in + start, inputs + kHistory, even, odd);
        }
        Kernels::halfBand11(even, odd, m_coefficients.data(), next, out + first);
        first += next;
    }
}

void CHalfBand11TapDecimateBy2::keepHistory(int count, const DoubleComplex* in)
{
    const int start = count - kHistory;
    for (int k = 0; k < kHistory; ++k) {
        m_history[static_cast<std::size_t>(k)] = start + k < 0 ? DoubleComplex{} : in[start + k];
    }
}
