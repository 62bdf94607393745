#include "Core/Worker/DspH/DspH.h"

#include "Core/Losses/Losses.h"
#include "DspRig.h"
#include "Samples.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QtTest>
#include <atomic>
#include <complex>
#include <limits>
#include <memory>

using Samples::Vector;

namespace
{

constexpr int kBlock = 1'024;                   // at 48,000 samples a second
constexpr double kSettled = 0.9746794344808963; // magnitude of the fine mixer: the square root of 0.95

// The part of `samples`, which begin at sample `first` of their stream, that a tone of `frequency` cycles a
// sample makes up: its magnitude and its phase at the stream's start.
std::complex<double> toneIn(const Vector& samples, double frequency, int first = 0)
{
    const Vector reference = Samples::tone(frequency, static_cast<int>(samples.size()), first);
    std::complex<double> sum;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        sum += std::complex<double>(samples[i].re, samples[i].im) *
               std::complex<double>(reference[i].re, -reference[i].im);
    }
    return sum / static_cast<double>(samples.size());
}

// What the fine mixer at 0 Hz makes of a stream from its sample `first` on: its magnitude starts at 1 and is
// corrected from sample to sample.
Vector settling(Vector samples, int first = 0)
{
    double magnitude = 1.0;
    for (int n = 0; n < first; ++n) {
        magnitude *= 1.95 - magnitude * magnitude;
    }
    for (DoubleComplex& sample : samples) {
        sample.re *= magnitude;
        sample.im *= magnitude;
        magnitude *= 1.95 - magnitude * magnitude;
    }
    return samples;
}

} // namespace

class tst_DspH : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void propertiesStandInTheirOrderWithTheirDefaults();
    void signalsStandInTheirOrder();
    void destructorLogsItsClass();

    void blockLengthIsAPowerOfTwoOfAboutTenMilliseconds_data();
    void blockLengthIsAPowerOfTwoOfAboutTenMilliseconds();
    void aBlockIsReadWhenItIsWholeAndNotBefore();
    void aBlockAsLongAsTheRingIsNeverRead();
    void blocksAcrossTheEndsOfBothRingsKeepTheirOrder();
    void theWriterOfTheOutputLooksAtNoReader();
    void aReaderThatWasOverrunGoesOnWithWhatTheRingHolds();
    void samplesOverrunInTheRingAreCounted();
    void samplesSkippedByARestartAreNotLost();
    void theWholeBandPassesAboveThreeMillionSamples_data();
    void theWholeBandPassesAboveThreeMillionSamples();
    void theRingIsLargerOnlyWhileItsBlocksAreThatLong();
    void eachBlockReadWakesWhoWaitsForSpace();
    void theLoopWaitsWhileTheRingIsShort();

    void aToneComesOutAtItsFrequencyLessTheIf_data();
    void aToneComesOutAtItsFrequencyLessTheIf();
    void belowTwiceTheBandWidthTheSamplesPassWithTheFineMixersMagnitude();

    void setupLogsItsFourLines();
    void setupTellsTheOutputRate();
    void theSamePreferredBandWidthRunsNoSetup();
    void aNewPreferredBandWidthRunsSetupWhileRunning();
    void aNewInSampleRateRunsSetupWhileRunning();
    void propertiesWrittenBeforeStartWaitForIt();
    void aliasFreeBandWidthTakesEffectAtTheNextSetup();
    void outSampleRateIsAPlainWriteThatTheNextSetupReplaces();

    void ifFreqWrittenBeforeStartIsAppliedAtStart();
    void everyWriteOfIfFreqRetunesAndTells();
    void resetOfIfFreqGoesToZero();
    void anIfFreqThatNoTableReachesIsRefusedWithOneWarning_data();
    void anIfFreqThatNoTableReachesIsRefusedWithOneWarning();
    void anIfFreqBeyondTheTableOfTheNextRateLeavesTheMixersAtZero();
    void aRateThatNoWholeNumberHoldsIsRefusedWithOneWarning_data();
    void aRateThatNoWholeNumberHoldsIsRefusedWithOneWarning();
    void aBandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten_data();
    void aBandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten();
    void theLargestRatesStayInsideTheirIntegers();
    void anOutputRateBelowOneHertzKeepsTheSamplesFinite();

    void startWithoutARateWarnsStopsAndEndsUpStarted();
    void startWithoutARateServesBlocksOfNothingUntilStopped();
    void aRateBelowOneWhileRunningStopsTheWorker();
    void aKeyOtherThanInAndOutChangesNothing();
    void aRingOfShortsOrNoneUnderAKeyChangesNothing();
    void withoutRingsTheLoopStillServesItsCallers();
    void aNewInputRingIsReadFromItsStart();
    void afterAStopAndAStartReadingResumesAtTheWriteIndex();
    void aRestartFromWithinTheLoopSkipsWhatCameBetween();
    void startsFromWithinTheLoopDoNotNestIt();
    void theSamplePathTakesNothingFromTheHeapInItsSteadyState();

