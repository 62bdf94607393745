#pragma once

#include "Core/Worker/DoubleComplex.h"
#include "Core/Worker/DspH/HalfBandTables.h"

#include <algorithm>
#include <vector>

/// The stages as plain loops, in the prescribed order of their sums: what the kernels are measured against.
namespace PlainStages
{

/// The CIC stage, in place.
class Cic
{
public:
    void decimate(std::vector<DoubleComplex>& block)
    {
        for (std::size_t i = 0; i < block.size() / 2; ++i) {
            const DoubleComplex even = block[2 * i];
            const DoubleComplex odd = block[2 * i + 1];
            block[i] = {((m_odd.re + even.re) * 3.0 + m_even.re + odd.re) * 0.125,
                        ((m_odd.im + even.im) * 3.0 + m_even.im + odd.im) * 0.125};
            m_odd = odd;
            m_even = even;
        }
    }

private:
    DoubleComplex m_odd{};
    DoubleComplex m_even{};
};

/// A half-band stage of any length, in place: the block goes behind its history first.
class HalfBand
{
public:
    HalfBand(std::size_t block, const HalfBandTables::Filter& filter)
        : m_buffer(block + static_cast<std::size_t>(filter.taps) - 1)
        , m_taps(static_cast<std::size_t>(filter.taps))
        , m_coefficients(filter.coefficients)
    {
    }

    void decimate(std::vector<DoubleComplex>& block)
    {
        std::copy(block.begin(), block.end(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_taps) - 1);
        const std::size_t center = (m_taps - 1) / 2;
        const DoubleComplex* b = m_buffer.data();
        for (std::size_t i = 0; i < block.size() / 2; ++i, b += 2) {
            double re = m_coefficients[0] * b[0].re;
            double im = m_coefficients[0] * b[0].im;
            for (std::size_t k = 2; k < m_taps; k += 2) {
                re += m_coefficients[k] * b[k].re;
                im += m_coefficients[k] * b[k].im;
            }
            block[i] = {re + m_coefficients[center] * b[center].re,
                        im + m_coefficients[center] * b[center].im};
        }
        std::copy(m_buffer.end() - static_cast<std::ptrdiff_t>(m_taps) + 1, m_buffer.end(), m_buffer.begin());
    }

private:
    std::vector<DoubleComplex> m_buffer;
    std::size_t m_taps;
    const double* m_coefficients;
};

} // namespace PlainStages
