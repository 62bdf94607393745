#pragma once

#include <QMutex>
#include <QWaitCondition>
#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>

/// The sample queue between threads: one writer, any number of readers, each with an index of its own.
/// The writer never looks at the readers: a slow one is overrun.
/// Thread: `mutex` is held for every access to the indices and the samples, by the caller, who also wakes
///         those that wait. Two rings' mutexes are never held together.
template <class T>
class RingBuffer
{
public:
    /// `size` samples, a power of two, all zero.
    explicit RingBuffer(int size)
        : capacity(size)
        , mask(size - 1)
        , data(new (kAlignment) T[static_cast<std::size_t>(size)]())
    {
        Q_ASSERT(size > 0 && (size & (size - 1)) == 0);
    }

    /// Appends `count` samples, 0 or more. Of more than the ring holds only the last `capacity` stay, where
    /// they would stand had all been written.
    void write(const T* samples, int count)
    {
        writeMade(count, [samples](T* made, int first, int n) { std::copy_n(samples + first, n, made); });
    }

    /// As `write`, of samples that are made where they stay: `make(made, first, n)` puts the `n` samples from
    /// number `first` on to `made`. It is called for each run of places, of which there are two at the end of
    /// the ring.
    template <class Make>
    void writeMade(int count, Make make)
    {
        Q_ASSERT(count >= 0);
        const int skipped = std::max(count - capacity, 0);
        const int start = advance(writeIndex, skipped);
        const int kept = count - skipped;
        const int toEnd = std::min(kept, capacity - start);
        make(data.get() + start, skipped, toEnd);
        if (toEnd < kept) {
            make(data.get(), skipped + toEnd, kept - toEnd);
        }
        writeIndex = advance(writeIndex, count);
        lastWriteIndex = writeIndex;
    }

    /// Copies `count` samples from `index` on, 0 to `capacity`; beyond that nothing more is copied. Whether
    /// they were written since the last read is the caller's to know (`available`).
    void read(int index, T* samples, int count) const
    {
        Q_ASSERT(count >= 0 && count <= capacity);
        const int start = advance(index, 0);
        const int wanted = std::min(count, capacity);
        const int toEnd = std::min(wanted, capacity - start);
        std::copy_n(data.get() + start, toEnd, samples);
        std::copy_n(data.get(), wanted - toEnd, samples + toEnd);
    }

    /// Samples written since a reader stood at `readIndex`, 0 to `capacity` - 1; 0 if the indices are equal.
    [[nodiscard]] int available(int readIndex) const { return (writeIndex - readIndex) & mask; }

    /// The index `count` samples after `index`, or before it if `count` is negative.
    [[nodiscard]] int advance(int index, int count) const
    {
        return static_cast<int>((static_cast<unsigned>(index) + static_cast<unsigned>(count)) &
                                static_cast<unsigned>(mask));
    }

    const int capacity;
    const int mask;
    int writeIndex = 0;     ///< The next sample to be written.
    int lastWriteIndex = 0; ///< Copied from `writeIndex` after every write; a reader may step it back.

    QMutex mutex;
    QWaitCondition dataReady;  ///< Woken by the writer after a write, all waiters.
    QWaitCondition spaceFreed; ///< Woken by a reader after a read, all waiters.

private:
    Q_DISABLE_COPY_MOVE(RingBuffer)

    // A line of the cache, and the longest vector: one that lies across two lines takes twice the time.
    static constexpr std::align_val_t kAlignment{64};
    static_assert(std::is_trivially_destructible_v<T>);
    struct Release
    {
        void operator()(T* samples) const { operator delete[](samples, kAlignment); }
    };

    std::unique_ptr<T[], Release> data;
};
