#include "RpcSocketTest.h"

#include <QtTest>
#include <utility>

void RpcSocketTest::init()
{
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, ownId(), nullptr, [this] { return m_now; });
}

void RpcSocketTest::cleanup()
{
    m_socket->removeSocket(m_rpc); // attached, each would keep the other
    m_rpc.clear();
    m_peer.reset();
    m_socket.clear();
}

bool RpcSocketTest::deliver(const QByteArray& datagram)
{
    QByteArray data = datagram;
    return m_rpc->readyRead(data, m_peer->address(), m_peer->port());
}

bool RpcSocketTest::invoke(const QString& name, RpcSocket::SuccessCallback success,
                           RpcSocket::TimeoutCallback timeout, int timeoutMs)
{
    return m_rpc->invoke(nodeOf(*m_peer, peerId()), name, {}, std::move(success), std::move(timeout),
                         timeoutMs);
}
