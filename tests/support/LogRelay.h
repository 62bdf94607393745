#pragma once

#include <QtGlobal>

/// Keeps the log records of other threads from the handler that was there before, and hands them to it on the
/// thread that made this object: with the next record of that thread, or at the end of the object. QTest's
/// own handler reads what its main thread changes without a lock. One at a time.
class LogRelay
{
public:
    LogRelay();
    ~LogRelay();

private:
    Q_DISABLE_COPY_MOVE(LogRelay)
};
