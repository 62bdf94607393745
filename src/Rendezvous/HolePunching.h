#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/RpcSocket.h"

#include <QObject>
#include <QSharedPointer>
#include <QTimer>

/// Opens a path through network address translation towards one peer: 11 calls of `process_hole_punching`,
/// half a second apart, each of which makes the local router expect the peer's packets. The first reply
/// proves that the path works and ends the run.
/// Answers the same command of any peer, whether or not a run is under way.
/// Thread: the main one.
class HolePunching : public QObject
{
    Q_OBJECT

public:
    HolePunching(QSharedPointer<RpcSocket> rpcSocket, QObject* parent, int intervalMs = 500);

    /// Begins a run towards `node`; the first call leaves one interval later. Replaces a run under way.
    /// `identificator` is only passed through to `success`.
    void start(const NodeInfo& node, const QString& identificator);

signals:
    /// A reply has come. One that comes after the end of its run emits this again, with an empty node.
    void success(NodeInfo node, QString identificator);
    /// The last call has been sent, and none is answered yet. The node is empty: it has been cleared by then.
    void fail(NodeInfo node);

public slots:
    /// One step of the run.
    void onTimeout();

private:
    void onReply();
    void stop();

    QTimer* m_timer;
    QSharedPointer<RpcSocket> m_rpcSocket;
    NodeInfo m_node; // a default one when idle
    QString m_identificator;
    int m_triesLeft = 0;
    int m_interval; // ms
};
