#include "Core/Worker/DspH/TableOscillator.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"

#include <cmath>

namespace
{

constexpr int kDefaultLength = 512;
constexpr int kLongLength = 1'024;
constexpr double kTwoPi = 6.283185307179586;
constexpr DoubleComplex kOne{1.0, 0.0};

} // namespace

TableOscillator::TableOscillator()
    : m_tableLength(kDefaultLength)
    , m_sampleRate(1.0)
    , m_stepSize(1.0 / kDefaultLength)
    , m_table(kDefaultLength, kOne)
{
}

TableOscillator::TableOscillator(double sampleRate)
    : m_tableLength(kLongLength)
    , m_sampleRate(sampleRate)
    , m_stepSize(sampleRate * 0.0009765625) // 1 / 1,024
    , m_table(kLongLength, kOne)
{
}

void TableOscillator::setSampleRate(double rate)
{
    m_sampleRate = rate;
    m_stepSize = rate / m_tableLength;
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
    for (DoubleComplex& entry : m_table) {
        entry = {std::cos(phase), std::sin(phase)};
        phase += phaseStep;
    }
}

void TableOscillator::process(DoubleComplex* samples, int count)
{
    for (int i = 0; i < count; ++i) {
        m_index = m_index >= m_tableLength - 1 ? 0 : m_index + 1;
        const DoubleComplex factor = m_table[static_cast<std::size_t>(m_index)];
        const DoubleComplex sample = samples[i];
        samples[i].re = sample.re * factor.re - sample.im * factor.im;
        samples[i].im = factor.im * sample.re + sample.im * factor.re;
    }
}
