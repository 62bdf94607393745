#include "Rendezvous/HandshakeEnd.h"
#include "Rendezvous/RendezvousServer.h"
#include "support/LogCapture.h"

#include <QtTest>

/// The link to the rendezvous server.
class tst_HandshakeSocket : public QObject
{
    Q_OBJECT

private slots:
    void constantsAreThoseOfBuild();
    void signalsComeFirstInMetaObject();
    void withEmptyListThereIsNoMasterAndNoPing();
    void masterIsNearestToOwnId();
    void ofTwoMastersEquallyNearEarlierStays();
    void listeningEndPingsAtFirstTickAndThenOncePerMinute();
    void reachingEndDoesNotPing();
    void firstAnsweredPingIsLoggedOnce();
    void sixMissedPingsEndLink();
    void answerForgivesMissedPings();
    void pingOfAnyoneForgivesMissedPingsAndPutsOffNext();
    void dropOfMasterEndsLink();
    void dropOfAnotherChangesNothing();
    void whileInactiveMasterIsToldToForgetAndNotPinged();
    void onceActiveAgainNextTickPings();
};

void tst_HandshakeSocket::constantsAreThoseOfBuild()
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

void tst_HandshakeSocket::signalsComeFirstInMetaObject()
{
    const QMetaObject& meta = HandshakeSocket::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        methods.append(meta.method(i).methodSignature());
    }
    QCOMPARE(methods, (QByteArrayList{"successHandshake(NodeInfo)", "failHandshake()"}));
}

void tst_HandshakeSocket::withEmptyListThereIsNoMasterAndNoPing()
{
    LocalNode node(kOwnId);
    HandshakeEnd end(node, {}, true);
    end.tick(10, 70'000);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    end.object->setActive(false);
    end.object->setActive(true);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    HandshakeEnd reaching(node, {}, false);
    reaching.object->start(infoOf(node));
    QCOMPARE(node.socket->sentPackets(), quint64(0));
}

void tst_HandshakeSocket::masterIsNearestToOwnId()
{
    LocalNode node(kOwnId);
    const WirePeer far(QByteArray(20, '\x71'));
    const WirePeer near(QByteArray(20, '\x13'));
    const WirePeer further(QByteArray(20, '\x15'));
    HandshakeEnd end(node, {LocalNode::info(far), LocalNode::info(near), LocalNode::info(further)}, true);
    end.tick(1);
    QTRY_COMPARE(near.calls(kPing).size(), 1);
    QCOMPARE(far.calls().size() + further.calls().size(), 0);
}

void tst_HandshakeSocket::ofTwoMastersEquallyNearEarlierStays()
{
    LocalNode node(kOwnId);
    const WirePeer first(kMasterId);
    const WirePeer second(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(first), LocalNode::info(second)}, true);
    end.tick(1);
    QTRY_COMPARE(first.calls(kPing).size(), 1);
    QCOMPARE(second.calls().size(), 0);
}

void tst_HandshakeSocket::listeningEndPingsAtFirstTickAndThenOncePerMinute()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
    QCOMPARE(master.calls().first().body, (QJsonObject{{QStringLiteral("cd"), kPing}}));
    end.tick(60); // the sixtieth tick finds 60 s since the ping, which is not more
    QCOMPARE(node.socket->sentPackets(), quint64(1));
    end.tick(1, 1);
    QTRY_COMPARE(master.calls(kPing).size(), 2);
}

void tst_HandshakeSocket::reachingEndDoesNotPing()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, false);
    end.tick(3, 70'000);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
    end.object->masterPing();
    QTRY_COMPARE(master.calls(kPing).size(), 1);
}

void tst_HandshakeSocket::firstAnsweredPingIsLoggedOnce()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    for (quint64 i = 1; i <= 3; ++i) {
        end.tick(1, 70'000);
        QTRY_COMPARE(node.socket->receivedPackets(), i);
    }
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Success connected to the handshake server")});
}

void tst_HandshakeSocket::sixMissedPingsEndLink()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    master.setSilent(true);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
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

void tst_HandshakeSocket::answerForgivesMissedPings()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
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

void tst_HandshakeSocket::pingOfAnyoneForgivesMissedPingsAndPutsOffNext()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    WirePeer stranger(kStrangerId);
    master.setSilent(true);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
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

void tst_HandshakeSocket::dropOfMasterEndsLink()
{
    LocalNode node(kOwnId);
    WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
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
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    const LogCapture log;
    QVERIFY(callAndWait(stranger, node, QStringLiteral("drop")));
    QCOMPARE(log.texts(), QStringList());
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
}

void tst_HandshakeSocket::whileInactiveMasterIsToldToForgetAndNotPinged()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    QVERIFY(end.object->isActive());
    end.object->setActive(false);
    QVERIFY(!end.object->isActive());
    end.tick(3, 70'000);
    QTRY_COMPARE(master.calls().size(), 1);
    QCOMPARE(master.calls().first().body, (QJsonObject{{QStringLiteral("cd"), QStringLiteral("forget")}}));
    QCOMPARE(node.socket->sentPackets(), quint64(1));
}

void tst_HandshakeSocket::onceActiveAgainNextTickPings()
{
    LocalNode node(kOwnId);
    const WirePeer master(kMasterId);
    HandshakeEnd end(node, {LocalNode::info(master)}, true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 1);
    end.object->setActive(false);
    end.object->setActive(true);
    end.tick(1);
    QTRY_COMPARE(master.calls(kPing).size(), 2);
}

QTEST_GUILESS_MAIN(tst_HandshakeSocket)
#include "tst_HandshakeSocket.moc"
