#include "UserSocketTest.h"

#include "Network/Data/Base58.h"

#include <QSignalSpy>
#include <QtTest>

class tst_UserSocketPings : public UserSocketTest
{
    Q_OBJECT

private slots:
    void pingGoesOutAsDrawn();
    void noPingLeavesBeforeMoreThanIntervalHasPassed();
    void intervalCanBeSet();
    void answeredPingGivesRoundTrip();
    void replyToEarlierOfTwoPingsMeasuresFromLater();
    void fifthSilentPingEndsSession();
    void maximumOfMissedPingsCanBeSet();
    void oneAnsweredPingForgivesFourMisses();
    void onePingFromPeerForgivesFourMisses();
    void pingsOfStrangersForgiveNothing_data();
    void pingsOfStrangersForgiveNothing();
    void repliesOfStrangersForgiveNothing_data();
    void repliesOfStrangersForgiveNothing();
    void peersIPv4AddressMayBeGivenEitherWay();
    void after32768CallsPingsTimeOutAndSessionEnds();
    void after32768CallsPingsFromPeerKeepSession();
    void pingIsAnsweredWithEmptyReply();
    void pingTellsPacketsLost();
    void pingWithoutReadableCountLeavesPacketsLost_data();
    void pingWithoutReadableCountLeavesPacketsLost();
    void anyCountFromPeerIsSurvived_data();
    void anyCountFromPeerIsSurvived();
    void pingAfterEndChangesNothingAndIsAnswered();
};

void tst_UserSocketPings::pingGoesOutAsDrawn()
{
    QVERIFY(m_socket->write("aaaaa", m_peer->address(), m_peer->port()));
    tick();
    const QList<QByteArray> sent = m_peer->received(*m_socket);
    QCOMPARE(sent.size(), 2);
    QCOMPARE(sent.at(1), QByteArray::fromHex("00"
                                             "00000001"
                                             "0102030405060708090a0b0c0d0e0f1011121314"
                                             "a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4") +
                             QByteArray(R"({"c":1,"cd":"ping"})"));
}

