#include "Core/Worker/RingBuffer.h"

#include "Core/Signal/DoubleComplex.h"

#include <QtTest>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

static_assert(sizeof(DoubleComplex) == 16);
static_assert(std::is_trivially_copyable_v<DoubleComplex>);
static_assert(!std::is_copy_constructible_v<RingBuffer<short>>);

namespace
{

std::vector<short> counted(short first, int count)
{
    std::vector<short> samples(static_cast<std::size_t>(count));
    std::iota(samples.begin(), samples.end(), first);
    return samples;
}

void write(RingBuffer<short>& ring, const std::vector<short>& samples)
{
    ring.write(samples.data(), static_cast<int>(samples.size()));
}

std::vector<short> read(const RingBuffer<short>& ring, int index, int count)
{
    std::vector<short> samples(static_cast<std::size_t>(count));
    ring.read(index, samples.data(), count);
    return samples;
}

} // namespace

class tst_RingBuffer : public QObject
{
    Q_OBJECT

private slots:
    void freshRingIsZeroAndEmpty();
    void writeShortOfEndIsOnePiece();
    void writeUpToEndTakesIndexToStart();
    void writeAcrossEndGoesOnAtStart();
    void readAcrossEndGoesOnAtStart();
    void equalIndicesMeanThatNothingIsAvailable();
    void availableCountsAcrossEnd();
    void fullRingLooksEmpty();
    void slowReaderIsOverrun();
    void ofMoreThanRingHoldsLastStay_data();
    void ofMoreThanRingHoldsLastStay();
    void everyWriteBringsLastWriteIndexUpToDate();
    void everySampleWrittenCounts();
    void resizedRingKeepsItsNewestSamplesAndItsWriteIndex();
    void indicesStepBothWaysUnderMask();
    void whateverBlocksReaderGetsWritersSamples();
    void waitingReaderGetsEverySampleOfWriterThatWaitsForSpace();
};

void tst_RingBuffer::freshRingIsZeroAndEmpty()
{
    const RingBuffer<DoubleComplex> ring(8);
    QCOMPARE(ring.capacity, 8);
    QCOMPARE(ring.mask, 7);
    QCOMPARE(ring.writeIndex, 0);
    QCOMPARE(ring.lastWriteIndex, 0);
    QCOMPARE(ring.available(0), 0);
    std::vector<DoubleComplex> samples(8, DoubleComplex{1.0, 1.0});
    ring.read(0, samples.data(), 8);
    for (const DoubleComplex& sample : samples) {
        QVERIFY(sample.re == 0.0 && sample.im == 0.0);
    }
}

void tst_RingBuffer::writeShortOfEndIsOnePiece()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 7));
    QCOMPARE(ring.writeIndex, 7);
    QCOMPARE(read(ring, 0, 8), (std::vector<short>{1, 2, 3, 4, 5, 6, 7, 0}));
}

void tst_RingBuffer::writeUpToEndTakesIndexToStart()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 5));
    write(ring, counted(6, 3));
    QCOMPARE(ring.writeIndex, 0);
    QCOMPARE(read(ring, 0, 8), counted(1, 8));
}

void tst_RingBuffer::writeAcrossEndGoesOnAtStart()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 6));
    write(ring, counted(7, 5));
    QCOMPARE(ring.writeIndex, 3);
    QCOMPARE(read(ring, 0, 8), (std::vector<short>{9, 10, 11, 4, 5, 6, 7, 8}));
}

void tst_RingBuffer::readAcrossEndGoesOnAtStart()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 6));
    write(ring, counted(7, 5));
    QCOMPARE(read(ring, 6, 5), counted(7, 5));
    QCOMPARE(read(ring, 6, 2), counted(7, 2));
}

void tst_RingBuffer::equalIndicesMeanThatNothingIsAvailable()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 5));
    QCOMPARE(ring.available(5), 0);
    QCOMPARE(ring.available(0), 5);
}

void tst_RingBuffer::availableCountsAcrossEnd()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 6));
    write(ring, counted(7, 5));
    QCOMPARE(ring.available(6), 5);
    QCOMPARE(ring.available(4), 7);
    QCOMPARE(ring.available(2), 1);
}

void tst_RingBuffer::fullRingLooksEmpty()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 3));
    write(ring, counted(4, 8));
    QCOMPARE(ring.writeIndex, 3);
    QCOMPARE(ring.available(3), 0);
}

void tst_RingBuffer::slowReaderIsOverrun()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 7));
    write(ring, counted(8, 7));
    // The reader that was at 0 finds new samples there, and the count of what was written modulo 8.
    QCOMPARE(ring.available(0), 6);
    QCOMPARE(read(ring, 0, 6), counted(9, 6));
}

void tst_RingBuffer::ofMoreThanRingHoldsLastStay_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("count");
    for (const int before : {0, 3, 7}) {
        for (const int count : {8, 9, 13, 16, 27}) {
            QTest::addRow("%d after %d", count, before) << before << count;
        }
    }
}

