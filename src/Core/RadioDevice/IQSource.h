#pragma once

#include "Core/Signal/DoubleComplex.h"
#include "Core/Worker/RingBuffer.h"

#include <QMutexLocker>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>
#include <QVector>
#include <atomic>
#include <chrono>
#include <functional>

/// The sample side of a driver: holds the block that the driver fills, hands finished blocks to a ring, and
/// watches that they keep coming.
/// Thread:    made, watched and destroyed on the device's thread; `write` and the block belong to the thread
///            that delivers samples while the device runs.
/// Ownership: shares the ring with every reader of it.
/// Units:     hertz, complex samples, re = Q and im = I.
class IQSource
{
public:
    static constexpr std::chrono::milliseconds kWatchdogInterval{6000};

    /// `ringCapacity` is a power of two, in samples.
    explicit IQSource(int ringCapacity, std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~IQSource();

    [[nodiscard]] bool swapIQ() const { return m_swapIQ; }
    void setSwapIQ(bool swapIQ) { m_swapIQ = swapIQ; }
    void resetSwapIQ() { m_swapIQ = false; }

    [[nodiscard]] int blockSize() const { return m_block.size(); }

    /// Resizes the block and works out how many blocks make one wake-up of the ring's readers: they are
    /// woken about every 8 ms at most, and by every block that lasts that long by itself. A negative size is
    /// refused with a warning.
    void setBlockSize(int samples);

    /// The fewest blocks of `samples` that last 8 ms at `sampleRate`; 1 where no number of blocks does (a
    /// rate of zero or below, an empty block), and at most what an int holds.
    [[nodiscard]] static int blocksPerWake(int samples, double sampleRate);

    /// Publishes the first `count` samples of the block, all of them for 0. Never blocks and never asks where
    /// the readers are. `count` is at most blockSize(). `wait` gives up at once if nobody frees space.
    void write(int count, bool wait);

    /// Publishes `count` samples that `make(made, first, n)` converts into the ring itself, without the way
    /// over the block; otherwise as `write`. For what is made see RingBuffer::writeMade. The ring's mutex is
    /// held meanwhile, for no longer than a copy takes.
    template <class Make>
    void writeMade(int count, Make make)
    {
        countBlock();
        const QMutexLocker lock(&m_inBuffer->mutex);
        m_inBuffer->writeMade(count, make);
        wakeReaders();
    }

    /// Arms the watchdog: an interval without a single block warns and calls the no-data callback, again at
    /// each interval until a block comes or the watch stops.
    void startWatch();
    void stopWatch();

    /// Called by the watchdog, on the device's thread. May be empty.
    void setNoDataCallback(std::function<void()> callback);

    /// The ring that `write` fills.
    [[nodiscard]] QSharedPointer<RingBuffer<DoubleComplex>> inBuffer() const { return m_inBuffer; }

protected:
    /// Instead of a `write`, of `samples` that are too many for the ring: they are counted as lost (Losses),
    /// and to the watchdog they are a sign of life.
    void dropLargeBlock(qint64 samples);
    /// Instead of a `write`, of a block that holds no samples to use: it is counted as lost.
    static void dropUnusableBlock();

    /// What the watchdog does when no block has come, for a driver that knows that none will.
    void reportNoData();

    QVector<DoubleComplex> m_block;
    // Set on the device's thread, read by the delivering one as well.
    std::atomic<bool> m_swapIQ{false};
    std::atomic<double> m_sampleRate{-1.0}; // Hz

private:
    Q_DISABLE_COPY_MOVE(IQSource)
    void onWatchdog();
    void countBlock();
    void wakeReaders();

    int m_blocksSinceWake = 0;
    int m_blocksPerWake = 1;
    // Counted by the delivering thread, read by the watchdog's: all that matters is that it changes.
    std::atomic<int> m_blockCounter{0};
    int m_lastBlockCounter = 0;
    std::function<void()> m_noDataCallback;
    QTimer* m_watchdog;
    QSharedPointer<RingBuffer<DoubleComplex>> m_inBuffer;
};

Q_DECLARE_INTERFACE(IQSource, "IQSource")
