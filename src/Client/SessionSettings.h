#pragma once

#include "Client/SettingSender.h"
#include "Client/SpectrumFrame.h"
#include "Network/Protocol/SessionCalls.h"

#include <QObject>
#include <QSharedPointer>

class UserSocket;

/// The settings of a session as the client wants them: kept from one session to the next, sent at the start
/// of each one and when they change, until the server confirms them.
/// Thread: that of the session.
class SessionSettings : public QObject
{
    Q_OBJECT

public:
    explicit SessionSettings(QObject* parent = nullptr);

    // False, and nothing is kept, for what is not finite or out of range.
    bool setOffset(double hertz);
    bool setBandwidth(double preferred, double aliasFree);
    bool setSpectrumRange(const SpectrumRange& range);

    /// Hz, that the server has been asked for, or begins each session with.
    [[nodiscard]] double preferredBandwidth() const { return m_bandwidth.preferred; }
    /// Lets the server set up its chain once more for the bandwidth that it has. It tells the rate of the
    /// samples each time that it does so, and does so for a bandwidth that differs: so it is asked for
    /// another one and then for this one. The stream stumbles.
    void repeatBandwidth();

    /// A session has begun, or has ended.
    void attach(const QSharedPointer<UserSocket>& socket);
    void detach();

signals:
    void bandwidthChanged();
    /// The server has taken up the newest range, or has had every chance to.
    void spectrumRangeTaken(const SpectrumRange& range);

private:
    struct Bandwidth
    {
        double preferred; // Hz
        double aliasFree; // Hz
    };
    static constexpr Bandwidth kServersOwn{SessionCalls::kFirstPreferredBandWidth,
                                           SessionCalls::kFirstAliasFree};

    void sendBandwidth();

    Bandwidth m_bandwidth = kServersOwn;
    SpectrumRange m_range;
    QSharedPointer<UserSocket> m_socket;
    SettingSender m_offsetSender;
    SettingSender m_bandwidthSender;
    SettingSender m_rangeSender;
};