void tst_UserSocketPings::noPingLeavesBeforeMoreThanIntervalHasPassed()
{
    tick(999);
    tick(1); // the interval to the millisecond
    QVERIFY(m_peer->received(*m_socket).isEmpty());
    tick(1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
    tick(1000);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
    tick(1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_UserSocketPings::intervalCanBeSet()
{
    m_user->setPingInterval(3000);
    tick(3000);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
    tick(1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_UserSocketPings::answeredPingGivesRoundTrip()
{
    QCOMPARE(m_user->roundTrip(), qint64(0));
    tick();
    m_now += 87;
    reply(1);
    QCOMPARE(m_user->roundTrip(), qint64(87));
}

void tst_UserSocketPings::replyToEarlierOfTwoPingsMeasuresFromLater()
{
    tick();
    tick();
    m_now += 20;
    reply(1);
    QCOMPARE(m_user->roundTrip(), qint64(20));
}

void tst_UserSocketPings::fifthSilentPingEndsSession()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    missTo(4);
    tick(1500); // four misses: the session goes on; the fifth ping expires in this very tick
    QVERIFY(m_user->isConnected());
    m_log->clear();
    tick();
    QVERIFY(!m_user->isConnected());
    QCOMPARE(disconnected.size(), 1);
    QCOMPARE(logged(QtDebugMsg).value(0), QStringLiteral("The client is not responding. Disconnection"));
    for (int i = 0; i < 10; ++i) {
        tick();
    }
    QCOMPARE(disconnected.size(), 1);
    const QStringList sent = commands(m_peer->receivedMessages(*m_socket));
    QCOMPARE(sent.count(QStringLiteral("ping")), sent.size()); // silence is not answered by a farewell
}

void tst_UserSocketPings::maximumOfMissedPingsCanBeSet()
{
    m_user->setMaximumMissedPings(0);
    missTo(1);
    QVERIFY(m_user->isConnected());
    tick();
    QVERIFY(!m_user->isConnected());
}

void tst_UserSocketPings::oneAnsweredPingForgivesFourMisses()
{
    const int sent = missTo(4);
    reply(static_cast<quint32>(sent));
    // The ping before it times out, then four more: five misses but one answer among them.
    for (int i = 0; i < 4; ++i) {
        tick();
        QVERIFY(m_user->isConnected());
    }
    reply(static_cast<quint32>(sent + 4));
    for (int i = 0; i < 5; ++i) {
        tick();
        QVERIFY2(m_user->isConnected(), qPrintable(QString::number(i)));
    }
    for (int i = 0; i < 3; ++i) {
        tick();
    }
    QVERIFY(!m_user->isConnected());
}

void tst_UserSocketPings::onePingFromPeerForgivesFourMisses()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 4; ++i) {
            tick();
        }
        callFromPeer(R"({"c":0,"cd":"ping"})");
    }
    QVERIFY(m_user->isConnected());
    QCOMPARE(disconnected.size(), 0);
}

void tst_UserSocketPings::pingsOfStrangersForgiveNothing_data()
{
    addStrangers();
}

void tst_UserSocketPings::pingsOfStrangersForgiveNothing()
{
    QFETCH(QByteArray, id);
    QFETCH(QString, address);
    QFETCH(int, portStep);
    callFromPeer(R"({"c":9,"cd":"ping"})");
    int ticks = 0;
    for (; m_user->isConnected() && ticks < 20; ++ticks) {
        tick();
        QVERIFY(deliver(int160(id.constData()), QHostAddress(address),
                        static_cast<quint16>(m_peer->port() + portStep), 1, R"({"c":50,"cd":"ping"})"));
    }
    QCOMPARE(ticks, 8); // just as for a silent peer
    QCOMPARE(m_user->packetsLost(), qint64(9));
}

void tst_UserSocketPings::repliesOfStrangersForgiveNothing_data()
{
    addStrangers();
}

void tst_UserSocketPings::repliesOfStrangersForgiveNothing()
{
    QFETCH(QByteArray, id);
    QFETCH(QString, address);
    QFETCH(int, portStep);
    quint32 ticks = 0;
    while (m_user->isConnected() && ticks < 20) {
        tick();
        ++ticks;
        QVERIFY(deliver(int160(id.constData()), QHostAddress(address),
                        static_cast<quint16>(m_peer->port() + portStep), ticks, R"({"cd":""})"));
    }
    QCOMPARE(ticks, 8U);
    QCOMPARE(m_user->roundTrip(), qint64(0));
}

void tst_UserSocketPings::peersIPv4AddressMayBeGivenEitherWay()
{
    const QHostAddress mapped(QStringLiteral("::ffff:127.0.0.1"));
    for (int i = 0; i < 20; ++i) {
        tick();
        QVERIFY(deliver(peerId(), mapped, m_peer->port(), 1, R"({"cd":"ping","c":0})"));
    }
    QVERIFY(m_user->isConnected());
    QVERIFY(m_user->isProven());
}

void tst_UserSocketPings::after32768CallsPingsTimeOutAndSessionEnds()
{
    for (int i = 0; i < 32767; ++i) {
        m_user->invoke(QStringLiteral("work"), {}, {}, {}, 5000);
    }
    // The peer answers each ping at once, under the number as it reads it: 32768 reads as 0xFFFF8000.
    quint32 number = 32768;
    int ticks = 0;
    while (m_user->isConnected() && ticks < 20) {
        tick();
        ++ticks;
        reply(number++ | 0xFFFF0000U);
    }
    QCOMPARE(ticks, 8); // just as for a silent peer
    QCOMPARE(m_user->roundTrip(), qint64(0));
}

void tst_UserSocketPings::after32768CallsPingsFromPeerKeepSession()
{
    for (int i = 0; i < 32767; ++i) {
        m_user->invoke(QStringLiteral("work"), {}, {}, {}, 5000);
    }
    for (int i = 0; i < 20; ++i) {
        tick();
        callFromPeer(R"({"c":0,"cd":"ping"})");
    }
    QVERIFY(m_user->isConnected());
}

void tst_UserSocketPings::pingIsAnsweredWithEmptyReply()
{
    callFromPeer(R"({"c":0,"cd":"ping"})");
    QCOMPARE(m_peer->received(*m_socket).value(0),
             QByteArray::fromHex("0000000001") + kOwnBytes + kPeerBytes + QByteArray(R"({"cd":""})"));
}

void tst_UserSocketPings::pingTellsPacketsLost()
{
    QCOMPARE(m_user->packetsLost(), qint64(0));
    m_socket->addSocket(m_user);
    m_peer->send(
        Wire::packet(Wire::bigEndian(1), peerId().bytes(), ownId().bytes(), R"({"c":5,"cd":"ping"})"),
        m_socket->localPort());
    QTRY_COMPARE(m_user->packetsLost(), qint64(5)); // not counted as received until it has been accepted
    m_peer->send(
        Wire::packet(Wire::bigEndian(2), peerId().bytes(), ownId().bytes(), R"({"c":8,"cd":"ping"})"),
        m_socket->localPort());
    QTRY_COMPARE(m_user->packetsLost(), qint64(7));
    callFromPeer(R"({"c":0,"cd":"ping"})");
    QCOMPARE(m_user->packetsLost(), qint64(-2));
}

void tst_UserSocketPings::pingWithoutReadableCountLeavesPacketsLost_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("no count") << QByteArray(R"({"cd":"ping"})");
    QTest::newRow("null") << QByteArray(R"({"c":null,"cd":"ping"})");
    QTest::newRow("text") << QByteArray(R"({"c":"many","cd":"ping"})");
    QTest::newRow("array") << QByteArray(R"({"c":[7],"cd":"ping"})");
}

