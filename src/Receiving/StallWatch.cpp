#include "Receiving/StallWatch.h"

#include <algorithm>

namespace
{

constexpr int kTicks = 5; // before it is stalled

} // namespace

StallWatch::StallWatch(int stalledMs, int lostMs)
    : m_stalledMs(stalledMs)
    , m_lostMs(lostMs)
{
    m_tick.setInterval(std::max(1, stalledMs / kTicks));
    connect(&m_tick, &QTimer::timeout, this, &StallWatch::onTick);
}

void StallWatch::start()
{
    m_tick.start();
}

void StallWatch::setExpecting(bool expecting)
{
    m_isExpecting = expecting;
    m_waited = 0;
}

void StallWatch::onTick()
{
    if (m_hasArrived) {
        m_hasArrived = false;
        m_silence = 0;
        m_waited = 0;
        return;
    }
    m_silence += m_tick.interval();
    if (!m_isExpecting) {
        return;
    }
    const int before = m_waited;
    m_waited += m_tick.interval();
    const auto isReached = [&](int limit) { return before < limit && m_waited >= limit; };
    if (isReached(m_stalledMs)) {
        emit stalled();
    }
    if (isReached(m_lostMs)) {
        emit lost();
    }
}
