#pragma once

#include "Core/Log/SteadyClock.h"

#include <functional>

/// Rations takeovers, which anybody may ask for and which cost a device each: four at once, then one more
/// every half a second. So its owner's comes through at once unless others are at it in earnest.
/// Thread: one.
class TakeoverBucket
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    static constexpr int kBurst = 4;
    static constexpr qint64 kInterval = 500; ///< ms, until one more is allowed

    explicit TakeoverBucket(Clock clock = &SteadyClock::milliseconds);

    /// True if a takeover may go ahead, which is then counted.
    [[nodiscard]] bool take();

private:
    Clock m_clock;
    qint64 m_full; // ms, when it is full again or was last
};
