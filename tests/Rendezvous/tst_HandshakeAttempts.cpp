#include "Rendezvous/HandshakeEnd.h"
#include "support/LogCapture.h"

#include <QtTest>

/// HandshakeSocket on its way to a peer.
class tst_HandshakeAttempts : public QObject
{
    Q_OBJECT

private slots:
    void attemptMakesSevenCallsIfLimitDoesNotComeFirst();
    void attemptFailsAfterSixSeconds();
    void reachingEndAsksServerNearestToTarget();
    void replyOfTargetSucceeds();
    void replyOfAnotherNodeDoesNot();
    void callOfTargetSucceeds();
    void callOfAnotherIsAnsweredAndHasNoOtherEffect();
    void whileInactiveCallOfTargetIsAnsweredAndHasNoOtherEffect();
    void callWithoutAttemptHasNoEffectWhateverItsSender();
    void secondStartReplacesTarget();
};

void tst_HandshakeAttempts::attemptMakesSevenCallsIfLimitDoesNotComeFirst()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    HandshakeEnd end(node, {}, true);
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

void tst_HandshakeAttempts::attemptFailsAfterSixSeconds()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    HandshakeEnd end(node, {}, true);
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

void tst_HandshakeAttempts::reachingEndAsksServerNearestToTarget()
{
    LocalNode node(kOwnId);
    const WirePeer nearToMe(QByteArray(20, '\x10'));
    const WirePeer nearToThePeer(QByteArray(20, '\x23'));
    const WirePeer peer(kPeerId);
    HandshakeEnd end(node, {LocalNode::info(nearToMe), LocalNode::info(nearToThePeer)}, false);
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

void tst_HandshakeAttempts::replyOfTargetSucceeds()
{
    LocalNode node(kOwnId);
    const WirePeer peer(kPeerId);
    HandshakeEnd end(node, {}, true);
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

void tst_HandshakeAttempts::replyOfAnotherNodeDoesNot()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    WirePeer stranger(kStrangerId);
    peer.setSilent(true);
    HandshakeEnd end(node, {}, true);
    end.object->start(LocalNode::info(peer));
    end.tick(1);
    QTRY_COMPARE(peer.calls().size(), 1);
    stranger.reply(peer.calls().first());
    QTRY_COMPARE(node.socket->receivedPackets(), quint64(1));
    QCOMPARE(end.success.size(), 0);
    QVERIFY(end.object->isTrying());
}

void tst_HandshakeAttempts::callOfTargetSucceeds()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    HandshakeEnd end(node, {}, true);
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

void tst_HandshakeAttempts::callOfAnotherIsAnsweredAndHasNoOtherEffect()
{
    LocalNode node(kOwnId);
    const WirePeer peer(kPeerId);
    WirePeer stranger(kStrangerId);
    HandshakeEnd end(node, {}, true);
    end.object->start(LocalNode::info(peer));
    QVERIFY(callAndWait(stranger, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
    QVERIFY(end.object->isTrying());
}

void tst_HandshakeAttempts::whileInactiveCallOfTargetIsAnsweredAndHasNoOtherEffect()
{
    LocalNode node(kOwnId);
    WirePeer peer(kPeerId);
    HandshakeEnd end(node, {}, true);
    end.object->setActive(false);
    end.object->start(LocalNode::info(peer));
    QVERIFY(callAndWait(peer, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
}

void tst_HandshakeAttempts::callWithoutAttemptHasNoEffectWhateverItsSender()
{
    LocalNode node(kOwnId);
    WirePeer nobody(QByteArray(20, '\0'));
    HandshakeEnd end(node, {}, true);
    QVERIFY(callAndWait(nobody, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
}

void tst_HandshakeAttempts::secondStartReplacesTarget()
{
    LocalNode node(kOwnId);
    WirePeer first(kPeerId);
    WirePeer second(kStrangerId);
    second.setSilent(true);
    HandshakeEnd end(node, {}, true);
    end.object->start(LocalNode::info(first));
    end.object->start(LocalNode::info(second));
    QVERIFY(callAndWait(first, node, kHolePunching));
    QCOMPARE(end.success.size(), 0);
    end.tick(1);
    QTRY_COMPARE(second.calls(kHolePunching).size(), 1);
}

QTEST_GUILESS_MAIN(tst_HandshakeAttempts)
#include "tst_HandshakeAttempts.moc"
