#include "IQSession.h"

#include "support/AllocationCounter.h"

#include <QTimer>
#include <QtTest>

class tst_IQStreamTurns : public QObject
{
    Q_OBJECT

private slots:
    void stopLeavesNoFurtherDatagram();
    void tickQueuedBeforeStopFindsNoDevice();
    void runsByItselfEvery28MillisecondsOnceStarted();
    void longBacklogIsSentInSeveralTurnsOfEventLoop();
    void longBacklogFollowsDirectCallInLaterTurns();
    void stopAmidLongBacklogLeavesNoFurtherDatagram();
    void releasesRingBeforeItSends();
    void takesNothingFromHeapPerBlock();
};

void tst_IQStreamTurns::stopLeavesNoFurtherDatagram()
{
    Session session;
    session.stream.start();
    session.write(ramp(0, kBlock));
    session.stream.stop();
    QVERIFY(!session.stream.findChild<QTimer*>()->isActive());
    QCOMPARE(session.tick().size(), 0);
}

void tst_IQStreamTurns::tickQueuedBeforeStopFindsNoDevice()
{
    Session session;
    session.write(ramp(0, kBlock));
    QMetaObject::invokeMethod(&session.stream, "onTimeout", Qt::QueuedConnection);
    session.stream.stop();
    QCoreApplication::processEvents();
    QCOMPARE(session.socket->sentPackets(), 0U);
}

void tst_IQStreamTurns::runsByItselfEvery28MillisecondsOnceStarted()
{
    Session session;
    const auto* const timer = session.stream.findChild<QTimer*>();
    QCOMPARE(timer->interval(), 28);
    QVERIFY(!timer->isActive());
    session.write(ramp(0, 2 * kBlock));
    session.stream.start();
    QCOMPARE(session.receiver.take().size(), 0);
    QTRY_COMPARE(session.socket->sentPackets(), 2U);
    session.write(ramp(0, kBlock));
    QTRY_COMPARE(session.socket->sentPackets(), 3U);
    QCOMPARE(session.receiver.take().size(), 3);
}

void tst_IQStreamTurns::longBacklogIsSentInSeveralTurnsOfEventLoop()
{
    constexpr int kBlocks = 130;
    Session session;
    session.write(ramp(0, kBlocks * kBlock));
    session.stream.start();
    QVector<qint16> values;
    int longest = 0;
    while (values.size() < 2 * kBlocks * kBlock) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const QList<QByteArray> datagrams = session.receiver.take();
        longest = std::max(longest, datagrams.size());
        for (const QByteArray& datagram : datagrams) {
            values += valuesOf(datagram);
        }
    }
    QVERIFY(longest <= 40);
    QCOMPARE(values, rampValues(0, kBlocks * kBlock));
}

void tst_IQStreamTurns::longBacklogFollowsDirectCallInLaterTurns()
{
    constexpr int kBlocks = 500;
    Session session;
    session.write(ramp(0, kBlocks * kBlock));
    session.stream.onTimeout();
    QVERIFY(session.socket->sentPackets() <= 40U);
    QTRY_COMPARE(session.socket->sentPackets(), quint64{kBlocks});
}

void tst_IQStreamTurns::stopAmidLongBacklogLeavesNoFurtherDatagram()
{
    Session session;
    session.write(ramp(0, 130 * kBlock));
    session.stream.start();
    while (session.receiver.take().isEmpty()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    session.stream.stop();
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(session.receiver.take().size(), 0);
}

void tst_IQStreamTurns::releasesRingBeforeItSends()
{
    Session session;
    session.write(ramp(0, kBlock));
    QCOMPARE(session.tick().size(), 1);
    RingBuffer<DoubleComplex>& ring = *session.device.outBuffer();
    QVERIFY(ring.mutex.tryLock());
    ring.mutex.unlock();
}

void tst_IQStreamTurns::takesNothingFromHeapPerBlock()
{
    constexpr int kBlocks = 39; // of one turn
    Session session;
    session.write(ramp(0, kBlock));
    session.tick(); // what the first one makes
    session.write(ramp(0, kBlocks * kBlock));

    const AllocationCounter allocations;
    session.stream.onTimeout();
    QCOMPARE(allocations.count(), 0);
}

QTEST_GUILESS_MAIN(tst_IQStreamTurns)

#include "tst_IQStreamTurns.moc"
