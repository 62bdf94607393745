#include "UserSocketTest.h"

#include "Network/Data/Base58.h"

#include <QSignalSpy>
#include <QtTest>

class tst_UserSocket : public UserSocketTest
{
    Q_OBJECT

private slots:
    void disconnectIsLoggedWithCallersAddress();
    void disconnectFromHostTellsPeerAndLogs();
    void packetFromPeersAddressProvesIt_data();
    void packetFromPeersAddressProvesIt();
    void nothingElseProvesPeersAddress();
    void peersDisconnectEndsSession();
    void peersSecondDisconnectIsAnsweredAndNothingElse();
    void disconnectFromHostTwiceSendsOneMessageAndEmitsOnce();
    void disconnectAfterLocalEndIsAnsweredAndNothingElse();
    void destroyedWhileConnectedItTellsPeerAndEmits();
    void destroyedAfterEndItSendsNothing();
    void afterEndNoPingLeavesAndPendingCallsExpire();
    void invokeCallsPeer();
    void ownerMayDetachWhenPeerLeaves();
    void ownerMayDetachWhenPeerFallsSilent();
    void twoUserSocketsKeepEachOtherAliveUntilOneLeaves();
};

void tst_UserSocket::disconnectIsLoggedWithCallersAddress()
{
    // Told is the node that called, here another one than the peer.
    const int160 strangerId(kOwnBytes.constData());
    QByteArray data = Wire::packet(Wire::bigEndian(1), strangerId.bytes(), ownId().bytes(),
                                   R"({"cd":"disconnect_from_host"})");
    WirePeer stranger;
    m_log->clear();
    QVERIFY(m_user->readyRead(data, stranger.address(), stranger.port()));
    QCOMPARE(logged(QtDebugMsg), QStringList{QStringLiteral("Disconnect from host ... %1 127.0.0.1 %2")
                                                 .arg(Base58::encode(kOwnBytes))
                                                 .arg(stranger.port())});
}

void tst_UserSocket::disconnectFromHostTellsPeerAndLogs()
{
    m_log->clear();
    m_user->disconnectFromHost();
    QCOMPARE(logged(QtDebugMsg), QStringList{QStringLiteral("Disconnect from host ... %1 127.0.0.1 %2")
                                                 .arg(Base58::encode(kPeerBytes))
                                                 .arg(m_peer->port())});
    QCOMPARE(m_peer->received(*m_socket).value(0), QByteArray::fromHex("0000000001") + kOwnBytes +
                                                       kPeerBytes +
                                                       QByteArray(R"({"cd":"disconnect_from_host"})"));
}

void tst_UserSocket::packetFromPeersAddressProvesIt_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("call") << QByteArray(R"({"cd":"ping","c":0})");
    QTest::newRow("reply") << QByteArray(R"({"cd":""})");
    QTest::newRow("no JSON") << QByteArray("x");
}

void tst_UserSocket::packetFromPeersAddressProvesIt()
{
    QFETCH(QByteArray, json);
    int sentBefore = -1;
    connect(m_user.data(), &UserSocket::proven, this,
            [&] { sentBefore = static_cast<int>(m_socket->sentPackets()); });
    QVERIFY(!m_user->isProven());
    // Whoever it says it is: that it knows the id is what counts.
    QVERIFY(deliver(ownId(), m_peer->address(), m_peer->port(), 1, json));
    QVERIFY(m_user->isProven());
    QCOMPARE(sentBefore, 0); // told before the call is answered
    sentBefore = -1;
    QVERIFY(deliver(peerId(), m_peer->address(), m_peer->port(), 2, json));
    QCOMPARE(sentBefore, -1);
    m_log->clear(); // of the body that is no JSON
}

void tst_UserSocket::nothingElseProvesPeersAddress()
{
    const QSignalSpy proven(m_user.data(), &UserSocket::proven);
    const QByteArray ping = R"({"cd":"ping","c":0})";
    QVERIFY(deliver(peerId(), QHostAddress(QStringLiteral("127.0.0.2")), m_peer->port(), 1, ping));
    QVERIFY(deliver(peerId(), m_peer->address(), static_cast<quint16>(m_peer->port() + 1), 1, ping));
    QByteArray toAnother = Wire::packet(Wire::bigEndian(1), peerId().bytes(), peerId().bytes(), ping);
    QVERIFY(!m_user->readyRead(toAnother, m_peer->address(), m_peer->port()));
    tick();
    QVERIFY(!m_user->isProven());
    QCOMPARE(proven.size(), 0);
}

void tst_UserSocket::peersDisconnectEndsSession()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QVERIFY(!m_user->isConnected());
    QCOMPARE(disconnected.size(), 1);
    const auto sent = m_peer->receivedMessages(*m_socket);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json, QByteArray(R"({"cd":""})"));
}

void tst_UserSocket::peersSecondDisconnectIsAnsweredAndNothingElse()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QCOMPARE(disconnected.size(), 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
}

