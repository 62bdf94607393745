#include "Core/Worker/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"

#include <benchmark/benchmark.h>
#include <vector>

namespace
{

constexpr int kCapacity = 262'144; // the ring that a receiver fills, in samples

void write(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    RingBuffer<DoubleComplex> ring(kCapacity);
    const std::vector<DoubleComplex> samples(static_cast<std::size_t>(count), DoubleComplex{0.5, -0.25});
    for (auto _ : state) {
        const QMutexLocker lock(&ring.mutex);
        ring.write(samples.data(), count);
        ring.dataReady.wakeAll();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void writeAndRead(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    RingBuffer<DoubleComplex> ring(kCapacity);
    std::vector<DoubleComplex> samples(static_cast<std::size_t>(count), DoubleComplex{0.5, -0.25});
    int readIndex = 0;
    for (auto _ : state) {
        {
            const QMutexLocker lock(&ring.mutex);
            ring.write(samples.data(), count);
            ring.dataReady.wakeAll();
        }
        const QMutexLocker lock(&ring.mutex);
        ring.read(readIndex, samples.data(), count);
        readIndex = ring.advance(readIndex, count);
        ring.spaceFreed.wakeAll();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

} // namespace

// From the blocks of the file player to those of the fastest receivers.
BENCHMARK(write)->ArgName("samples")->Arg(1'200)->Arg(32'768)->Arg(65'536);
BENCHMARK(writeAndRead)->ArgName("samples")->Arg(1'200)->Arg(32'768)->Arg(65'536);
BENCHMARK_MAIN();
