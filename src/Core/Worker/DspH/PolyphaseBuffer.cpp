#include "Core/Worker/DspH/PolyphaseBuffer.h"

#include "Core/Signal/Kernels/Deinterleave.h"

#include <algorithm>

namespace
{

// To whole lines of the cache.
int rounded(int samples)
{
    constexpr int kLine = AlignedSamples::kLine;
    return (samples + kLine - 1) / kLine * kLine;
}

} // namespace

PolyphaseBuffer::PolyphaseBuffer(int history, int samples)
    : m_history(history)
    , m_samples(2 * (rounded(history) + rounded(samples)))
    , m_even(m_samples.data() + rounded(history))
    , m_odd(m_even + rounded(samples) + rounded(history))
{
}

void PolyphaseBuffer::fill(const DoubleComplex* samples, int count)
{
    Kernels::deinterleave(samples, count, m_even, m_odd);
}

void PolyphaseBuffer::keepBefore(int end)
{
    std::copy_n(m_even + end - m_history, m_history, m_even - m_history);
    std::copy_n(m_odd + end - m_history, m_history, m_odd - m_history);
}
