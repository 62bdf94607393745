#pragma once

#include "Client/IqBlock.h"
#include "Client/IqGapEstimator.h"

#include <QElapsedTimer>
#include <QObject>
#include <functional>
#include <optional>

/// The IQ stream of a session as blocks. Hands out true baseband, I first, whatever the wire's order.
/// Thread: that of the session. A listener on another thread, or a slow one, reads through an IqQueue.
/// Errors: a datagram that holds no whole samples is counted and dropped.
class IqReceiver : public QObject
{
    Q_OBJECT

public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    explicit IqReceiver(QObject* parent = nullptr, Clock clock = {});

    /// Samples received since `reset`.
    [[nodiscard]] qint64 receivedSamples() const { return m_received; }
    /// Samples estimated missing since `reset`, by clock and rate: a session that broke off and came back
    /// counts what it would have brought meanwhile. Good to about 50 ms of samples; also counts what the
    /// server never made, since a datagram has no number. ClientSession::datagramsLost tells the two apart.
    [[nodiscard]] qint64 missingSamples() const { return m_missing; }
    /// Datagrams of IQ that were damaged.
    [[nodiscard]] qint64 damagedDatagrams() const { return m_damaged; }
    /// Hz; 0 while not known.
    [[nodiscard]] double sampleRate() const { return m_sampleRate; }

    /// The session's: one datagram's values, real and imaginary part in turn as the wire has them; empty for
    /// a damaged one.
    void receive(const QVector<qint16>& values);
    void setSampleRate(double rate);
    /// The session has broken off: what it would bring until the next block is missing.
    void interrupt();
    /// Forgets counts, rate and place.
    void reset();

signals:
    /// Each block as it comes, some hundreds a second; 128 samples, or as many as a plain datagram brings.
    void blockReceived(const IqBlock& block);

private:
    [[nodiscard]] qint64 missingBefore(int count);

    Clock m_clock;
    QElapsedTimer m_elapsed;
    IqGapEstimator m_gaps;
    qint64 m_lastBlock = 0; // ms, of the clock
    /// Hz, of the stream that broke off; nothing while it goes on.
    std::optional<double> m_rateBefore;
    double m_sampleRate = 0.0; // Hz
    qint64 m_received = 0;
    qint64 m_missing = 0;
    qint64 m_damaged = 0;
};
