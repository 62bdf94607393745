#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"

#include "Samples.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <limits>

using Samples::Vector;

namespace
{

// What an oscillator of exactly this frequency, in cycles a sample, makes of a constant 1, from its phase at
// sample `first` on.
Vector oscillation(double frequency, int count, int first)
{
    return Samples::tone(frequency, count, first);
}

Vector ones(int count)
{
    return Vector(static_cast<std::size_t>(count), DoubleComplex{1.0, 0.0});
}

Vector processed(TableOscillator& oscillator, Vector samples)
{
    oscillator.process(samples.data(), static_cast<int>(samples.size()));
    return samples;
}

Vector processed(RotatingOscillator& oscillator, Vector samples)
{
    oscillator.process(samples.data(), static_cast<int>(samples.size()));
    return samples;
}

} // namespace

class tst_Oscillators : public QObject
{
    Q_OBJECT

private slots:
    void tableSplitsFrequencyIntoStepsAndResidual_data();
    void tableSplitsFrequencyIntoStepsAndResidual();
    void tableAtZeroLeavesSamplesAsTheyAre();
    void tableEqualsSineAndCosineOverManyTurns_data();
    void tableEqualsSineAndCosineOverManyTurns();
    void tableTakesEntryOneFirst();
    void tableKeepsItsPositionThroughRetune();
    void tableMixesAlikeHoweverStreamIsCut();
    void tableMultipliesAsComplexNumbers();
    void tableSettingRateRetunesToZero();
    void tableOfRateHas1024Entries();
    void tableAtItsDefaultRateOfOneStepsBy512ths();
    void tableRefusesFrequencyOutOfReachWithOneWarning_data();
    void tableRefusesFrequencyOutOfReachWithOneWarning();

    void rotationEqualsSineAndCosine_data();
    void rotationEqualsSineAndCosine();
    void rotationSettlesWhereSquaredMagnitudeIs095();
    void rotationStartsItsPhaseAnewAtEveryChange();
    void rotationSettingRateRetunesToZero();
    void rotationIsAlikeHoweverStreamIsCut();
    void rotationMultipliesAsComplexNumbers();
    void rotationWithoutFinitePhaseStepTurnsNothing_data();
    void rotationWithoutFinitePhaseStepTurnsNothing();
};

void tst_Oscillators::tableSplitsFrequencyIntoStepsAndResidual_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<double>("coarse");
    QTest::addColumn<double>("residual");
    QTest::newRow("zero") << 0.0 << 0.0 << 0.0;
    QTest::newRow("a quarter step") << 1'000.0 << 0.0 << 1'000.0;
    QTest::newRow("half a step") << 2'000.0 << 4'000.0 << -2'000.0;
    QTest::newRow("three quarters of a step") << 3'000.0 << 4'000.0 << -1'000.0;
    QTest::newRow("a whole step") << 4'000.0 << 4'000.0 << 0.0;
    QTest::newRow("below zero, truncated toward it") << -5'000.0 << 0.0 << -5'000.0;
    QTest::newRow("below zero by more than a step and a half") << -7'000.0 << -4'000.0 << -3'000.0;
    QTest::newRow("half the rate") << 1'024'000.0 << 1'024'000.0 << 0.0;
    QTest::newRow("beyond the rate") << 3'000'500.0 << 3'000'000.0 << 500.0;
}

void tst_Oscillators::tableSplitsFrequencyIntoStepsAndResidual()
{
    QFETCH(double, frequency);
    TableOscillator oscillator;
    oscillator.setSampleRate(2'048'000.0); // 4,000 Hz a step
    oscillator.setFrequency(frequency);
    QTEST(oscillator.coarseFrequency(), "coarse");
    QTEST(oscillator.residual(), "residual");
}

