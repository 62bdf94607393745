#include "Client/IqQueue.h"

#include <QDeadlineTimer>
#include <QMutexLocker>

IqQueue::IqQueue(qint64 capacity, QObject* parent)
    : QObject(parent)
    , m_capacity(capacity)
{
}

void IqQueue::setCapacity(qint64 capacity)
{
    const QMutexLocker lock(&m_mutex);
    m_capacity = capacity;
}

void IqQueue::push(const IqBlock& block)
{
    const QMutexLocker lock(&m_mutex);
    if (m_closed) {
        return;
    }
    while (!m_blocks.isEmpty() && m_size + block.samples.size() > m_capacity) {
        const int count = m_blocks.dequeue().samples.size();
        m_size -= count;
        m_dropped += count;
    }
    m_blocks.enqueue(block);
    m_size += block.samples.size();
    m_filled.wakeOne();
}

std::optional<IqQueue::Taken> IqQueue::take(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    const QMutexLocker lock(&m_mutex);
    while (m_blocks.isEmpty()) {
        if (m_closed || !m_filled.wait(&m_mutex, deadline)) {
            return std::nullopt;
        }
    }
    Taken taken{m_blocks.dequeue(), m_dropped};
    m_size -= taken.block.samples.size();
    m_dropped = 0;
    return taken;
}

void IqQueue::close()
{
    const QMutexLocker lock(&m_mutex);
    m_closed = true;
    m_filled.wakeAll();
}

bool IqQueue::isClosed() const
{
    const QMutexLocker lock(&m_mutex);
    return m_closed;
}
