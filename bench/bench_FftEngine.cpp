#include "Core/Worker/DoubleComplex.h"
#include "Core/Worker/DspH/FftEngine.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <vector>

namespace
{

// Unscaled transforms would grow without end: each one starts from the same samples.
const std::vector<DoubleComplex>& samples(int length)
{
    static std::vector<DoubleComplex> all;
    for (int i = static_cast<int>(all.size()); i < length; ++i) {
        all.push_back({(i * 37 % 101 - 50) / 50.0, (i * 53 % 97 - 48) / 48.0});
    }
    return all;
}

void bench_FftEngine(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    const std::vector<DoubleComplex>& in = samples(length);
    std::vector<DoubleComplex> data(static_cast<std::size_t>(length));
    FftEngine engine(length);
    for ([[maybe_unused]] const auto turn : state) {
        std::copy_n(in.cbegin(), length, data.begin());
        engine.transform(data.data(), 1);
        benchmark::DoNotOptimize(data.data());
    }
    state.SetItemsProcessed(state.iterations() * length);
}

void bench_Fftw(benchmark::State& state)
{
    const auto length = static_cast<int>(state.range(0));
    const std::vector<DoubleComplex>& in = samples(length);
    std::vector<DoubleComplex> data(static_cast<std::size_t>(length));
    auto* const values = reinterpret_cast<fftw_complex*>(data.data());
    const fftw_plan plan = fftw_plan_dft_1d(length, values, values, FFTW_BACKWARD, FFTW_MEASURE);
    for ([[maybe_unused]] const auto turn : state) {
        std::copy_n(in.cbegin(), length, data.begin());
        fftw_execute(plan);
        benchmark::DoNotOptimize(data.data());
    }
    fftw_destroy_plan(plan);
    state.SetItemsProcessed(state.iterations() * length);
}

} // namespace

BENCHMARK(bench_FftEngine)->RangeMultiplier(2)->Range(512, 32768);
BENCHMARK(bench_Fftw)->RangeMultiplier(2)->Range(512, 32768);

BENCHMARK_MAIN();
