#pragma once

#include <QObject>
#include <QTimer>
#include <optional>

class SessionSettings;

/// The rate of the IQ stream, as the server tells it in outSampleRateChanged. It tells it once, when it sets
/// up its chain, and that datagram may get lost: a session that lacks the rate, or has one that its bandwidth
/// can't have led to, lets the server set up its chain again, a few times.
/// Thread: that of the session.
class OutputRate : public QObject
{
    Q_OBJECT

public:
    /// `patience`: ms that the rate is waited for.
    OutputRate(SessionSettings& settings, int patience, QObject* parent);

    /// Hz; nothing while the server has not told. A session that has come back has that of before at first.
    [[nodiscard]] std::optional<double> value() const { return m_rate; }

    /// A session has begun, or has ended.
    void attach();
    void detach();
    void clear();
    /// What the server tells; false for what is no rate.
    [[nodiscard]] bool tell(double hertz);
    /// Hz, the receiver's own rate, of which the stream's is a half, a quarter and so on.
    void setReceiverRate(double hertz);

private:
    void expect();
    [[nodiscard]] bool isCertain() const;
    void onMissing();

    SessionSettings& m_settings;
    std::optional<double> m_rate; // Hz
    double m_receiverRate = 0.0;  // Hz; 0 while not known
    bool m_isInSession = false;
    bool m_isTold = false; // in this session
    int m_triesLeft = 0;
    QTimer m_patience;
};
