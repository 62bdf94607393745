#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
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
    m_mixedCics.clear();

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
    findOverruns();
    LOG_LIMITED(LOG_DEBUG()) << "Decimator" << count << m_inSampleRate << rate << m_aliasFreeBandWidth;
    return rate;
}

std::unique_ptr<Dec2> DownConvertor::makeStage(int bufLen, float rate, int tier)
{
    const HalfBandTables::Filter* filter =
        HalfBandTables::choose(tier, static_cast<double>(rate), static_cast<double>(m_aliasFreeBandWidth));
    if (filter == nullptr) {
        LOG_LIMITED(LOG_DEBUG()) << "DownConvertor alias error" << rate << m_aliasFreeBandWidth;
        filter = &HalfBandTables::aliasErrorFilter();
    }
    switch (filter->taps) {
    case 0: {
        auto cic = std::make_unique<CCicN3DecimateBy2>();
        m_mixedCics.append(cic.get());
        return cic;
    }
    case 11:
        return std::make_unique<CHalfBand11TapDecimateBy2>(bufLen, filter->coefficients);
    default:
        return std::make_unique<CHalfBandDecimateBy2>(bufLen, filter->taps, filter->coefficients);
    }
}

// A stage's history comes from the last places before its count, as they are after its overrun. Following
// another stage with one, its outputs at these places read the overrun of that one, from twice as far on.
void DownConvertor::findOverruns()
{
    int needed = 0;
    for (std::size_t s = m_stages.size(); s-- > 0;) {
        const int own = m_stages[s] ? m_stages[s]->overrun() : 0;
        m_overruns[s] = own > 0 ? std::max(needed, own) : 0;
        // One place more on either side: a count may be odd.
        needed = own > 0 ? 2 * m_overruns[s] + own + 2 : 0;
    }
    // An overrun reads the input of the stage before it, which has to be in the array.
    if (m_mixedCics.size() > 0 && m_overruns[static_cast<std::size_t>(m_mixedCics.size())] > 0) {
        m_mixedCics.removeLast();
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

// A short block leaves part of the array to the caller, who may pass it in again: only for a whole block is
// it known what the overrun will meet.
int DownConvertor::processFrom(std::size_t first, int count, DoubleComplex* samples)
{
    const bool whole = first > 0 || count == m_bufLen;
    for (std::size_t s = first; s < m_stages.size() && m_stages[s]; ++s) {
        count = whole ? m_stages[s]->decimateShort(count, samples, m_overruns[s])
                      : m_stages[s]->decimate(count, samples, samples);
    }
    return count;
}
