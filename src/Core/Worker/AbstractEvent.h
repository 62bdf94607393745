#pragma once

#include <QEvent>

/// An event posted to a worker, which tells its kind by the numeric type. The event queue owns it.
/// Thread: made on any, taken up on the worker's.
class AbstractEvent : public QEvent
{
public:
    static constexpr int kUnusedType = 1001;
    static constexpr int kSetPropertyType = 1002;
    static constexpr int kReservedType = 1003;
    static constexpr int kSetBufferType = 1004;

    explicit AbstractEvent(int type = kUnusedType)
        : QEvent(static_cast<Type>(type))
    {
    }
};
