#include "Rendezvous/HolePunching.h"

#include "support/LocalNode.h"
#include "support/WirePeer.h"

#include <QtTest>
#include <memory>

class tst_HolePunching : public QObject
{
    Q_OBJECT

private slots:
    void isIdleUntilStartedAndThenTicksTwicePerSecond();
    void everyCallIsBareCommand();
    void peerThatAnswersFirstCallStopsRunAfterOneCall();
    void peerThatNeverAnswersGetsElevenCallsAndFailComesOnce();
    void timerDrivesWholeRun();
    void replyThatComesAfterFailureSucceedsWithEmptyNode();
    void secondReplyToRunCountsOnceMoreWithEmptyNode();
    void replyIsAwaitedForFiveSeconds_data();
    void replyIsAwaitedForFiveSeconds();
    void secondStartReplacesTargetAndCountdown();
    void anyPeerMayCallAndGetsEmptyReply_data();
    void anyPeerMayCallAndGetsEmptyReply();
    void whatArrivesAfterObjectHasGoneTouchesNothing();
};

namespace
{

constexpr int kNever = 3'600'000; // ms; the test ticks by itself

const QByteArray kServerId(20, '\x11');
const QByteArray kPeerId(20, '\x22');
const QByteArray kOtherId(20, '\x33');
const QString kCommand = QStringLiteral("process_hole_punching");
const QString kIdentificator = QStringLiteral("receiver 1");

/// A run with its signals recorded.
struct Punching
{
    struct Success
    {
        NodeInfo node;
        QString identificator;
    };

    explicit Punching(const LocalNode& node, int intervalMs = kNever)
        : object(std::make_unique<HolePunching>(node.rpcSocket, nullptr, intervalMs))
    {
        QObject::connect(object.get(), &HolePunching::success,
                         [this](const NodeInfo& peer, const QString& identificator) {
                             successes.append({peer, identificator});
                         });
        QObject::connect(object.get(), &HolePunching::fail,
                         [this](const NodeInfo& peer) { fails.append(peer); });
    }
    [[nodiscard]] const QTimer* timer() const { return object->findChild<QTimer*>(); }
    void tick(int times)
    {
        for (int i = 0; i < times; ++i) {
            object->onTimeout();
        }
    }

    QVector<Success> successes;
    QVector<NodeInfo> fails;
    std::unique_ptr<HolePunching> object;
};

bool isEmpty(const NodeInfo& node)
{
    return node.id == int160() && node.address.isNull() && node.port == 0;
}

} // namespace

void tst_HolePunching::isIdleUntilStartedAndThenTicksTwicePerSecond()
{
    const LocalNode node(kServerId);
    const WirePeer peer(kPeerId);
    HolePunching punching(node.rpcSocket, nullptr);
    const QTimer* const timer = punching.findChild<QTimer*>();
    QVERIFY(!timer->isActive());
    punching.start(LocalNode::info(peer), kIdentificator);
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 500);
    QCOMPARE(node.socket->sentPackets(), quint64(0));
}

void tst_HolePunching::everyCallIsBareCommand()
{
    const LocalNode node(kServerId);
    const WirePeer peer(kPeerId);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(1);
    QTRY_COMPARE(peer.calls().size(), 1);
    QCOMPARE(peer.calls().constFirst().sender, kServerId);
    QCOMPARE(peer.calls().constFirst().body, (QJsonObject{{QStringLiteral("cd"), kCommand}}));
}

void tst_HolePunching::peerThatAnswersFirstCallStopsRunAfterOneCall()
{
    const LocalNode node(kServerId);
    const WirePeer peer(kPeerId);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(1);
    QTRY_COMPARE(punching.successes.size(), 1);
    const Punching::Success& success = punching.successes.constFirst();
    QCOMPARE(success.node.id, int160(kPeerId.constData()));
    QCOMPARE(success.node.address, QHostAddress(QHostAddress::LocalHost));
    QCOMPARE(success.node.port, peer.port());
    QCOMPARE(success.identificator, kIdentificator);
    QVERIFY(!punching.timer()->isActive());
    QCOMPARE(peer.calls().size(), 1);
    QCOMPARE(punching.fails.size(), 0);
}

void tst_HolePunching::peerThatNeverAnswersGetsElevenCallsAndFailComesOnce()
{
    const LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(10);
    QCOMPARE(punching.fails.size(), 0);
    QVERIFY(punching.timer()->isActive());
    punching.tick(1);
    QCOMPARE(punching.fails.size(), 1);
    QVERIFY(isEmpty(punching.fails.constFirst()));
    QVERIFY(!punching.timer()->isActive());
    QTRY_COMPARE(peer.calls().size(), 11);
    QCOMPARE(punching.successes.size(), 0);
}

