#include "Client/IqGapEstimator.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr qint64 kWindow = 1000;      // ms
constexpr double kTolerance = 50.0;   // ms that the least lag of a window may rise and fall
constexpr double kPace = 300e-6;      // two cheap crystals and some more
constexpr double kMillisecond = 1e-3; // s

} // namespace

void IqGapEstimator::setSampleRate(double rate)
{
    if (rate != m_rate) {
        *this = IqGapEstimator();
        m_rate = rate;
    }
}

qint64 IqGapEstimator::add(qint64 now, int count)
{
    if (m_rate <= 0.0) {
        return 0;
    }
    if (!m_start) {
        m_start = now;
        m_windowStart = now;
    }
    m_arrived += count;
    const double lag = static_cast<double>(now - *m_start) - m_arrived / (m_rate * kMillisecond);
    m_windowLeast = std::min(m_windowLeast.value_or(lag), lag);
    if (now - m_windowStart < kWindow) {
        return 0;
    }
    return endWindow(now);
}

qint64 IqGapEstimator::endWindow(qint64 now)
{
    const double least = *m_windowLeast;
    const double pace = kPace * static_cast<double>(now - m_windowStart);
    m_windowLeast.reset();
    m_windowStart = now;
    const double baseline = m_baseline.value_or(least);
    const double rise = least - baseline;
    if (rise <= kTolerance) {
        m_baseline = baseline + std::min(rise, pace);
        return 0;
    }
    const double missing = std::floor(rise * m_rate * kMillisecond);
    m_arrived += missing;
    m_baseline = baseline;
    return static_cast<qint64>(missing);
}
