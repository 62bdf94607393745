#pragma once

#include "Core/Worker/DspH/Dec2.h"
#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"

#include <vector>

/// What the tests of the single stages share.
namespace StageRuns
{

using Samples::Vector;

constexpr double kExact = 0.0;
constexpr double kRounding = 1e-14;

/// A filter of tier 1 with `taps` coefficients, found by a band that just needs it.
inline std::vector<double> filterOf(int taps)
{
    for (double band = 0.41; band > 0.0; band -= 0.001) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(1, 1.0, band);
        if (filter != nullptr && filter->taps == taps) {
            return {filter->coefficients, filter->coefficients + taps};
        }
    }
    return {};
}

/// Blocks of one stream through a stage, each in an array of its own that is exactly as long as the block.
inline Vector runBlocks(Dec2& stage, const Vector& input, const std::vector<int>& lengths, bool inPlace)
{
    Vector result;
    int first = 0;
    for (const int length : lengths) {
        Vector in = Samples::slice(input, first, length);
        Vector out(in.size());
        const int outputs = stage.decimate(length, in.data(), inPlace ? in.data() : out.data());
        const Vector& written = inPlace ? in : out;
        result.insert(result.end(), written.begin(), written.begin() + outputs);
        first += length;
    }
    return result;
}

} // namespace StageRuns
