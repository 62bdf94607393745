#include "Core/Worker/DspH/RotatingOscillator.h"

#include <cmath>

namespace
{

constexpr double kTwoPi = 6.283185307179586;

} // namespace

void RotatingOscillator::setSampleRate(double rate)
{
    setFrequencyAndRate(0.0, rate);
}

void RotatingOscillator::setFrequency(double frequency)
{
    setFrequencyAndRate(frequency, m_sampleRate);
}

void RotatingOscillator::setFrequencyAndRate(double frequency, double rate)
{
    m_frequency = frequency;
    m_sampleRate = rate;
    m_phasor = {1.0, 0.0};
    const double phaseStep = frequency * kTwoPi / rate;
    m_stepCos = std::isfinite(phaseStep) ? std::cos(phaseStep) : 1.0;
    m_stepSin = std::isfinite(phaseStep) ? std::sin(phaseStep) : 0.0;
}

void RotatingOscillator::process(DoubleComplex* samples, int count)
{
    // Kept here meanwhile: each turn waits for the one before, and mustn't wait for the memory as well.
    DoubleComplex phasor = m_phasor;
    const double stepCos = m_stepCos;
    const double stepSin = m_stepSin;
    for (int i = 0; i < count; ++i) {
        const double a = phasor.re * stepCos - phasor.im * stepSin;
        const double b = stepCos * phasor.im + stepSin * phasor.re;
        // 1.95 and not 2: the magnitude settles where its square is 0.95.
        const double gain = 1.95 - (phasor.re * phasor.re + phasor.im * phasor.im);
        phasor = {a * gain, b * gain};
        const DoubleComplex sample = samples[i];
        samples[i] = {a * sample.re - b * sample.im, b * sample.re + a * sample.im};
    }
    m_phasor = phasor;
}
