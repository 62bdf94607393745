#pragma once

#include "Core/Worker/DspH/Dec2.h"
#include "Core/Worker/DspH/MixedCics.h"

#include <array>
#include <cstddef>
#include <memory>

/// A chain of stages, each of which halves the sample rate: short filters at high rates, long ones near the
/// end. Without a `setup` it passes samples through.
/// Thread: that of its `DspH`; no locks.
/// Units: hertz.
class DownConvertor
{
public:
    /// `inSampleRate` / `preferredBandWidth` has to be below 8,192: a chain that needs more stages is cut off
    /// here.
    static constexpr int kMaxStages = 12;

    /// Discards the stages with all their history and builds new ones, until the rate is below twice
    /// `preferredBandWidth`; returns that rate. `bufLen`: the longest block that `process` will see.
    /// `aliasFreeBandWidth`: the band that no alias may reach. `tier`: the filter quality, 0 to 2; any other
    /// makes no stage.
    float setup(int bufLen, float inSampleRate, float preferredBandWidth, float aliasFreeBandWidth, int tier);

    /// Filters `count` samples in place and returns the number left. `samples` has room for `bufLen`. What
    /// the array holds after the number left is of no use.
    int process(int count, DoubleComplex* samples);

    /// As `mixer`'s `process` and then this one's, to the same bits, in less time.
    int process(TableOscillator& mixer, int count, DoubleComplex* samples);

private:
    [[nodiscard]] std::unique_ptr<Dec2> makeStage(int bufLen, float rate, int tier);
    void findOverruns();
    int processFrom(std::size_t first, int count, DoubleComplex* samples);

    int m_bufLen = 0;
    float m_inSampleRate = 0.0F;
    float m_aliasFreeBandWidth = 0.0F;
    std::array<std::unique_ptr<Dec2>, kMaxStages> m_stages; // in use up to the first null
    // How many places at the end of each stage's overrun that stage and later ones take up.
    std::array<int, kMaxStages> m_overruns{};
    MixedCics m_mixedCics;
};
