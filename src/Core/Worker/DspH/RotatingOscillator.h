#pragma once

#include "Core/Signal/DoubleComplex.h"

/// Mixer of any frequency without a table: a phasor turned by one complex product a sample, its amplitude
/// held by a first-order correction. Every change of frequency restarts the phase.
/// Thread: that of its owner; no locks.
/// Units: hertz.
class RotatingOscillator
{
public:
    /// Stores the rate and tunes to 0.
    void setSampleRate(double rate);
    /// May be negative. A frequency without a finite phase step at the rate, such as any at a rate of 0,
    /// leaves the samples as they are.
    void setFrequency(double frequency);
    void setFrequencyAndRate(double frequency, double rate);

    [[nodiscard]] double frequency() const { return m_frequency; }
    [[nodiscard]] double sampleRate() const { return m_sampleRate; }

    /// Shifts the spectrum of `samples` up by the frequency, in place.
    void process(DoubleComplex* samples, int count);

private:
    double m_frequency = 0.0;
    double m_sampleRate = 1.0;
    double m_stepCos = 1.0;
    double m_stepSin = 0.0;
    DoubleComplex m_phasor{1.0, 0.0};
};