void tst_UserSocketPings::pingWithoutReadableCountLeavesPacketsLost()
{
    QFETCH(QByteArray, json);
    callFromPeer(R"({"c":9,"cd":"ping"})");
    QCOMPARE(m_user->packetsLost(), qint64(9));
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 4; ++i) {
            tick();
        }
        callFromPeer(json);
        QCOMPARE(logged(QtWarningMsg).size(), 1);
        m_log->clear();
    }
    QVERIFY(m_user->isConnected());
    QCOMPARE(m_user->packetsLost(), qint64(9));
}

void tst_UserSocketPings::anyCountFromPeerIsSurvived_data()
{
    QTest::addColumn<QByteArray>("count");
    for (const char* count :
         {"-1", "1e300", "-1e300", "9223372036854775807", "-9223372036854775808", "0.5"}) {
        QTest::newRow(count) << QByteArray(count);
    }
}

void tst_UserSocketPings::anyCountFromPeerIsSurvived()
{
    QFETCH(QByteArray, count);
    m_socket->addSocket(m_user);
    for (quint32 i = 0; i < 3; ++i) {
        m_peer->send(Wire::packet(Wire::bigEndian(i), peerId().bytes(), ownId().bytes(),
                                  R"({"c":)" + count + R"(,"cd":"ping"})"),
                     m_socket->localPort());
    }
    QTRY_COMPARE(m_socket->receivedPackets(), quint64(3));
    QVERIFY(m_user->isConnected());
}

void tst_UserSocketPings::pingAfterEndChangesNothingAndIsAnswered()
{
    callFromPeer(R"({"c":9,"cd":"ping"})");
    m_user->disconnectFromHost();
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
    callFromPeer(R"({"c":20,"cd":"ping"})");
    QCOMPARE(m_user->packetsLost(), qint64(9));
    QVERIFY(!m_user->isConnected());
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

QTEST_GUILESS_MAIN(tst_UserSocketPings)

#include "tst_UserSocketPings.moc"
