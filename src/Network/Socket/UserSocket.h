#pragma once

#include "Network/Socket/RpcSocket.h"

/// The RPC to one connected peer, kept alive by pings. It lives connected from construction until the peer
/// falls silent, either side says disconnect_from_host, or it is destroyed; never connected again.
/// Thread:    that of the Socket.
/// Ownership: a shared pointer of the session's owner, which attaches it as the Socket's last object. A slot
///            of `disconnected` may detach it, but must not destroy it.
class UserSocket : public RpcSocket
{
    Q_OBJECT

public:
    UserSocket(QSharedPointer<Socket> socket, const int160& id, const NodeInfo& peer, QObject* parent,
               Clock clock = &SteadyClock::milliseconds);
    /// Leaves as disconnectFromHost does, and so still emits `disconnected` while connected.
    ~UserSocket() override;

    [[nodiscard]] bool isConnected() const;
    /// True once a packet for this object's id has come from the peer's address and port: whoever receives
    /// there knows the id, and wants what is sent.
    [[nodiscard]] bool isProven() const { return m_proven; }
    [[nodiscard]] const NodeInfo& peer() const;
    /// Duration of the last answered ping, milliseconds; 0 before the first.
    [[nodiscard]] qint64 roundTrip() const;
    /// What the peer's Socket has sent less what ours has accepted, at the peer's last ping: an estimate,
    /// since both count all their traffic.
    [[nodiscard]] qint64 packetsLost() const;
    /// True once a ping of the peer's has told its count.
    [[nodiscard]] bool hasHeardPing() const { return m_heardPing; }

    /// The least time between two pings; 1000 ms unless set.
    void setPingInterval(int milliseconds);
    /// Pings in a row that may time out; 4 unless set, so that the fifth ends the connection.
    void setMaximumMissedPings(int count);

    /// RpcSocket::invoke on the peer.
    bool invoke(const QString& name, const QJsonObject& args, SuccessCallback success,
                TimeoutCallback timeout, int timeoutMs);

    /// Tells the peer and ends the connection; nothing once it has ended.
    void disconnectFromHost();

    void onTimeout() override;

signals:
    /// Once, whichever way the connection ended.
    void disconnected();
    /// Once, when isProven becomes true; before the packet that proves it is read.
    void proven();

protected:
    void onAddressed(const QHostAddress& address, quint16 port) override;
    /// The peer's address may hold other nodes, which may be called from here as well.
    [[nodiscard]] bool isAnswerer(const NodeInfo& peer, const int160& called) const override
    {
        return peer.id == called && isPeersAddress(peer.address, peer.port);
    }

private:
    void declareFunctions();
    void sendPing();
    void endConnection();
    [[nodiscard]] bool isPeersAddress(const QHostAddress& address, quint16 port) const;
    [[nodiscard]] bool isPeer(const NodeInfo& node) const;
    QJsonObject onPing(const QJsonObject& request, const NodeInfo& caller);
    QJsonObject onDisconnectFromHost(const NodeInfo& caller);

    bool m_connected = true;
    bool m_proven = false;
    int m_missedPings = 0;
    int m_maximumMissedPings = 4;
    int m_pingInterval = 1000; // ms
    qint64 m_lastPingTime;     // ms, of the clock
    qint64 m_roundTrip = 0;    // ms
    qint64 m_pingSentTime = 0; // ms, of the clock
    qint64 m_packetsLost = 0;
    bool m_heardPing = false;
    NodeInfo m_peer;
};
