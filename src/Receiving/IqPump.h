#pragma once

#include "Receiving/Sinks/IqSink.h"

#include <QThread>
#include <atomic>
#include <memory>

class IqQueue;

/// Carries samples from the session's queue to a sink, on a thread of its own named "pump": a disk or a
/// reader that is slow holds up nobody but itself.
/// Thread: its operations belong to the one that made it, which also gets its signals.
/// Ownership: owns the sink; the queue outlives it.
class IqPump : public QThread
{
    Q_OBJECT

public:
    /// Blocks at another rate than `sampleRate` are left out. `seconds` of samples, missing ones counted in,
    /// are the end; 0 for none.
    IqPump(IqQueue& queue, std::unique_ptr<IqSink> sink, double sampleRate, double seconds,
           QObject* parent = nullptr);
    /// Stops and waits.
    ~IqPump() override;

    /// True for a block at the rate that is not left out.
    [[nodiscard]] bool takes(const IqBlock& block) const;
    /// Closes the queue; what is in it is still written, and `ended` follows.
    void stop();

    [[nodiscard]] qint64 samples() const { return m_samples; } ///< Given to the sink.
    [[nodiscard]] qint64 missing() const { return m_missing; } ///< Estimated, or dropped for slowness.
    [[nodiscard]] qint64 bytes() const { return m_bytes; }     ///< Written.
    [[nodiscard]] double sampleRate() const { return m_sampleRate; }

signals:
    /// It is all over: for Going, because it was stopped or has what it was to have. `error` goes with
    /// Failed.
    void ended(IqSink::Outcome outcome, const QString& error);

protected:
    void run() override;

private:
    [[nodiscard]] IqSink::Outcome carry();

    IqQueue& m_queue;
    std::unique_ptr<IqSink> m_sink;
    double m_sampleRate; // Hz
    qint64 m_limit;      // samples; 0 for none
    std::atomic<qint64> m_samples{0};
    std::atomic<qint64> m_missing{0};
    std::atomic<qint64> m_bytes{0};
};
