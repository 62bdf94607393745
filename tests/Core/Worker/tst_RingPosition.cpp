#include "Core/Worker/RingPosition.h"

#include <QtTest>
#include <numeric>
#include <vector>

namespace
{

/// A ring whose sample number i holds i, and a reader of it.
struct Rig
{
    explicit Rig(int capacity)
        : ring(capacity)
    {
        position.start(ring, readIndex);
    }

    void write(int count)
    {
        std::vector<int> samples(static_cast<std::size_t>(count));
        std::iota(samples.begin(), samples.end(), static_cast<int>(ring.written));
        ring.write(samples.data(), count);
    }

    /// All that is available, and what had been lost before it.
    std::vector<int> readAll()
    {
        lost = position.update(ring, readIndex);
        std::vector<int> samples(static_cast<std::size_t>(ring.available(readIndex)));
        const int count = static_cast<int>(samples.size());
        ring.read(readIndex, samples.data(), count);
        readIndex = ring.advance(readIndex, count);
        position.advance(count);
        return samples;
    }

    RingBuffer<int> ring;
    RingPosition position;
    int readIndex = 0;
    qint64 lost = 0;
};

std::vector<int> numbers(int first, int count)
{
    std::vector<int> samples(static_cast<std::size_t>(count));
    std::iota(samples.begin(), samples.end(), first);
    return samples;
}

} // namespace

class tst_RingPosition : public QObject
{
    Q_OBJECT

private slots:
    void readerThatKeepsUpLosesNothing();
    void everyLapOfWriterIsLostOnce();
    void samplesOfBlockAsLongAsRingAreLost();
    void whatWasWrittenBeforeStartIsNotLost();
    void firstLookStartsPositionThatWasNotStarted();
    void ringThatGrowsKeepsWhatWaits_data();
    void ringThatGrowsKeepsWhatWaits();
    void ringThatShrinksKeepsNewest();
    void overrunAcrossResizeIsCounted();
};

void tst_RingPosition::readerThatKeepsUpLosesNothing()
{
    Rig rig(8);
    for (int first = 0; first < 100; first += 7) {
        rig.write(7);
        QCOMPARE(rig.readAll(), numbers(first, 7));
        QCOMPARE(rig.lost, 0);
    }
}

void tst_RingPosition::everyLapOfWriterIsLostOnce()
{
    Rig rig(8);
    rig.write(5);
    rig.write(7);
    QCOMPARE(rig.readAll(), numbers(8, 4));
    QCOMPARE(rig.lost, 8);
    QVERIFY(rig.readAll().empty());
    QCOMPARE(rig.lost, 0);
    for (int i = 0; i < 4; ++i) {
        rig.write(7);
    }
    QCOMPARE(rig.readAll(), numbers(12 + 24, 4));
    QCOMPARE(rig.lost, 24);
}

void tst_RingPosition::samplesOfBlockAsLongAsRingAreLost()
{
    Rig rig(8);
    rig.write(8);
    QVERIFY(rig.readAll().empty());
    QCOMPARE(rig.lost, 8);
}

void tst_RingPosition::whatWasWrittenBeforeStartIsNotLost()
{
    Rig rig(8);
    rig.write(21);
    rig.position.start(rig.ring, rig.readIndex);
    QCOMPARE(rig.readAll().size(), std::size_t{5});
    QCOMPARE(rig.lost, 0);
}

void tst_RingPosition::firstLookStartsPositionThatWasNotStarted()
{
    Rig rig(8);
    rig.position = {};
    rig.write(21);
    QCOMPARE(rig.readAll().size(), std::size_t{5});
    QCOMPARE(rig.lost, 0);
    rig.write(8);
    rig.readAll();
    QCOMPARE(rig.lost, 8);
}

void tst_RingPosition::ringThatGrowsKeepsWhatWaits_data()
{
    QTest::addColumn<int>("read");    // samples before the resize
    QTest::addColumn<int>("waiting"); // samples, at the resize
    QTest::newRow("nothing") << 0 << 0;
    QTest::newRow("from the start") << 0 << 7;
    QTest::newRow("within") << 2 << 4;
    QTest::newRow("up to the end") << 3 << 5;
    QTest::newRow("across the end") << 6 << 6;
    QTest::newRow("across the end, laps later") << 70 << 7;
}

void tst_RingPosition::ringThatGrowsKeepsWhatWaits()
{
    QFETCH(const int, read);
    QFETCH(const int, waiting);
    Rig rig(8);
    for (int i = 0; i < read; ++i) {
        rig.write(1);
        rig.readAll();
    }
    rig.write(waiting);
    rig.ring.resize(32);
    QCOMPARE(rig.ring.capacity, 32);
    QCOMPARE(rig.ring.mask, 31);
    // As DspH does it: the block that needs the room follows at once.
    rig.write(16);
    QCOMPARE(rig.readAll(), numbers(read, waiting + 16));
    QCOMPARE(rig.lost, 0);
    rig.write(31);
    QCOMPARE(rig.readAll(), numbers(read + waiting + 16, 31));
    QCOMPARE(rig.lost, 0);
}

void tst_RingPosition::ringThatShrinksKeepsNewest()
{
    Rig rig(32);
    rig.write(40);
    rig.readAll();
    QCOMPARE(rig.lost, 32);
    rig.write(20);
    rig.ring.resize(8);
    QCOMPARE(rig.readAll(), numbers(53, 7));
    QCOMPARE(rig.lost, 13);

    Rig keepingUp(32);
    keepingUp.write(29);
    keepingUp.readAll();
    keepingUp.write(5);
    keepingUp.ring.resize(8);
    keepingUp.write(2);
    QCOMPARE(keepingUp.readAll(), numbers(29, 7));
    QCOMPARE(keepingUp.lost, 0);
}

void tst_RingPosition::overrunAcrossResizeIsCounted()
{
    Rig rig(8);
    rig.write(30);
    rig.ring.resize(32);
    rig.write(10);
    const std::vector<int> left = rig.readAll();
    QCOMPARE(left.back(), 39);
    QCOMPARE(rig.lost + static_cast<qint64>(left.size()), 40);
    QCOMPARE(left, numbers(static_cast<int>(rig.lost), static_cast<int>(left.size())));
}

QTEST_GUILESS_MAIN(tst_RingPosition)
#include "tst_RingPosition.moc"
