#pragma once

#include "Network/Socket/RpcSocket.h"
#include "support/NodeOf.h"

/// The system's own end of the wire, on a free port of loopback: a Socket with an RpcSocket attached, whose
/// clock doesn't run: the test moves it.
struct LocalNode
{
    /// `id` is 20 bytes.
    explicit LocalNode(const QByteArray& id)
        : rpcSocket(new RpcSocket(socket, int160(id.constData()), nullptr, [this] { return now; }))
    {
        isListening = socket->listen(0);
        socket->addSocket(rpcSocket);
    }
    ~LocalNode() { socket->removeSocket(rpcSocket); }

    /// Time passes for the calls that are in flight; those due expire.
    void pass(qint64 milliseconds)
    {
        now += milliseconds;
        rpcSocket->onTimeout();
    }

    /// How this end addresses a peer.
    static NodeInfo info(const WirePeer& peer) { return nodeOf(peer, int160(peer.id().constData())); }

    qint64 now = 1000; // ms, as on a machine that has just been switched on
    QSharedPointer<Socket> socket{new Socket(nullptr)};
    QSharedPointer<RpcSocket> rpcSocket;
    bool isListening = false;

private:
    Q_DISABLE_COPY_MOVE(LocalNode)
};
