#include "Rendezvous/HandshakeSocket.h"

#include "Rendezvous/RendezvousServer.h"
#include "support/LocalNode.h"
#include "support/LogCapture.h"
#include "support/WirePeer.h"

#include <QSignalSpy>
#include <QtTest>
#include <memory>

class tst_HandshakeSocket : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void theConstantsAreThoseOfTheBuild();
    void signalsComeFirstInTheMetaObject();

    void withAnEmptyListThereIsNoMasterAndNoPing();
    void theMasterIsTheNearestToTheOwnId();
    void ofTwoMastersEquallyNearTheEarlierStays();
    void theListeningEndPingsAtTheFirstTickAndThenOnceAMinute();
    void theReachingEndDoesNotPing();
    void theFirstAnsweredPingIsLoggedOnce();
    void sixMissedPingsEndTheLink();
    void anAnswerForgivesMissedPings();
    void aPingOfAnyoneForgivesMissedPingsAndPutsOffTheNext();
    void dropOfTheMasterEndsTheLink();
    void dropOfAnotherChangesNothing();
    void inactiveTheMasterIsToldToForgetAndNotPinged();
    void activeAgainTheNextTickPings();

    void anAttemptMakesSevenCallsIfTheLimitDoesNotComeFirst();
    void anAttemptFailsAfterSixSeconds();
    void theReachingEndAsksTheServerNearestToTheTarget();
    void theReplyOfTheTargetSucceeds();
    void aReplyOfAnotherNodeDoesNot();
    void theCallOfTheTargetSucceeds();
    void theCallOfAnotherIsAnsweredAndHasNoOtherEffect();
    void inactiveTheCallOfTheTargetIsAnsweredAndHasNoOtherEffect();
    void aCallWithoutAnAttemptHasNoEffectWhateverItsSender();
    void aSecondStartReplacesTheTarget();

    void aRelayedRequestStartsAnAttempt();
    void aRequestWithAMissingKeyIsIgnored_data();
    void aRequestWithAMissingKeyIsIgnored();
    void aRequestDuringAnAttemptIsIgnored();
    void aRequestAtTheLastTryIsTakenUp();
    void aRequestAtTheReachingEndIsIgnored();
    void whatArrivesAfterTheObjectHasGoneTouchesNothing();

    void bothEndsReachTheSameServerAndEachOther();
    void thePairFailsWhenNothingPassesBetweenThem();
};

namespace
{

const QByteArray kOwnId(20, '\x11');
const QByteArray kPeerId(20, '\x22');
const QByteArray kMasterId(20, '\x44');
const QByteArray kStrangerId(20, '\x33');

const QString kHolePunching = QStringLiteral("hole_punching");
const QString kRequest = QStringLiteral("request_hole_punching");
const QString kPing = QStringLiteral("master_ping");

/// One end with its signals recorded.
struct End
{
    End(LocalNode& ownNode, const QVector<NodeInfo>& masters, bool listening)
        : node(ownNode)
        , object(std::make_unique<HandshakeSocket>(node.rpcSocket, masters, listening, nullptr,
                                                   [this] { return node.now; }))
        , success(object.get(), &HandshakeSocket::successHandshake)
        , fail(object.get(), &HandshakeSocket::failHandshake)
    {
    }
    void tick(int times, qint64 milliseconds = 1000)
    {
        for (int i = 0; i < times; ++i) {
            node.now += milliseconds;
            object->timeout();
        }
    }

