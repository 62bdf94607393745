#include "SocketTest.h"
#include "support/LogCapture.h"

#include <QTimer>
#include <QtTest>

class tst_SocketAttached : public SocketTest
{
    Q_OBJECT

private slots:
    void firstThatAcceptsIsOnlyOneToSee();
    void refusedDatagramReachesNextAsItWas();
    void datagramRefusedByAllCountsInBytesAlone();
    void objectAttachedTwiceIsListedOnce();
    void detachedObjectSeesNothing();
    void detachingUnknownObjectChangesNothing();
    void socketSharesWhatIsAttached();
    void heartbeatTicksFromConstructionOncePerSecond();
    void heartbeatReachesObjectsInOrder();
    void speedsAreKibibytesOfLastTick();
    void objectDetachedDuringWalkLeavesNoneOut_data();
    void objectDetachedDuringWalkLeavesNoneOut();
    void laterObjectDetachedDuringWalkIsNotCalled();
    void objectAttachedDuringWalkIsCalled();
    void objectOutlivesItsOwnDetachingForCall();
    void acceptingObjectMayReplaceAnother();
    void heartbeatWithinReadKeepsBothWalks();
};

void tst_SocketAttached::firstThatAcceptsIsOnlyOneToSee()
{
    const auto first = attach();
    const auto second = attach();
    offer(kPacket);
    QCOMPARE(first->datagrams.size(), 1);
    QCOMPARE(second->datagrams.size(), 0);
    QCOMPARE(m_socket->receivedPackets(), quint64(1));
}

void tst_SocketAttached::refusedDatagramReachesNextAsItWas()
{
    const auto first = attach(false);
    const auto second = attach();
    offer(kPacket);
    QCOMPARE(first->contents(), QList<QByteArray>{kPacket});
    QCOMPARE(second->contents(), QList<QByteArray>{kPacket});
    QCOMPARE(second->datagrams.constFirst().port, m_peer->localPort());
}

void tst_SocketAttached::datagramRefusedByAllCountsInBytesAlone()
{
    const LogCapture log;
    attach(false);
    attach(false);
    offer(kPacket);
    QCOMPARE(m_socket->receivedMegabytes(), kPacket.size() / kMebibyte);
    QCOMPARE(m_socket->receivedPackets(), quint64(0));
    QCOMPARE(log.texts(), QStringList());
}

void tst_SocketAttached::objectAttachedTwiceIsListedOnce()
{
    const auto recorder = attach(false);
    m_socket->addSocket(recorder);
    offer(kPacket);
    m_socket->onTimeout();
    QCOMPARE(recorder->datagrams.size(), 1);
    QCOMPARE(recorder->heartbeats, 1);
    m_socket->removeSocket(recorder);
    m_socket->onTimeout();
    QCOMPARE(recorder->heartbeats, 1);
}

void tst_SocketAttached::detachedObjectSeesNothing()
{
    const auto first = attach();
    const auto second = attach();
    m_socket->removeSocket(first);
    offer(kPacket);
    m_socket->onTimeout();
    QCOMPARE(first->datagrams.size(), 0);
    QCOMPARE(first->heartbeats, 0);
    QCOMPARE(second->datagrams.size(), 1);
    QCOMPARE(second->heartbeats, 1);
}

void tst_SocketAttached::detachingUnknownObjectChangesNothing()
{
    const auto recorder = attach();
    m_socket->removeSocket(QSharedPointer<Recorder>::create());
    m_socket->removeSocket({});
    offer(kPacket);
    QCOMPARE(recorder->datagrams.size(), 1);
}

void tst_SocketAttached::socketSharesWhatIsAttached()
{
    auto recorder = attach();
    const QWeakPointer<Recorder> watched(recorder);
    recorder.reset();
    QVERIFY(!watched.isNull());
    m_socket->removeSocket(watched.toStrongRef());
    QVERIFY(watched.isNull());
}

void tst_SocketAttached::heartbeatTicksFromConstructionOncePerSecond()
{
    Socket unbound;
    const auto recorder = QSharedPointer<Recorder>::create();
    unbound.addSocket(recorder);
    auto* const timer = unbound.findChild<QTimer*>();
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 1000);
    QCOMPARE(timer->timerType(), Qt::CoarseTimer);
    QTRY_COMPARE(recorder->heartbeats, 1);
}

void tst_SocketAttached::heartbeatReachesObjectsInOrder()
{
    QList<int> order;
    for (int i = 0; i < 3; ++i) {
        attach()->onHeartbeat = [&order, i] { order.append(i); };
    }
    m_socket->onTimeout();
    QCOMPARE(order, (QList<int>{0, 1, 2}));
}

