#pragma once

#include "Platform/Pages.h"

#include <QMutex>
#include <QWaitCondition>
#include <algorithm>
#include <type_traits>
#include <utility>

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
        , m_pages(allocate(size))
        , data(static_cast<T*>(m_pages.data()))
    {
    }

    /// Makes room for `size` samples, a power of two. The newest samples stay, as many as both sizes hold,
    /// and `writeIndex` unless the ring gets too small for it. A reader finds its index again by
    /// `RingPosition`.
    void resize(int size)
    {
        // No reader has more than that to read: of a full ring nothing is available.
        const auto most = static_cast<quint64>(std::min(capacity, size) - 1);
        const int kept = static_cast<int>(std::min(most, written));
        Pages pages = allocate(size);
        T* const resized = static_cast<T*>(pages.data());
        for (int i = 1; i <= kept; ++i) {
            resized[(writeIndex - i) & (size - 1)] = data[(writeIndex - i) & mask];
        }
        m_pages = std::move(pages);
        data = resized;
        capacity = size;
        mask = size - 1;
        writeIndex &= mask;
        lastWriteIndex = writeIndex;
        oldestKept = written - static_cast<quint64>(kept);
    }

    /// Appends `count` samples, 0 or more. Of more than the ring holds only the last `capacity` stay, where
    /// they would be had all been written.
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
        make(data + start, skipped, toEnd);
        if (toEnd < kept) {
            make(data, skipped + toEnd, kept - toEnd);
        }
        writeIndex = advance(writeIndex, count);
        lastWriteIndex = writeIndex;
        written += static_cast<quint64>(count);
    }

    /// Copies `count` samples from `index` on, 0 to `capacity`; beyond that nothing more is copied. Whether
    /// they were written since the last read is the caller's to know (`available`).
    void read(int index, T* samples, int count) const
    {
        Q_ASSERT(count >= 0 && count <= capacity);
        const int start = advance(index, 0);
        const int wanted = std::min(count, capacity);
        const int toEnd = std::min(wanted, capacity - start);
        std::copy_n(data + start, toEnd, samples);
        std::copy_n(data, wanted - toEnd, samples + toEnd);
    }

    /// Samples written since a reader was at `readIndex`, 0 to `capacity` - 1; 0 if the indices are equal.
    [[nodiscard]] int available(int readIndex) const { return (writeIndex - readIndex) & mask; }

    /// The index `count` samples after `index`, or before it if `count` is negative.
    [[nodiscard]] int advance(int index, int count) const
    {
        return static_cast<int>((static_cast<unsigned>(index) + static_cast<unsigned>(count)) &
                                static_cast<unsigned>(mask));
    }

    int capacity;
    int mask;
    int writeIndex = 0;     ///< The next sample to be written.
    int lastWriteIndex = 0; ///< Copied from `writeIndex` after every write; a reader may step it back.
    quint64 written = 0;    ///< All samples ever written.
    quint64 oldestKept = 0; ///< How many of them had been written before those that the last `resize` kept.

    QMutex mutex;
    QWaitCondition dataReady;  ///< Woken by the writer after a write, all waiters.
    QWaitCondition spaceFreed; ///< Woken by a reader after a read, all waiters.

private:
    Q_DISABLE_COPY_MOVE(RingBuffer)

    // The pages are zero: no sample is constructed or destroyed.
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

    static Pages allocate(int size)
    {
        Q_ASSERT(size > 0 && (size & (size - 1)) == 0);
        return Pages(static_cast<std::size_t>(size) * sizeof(T));
    }

    Pages m_pages;
    T* data;
};