void tst_Oscillators::tableAtZeroLeavesSamplesAsTheyAre()
{
    TableOscillator oscillator;
    oscillator.setSampleRate(2'048'000.0);
    oscillator.setFrequency(4'000.0);
    oscillator.setFrequency(0.0);
    const Vector input = Samples::noise(1'024);
    COMPARE_SAMPLES(processed(oscillator, input), input, 0.0);
    QCOMPARE(oscillator.residual(), 0.0);
}

void tst_Oscillators::tableEqualsSineAndCosineOverManyTurns_data()
{
    QTest::addColumn<int>("steps");
    for (const int steps : {1, 3, 77, 128, 256, -1, -200}) {
        QTest::addRow("%d steps", steps) << steps;
    }
}

void tst_Oscillators::tableEqualsSineAndCosineOverManyTurns()
{
    QFETCH(int, steps);
    TableOscillator oscillator;
    oscillator.setSampleRate(2'048'000.0);
    // A negative multiple is reached from below it, as the truncation goes toward zero.
    oscillator.setFrequency(steps < 0 ? steps * 4'000.0 - 2'500.0 : steps * 4'000.0);
    QCOMPARE(oscillator.coarseFrequency(), steps * 4'000.0);
    COMPARE_SAMPLES(processed(oscillator, ones(5'000)), oscillation(steps / 512.0, 5'000, 1), 1e-10);
}

void tst_Oscillators::tableTakesEntryOneFirst()
{
    TableOscillator oscillator;
    oscillator.setSampleRate(512.0);
    oscillator.setFrequency(128.0);
    COMPARE_SAMPLES(processed(oscillator, ones(4)),
                    (Vector{{0.0, 1.0}, {-1.0, 0.0}, {0.0, -1.0}, {1.0, 0.0}}), 1e-12);
}

void tst_Oscillators::tableKeepsItsPositionThroughRetune()
{
    TableOscillator oscillator;
    oscillator.setSampleRate(512.0);
    oscillator.setFrequency(3.0);
    processed(oscillator, ones(100));
    oscillator.setFrequency(7.0);
    COMPARE_SAMPLES(processed(oscillator, ones(1'000)), oscillation(7.0 / 512.0, 1'000, 101), 1e-11);
}

void tst_Oscillators::tableMixesAlikeHoweverStreamIsCut()
{
    const Vector input = Samples::noise(5'159);
    TableOscillator whole;
    whole.setSampleRate(48'000.0);
    whole.setFrequency(12'345.0);
    TableOscillator cut = whole;
    const Vector expected = processed(whole, input);
    Vector actual;
    int first = 0;
    for (const int length : {1, 7, 32, 1'023, 4'096}) {
        const Vector part = processed(cut, Samples::slice(input, first, length));
        actual.insert(actual.end(), part.begin(), part.end());
        first += length;
    }
    COMPARE_SAMPLES(actual, expected, 0.0);
}

void tst_Oscillators::tableMultipliesAsComplexNumbers()
{
    TableOscillator oscillator;
    oscillator.setSampleRate(512.0);
    oscillator.setFrequency(64.0); // entry 1 is exp(j pi / 4)
    const double root = std::sqrt(0.5);
    COMPARE_SAMPLES(processed(oscillator, Vector{{2.0, 3.0}}), (Vector{{-root, 5.0 * root}}), 1e-15);
}

void tst_Oscillators::tableSettingRateRetunesToZero()
{
    TableOscillator oscillator;
    oscillator.setSampleRate(2'048'000.0);
    oscillator.setFrequency(9'000.0);
    oscillator.setSampleRate(48'000.0);
    QCOMPARE(oscillator.coarseFrequency(), 0.0);
    QCOMPARE(oscillator.residual(), 0.0);
    COMPARE_SAMPLES(processed(oscillator, ones(16)), ones(16), 0.0);
}

void tst_Oscillators::tableOfRateHas1024Entries()
{
    TableOscillator oscillator(1'024'000.0);
    oscillator.setFrequency(3'100.0); // 1,000 Hz a step
    QCOMPARE(oscillator.coarseFrequency(), 3'000.0);
    QCOMPARE(oscillator.residual(), 100.0);
    COMPARE_SAMPLES(processed(oscillator, ones(3'000)), oscillation(3.0 / 1'024.0, 3'000, 1), 1e-11);
}

void tst_Oscillators::tableAtItsDefaultRateOfOneStepsBy512ths()
{
    TableOscillator oscillator;
    COMPARE_SAMPLES(processed(oscillator, ones(16)), ones(16), 0.0);
    oscillator.setFrequency(5.25 * 0.001953125);
    QCOMPARE(oscillator.coarseFrequency(), 5.0 * 0.001953125);
    QCOMPARE(oscillator.residual(), 0.25 * 0.001953125);
}

void tst_Oscillators::tableRefusesFrequencyOutOfReachWithOneWarning_data()
{
    QTest::addColumn<double>("frequency");
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
    QTest::newRow("minus infinite") << -std::numeric_limits<double>::infinity();
    QTest::newRow("one step too many for 32 bits") << 2'147'483'647.5;
    QTest::newRow("one step too few for 32 bits") << -2'147'483'649.5;
    QTest::newRow("huge") << 1e300;
}

void tst_Oscillators::tableRefusesFrequencyOutOfReachWithOneWarning()
{
    QFETCH(double, frequency);
    TableOscillator oscillator;
    oscillator.setSampleRate(512.0); // 1 Hz a step
    oscillator.setFrequency(3.25);
    const LogCapture log;
    oscillator.setFrequency(frequency);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QCOMPARE(oscillator.coarseFrequency(), 3.0);
    QCOMPARE(oscillator.residual(), 0.25);
    QVERIFY(!oscillator.reaches(frequency));
    QVERIFY(oscillator.reaches(2'147'483'647.0));
    QVERIFY(oscillator.reaches(-2'147'483'649.0));
}

void tst_Oscillators::rotationEqualsSineAndCosine_data()
{
    QTest::addColumn<double>("frequency");
    QTest::newRow("slow") << 11.0;
    QTest::newRow("audible") << 1'234.5;
    QTest::newRow("negative") << -9'876.5;
    QTest::newRow("half the rate") << 24'000.0;
    QTest::newRow("beyond the rate") << 250'000.0;
}

void tst_Oscillators::rotationEqualsSineAndCosine()
{
    QFETCH(double, frequency);
    RotatingOscillator oscillator;
    oscillator.setFrequencyAndRate(frequency, 48'000.0);
    QCOMPARE(oscillator.frequency(), frequency);
    QCOMPARE(oscillator.sampleRate(), 48'000.0);
    constexpr int kCount = 50'000;
    Vector expected = oscillation(frequency / 48'000.0, kCount, 1);
    long double magnitude = 1.0L;
    for (DoubleComplex& sample : expected) {
        sample = {static_cast<double>(magnitude * sample.re), static_cast<double>(magnitude * sample.im)};
        magnitude *= 1.95L - magnitude * magnitude;
    }
    COMPARE_SAMPLES(processed(oscillator, ones(kCount)), expected, 1e-10);
}

void tst_Oscillators::rotationSettlesWhereSquaredMagnitudeIs095()
{
    RotatingOscillator oscillator;
    oscillator.setFrequencyAndRate(1'000.0, 48'000.0);
    const Vector output = processed(oscillator, ones(1'000'000));
    QCOMPARE(output.front().re * output.front().re + output.front().im * output.front().im, 1.0);
    for (const std::size_t n : {std::size_t{1'000}, output.size() - 1}) {
        const double squared = output[n].re * output[n].re + output[n].im * output[n].im;
        QVERIFY2(std::abs(squared - 0.95) < 1e-12, qPrintable(QString::number(squared, 'g', 17)));
    }
}

void tst_Oscillators::rotationStartsItsPhaseAnewAtEveryChange()
{
    RotatingOscillator oscillator;
    oscillator.setFrequencyAndRate(700.0, 48'000.0);
    const Vector first = processed(oscillator, ones(999));
    oscillator.setFrequency(700.0);
    COMPARE_SAMPLES(processed(oscillator, ones(999)), first, 0.0);
}

void tst_Oscillators::rotationSettingRateRetunesToZero()
{
    RotatingOscillator oscillator;
    QCOMPARE(oscillator.sampleRate(), 1.0);
    oscillator.setFrequencyAndRate(700.0, 48'000.0);
    oscillator.setSampleRate(96'000.0);
    QCOMPARE(oscillator.frequency(), 0.0);
    QCOMPARE(oscillator.sampleRate(), 96'000.0);
    COMPARE_SAMPLES(processed(oscillator, ones(1)), ones(1), 0.0);
}

void tst_Oscillators::rotationIsAlikeHoweverStreamIsCut()
{
    const Vector input = Samples::noise(5'159);
    RotatingOscillator whole;
    whole.setFrequencyAndRate(-4'321.0, 48'000.0);
    RotatingOscillator cut = whole;
    const Vector expected = processed(whole, input);
    Vector actual;
    int first = 0;
    for (const int length : {1, 7, 32, 1'023, 4'096}) {
        const Vector part = processed(cut, Samples::slice(input, first, length));
        actual.insert(actual.end(), part.begin(), part.end());
        first += length;
    }
    COMPARE_SAMPLES(actual, expected, 0.0);
}

void tst_Oscillators::rotationMultipliesAsComplexNumbers()
{
    RotatingOscillator oscillator;
    oscillator.setFrequencyAndRate(6'000.0, 48'000.0); // first factor exp(j pi / 4)
    const double root = std::sqrt(0.5);
    COMPARE_SAMPLES(processed(oscillator, Vector{{2.0, 3.0}}), (Vector{{-root, 5.0 * root}}), 1e-15);
}

void tst_Oscillators::rotationWithoutFinitePhaseStepTurnsNothing_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<double>("rate");
    QTest::newRow("rate 0") << 0.0 << 0.0;
    QTest::newRow("rate 0, tuned") << 700.0 << 0.0;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 48'000.0;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << 48'000.0;
}

void tst_Oscillators::rotationWithoutFinitePhaseStepTurnsNothing()
{
    QFETCH(double, frequency);
    QFETCH(double, rate);
    RotatingOscillator oscillator;
    oscillator.setFrequencyAndRate(frequency, rate);
    for (const DoubleComplex& sample : processed(oscillator, ones(100))) {
        QVERIFY(sample.re > 0.9 && sample.re <= 1.0);
        QCOMPARE(sample.im, 0.0);
    }
}

QTEST_APPLESS_MAIN(tst_Oscillators)
#include "tst_Oscillators.moc"
