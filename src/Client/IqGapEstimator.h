#pragma once

#include <QtGlobal>
#include <optional>

/// Estimates how many samples of a stream without sequence numbers are missing: by how much the samples
/// received lag the clock times the rate.
///
/// Arrival jitters by tens of milliseconds, always late and never early, so what counts is the least lag of
/// each second; it is compared with the least lag of the stream so far. A difference in pace of up to 300
/// parts in a million is taken for clocks that differ and is followed. What is left and exceeds 50 ms is
/// missing. Smaller losses add up until they do, but for what passes for a difference in pace.
/// Knows no clock and no socket.
/// Thread: any, one at a time.
class IqGapEstimator
{
public:
    /// Hz, finite; 0 or less for one that is not known, with which nothing is estimated. Another rate starts
    /// over; the same one changes nothing.
    void setSampleRate(double rate);

    /// `count` samples have arrived at `now`, milliseconds of a clock that never goes back. Gives the samples
    /// found missing by this, 0 or more.
    [[nodiscard]] qint64 add(qint64 now, int count);

private:
    qint64 endWindow(qint64 now);

    double m_rate = 0.0;                 // Hz
    std::optional<qint64> m_start;       // ms
    double m_arrived = 0.0;              // samples since the start, with those found missing
    std::optional<double> m_baseline;    // ms, the least lag of the stream
    std::optional<double> m_windowLeast; // ms, the least lag of the present window
    qint64 m_windowStart = 0;            // ms
};
