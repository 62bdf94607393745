#include "Core/Worker/DspH/FftEngine.h"

#include "Core/Signal/DoubleComplex.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QTest>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <fftw3.h>
#include <random>
#include <vector>

namespace
{

using Samples = std::vector<DoubleComplex>;

constexpr int kForward = 1;
constexpr int kBackward = -1;
constexpr double kPi = 3.14159265358979323846;
// Root mean square of the difference over that of the result: a few units of the last place.
constexpr double kRounding = 1e-15;

Samples noise(int length)
{
    std::mt19937_64 generator(static_cast<unsigned>(length));
    std::normal_distribution<double> normal;
    Samples samples(static_cast<std::size_t>(length));
    for (DoubleComplex& sample : samples) {
        sample = {normal(generator), normal(generator)};
    }
    return samples;
}

// exp(i * 2 pi * cycles * j / length)
Samples tone(int length, int cycles)
{
    Samples samples(static_cast<std::size_t>(length));
    for (int j = 0; j < length; ++j) {
        const double angle = 2.0 * kPi * cycles * j / length;
        samples[static_cast<std::size_t>(j)] = {std::cos(angle), std::sin(angle)};
    }
    return samples;
}

Samples transformed(Samples samples, int direction)
{
    FftEngine(static_cast<int>(samples.size())).transform(samples.data(), direction);
    return samples;
}

Samples libraryTransform(Samples samples, int sign)
{
    auto* const data = reinterpret_cast<fftw_complex*>(samples.data());
    const fftw_plan plan =
        fftw_plan_dft_1d(static_cast<int>(samples.size()), data, data, sign, FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return samples;
}

double relativeDifference(const Samples& actual, const Samples& expected)
{
    double difference = 0.0;
    double reference = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double re = actual[i].re - expected[i].re;
        const double im = actual[i].im - expected[i].im;
        difference += re * re + im * im;
        reference += expected[i].re * expected[i].re + expected[i].im * expected[i].im;
    }
    return std::sqrt(difference / reference);
}

std::size_t peak(const Samples& samples)
{
    const auto power = [](const DoubleComplex& s) { return s.re * s.re + s.im * s.im; };
    const auto largest =
        std::max_element(samples.begin(), samples.end(),
                         [&power](const auto& a, const auto& b) { return power(a) < power(b); });
    return static_cast<std::size_t>(largest - samples.begin());
}

void addLengths(int first, int last)
{
    QTest::addColumn<int>("length");
    for (int length = first; length <= last; length *= 2) {
        QTest::addRow("%d", length) << length;
    }
}

} // namespace

class tst_FftEngine : public QObject
{
    Q_OBJECT

private slots:
    void lengthsFrom512To32768AreTakenSilently();
    void lengthsOutsideAreLoggedAndStillWork();
    void constantInputStandsInBinZeroAlone_data() { addLengths(512, 32768); }
    void constantInputStandsInBinZeroAlone();
    void exponentOfForwardTransformIsPositive_data() { addLengths(512, 32768); }
    void exponentOfForwardTransformIsPositive();
    void fourPointsComeOutInNaturalOrder();
    void forwardAndBackwardMultiplyByLength_data() { addLengths(2, 65536); }
    void forwardAndBackwardMultiplyByLength();
    void agreesWithAnotherTransform_data() { addLengths(2, 65536); }
    void agreesWithAnotherTransform();
    void directionZeroIsForward();
    void laterTransformsGiveSameBits();
    void transformAllocatesNothing();
    void lengthThatIsNoPowerOfTwoTouchesNothingOutside_data();
    void lengthThatIsNoPowerOfTwoTouchesNothingOutside();
    void ofLongerDataFirst65536SamplesAreTransformed();
};

void tst_FftEngine::lengthsFrom512To32768AreTakenSilently()
{
    const LogCapture log;
    for (int length = 512; length <= 32768; length *= 2) {
        const FftEngine engine(length);
    }
    QCOMPARE(log.texts(), QStringList());
}

void tst_FftEngine::lengthsOutsideAreLoggedAndStillWork()
{
    for (const int length : {256, 511, 32769, 65536, 0, -7}) {
        const LogCapture log;
        const FftEngine engine(length);
        QCOMPARE(log.texts(QtDebugMsg),
                 QStringList(QStringLiteral("SetupParameters FFT Error length: %1").arg(length)));
        QCOMPARE(log.texts().size(), 1);
    }
    for (const int length : {256, 65536}) {
        const LogCapture log;
        const Samples result = transformed(tone(length, -3), kForward);
        QCOMPARE(peak(result), 3U);
    }
}

void tst_FftEngine::constantInputStandsInBinZeroAlone()
{
    QFETCH(const int, length);
    const Samples result = transformed(Samples(static_cast<std::size_t>(length), {1.0, 0.0}), kForward);
    QCOMPARE(result[0].re, static_cast<double>(length));
    for (std::size_t k = 0; k < result.size(); ++k) {
        QVERIFY(std::abs(result[k].im) <= length * 1e-15);
        QVERIFY(k == 0 || std::abs(result[k].re) <= length * 1e-15);
    }
}

