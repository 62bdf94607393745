#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <deque>

/// Publishes every property of one object to a peer, and writes the peer's values to it.
/// The whole set goes out when a replica asks (it_ra_), five times a second at most, single values when they
/// change (pc_), and any node may write (wp_). The calls are drawn in Replication.h.
/// Thread:    that of the Socket. The target may live on another: its changes then arrive queued, but its
///            values are read, and its setters called, directly on the Socket's thread.
/// Ownership: shares the RpcSocket; the target is not owned and may go first, then there is nothing to
///            publish.
class SourceObject : public QObject
{
    Q_OBJECT

public:
    /// A write to a name that the target lacks leaves a dynamic property there; no more than this many, since
    /// any node may write.
    static constexpr int kMaximumDynamicProperties = 32;
    /// Bytes: of the name of one, and of its value as JSON text.
    static constexpr int kMaximumDynamicSize = 4096;
    /// Sets in any second. Who asks more often gets no answer: each question brings some twenty datagrams.
    static constexpr int kSetsPerSecond = 5;

    /// With a null id in `peer`, the first node that asks for the set becomes the peer.
    SourceObject(const QString& name, QObject* target, QSharedPointer<RpcSocket> rpc, const NodeInfo& peer,
                 QObject* parent, RpcSocket::Clock clock = &SteadyClock::milliseconds);
    /// Takes the name's functions from the RpcSocket, whoever declared them last.
    ~SourceObject() override;

    /// Tells the peer that the set is complete (sss_syc_) and awaits its confirmation.
    void synchronized();

signals:
    /// The peer has confirmed, or has failed to confirm, that the set has reached it.
    void successSync();
    void failSync();

private slots:
    void onPropertyChanged();

private:
    void declareFunctions();
    void catchAllSignals(QObject* target);
    void onSynchronized();

    bool maySendSet();
    QJsonObject onInitReplica(const NodeInfo& caller);
    QJsonObject onWriteProperty(const QJsonObject& request);
    void send(const QString& prefix, const QJsonObject& args);

    bool m_synchronized = false;
    QString m_name;
    QPointer<QObject> m_target;
    NodeInfo m_peer;
    QSharedPointer<RpcSocket> m_rpc;
    RpcSocket::Clock m_clock;
    std::deque<qint64> m_setTimes; // ms, of the clock: when the last kSetsPerSecond went out
};