private:
    [[nodiscard]] QStringList logged(const QString& part) const { return m_log->texts().filter(part); }

    std::unique_ptr<LogCapture> m_log;
};

void tst_DspH::init()
{
    m_log = std::make_unique<LogCapture>();
}

void tst_DspH::cleanup()
{
    m_log.reset();
}

void tst_DspH::propertiesStandInTheirOrderWithTheirDefaults()
{
    struct Expected
    {
        const char* name;
        const char* type;
        QVariant value;
    };
    const QVector<Expected> properties{{"inSampleRate", "qlonglong", 0LL},
                                       {"preferredBandWidth", "qlonglong", 30'000LL},
                                       {"outSampleRate", "qlonglong", 0LL},
                                       {"aliasFreeBandWidth", "qlonglong", 8'000LL},
                                       {"ifFreq", "double", 0.0}};
    DspH dsp;
    const QMetaObject& meta = DspH::staticMetaObject;
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), properties.size());
    for (int i = 0; i < properties.size(); ++i) {
        const QMetaProperty property = meta.property(meta.propertyOffset() + i);
        const bool isIfFreq = qstrcmp(property.name(), "ifFreq") == 0;
        QCOMPARE(property.name(), properties.at(i).name);
        QCOMPARE(property.typeName(), properties.at(i).type);
        QCOMPARE(dsp.getProperty(property.name()), properties.at(i).value);
        QVERIFY(property.isWritable());
        QCOMPARE(property.isResettable(), isIfFreq);
        QCOMPARE(property.hasNotifySignal(), isIfFreq);
    }
    QCOMPARE(meta.property(meta.indexOfProperty("ifFreq")).notifySignal().name(),
             QByteArray("ifFreqChanged"));
}

void tst_DspH::signalsStandInTheirOrder()
{
    const QMetaObject& meta = DspH::staticMetaObject;
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(), QByteArray("ifFreqChanged(double)"));
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodSignature(),
             QByteArray("outSampleRateChanged(double)"));
}

void tst_DspH::destructorLogsItsClass()
{
    {
        const DspH dsp;
    }
    QCOMPARE(m_log->texts(QtDebugMsg), QStringList{QStringLiteral("Destruct class .. DspH")});
}

void tst_DspH::blockLengthIsAPowerOfTwoOfAboutTenMilliseconds_data()
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

void tst_DspH::blockLengthIsAPowerOfTwoOfAboutTenMilliseconds()
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
    QCOMPARE(logged(QStringLiteral("input bufLen")),
             QStringList{QStringLiteral("input bufLen %1").arg(length)});
}

void tst_DspH::aBlockIsReadWhenItIsWholeAndNotBefore()
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

