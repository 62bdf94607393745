#pragma once

#include "Core/Log/SteadyClock.h"

#include <functional>

/// Rations takeovers, which anybody may ask for and which cost a device each: four at once, then one more
/// half a second. So the owner's own is granted at once, unless others keep asking.
/// Thread: one, whichever.
class TakeoverBucket
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds of any epoch, never going back.

    static constexpr int kBurst = 4;
    static constexpr qint64 kInterval = 500; ///< ms, until one more is allowed

    explicit TakeoverBucket(Clock clock = &SteadyClock::milliseconds);

    /// True if a takeover may go ahead, which is then counted.
    [[nodiscard]] bool take();

private:
    Clock m_clock;
    qint64 m_full; // ms, when it is or was full again
};