    LocalNode& node;
    std::unique_ptr<HandshakeSocket> object;
    QSignalSpy success;
    QSignalSpy fail;
};

/// Relays a request to punch to the node that it names, as a rendezvous server does.
void relayRequests(WirePeer& server)
{
    QObject::connect(&server, &WirePeer::called, &server, [&server](const QString& command) {
        if (command != kRequest) {
            return;
        }
        const WirePeer::Message request = server.calls(kRequest).last();
        server.call(QByteArray::fromHex(request.body.value(QStringLiteral("id")).toString().toLatin1()),
                    QHostAddress(request.body.value(QStringLiteral("address")).toString()),
                    static_cast<quint16>(request.body.value(QStringLiteral("port")).toInt()), kRequest,
                    {{QStringLiteral("id"), QString::fromLatin1(request.sender.toHex())},
                     {QStringLiteral("address"), QHostAddress(request.address.toIPv4Address()).toString()},
                     {QStringLiteral("port"), request.port}});
    });
}

NodeInfo infoOf(const LocalNode& node)
{
    return {node.rpcSocket->id(), QHostAddress(QHostAddress::LocalHost), node.socket->localPort()};
}

QJsonObject requestFor(const WirePeer& peer)
{
    return {{QStringLiteral("id"), QString::fromLatin1(peer.id().toHex())},
            {QStringLiteral("address"), peer.address().toString()},
            {QStringLiteral("port"), peer.port()}};
}

/// A call of `from`, awaited.
bool callAndWait(WirePeer& from, const LocalNode& node, const QString& command,
                 const QJsonObject& arguments = {})
{
    const int replies = from.replies().size();
    from.call(node.rpcSocket->id().bytes(), QHostAddress(QHostAddress::LocalHost), node.socket->localPort(),
              command, arguments);
    return QTest::qWaitFor([&] { return from.replies().size() > replies; }) &&
           from.replies().last().body == QJsonObject{{QStringLiteral("cd"), QString()}};
}

} // namespace

// The spies record it.
void tst_HandshakeSocket::initTestCase()
{
    qRegisterMetaType<NodeInfo>("NodeInfo");
}

void tst_HandshakeSocket::theConstantsAreThoseOfTheBuild()
{
    QCOMPARE(HandshakeSocket::masterPort(), quint16(29365));
    QCOMPARE(HandshakeSocket::masterId().toString(), QString::fromLatin1(RendezvousServer::kId));
    QVERIFY(!HandshakeSocket::masterId().isNull());
    const QVector<NodeInfo> masters = HandshakeSocket::defaultMasters();
    QCOMPARE(masters.size(), 1);
    QVERIFY(masters.first() == (NodeInfo{HandshakeSocket::masterId(), {}, 0}));
    QCOMPARE(masters.first().address.protocol(), QAbstractSocket::IPv4Protocol);
    QCOMPARE(masters.first().port, quint16(29365));
}

void tst_HandshakeSocket::signalsComeFirstInTheMetaObject()
{
    const QMetaObject& meta = HandshakeSocket::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        methods.append(meta.method(i).methodSignature());
    }
    QCOMPARE(methods, (QByteArrayList{"successHandshake(NodeInfo)", "failHandshake()"}));
}

void tst_HandshakeSocket::withAnEmptyListThereIsNoMasterAndNoPing()
{
    LocalNode node(kOwnId);
    End end(node, {}, true);
    end.tick(10, 70'000);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    end.object->setActive(false);
    end.object->setActive(true);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    End reaching(node, {}, false);
    reaching.object->start(infoOf(node));
    QCOMPARE(node.socket->sentPackets(), quint64(0));
}

void tst_HandshakeSocket::theMasterIsTheNearestToTheOwnId()
{
    LocalNode node(kOwnId);
    const WirePeer far(QByteArray(20, '\x71'));
    const WirePeer near(QByteArray(20, '\x13'));
    const WirePeer further(QByteArray(20, '\x15'));
    End end(node, {LocalNode::info(far), LocalNode::info(near), LocalNode::info(further)}, true);
    end.tick(1);
    QTRY_COMPARE(near.calls(kPing).size(), 1);
    QCOMPARE(far.calls().size() + further.calls().size(), 0);
}

void tst_HandshakeSocket::ofTwoMastersEquallyNearTheEarlierStays()
{
    LocalNode node(kOwnId);
    const WirePeer first(kMasterId);
    const WirePeer second(kMasterId);
    End end(node, {LocalNode::info(first), LocalNode::info(second)}, true);
    end.tick(1);
    QTRY_COMPARE(first.calls(kPing).size(), 1);
    QCOMPARE(second.calls().size(), 0);
}

void tst_HandshakeSocket::theListeningEndPingsAtTheFirstTickAndThenOnceAMinute()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
    QCOMPARE(master.calls().first().body, (QJsonObject{{QStringLiteral("cd"), kPing}}));
    end.tick(60); // the sixtieth tick finds 60 s since the ping, which is not more
    QCOMPARE(node.socket->sentPackets(), quint64(1));
    end.tick(1, 1);
    QTRY_COMPARE(master.calls(kPing).size(), 2);
}

