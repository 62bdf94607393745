#include "Core/Worker/DspH/TableOscillator.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Signal/Kernels/TableMixing.h"

#include <cmath>

namespace
{

constexpr int kDefaultLength = 512;
constexpr int kLongLength = 1'024;
constexpr double kTwoPi = 6.283185307179586;

} // namespace

TableOscillator::TableOscillator()
    : TableOscillator(kDefaultLength, 1.0, 1.0 / kDefaultLength)
{
}

TableOscillator::TableOscillator(double sampleRate)
    : TableOscillator(kLongLength, sampleRate, sampleRate * 0.0009765625) // 1 / 1,024
{
}

TableOscillator::TableOscillator(int tableLength, double sampleRate, double stepSize)
    : m_sampleRate(sampleRate)
    , m_stepSize(stepSize)
    , m_table(tableLength)
{
}

void TableOscillator::setSampleRate(double rate)
{
    m_sampleRate = rate;
    m_stepSize = rate / m_table.length();
    setFrequency(0.0);
}

bool TableOscillator::reaches(double frequency) const
{
    const double k = frequency / m_stepSize + 0.5;
    return k > -2'147'483'649.0 && k < 2'147'483'648.0;
}

void TableOscillator::setFrequency(double frequency)
{
    if (!reaches(frequency)) {
        LOG_LIMITED(LOG_WARNING()) << "Frequency out of reach:" << frequency << "at" << m_sampleRate;
        return;
    }
    const int k = static_cast<int>(frequency / m_stepSize + 0.5); // NOLINT(bugprone-incorrect-roundings)
    m_frequency = k * m_stepSize;
    m_residual = frequency - m_frequency;
    const double phaseStep = m_frequency * kTwoPi / m_sampleRate;
    double phase = 0.0;
    for (int i = 0; i < m_table.length(); ++i) {
        m_table.set(i, {std::cos(phase), std::sin(phase)});
        phase += phaseStep;
    }
}

int TableOscillator::advance(int count)
{
    const int first = m_index + 1 < m_table.length() ? m_index + 1 : 0;
    m_index = (m_index + count) % m_table.length();
    return first;
}

void TableOscillator::process(DoubleComplex* samples, int count)
{
    Kernels::mix(samples, count, m_table, advance(count));
}
