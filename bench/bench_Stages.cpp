#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace
{

constexpr int kBlock = 65'536; // samples

// A stage of tier 1; 0 taps: the CIC stage.
std::unique_ptr<Dec2> makeStage(int taps)
{
    if (taps == 0) {
        return std::make_unique<CCicN3DecimateBy2>();
    }
    for (double band = 0.41; band > 0.0; band -= 0.001) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(1, 1.0, band);
        if (filter != nullptr && filter->taps == taps) {
            if (taps == 11) {
                return std::make_unique<CHalfBand11TapDecimateBy2>(kBlock, filter->coefficients);
            }
            return std::make_unique<CHalfBandDecimateBy2>(kBlock, taps, filter->coefficients);
        }
    }
    return nullptr;
}

void decimate(benchmark::State& state)
{
    const std::unique_ptr<Dec2> stage = makeStage(static_cast<int>(state.range(0)));
    // Out of place: the filters would let a block that is filtered again and again die away to denormals.
    std::vector<DoubleComplex> in(kBlock, DoubleComplex{0.5, -0.25});
    std::vector<DoubleComplex> out(kBlock);
    for (auto _ : state) {
        benchmark::DoNotOptimize(stage->decimate(kBlock, in.data(), out.data()));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

} // namespace

BENCHMARK(decimate)->ArgName("taps")->Arg(0)->DenseRange(7, 55, 4);
BENCHMARK_MAIN();
