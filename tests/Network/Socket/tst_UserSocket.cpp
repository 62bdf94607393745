#include "Network/Socket/UserSocket.h"

#include "Network/Data/Base58.h"
#include "support/LogCapture.h"
#include "support/WirePeer.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>
#include <memory>

class tst_UserSocket : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    // First, since the lines they look for are limited to 50 a second.
    void theDisconnectIsLoggedWithTheCallersAddress();
    void disconnectFromHostTellsThePeerAndLogs();

    void aPingGoesOutAsDrawn();
    void noPingLeavesBeforeMoreThanTheIntervalHasPassed();
    void theIntervalCanBeSet();
    void anAnsweredPingGivesTheRoundTrip();
    void aReplyToTheEarlierOfTwoPingsMeasuresFromTheLater();

    void theFifthSilentPingEndsTheSession();
    void theMaximumOfMissedPingsCanBeSet();
    void oneAnsweredPingForgivesFourMisses();
    void onePingFromThePeerForgivesFourMisses();
    void pingsOfStrangersForgiveNothing_data();
    void pingsOfStrangersForgiveNothing();
    void repliesOfStrangersForgiveNothing_data();
    void repliesOfStrangersForgiveNothing();
    void thePeersIPv4AddressMayBeGivenEitherWay();
    void after32768CallsPingsTimeOutAndTheSessionEnds();
    void after32768CallsPingsFromThePeerKeepTheSession();

    void aPingIsAnsweredWithAnEmptyReply();
    void aPingTellsThePacketsLost();
    void aPingWithoutAReadableCountLeavesThePacketsLost_data();
    void aPingWithoutAReadableCountLeavesThePacketsLost();
    void anyCountFromThePeerIsSurvived_data();
    void anyCountFromThePeerIsSurvived();
    void aPingAfterTheEndChangesNothingAndIsAnswered();

    void aPacketFromThePeersAddressProvesIt_data();
    void aPacketFromThePeersAddressProvesIt();
    void nothingElseProvesThePeersAddress();

    void thePeersDisconnectEndsTheSession();
    void thePeersSecondDisconnectIsAnsweredAndNothingElse();
    void disconnectFromHostTwiceSendsOneMessageAndEmitsOnce();
    void aDisconnectAfterTheLocalEndIsAnsweredAndNothingElse();
    void destroyedWhileConnectedItTellsThePeerAndEmits();
    void destroyedAfterTheEndItSendsNothing();
    void afterTheEndNoPingLeavesAndPendingCallsExpire();

    void invokeCallsThePeer();
    void theOwnerMayDetachWhenThePeerLeaves();
    void theOwnerMayDetachWhenThePeerFallsSilent();
    void twoUserSocketsKeepEachOtherAliveUntilOneLeaves();

private:
    void tick(qint64 milliseconds = 1001);
    void reply(quint32 number);
    void callFromPeer(const QByteArray& json);
    bool deliver(const int160& sender, const QHostAddress& address, quint16 port, quint32 number,
                 const QByteArray& json);
    static void addStrangers();
    int missTo(int count);
    [[nodiscard]] QStringList logged(QtMsgType type) const;

    std::unique_ptr<LogCapture> m_log;
    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<UserSocket> m_user;
};

namespace
{

const QByteArray kOwnBytes = QByteArray::fromHex("0102030405060708090a0b0c0d0e0f1011121314");
const QByteArray kPeerBytes = QByteArray::fromHex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4");

int160 ownId()
{
    return int160(kOwnBytes.constData());
}

int160 peerId()
{
    return int160(kPeerBytes.constData());
}

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.append(static_cast<char>((number >> shift) & 0xFF));
    }
    return bytes;
}

QStringList commands(const QList<WirePeer::Packet>& packets)
{
    QStringList names;
    for (const auto& packet : packets) {
        names.append(packet.command());
    }
    return names;
}

} // namespace

void tst_UserSocket::init()
{
    m_log = std::make_unique<LogCapture>();
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_user = QSharedPointer<UserSocket>::create(m_socket, ownId(), m_peer->node(peerId()), nullptr,
                                                [this] { return m_now; });
}

void tst_UserSocket::cleanup()
{
    m_socket->removeSocket(m_user); // attached, each would keep the other
    m_user.clear();
    m_peer.reset();
    m_socket.clear();
    QCOMPARE(logged(QtWarningMsg), QStringList());
    m_log.reset();
}