void tst_HandshakeSocket::theReachingEndDoesNotPing()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, false);
    end.tick(3, 70'000);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    end.object->masterPing();
    QTRY_COMPARE(master.calls(kPing).size(), 1);
}

void tst_HandshakeSocket::theFirstAnsweredPingIsLoggedOnce()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    for (quint64 i = 1; i <= 3; ++i) {
        end.tick(1, 70'000);
        QTRY_COMPARE(node.socket->receivedPackets(), i);
    }
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Success connected to the handshake server")});
}

void tst_HandshakeSocket::sixMissedPingsEndTheLink()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    master.setSilent(true);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    for (int missed = 1; missed <= 6; ++missed) {
        end.tick(1, 60'001);
        node.pass(2000);
        node.pass(1); // the ping's 2 s are over
    }
    QTRY_COMPARE(master.calls(kPing).size(), 6);
    const QString text = QStringLiteral("The handshake server is not responding!");
    QVERIFY(!log.texts().contains(text));
    end.tick(1, 1);
    QVERIFY(log.texts().contains(text));
    end.tick(3, 70'000);
    QCOMPARE(node.socket->sentPackets(), quint64(6));
    QCOMPARE(log.texts().count(text), 1);
}

void tst_HandshakeSocket::anAnswerForgivesMissedPings()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    for (int round = 0; round < 2; ++round) {
        master.setSilent(true);
        for (int missed = 1; missed <= 5; ++missed) {
            end.tick(1, 60'001);
            node.pass(2001);
        }
        QTRY_COMPARE(master.calls(kPing).size(), 6 * round + 5);
        master.setSilent(false);
        end.tick(1, 60'001);
        QTRY_COMPARE(node.socket->receivedPackets(), quint64(round + 1));
    }
    QVERIFY(!log.texts().contains(QStringLiteral("The handshake server is not responding!")));
}

void tst_HandshakeSocket::aPingOfAnyoneForgivesMissedPingsAndPutsOffTheNext()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer stranger(kStrangerId);
    master.setSilent(true);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    for (int missed = 1; missed <= 6; ++missed) {
        end.tick(1, 60'001);
        node.pass(2001);
    }
    QVERIFY(callAndWait(stranger, node, kPing));
    end.tick(1, 60'000);
    QCOMPARE(master.calls(kPing).size(), 6);
    QVERIFY(!log.texts().contains(QStringLiteral("The handshake server is not responding!")));
    end.tick(1, 1);
    QTRY_COMPARE(master.calls(kPing).size(), 7);
}

void tst_HandshakeSocket::dropOfTheMasterEndsTheLink()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    QVERIFY(callAndWait(master, node, QStringLiteral("drop")));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Handshake server dropped connection!")});
    const quint64 sent = node.socket->sentPackets();
    end.tick(3, 70'000);
    end.object->setActive(false);
    QCOMPARE(node.socket->sentPackets(), sent);
}

void tst_HandshakeSocket::dropOfAnotherChangesNothing()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    WirePeer stranger(kStrangerId);
    End end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    QVERIFY(callAndWait(stranger, node, QStringLiteral("drop")));
    QCOMPARE(log.texts(), QStringList());
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
}

void tst_HandshakeSocket::inactiveTheMasterIsToldToForgetAndNotPinged()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    QVERIFY(end.object->isActive());
    end.object->setActive(false);
    QVERIFY(!end.object->isActive());
    end.tick(3, 70'000);
    QTRY_COMPARE(master.calls().size(), 1);
    QCOMPARE(master.calls().first().body, (QJsonObject{{QStringLiteral("cd"), QStringLiteral("forget")}}));
    QCOMPARE(node.socket->sentPackets(), quint64(1));
}

void tst_HandshakeSocket::activeAgainTheNextTickPings()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    End end(node, {LocalNode::info(master)}, true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
    end.object->setActive(false);
    end.object->setActive(true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 2);
}

void tst_HandshakeSocket::anAttemptMakesSevenCallsIfTheLimitDoesNotComeFirst()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    End end(node, {}, true);
    const LogCapture log;
    end.object->start(LocalNode::info(peer));
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith(QStringLiteral("Try hole punching ... ")));
    QVERIFY(log.texts().first().endsWith(QStringLiteral(" 127.0.0.1 %1").arg(peer.port())));
    QVERIFY(end.object->isTrying());
    end.tick(6, 100);
    QVERIFY(!end.object->isTrying());
    end.tick(10, 100);
    QTRY_COMPARE(peer.calls(kHolePunching).size(), 7);
    QCOMPARE(peer.calls().first().body, (QJsonObject{{QStringLiteral("cd"), kHolePunching}}));
    QCOMPARE(node.socket->sentPackets(), quint64(7));
    QCOMPARE(end.fail.size(), 0);
}

