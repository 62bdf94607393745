#include "Embedded/SampleReader.h"

#include <QElapsedTimer>
#include <QtTest>
#include <thread>
#include <vector>

using orvenlink::Read;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

class tst_SampleReader : public QObject
{
    Q_OBJECT

private slots:
    void readHasLengthAskedFor();
    void readEndsBeforeGapThatNextOneTells();
    void samplesThatReaderCameTooLateForAreTold();
    void readEndsBeforeAnotherRateAndTimeGoesOn();
    void emptyStreamIsWaitedForAsLongAsAsked();
    void brokenSessionIsToldOnceAfterItsSamples();
    void brokenSessionWakesWhoWaits();
    void whatIsDiscardedCountsAsNothing();
    void floatsHaveFullScaleOne();
    void timeBeginsAgainWithAnotherStream();
};

namespace
{

constexpr qint64 kArrival = 1'000'000; // ms since the epoch
constexpr double kRate = 12'800;       // 100 blocks a second

IqBlock block(qint64 position, qint64 missing = 0, double rate = kRate)
{
    IqBlock result;
    result.position = position;
    result.missing = missing;
    result.sampleRate = rate;
    result.time = kArrival;
    for (int n = 0; n < 128; ++n) {
        result.samples.append({static_cast<qint16>(position + n), static_cast<qint16>(-position - n)});
    }
    return result;
}

class Stream
{
public:
    Read read(std::size_t count, int limitMs = 0)
    {
        samples.resize(count);
        return reader.read(samples.data(), count, milliseconds(limitMs));
    }

    IqQueue queue{1000};
    SampleReader reader{queue};
    std::vector<orvenlink::Sample> samples;
};

} // namespace

void tst_SampleReader::readHasLengthAskedFor()
{
    Stream stream;
    stream.queue.push(block(0));
    stream.queue.push(block(128));
    const Read first = stream.read(200);
    QCOMPARE(first.count, std::size_t(200));
    QCOMPARE(first.position, 0);
    QCOMPARE(first.sampleRate, kRate);
    QCOMPARE(stream.samples[199].i, 199);
    QCOMPARE(stream.samples[199].q, -199);
    const Read second = stream.read(200);
    QCOMPARE(second.count, std::size_t(56));
    QCOMPARE(second.position, 200);
    QCOMPARE(stream.samples[0].i, 200);
    QCOMPARE(second.time - first.time, nanoseconds(15'625'000));
    QVERIFY(first.time == milliseconds(kArrival - 10));
}

void tst_SampleReader::readEndsBeforeGapThatNextOneTells()
{
    Stream stream;
    stream.queue.push(block(0));
    stream.queue.push(block(128 + 12'800, 12'800));
    const Read first = stream.read(256);
    QCOMPARE(first.count, std::size_t(128));
    QCOMPARE(first.lost, 0);
    const Read second = stream.read(100);
    QCOMPARE(second.count, std::size_t(100));
    QCOMPARE(second.lost, 12'800);
    QCOMPARE(second.position, 12'928);
    QCOMPARE(second.time - first.time, nanoseconds(1'010'000'000));
    QCOMPARE(stream.read(28).lost, 0);
}

void tst_SampleReader::samplesThatReaderCameTooLateForAreTold()
{
    Stream stream;
    for (int n = 0; n < 10; ++n) {
        stream.queue.push(block(128 * n));
    }
    const Read read = stream.read(2000);
    QCOMPARE(read.late, 3 * 128);
    QCOMPARE(read.lost, 0);
    QCOMPARE(read.position, 3 * 128);
    QCOMPARE(read.count, std::size_t(7 * 128));
    QCOMPARE(stream.reader.late(), 3 * 128);
}

void tst_SampleReader::readEndsBeforeAnotherRateAndTimeGoesOn()
{
    Stream stream;
    stream.queue.push(block(0));
    stream.queue.push(block(128, 0, kRate / 2));
    stream.queue.push(block(256, 0, kRate / 2));
    const Read first = stream.read(1000);
    QCOMPARE(first.count, std::size_t(128));
    const Read second = stream.read(1000);
    QCOMPARE(second.count, std::size_t(256));
    QCOMPARE(second.sampleRate, kRate / 2);
    QVERIFY(second.time - first.time == milliseconds(10));
    stream.queue.push(block(384, 0, kRate / 2));
    QVERIFY(stream.read(1).time - first.time == milliseconds(50));
}

void tst_SampleReader::emptyStreamIsWaitedForAsLongAsAsked()
{
    Stream stream;
    QElapsedTimer time;
    time.start();
    QCOMPARE(stream.read(10, 60).count, std::size_t(0));
    QVERIFY(time.nsecsElapsed() >= 60'000'000);
    stream.queue.push(block(0));
    time.start();
    const Read read = stream.read(1000, 60);
    QVERIFY(time.nsecsElapsed() >= 60'000'000);
    QCOMPARE(read.count, std::size_t(128));
    QVERIFY(!read.isBroken);
}

void tst_SampleReader::brokenSessionIsToldOnceAfterItsSamples()
{
    Stream stream;
    stream.queue.push(block(0));
    stream.queue.push({});
    stream.queue.push(block(1128, 1000));
    const Read before = stream.read(1000);
    QCOMPARE(before.count, std::size_t(128));
    QVERIFY(!before.isBroken);
    const Read broken = stream.read(1000);
    QCOMPARE(broken.count, std::size_t(0));
    QVERIFY(broken.isBroken);
    const Read after = stream.read(1000);
    QCOMPARE(after.count, std::size_t(128));
    QCOMPARE(after.lost, 1000);
    QVERIFY(!after.isBroken);
}

void tst_SampleReader::brokenSessionWakesWhoWaits()
{
    Stream stream;
    std::thread other([&stream] { stream.queue.push({}); });
    const Read read = stream.read(10, 60'000);
    other.join();
    QVERIFY(read.isBroken);
}

void tst_SampleReader::whatIsDiscardedCountsAsNothing()
{
    Stream stream;
    stream.queue.push(block(0));
    const Read first = stream.read(100);
    for (int n = 1; n < 10; ++n) {
        stream.queue.push(block(128 * n));
    }
    stream.reader.discard();
    stream.queue.push(block(1280));
    const Read read = stream.read(1000);
    QCOMPARE(read.position, 1280);
    QCOMPARE(read.count, std::size_t(128));
    QCOMPARE(read.late, 0);
    QCOMPARE(read.lost, 0);
    QVERIFY(read.time - first.time == milliseconds(100));
}

void tst_SampleReader::floatsHaveFullScaleOne()
{
    Stream stream;
    IqBlock one;
    one.samples = {{-32768, 16384}};
    stream.queue.push(one);
    std::complex<float> sample;
    QCOMPARE(stream.reader.read(&sample, 1, milliseconds(0)).count, std::size_t(1));
    QCOMPARE(sample, std::complex<float>(-1.0F, 0.5F));
}

void tst_SampleReader::timeBeginsAgainWithAnotherStream()
{
    Stream stream;
    stream.queue.push(block(0));
    QVERIFY(stream.read(10).time == milliseconds(kArrival - 10));
    stream.reader.restart();
    IqBlock later = block(0);
    later.time += 5000;
    stream.queue.push(later);
    const Read read = stream.read(10);
    QCOMPARE(read.position, 0);
    QVERIFY(read.time == milliseconds(kArrival + 4990));
    QCOMPARE(stream.reader.late(), 0);
}

QTEST_GUILESS_MAIN(tst_SampleReader)
#include "tst_SampleReader.moc"
