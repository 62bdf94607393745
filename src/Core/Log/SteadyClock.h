#pragma once

#include <QtGlobal>
#include <chrono>

/// Time that only goes forward, whatever is done to the wall clock: for deadlines and intervals.
namespace SteadyClock
{

/// Milliseconds since some moment of the system's choice, often its start: no value means "never".
/// Thread: any.
inline qint64 milliseconds()
{
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace SteadyClock
