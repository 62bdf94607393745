#include "Core/Worker/DoubleComplex.h"
#include "Network/Socket/SampleBlock.h"
#include "Server/IqConversion.h"

#include <QVector>
#include <benchmark/benchmark.h>
#include <cmath>
#include <random>

namespace
{

constexpr int kBlock = 128; // samples a datagram

// A carrier in noise, as a receiver gives: what compresses neither well nor not at all.
QVector<DoubleComplex> carrier()
{
    std::mt19937_64 generator(1);
    std::normal_distribution<double> noise(0.0, 0.002);
    QVector<DoubleComplex> samples(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        samples[i] = {0.05 * std::sin(0.3 * i) + noise(generator),
                      0.05 * std::cos(0.3 * i) + noise(generator)};
    }
    return samples;
}

void bench_Conversion(benchmark::State& state)
{
    const QVector<DoubleComplex> samples = carrier();
    QVector<qint16> values(2 * kBlock);
    for ([[maybe_unused]] const auto turn : state) {
        convertIq(samples.constData(), kBlock, values.data());
        benchmark::DoNotOptimize(values.constData());
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

void bench_ConversionPlain(benchmark::State& state)
{
    const QVector<DoubleComplex> samples = carrier();
    QVector<qint16> values(2 * kBlock);
    for ([[maybe_unused]] const auto turn : state) {
        convertIq(samples.constData(), kBlock, values.data());
        benchmark::DoNotOptimize(SampleBlock::encode(values));
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

void bench_ConversionCompressed(benchmark::State& state)
{
    const QVector<DoubleComplex> samples = carrier();
    QVector<qint16> values(2 * kBlock);
    for ([[maybe_unused]] const auto turn : state) {
        convertIq(samples.constData(), kBlock, values.data());
        benchmark::DoNotOptimize(SampleBlock::compress(SampleBlock::encode(values)));
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

} // namespace

BENCHMARK(bench_Conversion);
BENCHMARK(bench_ConversionPlain);
BENCHMARK(bench_ConversionCompressed);

BENCHMARK_MAIN();
