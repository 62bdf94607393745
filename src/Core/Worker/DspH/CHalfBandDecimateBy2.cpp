#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"

#include "Core/Signal/Kernels/HalfBandDecimation.h"

#include <algorithm>
#include <limits>
#include <new>

namespace
{

constexpr int kChunk = 512; // samples that are filtered at once, to stay in the nearest cache

int historyLength(int bufLen, int taps)
{
    if (bufLen < 0 || bufLen > std::numeric_limits<int>::max() / 2) {
        throw std::bad_array_new_length();
    }
    return (taps - 1) / 2;
}

} // namespace

CHalfBandDecimateBy2::CHalfBandDecimateBy2(int bufLen, int taps, const double* coefficients)
    : m_taps(taps)
    , m_coefficients(coefficients)
    // A block may be longer than the chain's own: there is always room for a whole chunk.
    , m_buffer(historyLength(bufLen, taps), kChunk / 2)
{
}

int CHalfBandDecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    const int history = (m_taps - 1) / 2;
    int outputs = 0;
    for (int done = 0; done < count; done += kChunk) {
        const int length = std::min(count - done, kChunk);
        const int next = (length + 1) / 2;
        m_buffer.fill(in + done, length);
        Kernels::halfBand(m_buffer.even() - history, m_buffer.odd() - history, m_coefficients, m_taps, next,
                          out + outputs);
        m_buffer.keepBefore(length / 2);
        outputs += next;
    }

    // From the array: in place the outputs may be there already.
    const int historyStart = count - m_taps + 1;
    for (int k = 0; k < history; ++k) {
        const int from = historyStart + 2 * k;
        m_buffer.even()[k - history] = from < 0 ? DoubleComplex{} : in[from];
        m_buffer.odd()[k - history] = from + 1 < 0 ? DoubleComplex{} : in[from + 1];
    }
    return outputs;
}
