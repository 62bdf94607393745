#include "Client/IqQueue.h"

#include <QtTest>
#include <thread>

class tst_IqQueue : public QObject
{
    Q_OBJECT

private slots:
    void blocksComeOutInTheirOrder();
    void oldestGoWhenItIsFullAndListenerKnowsHowMuch();
    void blockAboveCapacityIsKeptAlone();
    void capacityCountsFromNextBlock();
    void emptyQueueGivesNothingAfterWait();
    void whoWaitsIsWokenByBlock();
    void whoWaitsIsWokenByEnd();
    void whatIsLeftAtEndIsStillTaken();
    void slowListenerOnAnotherThreadAccountsForEverySample();
};

namespace
{

IqBlock block(qint64 position, int size = 128)
{
    IqBlock result;
    result.position = position;
    result.samples.resize(size);
    return result;
}

} // namespace

void tst_IqQueue::blocksComeOutInTheirOrder()
{
    IqQueue queue(1000);
    queue.push(block(0));
    queue.push(block(128));
    QCOMPARE(queue.take(0)->block.position, 0);
    const auto second = queue.take(0);
    QCOMPARE(second->block.position, 128);
    QCOMPARE(second->dropped, 0);
}

void tst_IqQueue::oldestGoWhenItIsFullAndListenerKnowsHowMuch()
{
    IqQueue queue(256);
    for (int i = 0; i < 5; ++i) {
        queue.push(block(i * 128));
    }
    const auto first = queue.take(0);
    QCOMPARE(first->block.position, 3 * 128);
    QCOMPARE(first->dropped, 3 * 128);
    QCOMPARE(queue.take(0)->dropped, 0);
}

void tst_IqQueue::blockAboveCapacityIsKeptAlone()
{
    IqQueue queue(100);
    queue.push(block(0));
    queue.push(block(128));
    const auto taken = queue.take(0);
    QCOMPARE(taken->block.position, 128);
    QCOMPARE(taken->dropped, 128);
}

void tst_IqQueue::emptyQueueGivesNothingAfterWait()
{
    IqQueue queue(100);
    QVERIFY(!queue.take(0));
    QVERIFY(!queue.take(5));
}

void tst_IqQueue::whoWaitsIsWokenByBlock()
{
    IqQueue queue(1000);
    std::thread listener([&queue] { QVERIFY(queue.take(30'000)); });
    queue.push(block(0));
    listener.join();
}

void tst_IqQueue::whoWaitsIsWokenByEnd()
{
    IqQueue queue(1000);
    std::thread listener([&queue] { QVERIFY(!queue.take(30'000)); });
    queue.close();
    listener.join();
    QVERIFY(queue.isClosed());
}

void tst_IqQueue::whatIsLeftAtEndIsStillTaken()
{
    IqQueue queue(1000);
    queue.push(block(0));
    queue.close();
    queue.push(block(128));
    QVERIFY(queue.take(0));
    QVERIFY(!queue.take(0));
}

void tst_IqQueue::slowListenerOnAnotherThreadAccountsForEverySample()
{
    constexpr int kBlocks = 20'000;
    IqQueue queue(10 * 128);
    qint64 accounted = 0;
    std::thread listener([&queue, &accounted] {
        while (const auto taken = queue.take(30'000)) {
            accounted += taken->dropped;
            if (taken->block.position != accounted) {
                break;
            }
            accounted += taken->block.samples.size();
        }
    });
    for (int i = 0; i < kBlocks; ++i) {
        queue.push(block(i * 128));
    }
    queue.close();
    listener.join();
    QCOMPARE(accounted, kBlocks * 128);
}

void tst_IqQueue::capacityCountsFromNextBlock()
{
    IqQueue queue(10'000);
    for (int n = 0; n < 10; ++n) {
        queue.push(block(128 * n));
    }
    queue.setCapacity(256);
    queue.push(block(1280));
    const auto taken = queue.take(0);
    QVERIFY(taken);
    QCOMPARE(taken->block.position, 1152);
    QCOMPARE(taken->dropped, 1152);
}

QTEST_APPLESS_MAIN(tst_IqQueue)
#include "tst_IqQueue.moc"
