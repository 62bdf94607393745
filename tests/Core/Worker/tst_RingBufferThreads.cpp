#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"

#include <array>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

// One writer and two readers on the same ring under one lock. Run under the thread sanitizer, which does not
// know Qt's mutex: it uses a lock of the standard library instead, and no Qt Test, whose own threads the
// sanitizer misjudges. This proves that the ring touches nothing without the lock.

namespace
{

constexpr int kSamples = 400'000;
constexpr int kBlock = 250;
constexpr int kReaders = 2;

struct Shared
{
    RingBuffer<DoubleComplex> ring{4096};
    std::mutex mutex;
    std::condition_variable dataReady;
    std::condition_variable spaceFreed;
    std::array<int, kReaders> readIndices{};
};

bool everyReaderLeavesSpace(const Shared& shared)
{
    for (const int readIndex : shared.readIndices) {
        if (shared.ring.available(readIndex) + kBlock >= shared.ring.capacity) {
            return false;
        }
    }
    return true;
}

void writeAll(Shared& shared)
{
    std::array<DoubleComplex, kBlock> block;
    for (int written = 0; written < kSamples; written += kBlock) {
        for (int i = 0; i < kBlock; ++i) {
            block[static_cast<std::size_t>(i)] = {static_cast<double>(written + i), -1.0};
        }
        std::unique_lock lock(shared.mutex);
        shared.spaceFreed.wait(lock, [&shared] { return everyReaderLeavesSpace(shared); });
        shared.ring.write(block.data(), kBlock);
        shared.dataReady.notify_all();
    }
}

// The number of samples that came out of order.
int readAll(Shared& shared, int& readIndex)
{
    std::array<DoubleComplex, kBlock> block;
    int wrong = 0;
    for (int received = 0; received < kSamples; received += kBlock) {
        {
            std::unique_lock lock(shared.mutex);
            shared.dataReady.wait(lock, [&] { return shared.ring.available(readIndex) >= kBlock; });
            shared.ring.read(readIndex, block.data(), kBlock);
            readIndex = shared.ring.advance(readIndex, kBlock);
            shared.spaceFreed.notify_all();
        }
        for (int i = 0; i < kBlock; ++i) {
            const DoubleComplex& sample = block[static_cast<std::size_t>(i)];
            wrong += sample.re == static_cast<double>(received + i) && sample.im == -1.0 ? 0 : 1;
        }
    }
    return wrong;
}

} // namespace

int main()
{
    Shared shared;
    std::array<int, kReaders> wrong{};
    std::thread writer([&shared] { writeAll(shared); });
    std::thread second([&] { wrong[1] = readAll(shared, shared.readIndices[1]); });
    wrong[0] = readAll(shared, shared.readIndices[0]);
    second.join();
    writer.join();
    std::printf("samples out of order: %d and %d of %d\n", wrong[0], wrong[1], kSamples);
    return wrong[0] + wrong[1] == 0 ? 0 : 1;
}
