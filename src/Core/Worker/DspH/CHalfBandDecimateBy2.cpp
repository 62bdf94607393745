#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

namespace
{

// Room for two blocks; for a block and the history before it where the filter is the longer of the two.
std::size_t bufferSize(int bufLen, int taps)
{
    if (bufLen < 0 || bufLen > std::numeric_limits<int>::max() / 2) {
        throw std::bad_array_new_length();
    }
    const auto block = static_cast<std::size_t>(bufLen);
    return std::max(2 * block, block + static_cast<std::size_t>(taps));
}

} // namespace

CHalfBandDecimateBy2::CHalfBandDecimateBy2(int bufLen, int taps, const double* coefficients)
    : m_buffer(std::make_unique<DoubleComplex[]>(bufferSize(bufLen, taps)))
    , m_taps(taps)
    , m_center((taps - 1) / 2)
    , m_coefficients(coefficients)
{
}

int CHalfBandDecimateBy2::decimate(int count, DoubleComplex* in, DoubleComplex* out)
{
    const int outputs = count > 0 ? (count - 1) / 2 + 1 : 0;
    std::copy_n(in, count, m_buffer.get() + m_taps - 1);
    const DoubleComplex* b = m_buffer.get();
    for (int i = 0; i < outputs; ++i, b += 2) {
        double re = m_coefficients[0] * b[0].re;
        double im = m_coefficients[0] * b[0].im;
        for (int k = 2; k < m_taps; k += 2) {
            re += m_coefficients[k] * b[k].re;
            im += m_coefficients[k] * b[k].im;
        }
        out[i].re = re + m_coefficients[m_center] * b[m_center].re;
        out[i].im = im + m_coefficients[m_center] * b[m_center].im;
    }

    const int historyStart = count - m_taps + 1;
    for (int k = 0; k < m_taps - 1; ++k) {
        m_buffer[static_cast<std::size_t>(k)] = historyStart + k < 0 ? DoubleComplex{} : in[historyStart + k];
    }
    return outputs;
}
