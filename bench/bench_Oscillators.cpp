#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"

#include <benchmark/benchmark.h>
#include <vector>

namespace
{

constexpr int kBlock = 32'768; // samples
constexpr double kRate = 2'400'000.0;

template <class Oscillator>
void process(benchmark::State& state)
{
    Oscillator oscillator;
    oscillator.setSampleRate(kRate);
    oscillator.setFrequency(123'456.0);
    std::vector<DoubleComplex> samples(kBlock, DoubleComplex{0.5, -0.25});
    int blocks = 0;
    for (auto _ : state) {
        // The rotation takes a little of the magnitude every time: refreshed long before it is denormal.
        if (++blocks % 100 == 0) {
            samples.assign(kBlock, DoubleComplex{0.5, -0.25});
        }
        oscillator.process(samples.data(), kBlock);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

template <class Oscillator>
void retune(benchmark::State& state)
{
    Oscillator oscillator;
    oscillator.setSampleRate(kRate);
    for (auto _ : state) {
        oscillator.setFrequency(123'456.0);
        benchmark::ClobberMemory();
    }
}

} // namespace

BENCHMARK_TEMPLATE(process, TableOscillator);
BENCHMARK_TEMPLATE(process, RotatingOscillator);
BENCHMARK_TEMPLATE(retune, TableOscillator);
BENCHMARK_TEMPLATE(retune, RotatingOscillator);
BENCHMARK_MAIN();
