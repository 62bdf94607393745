#pragma once

#include "Core/Signal/DoubleComplex.h"
#include "Core/Signal/Kernels/MixerTable.h"

/// Mixer at the full rate: shifts by the nearest multiple of `sampleRate` / `tableLength`, out of a table
/// that holds a whole number of cycles, and leaves the rest of the wanted frequency as a residual.
/// Thread: that of its `DspH`; no locks.
/// Units: hertz.
class TableOscillator
{
public:
    /// 512 entries at a rate of 1.0, tuned to 0.
    TableOscillator();
    /// 1,024 entries.
    explicit TableOscillator(double sampleRate);

    /// Also retunes to 0. `rate` is above 0.
    void setSampleRate(double rate);

    /// True if `frequency` is finite and its multiple of the step fits 32 bits.
    [[nodiscard]] bool reaches(double frequency) const;
    /// Refills the table; a frequency out of reach is refused with a warning and changes nothing. The
    /// position in the table stays.
    void setFrequency(double frequency);

    /// The frequency that `process` shifts by, and what it leaves of the one asked for.
    [[nodiscard]] double coarseFrequency() const { return m_frequency; }
    [[nodiscard]] double residual() const { return m_residual; }

    /// Shifts the spectrum of `samples` up by the coarse frequency, in place.
    void process(DoubleComplex* samples, int count);

    /// For a kernel that mixes on its own: the table, and the entry of the next sample, after which `count`
    /// samples count as processed.
    [[nodiscard]] const Kernels::MixerTable& table() const { return m_table; }
    int advance(int count);

private:
    TableOscillator(int tableLength, double sampleRate, double stepSize);
    int m_index = 0; // of the last entry used
    double m_sampleRate;
    double m_stepSize; // hertz
    double m_frequency = 0.0;
    double m_residual = 0.0;
    Kernels::MixerTable m_table;
};
