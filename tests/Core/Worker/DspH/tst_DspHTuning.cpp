#include "DspRig.h"
#include "Samples.h"

#include <QtTest>
#include <atomic>
#include <complex>
#include <limits>

using Samples::Vector;

namespace
{

constexpr int kBlock = DspRig::kBlock;
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

} // namespace

/// `DspH` and the frequency that it moves to 0 Hz.
class tst_DspHTuning : public QObject
{
    Q_OBJECT

private slots:
    void toneComesOutAtItsFrequencyLessIf_data();
    void toneComesOutAtItsFrequencyLessIf();
    void belowTwiceBandWidthSamplesPassWithFineMixersMagnitude();
    void ifFreqWrittenBeforeStartIsAppliedAtStart();
    void everyWriteOfIfFreqRetunesAndTells();
    void resetOfIfFreqGoesToZero();
    void ifFreqThatNoTableReachesIsRefusedWithOneWarning_data();
    void ifFreqThatNoTableReachesIsRefusedWithOneWarning();
    void ifFreqBeyondTableOfNextRateLeavesMixersAtZero();
};

void tst_DspHTuning::toneComesOutAtItsFrequencyLessIf_data()
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

void tst_DspHTuning::toneComesOutAtItsFrequencyLessIf()
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

void tst_DspHTuning::belowTwiceBandWidthSamplesPassWithFineMixersMagnitude()
{
    DspRig rig;
    rig.start(48'000);
    const Vector input = Samples::noise(4 * kBlock);
    rig.write(input);
    COMPARE_SAMPLES(rig.read(4 * kBlock), settling(input), 1e-12);
}

void tst_DspHTuning::ifFreqWrittenBeforeStartIsAppliedAtStart()
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
    QVERIFY(rig.log->texts(QtWarningMsg).isEmpty());
}

void tst_DspHTuning::everyWriteOfIfFreqRetunesAndTells()
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
        // The phase of the fine mixer restarts; the table, at a multiple of its length, goes on with entry 1.
        Vector expected = settling(Samples::tone(12'040.0 / 48'000.0, kBlock, 1));
        COMPARE_SAMPLES(rig.read(kBlock), expected, 1e-9);
    }
    QCOMPARE(told.load(), 2);
    QCOMPARE(last.load(), 12'040.0);
}

void tst_DspHTuning::resetOfIfFreqGoesToZero()
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

void tst_DspHTuning::ifFreqThatNoTableReachesIsRefusedWithOneWarning_data()
{
    QTest::addColumn<double>("ifFreq");
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
    QTest::newRow("huge") << 1e300;
    QTest::newRow("one step beyond 32 bits") << 2'147'483'648.0 * 93.75;
    QTest::newRow("one step beyond 32 bits, negative") << -2'147'483'650.0 * 93.75;
}

void tst_DspHTuning::ifFreqThatNoTableReachesIsRefusedWithOneWarning()
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
    QCOMPARE(rig.log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty("ifFreq").toDouble(), 1'000.0);
    QCOMPARE(told.load(), 0);
    QVERIFY(rig.dsp->running());
}

void tst_DspHTuning::ifFreqBeyondTableOfNextRateLeavesMixersAtZero()
{
    DspRig rig;
    rig.dsp->setProperty("ifFreq", 1e300);
    rig.start(48'000);
    QCOMPARE(rig.log->texts(QtWarningMsg).size(), 1);
    rig.write(Vector(kBlock, DoubleComplex{1.0, 0.0}));
    COMPARE_SAMPLES(rig.read(kBlock), settling(Vector(kBlock, DoubleComplex{1.0, 0.0})), 1e-12);
}

QTEST_GUILESS_MAIN(tst_DspHTuning)
#include "tst_DspHTuning.moc"
