#pragma once

#include <QtGlobal>
#include <optional>

/// Estimates how many samples of a stream without sequence numbers are missing: by how much the samples
/// received fall behind the clock times the rate.
///
/// Arrival jitters by tens of milliseconds, always late and never early, so what counts is the least lag of
/// each second; it is compared with the least lag of the stream so far. A difference in pace of up to 300
/// parts in a million is taken for clocks that differ and is followed. What is left and exceeds 50 ms is
/// missing. Smaller losses add up until they do, so that the total is right in the long run to within 50 ms.
/// Knows no clock and no socket. Any thread, one at a time.
class IqGapEstimator
{
public:
    /// Hz, finite; 0 or less for one that is not known, with which nothing is estimated. Another rate begins
    /// anew; the same changes nothing.
    void setSampleRate(double rate);
    /// Begins anew at the same rate; the total stays.
    void restart();

    /// `count` samples have arrived at `now`, milliseconds of a clock that never goes back. Gives the samples
    /// found missing by this, 0 or more.
    [[nodiscard]] qint64 add(qint64 now, int count);

private:
    [[nodiscard]] double lagOf(qint64 now) const;

    double m_rate = 0.0;           // Hz
    std::optional<qint64> m_start; // ms
    double m_arrived = 0.0;        // samples since the start, with those found missing
    double m_baseline = 0.0;       // ms, the least lag of the stream
    double m_windowLeast = 0.0;    // ms, the least lag of the present window
    qint64 m_windowStart = 0;      // ms
    bool m_hasBaseline = false;
};
