#include "Core/Worker/RingBuffer.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"
#include "RadioDevice/Rsp/RspConversion.h"
#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include <QMutexLocker>
#include <benchmark/benchmark.h>
#include <random>
#include <vector>

// What a receiver's delivery thread does with each of its library's buffers: the conversion into the block
// and the copy into the ring. `times_real_time` is how many receivers of the family, each at its highest
// rate, one core could serve so.

namespace
{

constexpr int kRingCapacity = 262'144; // samples

void report(benchmark::State& state, int samples, double rate)
{
    const auto total = static_cast<double>(state.iterations()) * samples;
    state.SetItemsProcessed(state.iterations() * samples);
    state.counters["times_real_time"] = benchmark::Counter(total / rate, benchmark::Counter::kIsRate);
}

void write(RingBuffer<DoubleComplex>& ring, const std::vector<DoubleComplex>& block)
{
    const QMutexLocker lock(&ring.mutex);
    ring.write(block.data(), static_cast<int>(block.size()));
}

void bench_RtlUsb(benchmark::State& state)
{
    constexpr int kBlock = 32'768;
    constexpr double kRate = 3'200'000.0;
    std::mt19937 generator(1);
    std::vector<unsigned char> bytes(2 * kBlock);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(generator());
    }
    std::vector<DoubleComplex> block(kBlock);
    RingBuffer<DoubleComplex> ring(kRingCapacity);
    for ([[maybe_unused]] const auto turn : state) {
        convertRtlUsb(bytes.data(), kBlock, false, block.data());
        write(ring, block);
        benchmark::ClobberMemory();
    }
    report(state, kBlock, kRate);
}

void bench_AirSpy(benchmark::State& state)
{
    constexpr int kBlock = 65'536;
    constexpr double kRate = 10'000'000.0;
    std::mt19937 generator(1);
    std::uniform_real_distribution<float> level(-1.0F, 1.0F);
    std::vector<float> floats(2 * kBlock);
    for (float& value : floats) {
        value = level(generator);
    }
    std::vector<DoubleComplex> block(kBlock);
    RingBuffer<DoubleComplex> ring(kRingCapacity);
    for ([[maybe_unused]] const auto turn : state) {
        AirSpyConversion::convert(floats.data(), kBlock, AirSpyConversion::Order::QThenI, block.data());
        write(ring, block);
        benchmark::ClobberMemory();
    }
    report(state, kBlock, kRate);
}

void bench_Rsp(benchmark::State& state)
{
    constexpr int kBlock = 1'344;
    constexpr double kRate = 2'048'000.0;
    std::mt19937 generator(1);
    std::vector<short> xi(kBlock);
    std::vector<short> xq(kBlock);
    for (std::size_t n = 0; n < kBlock; ++n) {
        xi[n] = static_cast<short>(generator());
        xq[n] = static_cast<short>(generator());
    }
    std::vector<DoubleComplex> block(kBlock);
    RingBuffer<DoubleComplex> ring(kRingCapacity);
    for ([[maybe_unused]] const auto turn : state) {
        convertRsp(xi.data(), xq.data(), kBlock, block.data());
        write(ring, block);
        benchmark::ClobberMemory();
    }
    report(state, kBlock, kRate);
}

} // namespace

BENCHMARK(bench_RtlUsb);
BENCHMARK(bench_AirSpy);
BENCHMARK(bench_Rsp);

BENCHMARK_MAIN();
