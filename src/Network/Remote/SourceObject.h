#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QPointer>
#include <QSharedPointer>

/// Publishes every property of one object to a peer, and writes the peer's values to it.
/// The whole set goes out when a replica asks (it_ra_), single values when they change (pc_), and any node
/// may write (wp_). The pair's name stands directly behind each command's prefix.
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

    /// With a null id in `peer`, the first node that asks for the set becomes the peer.
    SourceObject(const QString& name, QObject* target, QSharedPointer<RpcSocket> rpc, const NodeInfo& peer,
                 QObject* parent);
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

    QJsonObject onInitReplica(const NodeInfo& caller);
    QJsonObject onWriteProperty(const QJsonObject& request);
    void send(const QString& prefix, const QJsonObject& args);

    bool m_synchronized = false;
    QString m_name;
    QPointer<QObject> m_target;
    NodeInfo m_peer;
    QSharedPointer<RpcSocket> m_rpc;
};
