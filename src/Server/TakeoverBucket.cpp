#include "Server/TakeoverBucket.h"

#include <algorithm>
#include <utility>

TakeoverBucket::TakeoverBucket(Clock clock)
    : m_clock(std::move(clock))
    , m_full(m_clock())
{
}

// Each takeover moves the moment at which the bucket is full again; it may be four of them ahead.
bool TakeoverBucket::take()
{
    const qint64 now = m_clock();
    const qint64 full = std::max(m_full, now) + kInterval;
    if (full - now > kBurst * kInterval) {
        return false;
    }
    m_full = full;
    return true;
}