void tst_HandshakeSocket::anAttemptFailsAfterSixSeconds()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    End end(node, {}, true);
    const LogCapture log;
    end.object->start(LocalNode::info(peer));
    end.tick(6);
    QCOMPARE(end.fail.size(), 0); // 6000 ms are not more than 6000 ms
    end.tick(1);
    QCOMPARE(end.fail.size(), 1);
    QCOMPARE(log.texts().last(), QStringLiteral("Fail hole punching ..."));
    end.tick(10);
    QCOMPARE(end.fail.size(), 1);
    QCOMPARE(end.success.size(), 0);
    QTRY_COMPARE(peer.calls(kHolePunching).size(), 7);
    QCOMPARE(node.socket->sentPackets(), quint64(7));
}

void tst_HandshakeSocket::theReachingEndAsksTheServerNearestToTheTarget()
{
    LocalNode node(kOwnId);
    const WirePeer nearToMe(QByteArray(20, '\x10'));
    const WirePeer nearToThePeer(QByteArray(20, '\x23'));
    const WirePeer peer(kPeerId);
    End end(node, {LocalNode::info(nearToMe), LocalNode::info(nearToThePeer)}, false);
    end.object->start(LocalNode::info(peer));
    QTRY_COMPARE(nearToThePeer.calls().size(), 1);
    QCOMPARE(nearToThePeer.calls().first().body,
             (QJsonObject{{QStringLiteral("cd"), kRequest},
                          {QStringLiteral("id"), QStringLiteral("2222222222222222222222222222222222222222")},
                          {QStringLiteral("address"), QStringLiteral("127.0.0.1")},
                          {QStringLiteral("port"), peer.port()}}));
    QCOMPARE(nearToMe.calls().size() + peer.calls().size(), 0);
    end.tick(1);
    QTRY_COMPARE(peer.calls(kHolePunching).size(), 1);
}

void tst_HandshakeSocket::theReplyOfTheTargetSucceeds()
{
    LocalNode node(kOwnId);
    const WirePeer peer(kPeerId);
    End end(node, {}, true);
    const LogCapture log;
    end.object->start(LocalNode::info(peer));
    end.tick(1);
    QTRY_COMPARE(end.success.size(), 1);
    QCOMPARE(log.texts().last(), QStringLiteral("Success hole punchingss!"));
    end.tick(10);
    QCOMPARE(node.socket->sentPackets(), quint64(1));
    QCOMPARE(end.fail.size(), 0);
    QVERIFY(!end.object->isTrying());
}

void tst_HandshakeSocket::aReplyOfAnotherNodeDoesNot()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    WirePeer stranger(kStrangerId);
    peer.setSilent(true);
    End end(node, {}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(1);
    QTRY_COMPARE(peer.calls().size(), 1);
    stranger.reply(peer.calls().first());
    QTRY_COMPARE(node.socket->receivedPackets(), quint64(1));
    QCOMPARE(end.success.size(), 0);
    QVERIFY(end.object->isTrying());
}

void tst_HandshakeSocket::theCallOfTheTargetSucceeds()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    End end(node, {}, true);
    NodeInfo met;
    connect(end.object.get(), &HandshakeSocket::successHandshake, this,
            [&met](const NodeInfo& info) { met = info; });
    const LogCapture log;
    end.object->start({int160(kPeerId.constData()), QHostAddress(QHostAddress::LocalHost), 9});
    QVERIFY(callAndWait(peer, node, kHolePunching));
    QCOMPARE(end.success.size(), 1);
    QCOMPARE(log.texts().last(), QStringLiteral("Success hole punching!"));
    QCOMPARE(met.id.bytes(), kPeerId);
    QCOMPARE(met.port, peer.port()); // where it called from, not where it was thought to be
    QVERIFY(!end.object->isTrying());
    QVERIFY(callAndWait(peer, node, kHolePunching));
    QCOMPARE(end.success.size(), 1);
}