void tst_SocketAttached::speedsAreKibibytesOfLastTick()
{
    QCOMPARE(m_socket->receiveSpeed(), 0.0);
    QCOMPARE(m_socket->sendSpeed(), 0.0);
    m_socket->findChild<QTimer*>()->stop();

    offer(QByteArray(1024, 'x'));
    offer(QByteArray(512, 'x'));
    QVERIFY(
        m_socket->write(QByteArray(256, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QCOMPARE(m_socket->receiveSpeed(), 0.0);
    m_socket->onTimeout();
    QCOMPARE(m_socket->receiveSpeed(), 1.5);
    QCOMPARE(m_socket->sendSpeed(), 0.25);

    offer(QByteArray(128, 'x'));
    m_socket->onTimeout();
    QCOMPARE(m_socket->receiveSpeed(), 0.125);
    QCOMPARE(m_socket->sendSpeed(), 0.0);
}

void tst_SocketAttached::objectDetachedDuringWalkLeavesNoneOut_data()
{
    QTest::addColumn<QList<int>>("detached");
    QTest::newRow("itself") << QList<int>{1};
    QTest::newRow("one before") << QList<int>{0};
    QTest::newRow("itself and one before") << QList<int>{0, 1};
    QTest::newRow("one before and itself") << QList<int>{1, 0};
    QTest::newRow("itself and one behind") << QList<int>{1, 3};
}

void tst_SocketAttached::objectDetachedDuringWalkLeavesNoneOut()
{
    QFETCH(QList<int>, detached);
    // Object 1 detaches; whoever is attached after it has to be called, in either walk.
    QList<QSharedPointer<Recorder>> recorders;
    for (int i = 0; i < 4; ++i) {
        recorders.append(attach(false));
    }
    const auto detach = [&] {
        for (const int index : detached) {
            m_socket->removeSocket(recorders[index]);
        }
    };
    recorders[1]->onDatagram = [&](QByteArray&) { detach(); };
    offer(kPacket);
    QCOMPARE(recorders[2]->datagrams.size(), 1);
    QCOMPARE(recorders[3]->datagrams.size(), detached.contains(3) ? 0 : 1);

    for (const auto& recorder : recorders) {
        m_socket->removeSocket(recorder);
    }
    for (const auto& recorder : recorders) {
        m_socket->addSocket(recorder);
    }
    recorders[1]->onHeartbeat = detach;
    m_socket->onTimeout();
    QCOMPARE(recorders[2]->heartbeats, 1);
    QCOMPARE(recorders[3]->heartbeats, detached.contains(3) ? 0 : 1);
}

void tst_SocketAttached::laterObjectDetachedDuringWalkIsNotCalled()
{
    const auto first = attach();
    const auto second = attach();
    first->onHeartbeat = [&] { m_socket->removeSocket(second); };
    m_socket->onTimeout();
    QCOMPARE(second->heartbeats, 0);
}

void tst_SocketAttached::objectAttachedDuringWalkIsCalled()
{
    const auto first = attach();
    const auto late = QSharedPointer<Recorder>::create();
    first->onHeartbeat = [&] { m_socket->addSocket(late); };
    m_socket->onTimeout();
    QCOMPARE(late->heartbeats, 1);
}

void tst_SocketAttached::objectOutlivesItsOwnDetachingForCall()
{
    auto recorder = attach();
    const QWeakPointer<Recorder> watched(recorder);
    bool aliveAfterDetaching = false;
    recorder->onHeartbeat = [&] {
        m_socket->removeSocket(watched.toStrongRef());
        aliveAfterDetaching = !watched.isNull();
    };
    recorder.reset();
    m_socket->onTimeout();
    QVERIFY(aliveAfterDetaching);
    QVERIFY(watched.isNull());
}

void tst_SocketAttached::acceptingObjectMayReplaceAnother()
{
    // A command takes the session over: the old client's object goes and a new one comes.
    const auto commands = attach();
    auto oldClient = attach();
    const auto newClient = QSharedPointer<Recorder>::create();
    commands->onDatagram = [&](QByteArray&) {
        m_socket->removeSocket(oldClient);
        oldClient.reset();
        m_socket->addSocket(newClient);
    };
    sendFromPeer(kPacket);
    sendFromPeer(kPacket);
    QTRY_COMPARE(commands->datagrams.size(), 2);
    QCOMPARE(newClient->datagrams.size(), 0);
    commands->accepts = false;
    offer(kPacket);
    QCOMPARE(newClient->datagrams.size(), 1);
    m_socket->onTimeout();
    QCOMPARE(newClient->heartbeats, 1);
}

void tst_SocketAttached::heartbeatWithinReadKeepsBothWalks()
{
    const auto first = attach(false);
    const auto second = attach(false);
    const auto third = attach(false);
    first->onDatagram = [&](QByteArray&) { m_socket->onTimeout(); };
    first->onHeartbeat = [&] { m_socket->removeSocket(first); };
    offer(kPacket);
    QCOMPARE(second->heartbeats, 1);
    QCOMPARE(third->heartbeats, 1);
    QCOMPARE(second->datagrams.size(), 1);
    QCOMPARE(third->datagrams.size(), 1);
}

QTEST_GUILESS_MAIN(tst_SocketAttached)

#include "tst_SocketAttached.moc"
