#pragma once

#include "Client/IqBlock.h"

#include <QMutex>
#include <QObject>
#include <QQueue>
#include <QWaitCondition>
#include <optional>

/// Blocks on their way to a listener that takes its time. When it is full the oldest samples go, and the
/// listener learns how many.
/// Thread: connect IqReceiver::blockReceived to `push` with Qt::DirectConnection; any thread takes.
/// Ownership: has to outlive the listener's last call.
class IqQueue : public QObject
{
    Q_OBJECT

public:
    /// `capacity` in samples, 1 or more.
    explicit IqQueue(qint64 capacity, QObject* parent = nullptr);
    /// From the next block on.
    void setCapacity(qint64 capacity);

    struct Taken
    {
        IqBlock block;
        qint64 dropped = 0; ///< Samples that this listener lost just before the block.
    };

    /// The oldest block; waits for one up to `timeoutMs`, 0 for not at all. Nothing after the wait, or once
    /// closed and empty.
    [[nodiscard]] std::optional<Taken> take(int timeoutMs);

    /// No more blocks are let in; who waits, wakes.
    void close();
    [[nodiscard]] bool isClosed() const;

public slots:
    void push(const IqBlock& block);

private:
    mutable QMutex m_mutex;
    QWaitCondition m_filled;
    QQueue<IqBlock> m_blocks;
    qint64 m_capacity;    // samples
    qint64 m_size = 0;    // samples
    qint64 m_dropped = 0; // samples, since the last block was taken
    bool m_closed = false;
};
