#pragma once

#include <QtGlobal>

/// Counts what the thread that made it takes from the heap while it lives, by new, malloc or a Qt container.
/// One at a time on a thread.
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();

    [[nodiscard]] int count() const { return m_count; }

private:
    Q_DISABLE_COPY_MOVE(AllocationCounter)
    int m_count = 0;
};
