#pragma once

#include "Core/Worker/AbstractEvent.h"
#include "Core/Worker/RingBuffer.h"

#include <QSharedPointer>
#include <QString>
#include <utility>

/// Gives a worker a ring, under a key that tells it what the ring is for and which samples it holds: events
/// of every T have the same type number.
/// Thread: made on any, taken up on the worker's.
template <class T>
class SetBufferEvent : public AbstractEvent
{
public:
    SetBufferEvent(QSharedPointer<RingBuffer<T>> buffer, const QString& key)
        : AbstractEvent(kSetBufferType)
        , m_key(key)
        , m_buffer(std::move(buffer))
    {
    }

    [[nodiscard]] const QString& key() const { return m_key; }
    [[nodiscard]] const QSharedPointer<RingBuffer<T>>& buffer() const { return m_buffer; }

private:
    QString m_key;
    QSharedPointer<RingBuffer<T>> m_buffer;
};
