#pragma once

#include "Core/Log/SteadyClock.h"
#include "Network/Data/NodeInfo.h"
#include "Network/Data/int160.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QSharedPointer>
#include <functional>
#include <optional>

class HolePunching;

/// Keeps a free server registered at the rendezvous server, and the mapping of its UDP port open: a burst
/// of `new_server` calls first, then one at a long interval. The reply to a slow call may name a client
/// that wants to come in; hole punching towards it then begins.
/// Serves the commands `drop_client` and `set_timeout_timer_ping` of any sender.
/// Thread:    the main one.
/// Ownership: a child of the Server, which ticks it once a second while it is free.
class PingActiveConnection : public QObject
{
    Q_OBJECT

public:
    /// `localPort` is the server's own UDP port, `deviceType` a DefRadioDevice::Type; both are announced.
    /// `id` is not kept: the sender's id travels in the header of every call of `rpcSocket`.
    /// `clock` gives milliseconds of any epoch, never going back.
    PingActiveConnection(const NodeInfo& handshakeNode, quint16 localPort, const int160& id,
                         QSharedPointer<RpcSocket> rpcSocket, int deviceType, QObject* parent,
                         std::function<qint64()> clock = &SteadyClock::milliseconds);
    /// Tells the rendezvous server that this server leaves, as `drop` does.
    ~PingActiveConnection() override;

    /// The tick.
    void timeout();
    /// Tells the rendezvous server that a client has come in.
    void busy();
    /// Tells the rendezvous server that this server leaves.
    void drop();
    /// Makes the next ticks a burst again, so that a server that has become free is found at once.
    void resetCounter();

    /// Hole punching attempts that ended in `HolePunching::fail`, and those in `HolePunching::success`.
    [[nodiscard]] quint32 failCount() const { return m_failCount; }
    [[nodiscard]] quint32 successCount() const { return m_successCount; }

private:
    Q_DISABLE_COPY_MOVE(PingActiveConnection)
    void declareFunctions();
    QJsonObject onDropClient();
    QJsonObject onSetTimeoutTimerPing(const QJsonObject& request);
    void onNewServerReply(const QJsonObject& reply);
    void onNewServerTimeout();
    void onFail() { ++m_failCount; }
    void onSuccess() { ++m_successCount; }
    void newServer(const RpcSocket::SuccessCallback& success, const RpcSocket::TimeoutCallback& timeout);

    quint32 m_localPort;
    int m_fastCounter = 0;                        // announcements since the last reset
    std::optional<qint64> m_lastSlowAnnouncement; // ms, of the clock; nothing: never
    QSharedPointer<RpcSocket> m_rpcSocket;
    NodeInfo m_handshakeNode;
    int m_slowInterval; // ms
    int m_deviceType;
    bool m_dropped = false;
    HolePunching* m_holePunching;
    quint32 m_failCount = 0;
    quint32 m_successCount = 0;
    std::function<qint64()> m_clock;
};