void tst_RingBuffer::ofMoreThanRingHoldsLastStay()
{
    QFETCH(int, before);
    QFETCH(int, count);
    RingBuffer<short> ring(8);
    write(ring, counted(100, before));
    write(ring, counted(1, count));
    QCOMPARE(ring.writeIndex, (before + count) % 8);
    QCOMPARE(ring.lastWriteIndex, ring.writeIndex);
    QCOMPARE(read(ring, ring.writeIndex, 8), counted(static_cast<short>(count - 7), 8));
}

void tst_RingBuffer::everyWriteBringsLastWriteIndexUpToDate()
{
    RingBuffer<short> ring(8);
    write(ring, counted(1, 3));
    QCOMPARE(ring.lastWriteIndex, 3);
    ring.lastWriteIndex = ring.advance(ring.lastWriteIndex, -2);
    QCOMPARE(ring.writeIndex, 3);
    write(ring, counted(4, 6));
    QCOMPARE(ring.lastWriteIndex, 1);
    QCOMPARE(ring.writeIndex, 1);
}

void tst_RingBuffer::everySampleWrittenCounts()
{
    RingBuffer<short> ring(8);
    QCOMPARE(ring.written, quint64{0});
    write(ring, counted(1, 5));
    write(ring, counted(6, 5));
    write(ring, counted(11, 21));
    write(ring, {});
    QCOMPARE(ring.written, quint64{31});
}

void tst_RingBuffer::resizedRingKeepsItsNewestSamplesAndItsWriteIndex()
{
    RingBuffer<short> ring(8);
    ring.resize(16);
    QCOMPARE(ring.writeIndex, 0);
    ring.resize(8);
    write(ring, counted(1, 13));
    ring.resize(16);
    QCOMPARE(ring.capacity, 16);
    QCOMPARE(ring.mask, 15);
    QCOMPARE(ring.writeIndex, 5);
    QCOMPARE(ring.lastWriteIndex, 5);
    QCOMPARE(ring.written, quint64{13});
    QCOMPARE(read(ring, ring.advance(5, -7), 7), counted(7, 7));
    write(ring, counted(14, 8));
    QCOMPARE(read(ring, ring.advance(13, -15), 15), counted(7, 15));
    ring.resize(4);
    QCOMPARE(ring.writeIndex, 1);
    QCOMPARE(read(ring, 2, 3), counted(19, 3));
}

void tst_RingBuffer::indicesStepBothWaysUnderMask()
{
    const RingBuffer<short> ring(8);
    QCOMPARE(ring.advance(6, 1), 7);
    QCOMPARE(ring.advance(6, 2), 0);
    QCOMPARE(ring.advance(6, 21), 3);
    QCOMPARE(ring.advance(2, -3), 7);
    QCOMPARE(ring.advance(0, -16), 0);
    QCOMPARE(ring.advance(7, std::numeric_limits<int>::max()), 6);
    QCOMPARE(ring.advance(0, std::numeric_limits<int>::min()), 0);
}

void tst_RingBuffer::whateverBlocksReaderGetsWritersSamples()
{
    constexpr int kCapacity = 64;
    RingBuffer<short> ring(kCapacity);
    std::mt19937 random(1); // NOLINT(bugprone-random-generator-seed): the same run each time.
    int readIndex = 0;
    short nextWritten = 0;
    short nextRead = 0;
    for (int i = 0; i < 10000; ++i) {
        const int space = kCapacity - 1 - ring.available(readIndex);
        const int written = std::uniform_int_distribution<int>(0, space)(random);
        write(ring, counted(nextWritten, written));
        nextWritten = static_cast<short>(nextWritten + written);
        const int wanted = std::uniform_int_distribution<int>(0, ring.available(readIndex))(random);
        QCOMPARE(read(ring, readIndex, wanted), counted(nextRead, wanted));
        nextRead = static_cast<short>(nextRead + wanted);
        readIndex = ring.advance(readIndex, wanted);
    }
}

void tst_RingBuffer::waitingReaderGetsEverySampleOfWriterThatWaitsForSpace()
{
    constexpr int kSamples = 30000;
    constexpr int kBlock = 37;
    RingBuffer<short> ring(256);
    int readIndex = 0;
    std::thread writer([&] {
        for (int written = 0; written < kSamples; written += kBlock) {
            const std::vector<short> block = counted(static_cast<short>(written), kBlock);
            QMutexLocker lock(&ring.mutex);
            while (ring.available(readIndex) + kBlock >= ring.capacity) {
                ring.spaceFreed.wait(&ring.mutex);
            }
            write(ring, block);
            ring.dataReady.wakeAll();
        }
    });
    std::vector<short> received;
    while (received.size() < kSamples) {
        QMutexLocker lock(&ring.mutex);
        while (ring.available(readIndex) == 0) {
            ring.dataReady.wait(&ring.mutex);
        }
        const int count = ring.available(readIndex);
        const std::vector<short> block = read(ring, readIndex, count);
        received.insert(received.end(), block.begin(), block.end());
        readIndex = ring.advance(readIndex, count);
        ring.spaceFreed.wakeAll();
    }
    writer.join();
    QCOMPARE(received, counted(0, static_cast<int>(received.size())));
}

QTEST_APPLESS_MAIN(tst_RingBuffer)
#include "tst_RingBuffer.moc"
