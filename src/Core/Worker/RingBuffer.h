#pragma once

#include <QMutex>
#include <QWaitCondition>
#include <algorithm>
#include <memory>

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
        , data(std::make_unique<T[]>(static_cast<std::size_t>(size)))
    {
        Q_ASSERT(size > 0 && (size & (size - 1)) == 0);
    }

    /// Appends `count` samples, 0 or more. Of more than the ring holds only the last `capacity` stay, where
    /// they would stand had all been written.
    void write(const T* samples, int count)
    {
        Q_ASSERT(count >= 0);
        const int skipped = std::max(count - capacity, 0);
        const int start = advance(writeIndex, skipped);
        const int kept = count - skipped;
        const int toEnd = std::min(kept, capacity - start);
        std::copy_n(samples + skipped, toEnd, data.get() + start);
        std::copy_n(samples + skipped + toEnd, kept - toEnd, data.get());
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
    std::unique_ptr<T[]> data;
};