void tst_FftEngine::exponentOfForwardTransformIsPositive()
{
    QFETCH(const int, length);
    QCOMPARE(peak(transformed(tone(length, 1), kForward)), static_cast<std::size_t>(length - 1));
    QCOMPARE(peak(transformed(tone(length, -1), kForward)), 1U);
    QCOMPARE(peak(transformed(tone(length, 1), kBackward)), 1U);
}

void tst_FftEngine::fourPointsComeOutInNaturalOrder()
{
    const LogCapture log;
    const Samples result = transformed({{1.0, 0.0}, {2.0, 1.0}, {4.0, 0.0}, {8.0, -5.0}}, kForward);
    // x0 = 5, x1 = -3, x2 = 10 - 4i, x3 = -6 + 6i
    const Samples expected{{15.0, -4.0}, {-9.0, -6.0}, {-5.0, 4.0}, {3.0, 6.0}};
    for (std::size_t k = 0; k < expected.size(); ++k) {
        QCOMPARE(result[k].re, expected[k].re);
        QCOMPARE(result[k].im, expected[k].im);
    }
}

void tst_FftEngine::forwardAndBackwardMultiplyByLength()
{
    QFETCH(const int, length);
    const LogCapture log;
    const Samples samples = noise(length);
    Samples result = samples;
    FftEngine engine(length);
    engine.transform(result.data(), kForward);
    engine.transform(result.data(), kBackward);
    for (DoubleComplex& sample : result) {
        sample = {sample.re / length, sample.im / length};
    }
    const double difference = relativeDifference(result, samples);
    QVERIFY2(difference < kRounding, qPrintable(QString::number(difference)));
}

void tst_FftEngine::agreesWithAnotherTransform()
{
    QFETCH(const int, length);
    const LogCapture log;
    const Samples samples = noise(length);
    const double forward =
        relativeDifference(transformed(samples, kForward), libraryTransform(samples, FFTW_BACKWARD));
    QVERIFY2(forward < kRounding, qPrintable(QString::number(forward)));
    const double backward =
        relativeDifference(transformed(samples, kBackward), libraryTransform(samples, FFTW_FORWARD));
    QVERIFY2(backward < kRounding, qPrintable(QString::number(backward)));
}

void tst_FftEngine::directionZeroIsForward()
{
    QCOMPARE(peak(transformed(tone(512, 5), 0)), 507U);
}

void tst_FftEngine::laterTransformsGiveSameBits()
{
    const Samples samples = noise(2048);
    FftEngine engine(2048);
    Samples first = samples;
    engine.transform(first.data(), kForward);
    Samples second = samples;
    engine.transform(second.data(), kForward);
    QCOMPARE(std::memcmp(first.data(), second.data(), first.size() * sizeof(DoubleComplex)), 0);
}

void tst_FftEngine::transformAllocatesNothing()
{
    Samples samples = noise(4096);
    FftEngine engine(4096);
    const AllocationCounter allocations;
    engine.transform(samples.data(), kForward);
    engine.transform(samples.data(), kBackward);
    QCOMPARE(allocations.count(), 0);
    samples.reserve(2 * samples.size());
    QCOMPARE(allocations.count(), 1); // it does count
}

void tst_FftEngine::lengthThatIsNoPowerOfTwoTouchesNothingOutside_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {-4, 0, 1, 3, 5, 7, 100, 513, 1000, 1023, 32767, 65535}) {
        QTest::addRow("%d", length) << length;
    }
}

void tst_FftEngine::lengthThatIsNoPowerOfTwoTouchesNothingOutside()
{
    QFETCH(const int, length);
    const LogCapture log;
    FftEngine engine(length);
    // Beyond what the vectors hold the address sanitizer watches.
    Samples samples = noise(std::max(length, 0));
    for (const int direction : {kForward, kBackward}) {
        engine.transform(samples.data(), direction);
        for (const DoubleComplex& sample : samples) {
            QVERIFY(std::isfinite(sample.re) && std::isfinite(sample.im));
        }
    }
}

void tst_FftEngine::ofLongerDataFirst65536SamplesAreTransformed()
{
    constexpr std::ptrdiff_t kLongest = 65536;
    const LogCapture log;
    const Samples samples = noise(2 * kLongest);
    Samples expected = transformed(Samples(samples.begin(), samples.begin() + kLongest), kForward);
    expected.insert(expected.end(), samples.begin() + kLongest, samples.end());
    const Samples result = transformed(samples, kForward);
    QCOMPARE(std::memcmp(result.data(), expected.data(), result.size() * sizeof(DoubleComplex)), 0);
}

QTEST_GUILESS_MAIN(tst_FftEngine)
#include "tst_FftEngine.moc"
