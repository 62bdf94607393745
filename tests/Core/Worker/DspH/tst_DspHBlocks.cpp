#include "Core/Losses/Losses.h"
#include "DspRig.h"
#include "Samples.h"

#include <QtTest>

using Samples::Vector;

namespace
{

constexpr int kBlock = DspRig::kBlock;
constexpr int kLongestBlock = 65'536; // as long as a fresh ring "out"

// A stream of 12 bits a sample, so that each can be told from its neighbours, taken up where it was left.
Vector steps(int first, int count)
{
    Vector samples;
    for (int n = first; n < first + count; ++n) {
        samples.push_back({(n % 4096) / 4096.0, (n / 4096 % 4096) / 4096.0});
    }
    return samples;
}

} // namespace

/// `DspH` between its rings: when a block is read, where it goes, and what is lost.
class tst_DspHBlocks : public QObject
{
    Q_OBJECT

private slots:
    void blockLengthIsPowerOfTwoOfAboutTenMilliseconds_data();
    void blockLengthIsPowerOfTwoOfAboutTenMilliseconds();
    void blockIsReadWhenItIsWholeAndNotBefore();
    void blockAsLongAsRingIsNeverRead();
    void blocksAcrossEndsOfBothRingsKeepTheirOrder();
    void writerOfOutputLooksAtNoReader();
    void readerThatWasOverrunGoesOnWithWhatRingHolds();
    void samplesOverrunInRingAreCounted();
    void samplesSkippedByRestartAreNotLost();
    void wholeBandPassesAboveThreeMillionSamples_data();
    void wholeBandPassesAboveThreeMillionSamples();
    void ringIsLargerOnlyWhileItsBlocksAreThatLong();
    void eachBlockReadWakesWhoWaitsForSpace();
    void loopWaitsWhileRingIsShort();
};

void tst_DspHBlocks::blockLengthIsPowerOfTwoOfAboutTenMilliseconds_data()
{
    QTest::addColumn<qlonglong>("rate");
    QTest::addColumn<int>("length");
    QTest::newRow("1") << 1LL << 1'024;
    QTest::newRow("48 thousand: 480 samples") << 48'000LL << 1'024;
    QTest::newRow("exactly 1,024 samples") << 102'400LL << 1'024;
    QTest::newRow("1,024.99 samples count as 1,024") << 102'499LL << 1'024;
    QTest::newRow("1,025 samples") << 102'500LL << 2'048;
    QTest::newRow("2.4 million: 24,000 samples") << 2'400'000LL << 32'768;
    QTest::newRow("exactly 32,768 samples") << 3'276'800LL << 32'768;
    QTest::newRow("32,769 samples") << 3'276'900LL << 65'536;
    QTest::newRow("10 million: 100,000 samples") << 10'000'000LL << 65'536;
    QTest::newRow("beyond 32 bits") << 1'000'000'000'000LL << 65'536;
}

void tst_DspHBlocks::blockLengthIsPowerOfTwoOfAboutTenMilliseconds()
{
    QFETCH(qlonglong, rate);
    QFETCH(int, length);
    DspRig rig;
    // As wide as the rate, so that every sample of a block comes out again.
    rig.dsp->setProperty("preferredBandWidth", rate);
    rig.start(rate);
    rig.write(Vector(static_cast<std::size_t>(length - 1)));
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    rig.moveOutputTo(0);
    rig.write(Vector(1));
    // A block of 65,536 turns the ring "out" once, and leaves its index where it was.
    if (length < rig.outCapacity()) {
        QCOMPARE(static_cast<int>(rig.read(length).size()), length);
    }
    QCOMPARE(rig.logged(QStringLiteral("input bufLen")),
             QStringList{QStringLiteral("input bufLen %1").arg(length)});
}

