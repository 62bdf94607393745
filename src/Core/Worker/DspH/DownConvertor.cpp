#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"

#include <algorithm>

float DownConvertor::setup(int bufLen, float inSampleRate, float preferredBandWidth, float aliasFreeBandWidth,
                           int tier)
{
    m_bufLen = bufLen;
    m_inSampleRate = inSampleRate;
    m_aliasFreeBandWidth = aliasFreeBandWidth;
    for (std::unique_ptr<Dec2>& stage : m_stages) {
        stage.reset();
    }

    float rate = inSampleRate;
    int count = 0;
    if (tier >= 0 && tier < HalfBandTables::kTiers) {
        const double limit = 2.0 * static_cast<double>(preferredBandWidth);
        while (count < kMaxStages && static_cast<double>(rate) >= limit) {
            m_stages[static_cast<std::size_t>(count)] = makeStage(bufLen, rate, tier);
            ++count;
            rate /= 2.0F;
        }
    }
    findMixedStages();
    findOverruns();
    LOG_LIMITED(LOG_DEBUG()) << "Decimator" << count << m_inSampleRate << rate << m_aliasFreeBandWidth;
    return rate;
}

std::unique_ptr<Dec2> DownConvertor::makeStage(int bufLen, float rate, int tier) const
{
    const HalfBandTables::Filter* filter =
        HalfBandTables::choose(tier, static_cast<double>(rate), static_cast<double>(m_aliasFreeBandWidth));
    if (filter == nullptr) {
        LOG_LIMITED(LOG_DEBUG()) << "DownConvertor alias error" << rate << m_aliasFreeBandWidth;
        filter = &HalfBandTables::aliasErrorFilter();
    }
    switch (filter->taps) {
    case 0:
        return std::make_unique<CCicN3DecimateBy2>();
    case 11:
        return std::make_unique<CHalfBand11TapDecimateBy2>(bufLen, filter->coefficients);
    default:
        return std::make_unique<CHalfBandDecimateBy2>(bufLen, filter->taps, filter->coefficients);
    }
}

void DownConvertor::findMixedStages()
{
    m_mixedCics.clear();
    for (std::size_t s = 0; s + 1 < m_stages.size() && m_mixedCics.size() < MixedCics::kMaxStages; ++s) {
        auto* cic = dynamic_cast<CCicN3DecimateBy2*>(m_stages[s].get());
        // The overrun of 11 taps reads the input of the stage before it, which has to stand in the array.
        if (cic == nullptr || dynamic_cast<CHalfBand11TapDecimateBy2*>(m_stages[s + 1].get()) != nullptr) {
            break;
        }
        m_mixedCics.append(cic);
    }
}

// The history of 11 taps comes from the last places before its count, as they stand after its overrun. Behind
// another stage of 11 taps the outputs at these places read the overrun of that one, from twice as far on.
void DownConvertor::findOverruns()
{
    int needed = 0;
    for (std::size_t s = m_stages.size(); s-- > 0;) {
        m_elevenTaps[s] = dynamic_cast<CHalfBand11TapDecimateBy2*>(m_stages[s].get());
        m_overruns[s] = std::max(needed, CHalfBand11TapDecimateBy2::kHistory);
        // One place more on either side: a count may be odd.
        needed = m_elevenTaps[s] == nullptr ? 0 : 2 * m_overruns[s] + CHalfBand11TapDecimateBy2::kHistory + 2;
    }
}

int DownConvertor::process(int count, DoubleComplex* samples)
{
    return processFrom(0, count, samples);
}

int DownConvertor::process(TableOscillator& mixer, int count, DoubleComplex* samples)
{
    if (m_mixedCics.size() == 0 || count != m_bufLen || count % MixedCics::kChunk != 0) {
        mixer.process(samples, count);
        return processFrom(0, count, samples);
    }
    const int left = m_mixedCics.process(mixer, count, samples);
    return processFrom(static_cast<std::size_t>(m_mixedCics.size()), left, samples);
}

// A short block leaves some of the array to the caller, who may bring it again: only of a whole one can be
// told what the overrun will meet.
int DownConvertor::processFrom(std::size_t first, int count, DoubleComplex* samples)
{
    const bool whole = first > 0 || count == m_bufLen;
    for (std::size_t s = first; s < m_stages.size() && m_stages[s]; ++s) {
        count = whole && m_elevenTaps[s] != nullptr
                    ? m_elevenTaps[s]->decimateShort(count, samples, m_overruns[s])
                    : m_stages[s]->decimate(count, samples, samples);
    }
    return count;
}
