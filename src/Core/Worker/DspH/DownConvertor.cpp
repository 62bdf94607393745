#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"

#include <cstddef>

float DownConvertor::setup(int bufLen, float inSampleRate, float preferredBandWidth, float aliasFreeBandWidth,
                           int tier)
{
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

int DownConvertor::process(int count, DoubleComplex* samples)
{
    for (const std::unique_ptr<Dec2>& stage : m_stages) {
        if (!stage) {
            break;
        }
        count = stage->decimate(count, samples, samples);
    }
    return count;
}
