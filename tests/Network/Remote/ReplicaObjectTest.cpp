#include "ReplicaObjectTest.h"

#include <QtTest>

void ReplicaObjectTest::init()
{
    m_socket.reset(new Socket(nullptr));
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_rpc.reset(new RpcSocket(m_socket, id('\x11'), nullptr));
}

void ReplicaObjectTest::cleanup()
{
    m_replica.reset();
    m_rpc.reset();
    m_socket.reset();
}

void ReplicaObjectTest::makeReplica(int retryMs, int patienceMs)
{
    m_replica = std::make_unique<ReplicaObject>(QStringLiteral("rrd"), nodeOf(*m_peer, id('\x22')), m_rpc,
                                                nullptr, retryMs, patienceMs);
}

QJsonObject ReplicaObjectTest::call(const QByteArray& json)
{
    QByteArray packet =
        Wire::packet(QByteArray::fromHex("00000009"), id('\x22').bytes(), id('\x11').bytes(), json);
    if (!m_rpc->readyRead(packet, m_peer->address(), m_peer->port())) {
        return {{QStringLiteral("refused"), true}};
    }
    const auto packets = m_peer->receivedMessages(*m_socket);
    return packets.isEmpty() ? QJsonObject() : packets.last().body;
}

void ReplicaObjectTest::dump(const QByteArrayList& names)
{
    for (const QByteArray& name : names) {
        call(message("pci", name, "1"));
    }
    call(R"({"cd":"sss_syc_rrd"})");
    call(checksum(names.join()));
}

QByteArrayList ReplicaObjectTest::sent()
{
    QByteArrayList bodies;
    for (const auto& packet : m_peer->receivedMessages(*m_socket)) {
        bodies.append(packet.json);
    }
    return bodies;
}