void tst_HolePunching::timerDrivesWholeRun()
{
    const LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node, 1);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    QTRY_COMPARE(punching.fails.size(), 1);
    QTRY_COMPARE(peer.calls().size(), 11);
    QCOMPARE(node.socket->sentPackets(), quint64(11));
}

void tst_HolePunching::replyThatComesAfterFailureSucceedsWithEmptyNode()
{
    LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(11);
    QTRY_COMPARE(peer.calls().size(), 11);
    QCOMPARE(punching.fails.size(), 1);
    node.pass(4900);
    peer.reply(peer.calls().constLast());
    QTRY_COMPARE(punching.successes.size(), 1);
    QVERIFY(isEmpty(punching.successes.constFirst().node));
    QCOMPARE(punching.successes.constFirst().identificator, kIdentificator);
    QCOMPARE(punching.fails.size(), 1);
}

void tst_HolePunching::secondReplyToRunCountsOnceMoreWithEmptyNode()
{
    const LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(2);
    QTRY_COMPARE(peer.calls().size(), 2);
    peer.reply(peer.calls().at(0));
    peer.reply(peer.calls().at(1));
    QTRY_COMPARE(punching.successes.size(), 2);
    QCOMPARE(punching.successes.at(0).node.port, peer.port());
    QVERIFY(isEmpty(punching.successes.at(1).node));
}

void tst_HolePunching::replyIsAwaitedForFiveSeconds_data()
{
    QTest::addColumn<int>("delay");
    QTest::addColumn<int>("successes");
    QTest::newRow("5000 ms") << 5000 << 1;
    QTest::newRow("5001 ms") << 5001 << 0;
}

void tst_HolePunching::replyIsAwaitedForFiveSeconds()
{
    QFETCH(int, delay);
    LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(1);
    QTRY_COMPARE(peer.calls().size(), 1);
    node.pass(delay);
    peer.reply(peer.calls().constFirst());
    const quint64 received = node.socket->receivedPackets();
    QTRY_COMPARE(node.socket->receivedPackets(), received + 1);
    QTEST(static_cast<int>(punching.successes.size()), "successes");
}

void tst_HolePunching::secondStartReplacesTargetAndCountdown()
{
    const LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    WirePeer other(kOtherId);
    peer.setSilent(true);
    other.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(4);
    punching.object->start(LocalNode::info(other), QStringLiteral("receiver 2"));
    punching.tick(10);
    QCOMPARE(punching.fails.size(), 0);
    punching.tick(1);
    QCOMPARE(punching.fails.size(), 1);
    QTRY_COMPARE(other.calls().size(), 11);
    QCOMPARE(peer.calls().size(), 4);
}

void tst_HolePunching::anyPeerMayCallAndGetsEmptyReply_data()
{
    QTest::addColumn<bool>("isRunning");
    QTest::newRow("idle") << false;
    QTest::newRow("during a run") << true;
}

void tst_HolePunching::anyPeerMayCallAndGetsEmptyReply()
{
    QFETCH(bool, isRunning);
    const LocalNode node(kServerId);
    const WirePeer target(kPeerId);
    Punching punching(node);
    if (isRunning) {
        punching.object->start(LocalNode::info(target), kIdentificator);
    }
    WirePeer stranger(kOtherId);
    const quint32 number = stranger.call(kServerId, QHostAddress::LocalHost, node.socket->localPort(),
                                         kCommand, {{QStringLiteral("anything"), 1}});
    QTRY_COMPARE(stranger.replies().size(), 1);
    QCOMPARE(stranger.replies().constFirst().number, number);
    QCOMPARE(stranger.replies().constFirst().body, (QJsonObject{{QStringLiteral("cd"), QString()}}));
    QCOMPARE(punching.timer()->isActive(), isRunning);
    QCOMPARE(punching.successes.size(), 0);
    QCOMPARE(punching.fails.size(), 0);
}

void tst_HolePunching::whatArrivesAfterObjectHasGoneTouchesNothing()
{
    const LocalNode node(kServerId);
    WirePeer peer(kPeerId);
    peer.setSilent(true);
    Punching punching(node);
    punching.object->start(LocalNode::info(peer), kIdentificator);
    punching.tick(1);
    QTRY_COMPARE(peer.calls().size(), 1);
    punching.object.reset();
    peer.reply(peer.calls().constFirst());
    peer.call(kServerId, QHostAddress::LocalHost, node.socket->localPort(), kCommand);
    QTRY_COMPARE(peer.replies().size(), 1);
    QCOMPARE(punching.successes.size(), 0);
}

QTEST_GUILESS_MAIN(tst_HolePunching)
#include "tst_HolePunching.moc"
