#pragma once

#include "Core/Log/SteadyClock.h"
#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QSharedPointer>
#include <QVector>
#include <functional>
#include <optional>

/// A client of the rendezvous service: attaches to the nearest of several rendezvous servers and brings two
/// peers together by hole punching. The end that listens keeps its link alive with master_ping and begins to
/// punch when the rendezvous server relays a request; the other end sends that request and punches as well.
/// Distances are those of the XOR metric (Maymounkov and Mazieres, Kademlia, 2002), so both ends of an
/// attempt find the same server.
/// Thread:    the main one. The owner calls `timeout` about once a second.
/// Ownership: shares the RpcSocket. What it declares there stays and does nothing once it has gone.
class HandshakeSocket : public QObject
{
    Q_OBJECT

public:
    /// Where rendezvous servers are, unless told otherwise: their UDP port, the id of this build's one, and
    /// the list that holds it alone.
    static quint16 masterPort();
    static int160 masterId();
    static QVector<NodeInfo> defaultMasters();

    /// With an empty list there is no master, now or later. `clock` gives milliseconds of any epoch,
    /// never going back.
    HandshakeSocket(QSharedPointer<RpcSocket> rpcSocket, const QVector<NodeInfo>& masters, bool listening,
                    QObject* parent, std::function<qint64()> clock = &SteadyClock::milliseconds);

    /// Begins an attempt towards `node`, which ends in one of the two signals; replaces one under way. The
    /// end that doesn't listen asks the rendezvous server nearest to the node to relay the request.
    void start(const NodeInfo& node);
    /// One call of master_ping.
    void masterPing();
    /// The tick.
    void timeout();

    /// Whether this end takes part, as it does at first. When it stops, the master is told to forget it;
    /// when it starts again, the next tick pings.
    void setActive(bool active);
    [[nodiscard]] bool isActive() const;
    /// True while hole_punching calls are still to be sent, but for the last.
    [[nodiscard]] bool isTrying() const;

signals:
    void successHandshake(NodeInfo nodeInfo);
    void failHandshake();

private:
    void declareFunctions();
    [[nodiscard]] NodeInfo nearestMaster(const int160& id) const;
    void callHolePunching();
    void endAttempt();
    void keepLink();
    void onHolePunching(const QJsonObject& request, const NodeInfo& caller);
    void onHolePunchingReply(const NodeInfo& peer);
    void onRequestHolePunching(const QJsonObject& request, const NodeInfo& caller);
    void onMasterPing(const QJsonObject& request, const NodeInfo& caller);
    void onMasterPingReply();
    void onDrop(const QJsonObject& request, const NodeInfo& caller);

    bool m_active = true;
    bool m_punching = false;
    int m_triesLeft = -1;         // negative: none
    qint64 m_punchingStarted = 0; // ms, of the clock
    NodeInfo m_target;            // a default one when idle
    NodeInfo m_master;            // a null id means none
    QSharedPointer<RpcSocket> m_rpcSocket;
    QVector<NodeInfo> m_masters;
    bool m_listening;
    bool m_connected = false; // a master_ping has been answered once
    quint32 m_missedPings = 0;
    std::optional<qint64> m_lastPing; // ms, of the clock; nothing: never
    std::function<qint64()> m_clock;
};