// What was logged since the test began or cleared the log, less the report of lines that an earlier test had
// left out.
QStringList tst_UserSocket::logged(QtMsgType type) const
{
    return m_log->texts(type).filter(QRegularExpression(QStringLiteral("^(?!.*lines left out)")));
}

void tst_UserSocket::tick(qint64 milliseconds)
{
    m_now += milliseconds;
    m_user->onTimeout();
}

// The peer answers the call of this number.
void tst_UserSocket::reply(quint32 number)
{
    QByteArray data = WirePeer::packet(bigEndian(number), peerId(), ownId(), R"({"cd":""})");
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
}

void tst_UserSocket::callFromPeer(const QByteArray& json)
{
    QByteArray data = WirePeer::packet(bigEndian(1), peerId(), ownId(), json);
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
}

bool tst_UserSocket::deliver(const int160& sender, const QHostAddress& address, quint16 port, quint32 number,
                             const QByteArray& json)
{
    QByteArray data = WirePeer::packet(bigEndian(number), sender, ownId(), json);
    return m_user->readyRead(data, address, port);
}

// What tells a stranger, who knows the session's id, from the peer.
void tst_UserSocket::addStrangers()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("portStep");
    QTest::newRow("another id") << kOwnBytes << QStringLiteral("127.0.0.1") << 0;
    QTest::newRow("another address") << kPeerBytes << QStringLiteral("127.0.0.2") << 0;
    QTest::newRow("another port") << kPeerBytes << QStringLiteral("127.0.0.1") << 1;
}

// Ticks until `count` pings have timed out without an answer; returns the pings sent. At 1001 ms a tick the
// first ping, of 1500 ms, expires in the third.
int tst_UserSocket::missTo(int count)
{
    const int ticks = count + 2;
    for (int i = 0; i < ticks; ++i) {
        tick();
    }
    return ticks;
}

void tst_UserSocket::aPingGoesOutAsDrawn()
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

void tst_UserSocket::noPingLeavesBeforeMoreThanTheIntervalHasPassed()
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

void tst_UserSocket::theIntervalCanBeSet()
{
    m_user->setPingInterval(3000);
    tick(3000);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
    tick(1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_UserSocket::anAnsweredPingGivesTheRoundTrip()
{
    QCOMPARE(m_user->roundTrip(), qint64(0));
    tick();
    m_now += 87;
    reply(1);
    QCOMPARE(m_user->roundTrip(), qint64(87));
}

void tst_UserSocket::aReplyToTheEarlierOfTwoPingsMeasuresFromTheLater()
{
    tick();
    tick();
    m_now += 20;
    reply(1);
    QCOMPARE(m_user->roundTrip(), qint64(20));
}

void tst_UserSocket::theFifthSilentPingEndsTheSession()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    missTo(4);
    tick(1500); // four misses: the session stands; the fifth ping expires in this very tick
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
    const QStringList sent = commands(m_peer->receivedPackets(*m_socket));
    QCOMPARE(sent.count(QStringLiteral("ping")), sent.size()); // silence is not answered by a farewell
}

void tst_UserSocket::theMaximumOfMissedPingsCanBeSet()
{
    m_user->setMaximumMissedPings(0);
    missTo(1);
    QVERIFY(m_user->isConnected());
    tick();
    QVERIFY(!m_user->isConnected());
}

void tst_UserSocket::oneAnsweredPingForgivesFourMisses()
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

void tst_UserSocket::onePingFromThePeerForgivesFourMisses()
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

void tst_UserSocket::pingsOfStrangersForgiveNothing_data()
{
    addStrangers();
}

void tst_UserSocket::pingsOfStrangersForgiveNothing()
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

void tst_UserSocket::repliesOfStrangersForgiveNothing_data()
{
    addStrangers();
}

void tst_UserSocket::repliesOfStrangersForgiveNothing()
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

void tst_UserSocket::thePeersIPv4AddressMayBeGivenEitherWay()
{
    const QHostAddress mapped(QStringLiteral("::ffff:127.0.0.1"));
    for (int i = 0; i < 20; ++i) {
        tick();
        QVERIFY(deliver(peerId(), mapped, m_peer->port(), 1, R"({"cd":"ping","c":0})"));
    }
    QVERIFY(m_user->isConnected());
    QVERIFY(m_user->isProven());
}

void tst_UserSocket::after32768CallsPingsTimeOutAndTheSessionEnds()
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

void tst_UserSocket::after32768CallsPingsFromThePeerKeepTheSession()
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

void tst_UserSocket::aPingIsAnsweredWithAnEmptyReply()
{
    callFromPeer(R"({"c":0,"cd":"ping"})");
    QCOMPARE(m_peer->received(*m_socket).value(0),
             QByteArray::fromHex("0000000001") + kOwnBytes + kPeerBytes + QByteArray(R"({"cd":""})"));
}

void tst_UserSocket::aPingTellsThePacketsLost()
{
    QCOMPARE(m_user->packetsLost(), qint64(0));
    m_socket->addSocket(m_user);
    m_peer->send(WirePeer::packet(bigEndian(1), peerId(), ownId(), R"({"c":5,"cd":"ping"})"),
                 m_socket->localPort());
    QTRY_COMPARE(m_user->packetsLost(), qint64(5)); // not counted as received until it has been accepted
    m_peer->send(WirePeer::packet(bigEndian(2), peerId(), ownId(), R"({"c":8,"cd":"ping"})"),
                 m_socket->localPort());
    QTRY_COMPARE(m_user->packetsLost(), qint64(7));
    callFromPeer(R"({"c":0,"cd":"ping"})");
    QCOMPARE(m_user->packetsLost(), qint64(-2));
}

void tst_UserSocket::aPingWithoutAReadableCountLeavesThePacketsLost_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("no count") << QByteArray(R"({"cd":"ping"})");
    QTest::newRow("null") << QByteArray(R"({"c":null,"cd":"ping"})");
    QTest::newRow("text") << QByteArray(R"({"c":"many","cd":"ping"})");
    QTest::newRow("array") << QByteArray(R"({"c":[7],"cd":"ping"})");
}

