#pragma once

#include "Core/Worker/RingBuffer.h"

#include <algorithm>

/// What a reader of a ring keeps besides its index: the number, of all samples ever written, of the one that
/// it reads next. So it can tell what the writer has overrun, and find its place in a ring that was resized.
/// Thread: the reader's. Each call that takes the ring needs its mutex.
class RingPosition
{
public:
    /// Begins at `readIndex`. What was written before is nobody's loss.
    template <class T>
    void start(const RingBuffer<T>& ring, int readIndex)
    {
        m_capacity = ring.capacity;
        m_next = ring.written - static_cast<quint64>(ring.available(readIndex));
    }

    /// To be called before every look at the ring: the samples that were overrun since the last call. Moves
    /// `readIndex` if the ring was resized. A position that wasn't started is started.
    template <class T>
    qint64 update(const RingBuffer<T>& ring, int& readIndex)
    {
        if (m_capacity == 0) {
            start(ring, readIndex);
            return 0;
        }
        if (ring.capacity != m_capacity) {
            const quint64 waiting = ring.written - std::max(m_next, ring.oldestKept);
            readIndex =
                ring.advance(ring.writeIndex, -static_cast<int>(waiting & static_cast<quint64>(ring.mask)));
        }
        const quint64 expected = m_next;
        start(ring, readIndex);
        return std::max(static_cast<qint64>(m_next - expected), qint64{0});
    }

    /// The reader has taken `count` samples.
    void advance(int count) { m_next += static_cast<quint64>(count); }

private:
    quint64 m_next = 0;
    int m_capacity = 0; // of the ring when it was last looked at; 0 before the start
};