void tst_DspHBlocks::blockIsReadWhenItIsWholeAndNotBefore()
{
    DspRig rig;
    rig.start(48'000);
    rig.write(Vector(kBlock - 1));
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    rig.write(Vector(kBlock + 1));
    QCOMPARE(static_cast<int>(rig.read(2 * kBlock).size()), 2 * kBlock);
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
}

void tst_DspHBlocks::blockAsLongAsRingIsNeverRead()
{
    DspRig rig(kBlock);
    rig.start(48'000);
    for (int i = 0; i < 8; ++i) {
        rig.write(Vector(kBlock - 1));
        rig.finishRound();
    }
    QCOMPARE(rig.written(), 0);
}

void tst_DspHBlocks::blocksAcrossEndsOfBothRingsKeepTheirOrder()
{
    DspRig rig(4 * kBlock, 4 * kBlock);
    rig.in->writeIndex = 4 * kBlock - 100;
    rig.moveOutputTo(4 * kBlock - 300);
    rig.start(48'000);
    Vector output;
    const Vector input = Samples::noise(6 * kBlock);
    for (int block = 0; block < 6; ++block) {
        rig.write(Samples::slice(input, block * kBlock, kBlock));
        const Vector part = rig.read(kBlock);
        output.insert(output.end(), part.begin(), part.end());
    }
    COMPARE_SAMPLES(output, settling(input), 1e-12);
    const QMutexLocker lock(&rig.out->mutex);
    QCOMPARE(rig.out->writeIndex, 2 * kBlock - 300);
    QCOMPARE(rig.out->lastWriteIndex, rig.out->writeIndex);
}

void tst_DspHBlocks::writerOfOutputLooksAtNoReader()
{
    DspRig rig(262'144, 2 * kBlock);
    rig.start(48'000);
    const Vector input = Samples::noise(5 * kBlock + kBlock / 2);
    rig.write(input);
    for (int round = 0; round < 6; ++round) {
        rig.finishRound();
    }
    QCOMPARE(rig.written(), kBlock); // five blocks have turned the ring twice, and a half
    COMPARE_SAMPLES(rig.read(kBlock), settling(Samples::slice(input, 4 * kBlock, kBlock), 4 * kBlock), 1e-12);
}

void tst_DspHBlocks::readerThatWasOverrunGoesOnWithWhatRingHolds()
{
    DspRig rig(4 * kBlock);
    rig.start(48'000);
    // One turn of the ring and a block, while the reader does nothing: only a block seems to be new.
    const Vector input = Samples::noise(5 * kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(kBlock), settling(Samples::slice(input, 4 * kBlock, kBlock)), 1e-12);
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
}

void tst_DspHBlocks::samplesOverrunInRingAreCounted()
{
    DspRig rig(4 * kBlock);
    rig.start(48'000);
    const qint64 before = Losses::process().total(Losses::Cause::InRing);
    rig.write(Vector(9 * kBlock + 10));
    rig.finishRound();
    rig.finishRound();
    QCOMPARE(Losses::process().total(Losses::Cause::InRing) - before, 8 * kBlock);
    rig.write(Vector(3 * kBlock));
    rig.finishRound();
    QCOMPARE(Losses::process().total(Losses::Cause::InRing) - before, 8 * kBlock);
}

void tst_DspHBlocks::samplesSkippedByRestartAreNotLost()
{
    DspRig rig(4 * kBlock);
    rig.start(48'000);
    const qint64 before = Losses::process().total(Losses::Cause::InRing);
    rig.dsp->stop();
    rig.write(Vector(9 * kBlock));
    rig.start(48'000);
    rig.write(Vector(kBlock));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    QCOMPARE(Losses::process().total(Losses::Cause::InRing), before);
}

void tst_DspHBlocks::wholeBandPassesAboveThreeMillionSamples_data()
{
    QTest::addColumn<qlonglong>("rate");
    QTest::newRow("3,276,900") << 3'276'900LL;
    QTest::newRow("10 million") << 10'000'000LL;
    QTest::newRow("38.4 million") << 38'400'000LL;
}

void tst_DspHBlocks::wholeBandPassesAboveThreeMillionSamples()
{
    QFETCH(const qlonglong, rate);
    DspRig rig;
    rig.dsp->setProperty("preferredBandWidth", rate);
    rig.start(rate);
    Vector output;
    for (int block = 0; block < 3; ++block) {
        rig.write(steps(block * kLongestBlock, kLongestBlock));
        const Vector part = rig.read(kLongestBlock);
        output.insert(output.end(), part.begin(), part.end());
    }
    COMPARE_SAMPLES(output, settling(steps(0, 3 * kLongestBlock)), 1e-12);
}

void tst_DspHBlocks::ringIsLargerOnlyWhileItsBlocksAreThatLong()
{
    constexpr int kShort = 16'384; // samples of a block at a million a second
    DspRig rig;
    int readIndex = 0;
    RingPosition position;
    const auto read = [&](int count) {
        const QMutexLocker lock(&rig.out->mutex);
        const qint64 lost = position.update(*rig.out, readIndex);
        Vector samples(static_cast<std::size_t>(std::min(count, rig.out->available(readIndex))));
        const int taken = static_cast<int>(samples.size());
        rig.out->read(readIndex, samples.data(), taken);
        readIndex = rig.out->advance(readIndex, taken);
        position.advance(taken);
        return lost == 0 ? samples : Vector();
    };
    const auto written = [&rig] {
        const QMutexLocker lock(&rig.out->mutex);
        return rig.out->written;
    };
    position.start(*rig.out, readIndex);
    rig.dsp->setProperty("preferredBandWidth", 10'000'000LL);
    rig.start(1'000'000);
    rig.write(steps(0, 3 * kShort));
    QTRY_COMPARE(written(), quint64{3 * kShort});
    const Vector first = settling(steps(0, 6 * kShort));
    COMPARE_SAMPLES(read(3 * kShort), Samples::slice(first, 0, 3 * kShort), 1e-12);
    rig.write(steps(3 * kShort, 3 * kShort)); // around the end of the ring
    QTRY_COMPARE(written(), quint64{6 * kShort});
    QCOMPARE(rig.outCapacity(), kLongestBlock);

    rig.dsp->setProperty("inSampleRate", 10'000'000LL);
    rig.finishRound();
    rig.write(steps(0, kLongestBlock));
    QTRY_COMPARE(written(), quint64{6 * kShort + kLongestBlock});
    QCOMPARE(rig.outCapacity(), 2 * kLongestBlock);
    COMPARE_SAMPLES(read(3 * kShort), Samples::slice(first, 3 * kShort, 3 * kShort), 1e-12);
    COMPARE_SAMPLES(read(2 * kLongestBlock), settling(steps(0, kLongestBlock)), 1e-12);

    rig.dsp->setProperty("inSampleRate", 1'000'000LL);
    rig.finishRound();
    rig.write(steps(0, kShort));
    QTRY_COMPARE(written(), quint64{7 * kShort + kLongestBlock});
    QCOMPARE(rig.outCapacity(), kLongestBlock);
    COMPARE_SAMPLES(read(2 * kLongestBlock), settling(steps(0, kShort)), 1e-12);
}

void tst_DspHBlocks::eachBlockReadWakesWhoWaitsForSpace()
{
    DspRig rig;
    rig.start(48'000);
    const QMutexLocker lock(&rig.in->mutex);
    const Vector block = Samples::noise(kBlock);
    rig.in->write(block.data(), kBlock);
    rig.in->dataReady.wakeAll();
    QVERIFY(rig.in->spaceFreed.wait(&rig.in->mutex, 10'000));
}

void tst_DspHBlocks::loopWaitsWhileRingIsShort()
{
    DspRig rig;
    rig.start(48'000);
    // Nobody wakes it: a round takes its wait of 20 ms, and serves two of these calls at the most.
    QElapsedTimer timer;
    timer.start();
    for (int call = 0; call < 10; ++call) {
        rig.onWorker([] {});
    }
    QVERIFY2(timer.elapsed() >= 60, qPrintable(QString::number(timer.elapsed())));
}

QTEST_GUILESS_MAIN(tst_DspHBlocks)
#include "tst_DspHBlocks.moc"
