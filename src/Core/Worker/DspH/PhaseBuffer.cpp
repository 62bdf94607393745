#include "Core/Worker/DspH/PhaseBuffer.h"

#include "Core/Worker/Kernels/Phases.h"

#include <algorithm>
#include <cstddef>

namespace
{

constexpr int kLine = 4; // samples

int lines(int samples)
{
    return (samples + kLine - 1) / kLine;
}

} // namespace

PhaseBuffer::PhaseBuffer(int history, int samples)
    : m_history(history)
    , m_lines(std::make_unique<Line[]>(2 * static_cast<std::size_t>(lines(history) + lines(samples))))
    , m_even(m_lines[static_cast<std::size_t>(lines(history))].samples)
    , m_odd(m_lines[static_cast<std::size_t>(2 * lines(history) + lines(samples))].samples)
{
}

void PhaseBuffer::fill(const DoubleComplex* samples, int count)
{
    Kernels::takeApart(samples, count, m_even, m_odd);
}

void PhaseBuffer::keepBefore(int end)
{
    std::copy_n(m_even + end - m_history, m_history, m_even - m_history);
    std::copy_n(m_odd + end - m_history, m_history, m_odd - m_history);
}