void tst_HandshakeSocket::theCallOfAnotherIsAnsweredAndHasNoOtherEffect()
{
    LocalNode node(kOwnId);
    const WirePeer peer(kPeerId);
    WirePeer stranger(kStrangerId);
    End end(node, {}, true);
    end.object->start(LocalNode::info(peer));
    QVERIFY(callAndWait(stranger, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
    QVERIFY(end.object->isTrying());
}

void tst_HandshakeSocket::inactiveTheCallOfTheTargetIsAnsweredAndHasNoOtherEffect()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    End end(node, {}, true);
    end.object->setActive(false);
    end.object->start(LocalNode::info(peer));
    QVERIFY(callAndWait(peer, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
}

void tst_HandshakeSocket::aCallWithoutAnAttemptHasNoEffectWhateverItsSender()
{
    LocalNode node(kOwnId);
    WirePeer nobody(QByteArray(20, '\0'));
    End end(node, {}, true);
    QVERIFY(callAndWait(nobody, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
}

void tst_HandshakeSocket::aSecondStartReplacesTheTarget()
{
    LocalNode node(kOwnId);
    WirePeer first(kPeerId);
    WirePeer second(kStrangerId);
    second.setSilent(true);
    End end(node, {}, true);
    end.object->start(LocalNode::info(first));
    end.object->start(LocalNode::info(second));
    QVERIFY(callAndWait(first, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
    end.tick(1);
    QTRY_COMPARE(second.calls(kHolePunching).size(), 1);
}

void tst_HandshakeSocket::aRelayedRequestStartsAnAttempt()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    End end(node, {LocalNode::info(master)}, true);
    QVERIFY(callAndWait(master, node, kRequest, requestFor(peer)));
    QVERIFY(end.object->isTrying());
    end.tick(1);
    QTRY_COMPARE(end.success.size(), 1);
    QCOMPARE(master.calls(kRequest).size(), 0); // this end asks for no relay
}

void tst_HandshakeSocket::aRequestWithAMissingKeyIsIgnored_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("message");
    const QJsonValue none(QJsonValue::Undefined);
    QTest::newRow("no id") << QStringLiteral("id") << none
                           << QStringLiteral("Error parse QJsonObject - no id key!");
    QTest::newRow("no address") << QStringLiteral("address") << none
                                << QStringLiteral("Error parse QJsonObject - no address key!");
    QTest::newRow("no port") << QStringLiteral("port") << none
                             << QStringLiteral("Error convert QJsonObject quint16 value! Key: port, value: ");
    QTest::newRow("port of another type")
        << QStringLiteral("port") << QJsonValue(QStringLiteral("x"))
        << QStringLiteral("Error convert QJsonObject quint16 value! Key: port, value: x");
    QTest::newRow("port 0") << QStringLiteral("port") << QJsonValue(0) << QString();
    QTest::newRow("id that is none") << QStringLiteral("id") << QJsonValue(QStringLiteral("22")) << QString();
    QTest::newRow("null id") << QStringLiteral("id") << QJsonValue(QString(40, QLatin1Char('0')))
                             << QString();
    QTest::newRow("address that is none")
        << QStringLiteral("address") << QJsonValue(QStringLiteral("host")) << QString();
}

void tst_HandshakeSocket::aRequestWithAMissingKeyIsIgnored()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, value);
    QFETCH(QString, message);
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    End end(node, {LocalNode::info(master)}, true);
    QJsonObject request = requestFor(peer);
    request.insert(key, value); // one that is undefined takes the key away
    const LogCapture log;
    QVERIFY(callAndWait(master, node, kRequest, request));
    QVERIFY(!end.object->isTrying());
    QCOMPARE(log.texts().size(), message.isEmpty() ? 0 : 1);
    QVERIFY(message.isEmpty() || log.texts().first().contains(message));
}

void tst_HandshakeSocket::aRequestDuringAnAttemptIsIgnored()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    const WirePeer other(kStrangerId);
    peer.setSilent(true);
    End end(node, {LocalNode::info(master)}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(5, 1); // one try left
    QVERIFY(callAndWait(master, node, kRequest, requestFor(other)));
    end.tick(1, 1);
    QTRY_COMPARE(peer.calls(kHolePunching).size(), 6);
    QCOMPARE(other.calls().size(), 0);
}

void tst_HandshakeSocket::aRequestAtTheLastTryIsTakenUp()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    const WirePeer other(kStrangerId);
    peer.setSilent(true);
    End end(node, {LocalNode::info(master)}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(6, 1); // none above 0 left
    QVERIFY(callAndWait(master, node, kRequest, requestFor(other)));
    end.tick(1, 1);
    QTRY_COMPARE(other.calls(kHolePunching).size(), 1);
}

void tst_HandshakeSocket::aRequestAtTheReachingEndIsIgnored()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    const WirePeer peer(kPeerId);
    End end(node, {LocalNode::info(master)}, false);
    QVERIFY(callAndWait(master, node, kRequest, requestFor(peer)));
    QVERIFY(!end.object->isTrying());
}

void tst_HandshakeSocket::whatArrivesAfterTheObjectHasGoneTouchesNothing()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    {
        End end(node, {LocalNode::info(master)}, true);
        end.object->start(LocalNode::info(peer));
        end.tick(1);
        QTRY_COMPARE(peer.calls().size(), 1);
    }
    peer.reply(peer.calls().first());
    for (const QString& command : {kHolePunching, kRequest, kPing, QStringLiteral("drop")}) {
        QVERIFY(callAndWait(master, node, command, requestFor(peer)));
    }
    node.pass(60'000);
}

void tst_HandshakeSocket::bothEndsReachTheSameServerAndEachOther()
{
    // Ids far apart: each end would choose another server for itself.
    WirePeer first(QByteArray(20, '\x10'));
    WirePeer second(QByteArray(20, '\x61'));
    relayRequests(first);
    relayRequests(second);
    const QVector<NodeInfo> masters{LocalNode::info(first), LocalNode::info(second)};
    LocalNode listeningNode(QByteArray(20, '\x60'));
    LocalNode reachingNode(QByteArray(20, '\x11'));
    End listening(listeningNode, masters, true);
    End reaching(reachingNode, masters, false);

    listening.tick(1);
    QTRY_COMPARE(second.calls(kPing).size(), 1);
    reaching.object->start(infoOf(listeningNode));
    QTRY_VERIFY(listening.object->isTrying());
    QCOMPARE(second.calls(kRequest).size(), 1);
    QCOMPARE(first.calls().size(), 0);

    reaching.tick(1);
    listening.tick(1);
    QTRY_COMPARE(reaching.success.size(), 1);
    QTRY_COMPARE(listening.success.size(), 1);
    reaching.tick(10);
    listening.tick(10);
    QCOMPARE(reaching.success.size() + reaching.fail.size(), 1);
    QCOMPARE(listening.success.size() + listening.fail.size(), 1);
}

void tst_HandshakeSocket::thePairFailsWhenNothingPassesBetweenThem()
{
    WirePeer server(kMasterId);
    relayRequests(server);
    const QVector<NodeInfo> masters{LocalNode::info(server)};
    LocalNode listeningNode(kPeerId);
    LocalNode reachingNode(kOwnId);
    End listening(listeningNode, masters, true);
    End reaching(reachingNode, masters, false);
    reaching.object->start(infoOf(listeningNode));
    QTRY_VERIFY(listening.object->isTrying());
    // From here on both are deaf to each other.
    listeningNode.socket->removeSocket(listeningNode.rpcSocket);
    reachingNode.socket->removeSocket(reachingNode.rpcSocket);
    reaching.tick(7);
    listening.tick(7);
    QCOMPARE(reaching.fail.size(), 1);
    QCOMPARE(listening.fail.size(), 1);
    QCOMPARE(reaching.success.size() + listening.success.size(), 0);
}

QTEST_GUILESS_MAIN(tst_HandshakeSocket)
#include "tst_HandshakeSocket.moc"
