#include "SourceObjectTest.h"

#include <QtTest>

void SourceObjectTest::init()
{
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, ownId(), nullptr, [this] { return m_now; });
    m_target = std::make_unique<Target>();
}

void SourceObjectTest::cleanup()
{
    m_source.reset();
    m_target.reset();
    m_rpc.clear();
    m_peer.reset();
    m_socket.clear();
}

void SourceObjectTest::makeSource(QObject* target, const int160& peer)
{
    m_source = std::make_unique<SourceObject>(QStringLiteral("rrd"), target, m_rpc,
                                              peer.isNull() ? NodeInfo() : nodeOf(*m_peer, peer), nullptr,
                                              [this] { return m_now; });
}

// A call of the peer's, under the number 0x77, from the peer's address unless told otherwise.
void SourceObjectTest::call(const int160& caller, const QByteArray& json, WirePeer* from)
{
    const WirePeer& origin = from != nullptr ? *from : *m_peer;
    QByteArray data = Wire::packet(QByteArray::fromHex("00000077"), caller.bytes(), ownId().bytes(), json);
    QVERIFY(m_rpc->readyRead(data, origin.address(), origin.port()));
}

void SourceObjectTest::answer(quint32 number)
{
    QByteArray data =
        Wire::packet(Wire::bigEndian(number), peerId().bytes(), ownId().bytes(), R"({"cd":""})");
    QVERIFY(m_rpc->readyRead(data, m_peer->address(), m_peer->port()));
}

QList<WirePeer::Message> SourceObjectTest::sent()
{
    return m_peer->receivedMessages(*m_socket);
}
