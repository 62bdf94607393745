#include "TestSource.h"

#include "support/LogCapture.h"

#include <QThread>
#include <QtTest>
#include <atomic>
#include <limits>
#include <thread>

namespace
{

// The rule as it reads: from 2 upward, the first count of blocks that lasts 8 ms.
int blocksByCounting(int samples, double sampleRate)
{
    int k = 1;
    while (k * static_cast<double>(samples) * 1000.0 / sampleRate < 8.0) {
        ++k;
    }
    return k;
}

constexpr int kWritten = 16; // samples of each write below

// Where the ring was when a reader that waits for `blocks` writes was woken. The writes need the mutex, so
// the first comes after the reader has begun to wait; after each a reader that was woken too early gets the
// chance to show it.
int indexAtWake(TestSource& source, int blocks)
{
    const QSharedPointer<RingBuffer<DoubleComplex>> ring = source.inBuffer();
    std::atomic<bool> waiting{false};
    int result = -1;
    std::thread reader([&] {
        const QMutexLocker lock(&ring->mutex);
        waiting = true;
        if (ring->dataReady.wait(&ring->mutex, 10'000UL)) {
            result = ring->writeIndex;
        }
    });
    while (!waiting) {
        QThread::yieldCurrentThread();
    }
    for (int i = 0; i < blocks; ++i) {
        source.write(kWritten, false);
        for (int turn = 0; turn < 20; ++turn) {
            QThread::yieldCurrentThread();
        }
    }
    reader.join();
    return result;
}

} // namespace

class tst_IQSource : public QObject
{
    Q_OBJECT

private slots:
    void startsWithoutBlockAndUnswapped();
    void ringStartsZeroedAtCapacityAsked();
    void blocksPerWakeFollowsEightMilliseconds_data();
    void blocksPerWakeFollowsEightMilliseconds();
    void blocksPerWakeIsWhatCountingFinds();
    void blocksPerWakeComesWithoutSearchAtAnyRate_data();
    void blocksPerWakeComesWithoutSearchAtAnyRate();
    void setBlockSizeResizesBlock();
    void negativeBlockSizeIsRefusedWithWarning();
    void writePublishesWholeBlockForCountZero();
    void writePublishesFirstSamplesForCount();
    void writeThatWrapsRingLandsInTwoPieces();
    void writeWithWaitGivesUpAtOnce();
    void readersWakeAtBlockThatFillsEightMilliseconds();
    void setBlockSizeStartsCountOfBlocksAgain();
    void startWatchTakesRateOfMoment();
    void ringOutlivesSource();
    void swapIQIsKeptAndReset();
};

void tst_IQSource::startsWithoutBlockAndUnswapped()
{
    const IQSource source(kCapacity);
    QCOMPARE(source.blockSize(), 0);
    QVERIFY(!source.swapIQ());
}

void tst_IQSource::ringStartsZeroedAtCapacityAsked()
{
    const IQSource source(kCapacity);
    RingBuffer<DoubleComplex>& ring = *source.inBuffer();
    QCOMPARE(ring.capacity, kCapacity);
    QCOMPARE(ring.mask, kCapacity - 1);
    QCOMPARE(ring.writeIndex, 0);
    QVector<DoubleComplex> samples(kCapacity, DoubleComplex{1.0, 1.0});
    const QMutexLocker lock(&ring.mutex);
    ring.read(0, samples.data(), samples.size());
    QVERIFY(std::all_of(samples.cbegin(), samples.cend(),
                        [](const DoubleComplex& sample) { return sample.re == 0.0 && sample.im == 0.0; }));
}

void tst_IQSource::blocksPerWakeFollowsEightMilliseconds_data()
{
    QTest::addColumn<double>("sampleRate");
    QTest::addColumn<int>("samples");
    QTest::addColumn<int>("blocks");
    QTest::newRow("768,000 in blocks of 2,048") << 768'000.0 << 2048 << 3;
    QTest::newRow("2,048,000 in blocks of 32,768") << 2'048'000.0 << 32'768 << 1;
    QTest::newRow("exactly 8 ms") << 48'000.0 << 384 << 1;
    QTest::newRow("one sample short of 8 ms") << 48'000.0 << 383 << 2;
    QTest::newRow("exactly 4 ms") << 48'000.0 << 192 << 2;
    QTest::newRow("the player's block") << 48'000.0 << 1200 << 1;
    QTest::newRow("one sample") << 10'000'000.0 << 1 << 80'000;
}

void tst_IQSource::blocksPerWakeFollowsEightMilliseconds()
{
    QFETCH(double, sampleRate);
    QFETCH(int, samples);
    QTEST(IQSource::blocksPerWake(samples, sampleRate), "blocks");
}

void tst_IQSource::blocksPerWakeIsWhatCountingFinds()
{
    const QVector<double> rates{1.0,      0.1,         7999.9,    11'025.0,  44'100.0,  48'000.0,
                                96'000.0, 192'000.0,   250'000.1, 768'000.0, 912'000.0, 1'024'000.0,
                                2.4e6,    3'200'000.0, 1e7 / 3.0, 6e6,       1e7,       20e6 + 1.0 / 3.0};
    for (const double rate : rates) {
        for (int samples = 1; samples <= 5000; samples += 1 + samples / 7) {
            const int counted = blocksByCounting(samples, rate);
            QVERIFY2(IQSource::blocksPerWake(samples, rate) == counted,
                     qPrintable(QStringLiteral("%1 samples at %2").arg(samples).arg(rate)));
        }
        // Around the rates at which a whole number of blocks lasts exactly 8 ms.
        for (int k = 1; k < 200; k += 3) {
            const double edge = k * 512 * 125.0;
            for (const double near : {std::nextafter(edge, 0.0), edge,
                                      std::nextafter(edge, std::numeric_limits<double>::max())}) {
                QCOMPARE(IQSource::blocksPerWake(512, near), blocksByCounting(512, near));
            }
        }
    }
}

void tst_IQSource::blocksPerWakeComesWithoutSearchAtAnyRate_data()
{
    QTest::addColumn<double>("sampleRate");
    QTest::addColumn<int>("samples");
    QTest::addColumn<int>("blocks");
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("rate not set yet") << -1.0 << 2048 << 1;
    QTest::newRow("rate 0") << 0.0 << 2048 << 1;
    QTest::newRow("rate -0") << -0.0 << 2048 << 1;
    QTest::newRow("not a number") << qQNaN() << 2048 << 1;
    QTest::newRow("infinite rate") << qInf() << 2048 << 1;
    QTest::newRow("rate 1e18") << 1e18 << 2048 << most;
    QTest::newRow("rate 1e308") << 1e308 << 1 << most;
    QTest::newRow("smallest rate") << std::numeric_limits<double>::denorm_min() << 1200 << 1;
    QTest::newRow("beyond counting by ones") << 1e12 << 7 << 1'142'857'143;
    QTest::newRow("empty block") << 48'000.0 << 0 << 1;
    QTest::newRow("largest block") << 48'000.0 << most << 1;
}

void tst_IQSource::blocksPerWakeComesWithoutSearchAtAnyRate()
{
    QFETCH(double, sampleRate);
    QFETCH(int, samples);
    QTEST(IQSource::blocksPerWake(samples, sampleRate), "blocks");
}

void tst_IQSource::setBlockSizeResizesBlock()
{
    TestSource source(48'000.0);
    source.setBlockSize(1200);
    QCOMPARE(source.blockSize(), 1200);
    source.setBlockSize(7);
    QCOMPARE(source.blockSize(), 7);
    source.setBlockSize(0);
    QCOMPARE(source.blockSize(), 0);
}

void tst_IQSource::negativeBlockSizeIsRefusedWithWarning()
{
    TestSource source(48'000.0);
    source.setBlockSize(1200);
    const LogCapture log;
    source.setBlockSize(-1);
    QCOMPARE(source.blockSize(), 1200);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_IQSource::writePublishesWholeBlockForCountZero()
{
    TestSource source(48'000.0);
    source.setBlockSize(5);
    for (int i = 0; i < 5; ++i) {
        source[i] = {i + 1.0, -i - 1.0};
    }
    source.write(0, false);
    RingBuffer<DoubleComplex>& ring = *source.inBuffer();
    QCOMPARE(ring.writeIndex, 5);
    QCOMPARE(ring.lastWriteIndex, 5);
    std::array<DoubleComplex, 6> samples{};
    ring.read(0, samples.data(), 6);
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(samples[static_cast<std::size_t>(i)].re, i + 1.0);
        QCOMPARE(samples[static_cast<std::size_t>(i)].im, -i - 1.0);
    }
    QCOMPARE(samples[5].re, 0.0);
}

void tst_IQSource::writePublishesFirstSamplesForCount()
{
    TestSource source(48'000.0);
    source.setBlockSize(5);
    source[1] = {2.0, 3.0};
    source[2] = {9.0, 9.0};
    source.write(2, false);
    RingBuffer<DoubleComplex>& ring = *source.inBuffer();
    QCOMPARE(ring.writeIndex, 2);
    std::array<DoubleComplex, 2> samples{};
    ring.read(1, samples.data(), 2);
    QCOMPARE(samples[0].re, 2.0);
    QCOMPARE(samples[0].im, 3.0);
    QCOMPARE(samples[1].re, 0.0);
}

void tst_IQSource::writeThatWrapsRingLandsInTwoPieces()
{
    TestSource source(48'000.0);
    source.setBlockSize(kCapacity - 3);
    source.write(0, false);
    source.setBlockSize(10);
    for (int i = 0; i < 10; ++i) {
        source[i] = {i + 1.0, 0.5};
    }
    source.write(0, false);
    RingBuffer<DoubleComplex>& ring = *source.inBuffer();
    QCOMPARE(ring.writeIndex, (kCapacity - 3 + 10) & ring.mask);
    QCOMPARE(ring.writeIndex, 7);
    std::array<DoubleComplex, 10> samples{};
    ring.read(kCapacity - 3, samples.data(), 3);
    ring.read(0, samples.data() + 3, 7);
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(samples[static_cast<std::size_t>(i)].re, i + 1.0);
    }
}

void tst_IQSource::writeWithWaitGivesUpAtOnce()
{
    TestSource source(48'000.0);
    source.setBlockSize(3);
    source.write(0, true); // nobody frees space
    QCOMPARE(source.inBuffer()->writeIndex, 3);
}

void tst_IQSource::readersWakeAtBlockThatFillsEightMilliseconds()
{
    TestSource source(768'000.0);
    source.setBlockSize(256); // 24 of them last 8 ms
    QCOMPARE(indexAtWake(source, 24), 24 * kWritten);
    QCOMPARE(indexAtWake(source, 24), 48 * kWritten);
}

void tst_IQSource::setBlockSizeStartsCountOfBlocksAgain()
{
    TestSource source(768'000.0);
    source.setBlockSize(2048);
    source.write(kWritten, false);
    source.write(kWritten, false);
    source.setBlockSize(2048);
    QCOMPARE(indexAtWake(source, 3), 5 * kWritten);
}

void tst_IQSource::startWatchTakesRateOfMoment()
{
    TestSource source(-1.0);
    source.setBlockSize(2048);
    source.setSampleRate(768'000.0);
    source.startWatch();
    QCOMPARE(source.blockSize(), 2048);
    QCOMPARE(indexAtWake(source, 3), 3 * kWritten);
}

void tst_IQSource::ringOutlivesSource()
{
    auto source = std::make_unique<TestSource>(48'000.0);
    const QWeakPointer<RingBuffer<DoubleComplex>> watched = source->inBuffer();
    QSharedPointer<RingBuffer<DoubleComplex>> ring = source->inBuffer();
    source.reset();
    QCOMPARE(ring->capacity, kCapacity);
    ring.clear();
    QVERIFY(watched.isNull());
}

void tst_IQSource::swapIQIsKeptAndReset()
{
    TestSource source(48'000.0);
    source.setSwapIQ(true);
    QVERIFY(source.swapIQ());
    source.resetSwapIQ();
    QVERIFY(!source.swapIQ());
}

QTEST_GUILESS_MAIN(tst_IQSource)
#include "tst_IQSource.moc"