void tst_DspH::aBlockAsLongAsTheRingIsNeverRead()
{
    DspRig rig(kBlock);
    rig.start(48'000);
    for (int i = 0; i < 8; ++i) {
        rig.write(Vector(kBlock - 1));
        rig.finishRound();
    }
    QCOMPARE(rig.written(), 0);
}

void tst_DspH::blocksAcrossTheEndsOfBothRingsKeepTheirOrder()
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

void tst_DspH::theWriterOfTheOutputLooksAtNoReader()
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

void tst_DspH::aReaderThatWasOverrunGoesOnWithWhatTheRingHolds()
{
    DspRig rig(4 * kBlock);
    rig.start(48'000);
    // One turn of the ring and a block, while the reader stands still: a block is all that seems to be new.
    const Vector input = Samples::noise(5 * kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(kBlock), settling(Samples::slice(input, 4 * kBlock, kBlock)), 1e-12);
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
}

void tst_DspH::samplesOverrunInTheRingAreCounted()
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

void tst_DspH::samplesSkippedByARestartAreNotLost()
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

namespace
{

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

void tst_DspH::theWholeBandPassesAboveThreeMillionSamples_data()
{
    QTest::addColumn<qlonglong>("rate");
    QTest::newRow("3,276,900") << 3'276'900LL;
    QTest::newRow("10 million") << 10'000'000LL;
    QTest::newRow("38.4 million") << 38'400'000LL;
}

void tst_DspH::theWholeBandPassesAboveThreeMillionSamples()
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

void tst_DspH::theRingIsLargerOnlyWhileItsBlocksAreThatLong()
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

void tst_DspH::eachBlockReadWakesWhoWaitsForSpace()
{
    DspRig rig;
    rig.start(48'000);
    const QMutexLocker lock(&rig.in->mutex);
    const Vector block = Samples::noise(kBlock);
    rig.in->write(block.data(), kBlock);
    rig.in->dataReady.wakeAll();
    QVERIFY(rig.in->spaceFreed.wait(&rig.in->mutex, 10'000));
}

void tst_DspH::theLoopWaitsWhileTheRingIsShort()
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

void tst_DspH::aToneComesOutAtItsFrequencyLessTheIf_data()
{
    QTest::addColumn<qlonglong>("rate");
    QTest::addColumn<double>("ifFreq");
    QTest::addColumn<double>("tone"); // hertz, in the input
    QTest::addColumn<double>("outRate");
    QTest::addColumn<double>("frequency"); // hertz, in the output
    QTest::addColumn<double>("tolerance");
    QTest::newRow("no shift") << 2'400'000LL << 0.0 << 1'000.0 << 37'500.0 << 1'000.0 << 2e-3;
    QTest::newRow("up to the centre") << 2'400'000LL << 300'000.0 << -300'000.0 << 37'500.0 << 0.0 << 2e-3;
    QTest::newRow("beside the centre")
        << 2'400'000LL << 712'345.0 << -710'345.0 << 37'500.0 << 2'000.0 << 2e-3;
    QTest::newRow("by a residual alone") << 2'400'000LL << -1'500.0 << 500.0 << 37'500.0 << -1'000.0 << 2e-3;
    // Below zero the residual is up to one and a half steps of the table, and the chain's pass band ends.
    QTest::newRow("down") << 2'400'000LL << -712'345.0 << 714'345.0 << 37'500.0 << 2'000.0 << 5e-3;
    QTest::newRow("10 million") << 10'000'000LL << 2'988'381.25 << -2'989'481.25 << 39'062.0 << -1'100.0
                                << 2e-3;
}

void tst_DspH::aToneComesOutAtItsFrequencyLessTheIf()
{
    QFETCH(qlonglong, rate);
    QFETCH(double, ifFreq);
    QFETCH(double, tone);
    QFETCH(double, outRate);
    QFETCH(double, frequency);
    QFETCH(double, tolerance);
    DspRig rig;
    rig.dsp->setProperty("ifFreq", ifFreq);
    rig.start(rate);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toDouble(), outRate);
    const double exactOutRate = rate == 10'000'000 ? 39'062.5 : outRate;
    const int ratio = static_cast<int>(static_cast<double>(rate) / exactOutRate);
    const int block = rate == 10'000'000 ? 65'536 : 32'768;
    Vector output;
    for (int i = 0; i < 8; ++i) {
        rig.write(Samples::tone(tone / static_cast<double>(rate), block, i * block));
        const Vector part = rig.read(block / ratio);
        output.insert(output.end(), part.begin(), part.end());
    }
    QCOMPARE(static_cast<int>(output.size()), 8 * block / ratio);
    // The first outputs of a block carry what the 11-tap stages took up of the block before.
    const int part = block / ratio;
    std::complex<double> mean;
    for (int i = 1; i < 8; ++i) {
        const Vector steady = Samples::slice(output, i * part + 12, part - 12);
        const std::complex<double> found = toneIn(steady, frequency / exactOutRate, i * part + 12);
        mean += found / 7.0;
        QVERIFY2(std::abs(std::abs(found) / kSettled - 1.0) < tolerance,
                 qPrintable(QString::number(std::abs(found))));
    }
    // One tone through all blocks, without a jump of its phase.
    QVERIFY2(std::abs(std::abs(mean) / kSettled - 1.0) < tolerance,
             qPrintable(QString::number(std::abs(mean))));
}

void tst_DspH::belowTwiceTheBandWidthTheSamplesPassWithTheFineMixersMagnitude()
{
    DspRig rig;
    rig.start(48'000);
    const Vector input = Samples::noise(4 * kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(4 * kBlock), settling(input), 1e-12);
}

void tst_DspH::setupLogsItsFourLines()
{
    const DspRig rig;
    rig.start(2'400'000);
    const QStringList texts = m_log->texts(QtDebugMsg);
    const int first = texts.indexOf(QStringLiteral("**** SETUP DSPH ****"));
    QVERIFY(first > 0);
    QCOMPARE(
        texts.mid(first - 1, 5),
        (QStringList{QStringLiteral("Decimator 6 2.4e+06 37500 8000"), QStringLiteral("**** SETUP DSPH ****"),
                     QStringLiteral("input sampleRate 2400000"), QStringLiteral("input bufLen 32768"),
                     QStringLiteral("output decimator sampleRate 37500")}));
}

void tst_DspH::setupTellsTheOutputRate()
{
    const DspRig rig;
    std::atomic<double> told{0.0};
    connect(
        rig.dsp, &DspH::outSampleRateChanged, this, [&told](double rate) { told = rate; },
        Qt::DirectConnection);
    rig.start(10'000'000);
    QCOMPARE(told.load(), 39'062.0); // of 39,062.5
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 39'062LL);
}

void tst_DspH::theSamePreferredBandWidthRunsNoSetup()
{
    const DspRig rig;
    rig.start(2'400'000);
    m_log->clear();
    rig.dsp->setProperty("preferredBandWidth", 30'000LL);
    rig.dsp->setProperty("inSampleRate", 2'400'000LL);
    rig.finishRound();
    QVERIFY(logged(QStringLiteral("SETUP")).isEmpty());
}

void tst_DspH::aNewPreferredBandWidthRunsSetupWhileRunning()
{
    DspRig rig;
    rig.start(2'400'000);
    rig.dsp->setProperty("preferredBandWidth", 200'000LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 300'000LL);
    rig.write(Vector(32'768));
    QCOMPARE(static_cast<int>(rig.read(4'096).size()), 4'096);
}

void tst_DspH::aNewInSampleRateRunsSetupWhileRunning()
{
    const DspRig rig;
    rig.start(2'400'000);
    m_log->clear();
    rig.dsp->setProperty("inSampleRate", 48'000.0);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
    QCOMPARE(logged(QStringLiteral("input bufLen")), QStringList{QStringLiteral("input bufLen 1024")});
}

void tst_DspH::propertiesWrittenBeforeStartWaitForIt()
{
    const DspRig rig;
    rig.dsp->setProperty("inSampleRate", 2'400'000LL);
    rig.dsp->setProperty("preferredBandWidth", 100'000LL);
    rig.onWorker([] {});
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 0LL);
    QVERIFY(logged(QStringLiteral("SETUP")).isEmpty());
    rig.dsp->start(false);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 150'000LL);
}

void tst_DspH::aliasFreeBandWidthTakesEffectAtTheNextSetup()
{
    const DspRig rig;
    rig.start(2'400'000);
    m_log->clear();
    rig.dsp->setProperty("aliasFreeBandWidth", 12'000LL);
    rig.finishRound();
    QVERIFY(logged(QStringLiteral("Decimator")).isEmpty());
    rig.dsp->setProperty("preferredBandWidth", 15'000LL);
    rig.finishRound();
    QCOMPARE(logged(QStringLiteral("Decimator")),
             QStringList{QStringLiteral("Decimator 7 2.4e+06 18750 12000")});
}

void tst_DspH::outSampleRateIsAPlainWriteThatTheNextSetupReplaces()
{
    const DspRig rig;
    rig.start(2'400'000);
    m_log->clear();
    rig.dsp->setProperty("outSampleRate", 5LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 5LL);
    QVERIFY(m_log->texts().isEmpty());
    rig.dsp->setProperty("preferredBandWidth", 31'000LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 37'500LL);
}

void tst_DspH::ifFreqWrittenBeforeStartIsAppliedAtStart()
{
    DspRig rig;
    // More than a table at the rate of 1 that precedes any setup reaches.
    rig.dsp->setProperty("ifFreq", 7'000'000.0);
    rig.onWorker([] {});
    QCOMPARE(rig.dsp->getProperty("ifFreq").toDouble(), 7'000'000.0);
    rig.dsp->setProperty("ifFreq", -12'000.0); // of 48,000: a step of a quarter turn
    rig.start(48'000);
    rig.write(Samples::tone(0.25, kBlock));
    const Vector output = rig.read(kBlock);
    QVERIFY(std::abs(std::abs(toneIn(output, 0.0)) / kSettled - 1.0) < 1e-3);
    QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
}

void tst_DspH::everyWriteOfIfFreqRetunesAndTells()
{
    DspRig rig;
    std::atomic<int> told{0};
    std::atomic<double> last{0.0};
    connect(
        rig.dsp, &DspH::ifFreqChanged, this,
        [&told, &last](double frequency) {
            ++told;
            last = frequency;
        },
        Qt::DirectConnection);
    rig.start(48'000);
    rig.write(Vector(kBlock, DoubleComplex{1.0, 0.0}));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    for (int i = 0; i < 2; ++i) {
        rig.dsp->setProperty("ifFreq", 12'040.0); // 128 steps of 93.75 Hz, and 40 Hz
        rig.finishRound();
        rig.write(Vector(kBlock, DoubleComplex{1.0, 0.0}));
        // The phase of the fine mixer starts anew; the table, at a multiple of its length, with entry 1.
        Vector expected = settling(Samples::tone(12'040.0 / 48'000.0, kBlock, 1));
        COMPARE_SAMPLES(rig.read(kBlock), expected, 1e-9);
    }
    QCOMPARE(told.load(), 2);
    QCOMPARE(last.load(), 12'040.0);
}

void tst_DspH::resetOfIfFreqGoesToZero()
{
    const DspRig rig;
    rig.start(48'000);
    rig.dsp->setProperty("ifFreq", 1'000.0);
    rig.dsp->setProperty("preferredBandWidth", 20'000LL);
    std::atomic<double> told{-1.0};
    connect(
        rig.dsp, &DspH::ifFreqChanged, this, [&told](double frequency) { told = frequency; },
        Qt::DirectConnection);
    QVERIFY(rig.dsp->reset());
    QCOMPARE(told.load(), 0.0);
    QCOMPARE(rig.dsp->getProperty("ifFreq").toDouble(), 0.0);
    QCOMPARE(rig.dsp->getProperty("preferredBandWidth").toLongLong(), 20'000LL);
}

void tst_DspH::anIfFreqThatNoTableReachesIsRefusedWithOneWarning_data()
{
    QTest::addColumn<double>("ifFreq");
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
    QTest::newRow("huge") << 1e300;
    QTest::newRow("one step beyond 32 bits") << 2'147'483'648.0 * 93.75;
    QTest::newRow("one step beyond 32 bits, negative") << -2'147'483'650.0 * 93.75;
}

void tst_DspH::anIfFreqThatNoTableReachesIsRefusedWithOneWarning()
{
    QFETCH(double, ifFreq);
    const DspRig rig;
    rig.start(48'000);
    rig.dsp->setProperty("ifFreq", 1'000.0);
    std::atomic<int> told{0};
    rig.finishRound();
    connect(
        rig.dsp, &DspH::ifFreqChanged, this, [&told] { ++told; }, Qt::DirectConnection);
    rig.dsp->setProperty("ifFreq", ifFreq);
    rig.finishRound();
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty("ifFreq").toDouble(), 1'000.0);
    QCOMPARE(told.load(), 0);
    QVERIFY(rig.dsp->running());
}

void tst_DspH::anIfFreqBeyondTheTableOfTheNextRateLeavesTheMixersAtZero()
{
    DspRig rig;
    rig.dsp->setProperty("ifFreq", 1e300);
    rig.start(48'000);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    rig.write(Vector(kBlock, DoubleComplex{1.0, 0.0}));
    COMPARE_SAMPLES(rig.read(kBlock), settling(Vector(kBlock, DoubleComplex{1.0, 0.0})), 1e-12);
}

void tst_DspH::aRateThatNoWholeNumberHoldsIsRefusedWithOneWarning_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<double>("value");
    for (const char* name : {"inSampleRate", "preferredBandWidth", "outSampleRate", "aliasFreeBandWidth"}) {
        QTest::addRow("%s, not a number", name)
            << QByteArray(name) << std::numeric_limits<double>::quiet_NaN();
        QTest::addRow("%s, infinite", name) << QByteArray(name) << std::numeric_limits<double>::infinity();
        QTest::addRow("%s, 1e300", name) << QByteArray(name) << 1e300;
        QTest::addRow("%s, -2^63", name) << QByteArray(name) << -0x1p63;
    }
}

void tst_DspH::aRateThatNoWholeNumberHoldsIsRefusedWithOneWarning()
{
    QFETCH(QByteArray, name);
    QFETCH(double, value);
    const DspRig rig;
    rig.start(48'000);
    const QVariant before = rig.dsp->getProperty(name.constData());
    QVERIFY(rig.dsp->setProperty(name.constData(), value));
    rig.finishRound();
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty(name.constData()), before);
    QVERIFY(rig.dsp->running());
}

void tst_DspH::aBandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten_data()
{
    QTest::addColumn<qlonglong>("bandWidth");
    QTest::newRow("zero") << 0LL;
    QTest::newRow("negative") << -30'000LL;
    QTest::newRow("the least number") << std::numeric_limits<qlonglong>::min();
    QTest::newRow("an 8,192nd of the rate") << 293LL;
    QTest::newRow("one") << 1LL;
}

void tst_DspH::aBandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten()
{
    QFETCH(qlonglong, bandWidth);
    DspRig rig;
    rig.start(293 * 8'192);
    rig.dsp->setProperty("preferredBandWidth", bandWidth);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("preferredBandWidth").toLongLong(), bandWidth);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 293LL * 2);
    rig.write(Vector(32'768));
    QCOMPARE(static_cast<int>(rig.read(8).size()), 8);
}

void tst_DspH::theLargestRatesStayInsideTheirIntegers()
{
    constexpr qlonglong kLargest = std::numeric_limits<qlonglong>::max();
    const DspRig rig;
    rig.dsp->setProperty("preferredBandWidth", kLargest);
    rig.dsp->setProperty("aliasFreeBandWidth", kLargest);
    rig.start(kLargest);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), kLargest);
    rig.dsp->setProperty("preferredBandWidth", 0LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 1LL << 51);
}

void tst_DspH::anOutputRateBelowOneHertzKeepsTheSamplesFinite()
{
    DspRig rig;
    rig.dsp->setProperty("preferredBandWidth", 0LL);
    rig.dsp->setProperty("ifFreq", 30.25);
    rig.start(1'000);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 0LL);
    // A block of 1,024 leaves nothing behind the CIC stages of so narrow a chain; a wide band of interest
    // keeps the long filters, which give one sample of one.
    rig.dsp->setProperty("aliasFreeBandWidth", 1'000LL);
    rig.dsp->setProperty("inSampleRate", 1'001LL);
    rig.finishRound();
    rig.write(Vector(kBlock, DoubleComplex{1.0, 0.0}));
    const Vector output = rig.read(1);
    QCOMPARE(static_cast<int>(output.size()), 1);
    QVERIFY(std::isfinite(output[0].re) && std::isfinite(output[0].im));
}

void tst_DspH::startWithoutARateWarnsStopsAndEndsUpStarted()
{
    const DspRig rig;
    m_log->clear();
    QVERIFY(rig.dsp->start(false));
    QVERIFY(rig.dsp->running());
    QCOMPARE(logged(QStringLiteral("State changed")),
             (QStringList{QStringLiteral("State changed ( DspH ): STOPPED -> TRY_START"),
                          QStringLiteral("State changed ( DspH ): TRY_START -> STOPPED"),
                          QStringLiteral("State changed ( DspH ): STOPPED -> STARTED")}));
    const QStringList warnings = m_log->texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.constFirst().startsWith(QStringLiteral("[ W ][ Core/Worker/DspH/DspH ] setup : ")) &&
                 warnings.constFirst().endsWith(
                     QStringLiteral(" =>\t Error setup dsph - inSampleRate incorrect value!")),
             qPrintable(warnings.constFirst()));
}

void tst_DspH::startWithoutARateServesBlocksOfNothingUntilStopped()
{
    const DspRig rig;
    rig.dsp->start(false);
    rig.finishRound();
    rig.write(Vector(100));
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    rig.dsp->stop();
    QVERIFY(!rig.dsp->running());
    // The next start with a rate is a start like any other.
    rig.start(48'000);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
}

void tst_DspH::aRateBelowOneWhileRunningStopsTheWorker()
{
    DspRig rig;
    rig.start(48'000);
    std::atomic<int> stopped{0};
    connect(
        rig.dsp, &Worker::stopped, this, [&stopped] { ++stopped; }, Qt::DirectConnection);
    rig.dsp->setProperty("inSampleRate", 0LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->state(), Worker::STOPPED);
    QCOMPARE(stopped.load(), 1);
    QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
}

void tst_DspH::aKeyOtherThanInAndOutChangesNothing()
{
    DspRig rig;
    const auto other = QSharedPointer<DspRig::Ring>::create(65'536);
    for (const char* key : {"", "IN", "input", "outer"}) {
        rig.dsp->setBuffer(other, QString::fromLatin1(key));
    }
    rig.start(48'000);
    rig.write(Vector(kBlock));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    QCOMPARE(other->writeIndex, 0);
}

void tst_DspH::aRingOfShortsOrNoneUnderAKeyChangesNothing()
{
    DspRig rig;
    rig.dsp->setBuffer(QSharedPointer<RingBuffer<short>>::create(1'024), QStringLiteral("in"));
    rig.dsp->setBuffer(QSharedPointer<DspRig::Ring>(), QStringLiteral("out"));
    rig.start(48'000);
    rig.write(Vector(kBlock));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
}

void tst_DspH::withoutRingsTheLoopStillServesItsCallers()
{
    auto* dsp = new DspH;
    ThreadManager thread(dsp);
    thread.start(QThread::NormalPriority);
    dsp->setProperty("inSampleRate", 2'400'000LL);
    QVERIFY(dsp->start(false));
    QCOMPARE(dsp->getProperty("outSampleRate").toLongLong(), 37'500LL);
    QVERIFY(dsp->reset());
    dsp->stop();
    QVERIFY(!dsp->running());
}

void tst_DspH::aNewInputRingIsReadFromItsStart()
{
    DspRig rig;
    rig.start(48'000);
    const auto next = QSharedPointer<DspRig::Ring>::create(65'536);
    const Vector input = Samples::noise(2 * kBlock);
    next->write(input.data(), 2 * kBlock);
    rig.dsp->setBuffer(next, QStringLiteral("in"));
    COMPARE_SAMPLES(rig.read(2 * kBlock), settling(input), 1e-12);
}

void tst_DspH::afterAStopAndAStartReadingResumesAtTheWriteIndex()
{
    DspRig rig;
    rig.write(Samples::noise(10 * kBlock, 1));
    rig.start(48'000);
    QCOMPARE(rig.written(), 0);
    rig.write(Samples::noise(kBlock + 500, 2));
    QCOMPARE(static_cast<int>(rig.read(kBlock).size()), kBlock);
    rig.dsp->stop();
    rig.write(Samples::noise(10 * kBlock, 3));
    rig.start(48'000);
    const Vector fresh = Samples::noise(kBlock, 4);
    rig.write(fresh);
    COMPARE_SAMPLES(rig.read(kBlock), settling(fresh), 1e-12);
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
}

void tst_DspH::aRestartFromWithinTheLoopSkipsWhatCameBetween()
{
    DspRig rig;
    rig.start(48'000);
    rig.onWorker([&rig] {
        rig.dsp->stop();
        rig.write(Samples::noise(5 * kBlock, 1));
        rig.dsp->start(false);
    });
    rig.finishRound();
    QCOMPARE(rig.written(), 0);
    const Vector fresh = Samples::noise(kBlock, 2);
    rig.write(fresh);
    COMPARE_SAMPLES(rig.read(kBlock), settling(fresh), 1e-12);
}

void tst_DspH::startsFromWithinTheLoopDoNotNestIt()
{
    DspRig rig;
    rig.start(48'000);
    std::vector<quintptr> frames;
    for (int i = 0; i < 50; ++i) {
        rig.onWorker([&] {
            frames.push_back(reinterpret_cast<quintptr>(__builtin_frame_address(0)));
            rig.dsp->stop();
            rig.dsp->start(false);
        });
        rig.onWorker([] {});
    }
    // The two places that deliver events differ by a few frames; fifty loops in each other by many more.
    const auto depth = static_cast<qint64>(frames.front() - frames.back());
    QVERIFY2(std::abs(depth) < 2'000, qPrintable(QString::number(depth)));
    const Vector input = Samples::noise(kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(kBlock), settling(input), 1e-12);
}

void tst_DspH::theSamplePathTakesNothingFromTheHeapInItsSteadyState()
{
    DspRig rig;
    rig.dsp->setProperty("ifFreq", -300'100.0);
    rig.start(2'400'000);
    constexpr int kRateBlock = 32'768;
    const Vector block = Samples::noise(kRateBlock);
    const auto pass = [&rig, &block] {
        rig.write(block);
        return static_cast<int>(rig.read(kRateBlock / 64).size()) == kRateBlock / 64;
    };
    QVERIFY(pass());
    std::unique_ptr<AllocationCounter> counter;
    rig.onWorker([&counter] { counter = std::make_unique<AllocationCounter>(); });
    int before = 0;
    rig.onWorker([&] { before = counter->count(); });
    for (int i = 0; i < 100; ++i) {
        QVERIFY(pass());
    }
    int after = -1;
    rig.onWorker([&] {
        after = counter->count();
        counter.reset();
    });
    QCOMPARE(after, before);
}

QTEST_GUILESS_MAIN(tst_DspH)
#include "tst_DspH.moc"
