#include "Core/Worker/DspH/DownConvertor.h"
#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <vector>

namespace
{

constexpr int kTier = 1;

// What a receiver of this rate needs of one core: times_real_time is the second of samples over the time they
// take. With the mixers, as the worker runs them, or the decimators alone.
void chain(benchmark::State& state, bool mixers)
{
    const auto rate = static_cast<double>(state.range(0));
    const int block = rate > 3'276'800.0 ? 65'536 : 32'768;
    DownConvertor convertor;
    const float outRate = convertor.setup(block, static_cast<float>(rate), 30'000.0F, 8'000.0F, kTier);
    TableOscillator coarse;
    coarse.setSampleRate(rate);
    coarse.setFrequency(123'456.0);
    RotatingOscillator fine;
    fine.setFrequencyAndRate(coarse.residual(), static_cast<double>(outRate));

    const std::vector<DoubleComplex> input(static_cast<std::size_t>(block), DoubleComplex{0.5, -0.25});
    std::vector<DoubleComplex> work(input.size());
    for (auto _ : state) {
        std::copy(input.begin(), input.end(), work.begin());
        if (mixers) {
            coarse.process(work.data(), block);
        }
        const int count = convertor.process(block, work.data());
        if (mixers) {
            fine.process(work.data(), count);
        }
        benchmark::DoNotOptimize(work.data());
        benchmark::ClobberMemory();
    }
    const auto samples = static_cast<double>(state.iterations()) * block;
    state.counters["times_real_time"] = benchmark::Counter(samples / rate, benchmark::Counter::kIsRate);
}

void decimators(benchmark::State& state)
{
    chain(state, false);
}

void mixersAndDecimators(benchmark::State& state)
{
    chain(state, true);
}

} // namespace

BENCHMARK(decimators)->ArgName("rate")->Arg(2'400'000)->Arg(10'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(mixersAndDecimators)
    ->ArgName("rate")
    ->Arg(2'400'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