void tst_UserSocket::disconnectFromHostTwiceSendsOneMessageAndEmitsOnce()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    m_user->disconnectFromHost();
    m_user->disconnectFromHost();
    QCOMPARE(disconnected.size(), 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_UserSocket::disconnectAfterLocalEndIsAnsweredAndNothingElse()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    m_user->disconnectFromHost();
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    const auto sent = m_peer->receivedMessages(*m_socket);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json, QByteArray(R"({"cd":""})"));
    QCOMPARE(disconnected.size(), 1);
}

void tst_UserSocket::destroyedWhileConnectedItTellsPeerAndEmits()
{
    int emitted = 0;
    connect(m_user.data(), &UserSocket::disconnected, this, [&] { ++emitted; });
    m_user.clear();
    QCOMPARE(emitted, 1);
    QCOMPARE(commands(m_peer->receivedMessages(*m_socket)),
             QStringList{QStringLiteral("disconnect_from_host")});
}

void tst_UserSocket::destroyedAfterEndItSendsNothing()
{
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
    int emitted = 0;
    connect(m_user.data(), &UserSocket::disconnected, this, [&] { ++emitted; });
    m_user.clear();
    QCOMPARE(emitted, 0);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_UserSocket::afterEndNoPingLeavesAndPendingCallsExpire()
{
    int timeouts = 0;
    m_user->invoke(
        QStringLiteral("work"), {}, {}, [&] { ++timeouts; }, 5000);
    m_user->disconnectFromHost();
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
    tick(5000);
    QCOMPARE(timeouts, 0);
    tick();
    QCOMPARE(timeouts, 1);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_UserSocket::invokeCallsPeer()
{
    QJsonObject reply;
    QVERIFY(m_user->invoke(
        QStringLiteral("work"), {{QStringLiteral("x"), 7}},
        [&](const QJsonObject& object, const NodeInfo&) { reply = object; }, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0), QByteArray::fromHex("0000000001") + kOwnBytes +
                                                       kPeerBytes + QByteArray(R"({"cd":"work","x":7})"));
    QByteArray data =
        Wire::packet(Wire::bigEndian(1), peerId().bytes(), ownId().bytes(), R"({"cd":"","y":8})");
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(reply.value(QStringLiteral("y")).toInt(), 8);
    QCOMPARE(m_user->peer().id.bytes(), kPeerBytes);
}

void tst_UserSocket::ownerMayDetachWhenPeerLeaves()
{
    m_socket->addSocket(m_user);
    connect(m_user.data(), &UserSocket::disconnected, m_socket.data(),
            [this] { m_socket->removeSocket(m_user); });
    const QByteArray leave = Wire::packet(Wire::bigEndian(1), peerId().bytes(), ownId().bytes(),
                                          R"({"cd":"disconnect_from_host"})");
    m_peer->send(leave, m_socket->localPort());
    m_peer->send(leave, m_socket->localPort());
    QCOMPARE(m_peer->next().mid(45), QByteArray(R"({"cd":""})"));
    QVERIFY(!m_user->isConnected());
    QVERIFY(m_peer->received(*m_socket).isEmpty()); // detached: the second is nobody's
    QCOMPARE(m_socket->receivedPackets(), quint64(1));
}

void tst_UserSocket::ownerMayDetachWhenPeerFallsSilent()
{
    m_socket->addSocket(m_user);
    connect(m_user.data(), &UserSocket::disconnected, m_socket.data(),
            [this] { m_socket->removeSocket(m_user); });
    for (int i = 0; i < 12; ++i) {
        m_now += 1001;
        m_socket->onTimeout();
    }
    QVERIFY(!m_user->isConnected());
    QCOMPARE(m_peer->received(*m_socket).size(), 7);
}

void tst_UserSocket::twoUserSocketsKeepEachOtherAliveUntilOneLeaves()
{
    const auto otherSocket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(otherSocket->listen(0));
    const QHostAddress loopback(QHostAddress::LocalHost);
    const auto clock = [this] { return m_now; };
    const auto here = QSharedPointer<UserSocket>::create(
        m_socket, ownId(), NodeInfo{peerId(), loopback, otherSocket->localPort()}, nullptr, clock);
    const auto there = QSharedPointer<UserSocket>::create(
        otherSocket, peerId(), NodeInfo{ownId(), loopback, m_socket->localPort()}, nullptr, clock);
    m_socket->addSocket(here);
    otherSocket->addSocket(there);

    for (quint64 round = 1; round <= 20; ++round) {
        m_now += 1001;
        here->onTimeout();
        there->onTimeout();
        // Each side accepts the other's ping and the reply to its own.
        QTRY_COMPARE(m_socket->receivedPackets(), 2 * round);
        QTRY_COMPARE(otherSocket->receivedPackets(), 2 * round);
    }
    QVERIFY(here->isConnected());
    QVERIFY(there->isConnected());

    here->disconnectFromHost();
    QTRY_VERIFY(!there->isConnected());
    m_socket->removeSocket(here);
    otherSocket->removeSocket(there);
}

QTEST_GUILESS_MAIN(tst_UserSocket)

#include "tst_UserSocket.moc"