void tst_UserSocket::aPingWithoutAReadableCountLeavesThePacketsLost()
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

void tst_UserSocket::anyCountFromThePeerIsSurvived_data()
{
    QTest::addColumn<QByteArray>("count");
    for (const char* count :
         {"-1", "1e300", "-1e300", "9223372036854775807", "-9223372036854775808", "0.5"}) {
        QTest::newRow(count) << QByteArray(count);
    }
}

void tst_UserSocket::anyCountFromThePeerIsSurvived()
{
    QFETCH(QByteArray, count);
    m_socket->addSocket(m_user);
    for (quint32 i = 0; i < 3; ++i) {
        m_peer->send(
            WirePeer::packet(bigEndian(i), peerId(), ownId(), R"({"c":)" + count + R"(,"cd":"ping"})"),
            m_socket->localPort());
    }
    QTRY_COMPARE(m_socket->receivedPackets(), quint64(3));
    QVERIFY(m_user->isConnected());
}

void tst_UserSocket::aPingAfterTheEndChangesNothingAndIsAnswered()
{
    callFromPeer(R"({"c":9,"cd":"ping"})");
    m_user->disconnectFromHost();
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
    callFromPeer(R"({"c":20,"cd":"ping"})");
    QCOMPARE(m_user->packetsLost(), qint64(9));
    QVERIFY(!m_user->isConnected());
    QCOMPARE(m_peer->received(*m_socket).value(0).mid(45), QByteArray(R"({"cd":""})"));
}

void tst_UserSocket::aPacketFromThePeersAddressProvesIt_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("call") << QByteArray(R"({"cd":"ping","c":0})");
    QTest::newRow("reply") << QByteArray(R"({"cd":""})");
    QTest::newRow("no JSON") << QByteArray("x");
}

void tst_UserSocket::aPacketFromThePeersAddressProvesIt()
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

void tst_UserSocket::nothingElseProvesThePeersAddress()
{
    const QSignalSpy proven(m_user.data(), &UserSocket::proven);
    const QByteArray ping = R"({"cd":"ping","c":0})";
    QVERIFY(deliver(peerId(), QHostAddress(QStringLiteral("127.0.0.2")), m_peer->port(), 1, ping));
    QVERIFY(deliver(peerId(), m_peer->address(), static_cast<quint16>(m_peer->port() + 1), 1, ping));
    QByteArray toAnother = WirePeer::packet(bigEndian(1), peerId(), peerId(), ping);
    QVERIFY(!m_user->readyRead(toAnother, m_peer->address(), m_peer->port()));
    tick();
    QVERIFY(!m_user->isProven());
    QCOMPARE(proven.size(), 0);
}

void tst_UserSocket::thePeersDisconnectEndsTheSession()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QVERIFY(!m_user->isConnected());
    QCOMPARE(disconnected.size(), 1);
    const auto sent = m_peer->receivedPackets(*m_socket);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json, QByteArray(R"({"cd":""})"));
}

void tst_UserSocket::thePeersSecondDisconnectIsAnsweredAndNothingElse()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QCOMPARE(disconnected.size(), 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 2);
}

void tst_UserSocket::theDisconnectIsLoggedWithTheCallersAddress()
{
    // Told is the node that called, here another one than the peer.
    const int160 strangerId(kOwnBytes.constData());
    QByteArray data = WirePeer::packet(bigEndian(1), strangerId, ownId(), R"({"cd":"disconnect_from_host"})");
    WirePeer stranger;
    m_log->clear();
    QVERIFY(m_user->readyRead(data, stranger.address(), stranger.port()));
    QCOMPARE(logged(QtDebugMsg), QStringList{QStringLiteral("Disconnect from host ... %1 127.0.0.1 %2")
                                                 .arg(Base58::encode(kOwnBytes))
                                                 .arg(stranger.port())});
}

void tst_UserSocket::disconnectFromHostTellsThePeerAndLogs()
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

void tst_UserSocket::disconnectFromHostTwiceSendsOneMessageAndEmitsOnce()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    m_user->disconnectFromHost();
    m_user->disconnectFromHost();
    QCOMPARE(disconnected.size(), 1);
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
}

void tst_UserSocket::aDisconnectAfterTheLocalEndIsAnsweredAndNothingElse()
{
    const QSignalSpy disconnected(m_user.data(), &UserSocket::disconnected);
    m_user->disconnectFromHost();
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    const auto sent = m_peer->receivedPackets(*m_socket);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().json, QByteArray(R"({"cd":""})"));
    QCOMPARE(disconnected.size(), 1);
}

void tst_UserSocket::destroyedWhileConnectedItTellsThePeerAndEmits()
{
    int emitted = 0;
    connect(m_user.data(), &UserSocket::disconnected, this, [&] { ++emitted; });
    m_user.clear();
    QCOMPARE(emitted, 1);
    QCOMPARE(commands(m_peer->receivedPackets(*m_socket)),
             QStringList{QStringLiteral("disconnect_from_host")});
}

void tst_UserSocket::destroyedAfterTheEndItSendsNothing()
{
    callFromPeer(R"({"cd":"disconnect_from_host"})");
    QCOMPARE(m_peer->received(*m_socket).size(), 1);
    int emitted = 0;
    connect(m_user.data(), &UserSocket::disconnected, this, [&] { ++emitted; });
    m_user.clear();
    QCOMPARE(emitted, 0);
    QVERIFY(m_peer->received(*m_socket).isEmpty());
}

void tst_UserSocket::afterTheEndNoPingLeavesAndPendingCallsExpire()
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

void tst_UserSocket::invokeCallsThePeer()
{
    QJsonObject reply;
    QVERIFY(m_user->invoke(
        QStringLiteral("work"), {{QStringLiteral("x"), 7}},
        [&](const QJsonObject& object, const NodeInfo&) { reply = object; }, {}, 5000));
    QCOMPARE(m_peer->received(*m_socket).value(0), QByteArray::fromHex("0000000001") + kOwnBytes +
                                                       kPeerBytes + QByteArray(R"({"cd":"work","x":7})"));
    QByteArray data = WirePeer::packet(bigEndian(1), peerId(), ownId(), R"({"cd":"","y":8})");
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
    QCOMPARE(reply.value(QStringLiteral("y")).toInt(), 8);
    QCOMPARE(m_user->peer().id.bytes(), kPeerBytes);
}

void tst_UserSocket::theOwnerMayDetachWhenThePeerLeaves()
{
    m_socket->addSocket(m_user);
    connect(m_user.data(), &UserSocket::disconnected, m_socket.data(),
            [this] { m_socket->removeSocket(m_user); });
    const QByteArray leave =
        WirePeer::packet(bigEndian(1), peerId(), ownId(), R"({"cd":"disconnect_from_host"})");
    m_peer->send(leave, m_socket->localPort());
    m_peer->send(leave, m_socket->localPort());
    QCOMPARE(m_peer->next().mid(45), QByteArray(R"({"cd":""})"));
    QVERIFY(!m_user->isConnected());
    QVERIFY(m_peer->received(*m_socket).isEmpty()); // detached: the second is nobody's
    QCOMPARE(m_socket->receivedPackets(), quint64(1));
}

void tst_UserSocket::theOwnerMayDetachWhenThePeerFallsSilent()
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
