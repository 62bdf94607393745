#include "Core/Signal/DoubleComplex.h"
#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Worker/DspH/FftEngine.h"
#include "support/LogCapture.h"

#include <QTest>
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

namespace
{

using Samples = std::vector<DoubleComplex>;
using Exact = std::complex<long double>;

constexpr int kForward = 1;
constexpr int kBackward = -1;
// Root mean square of the difference over that of the result: a few units of the last place.
constexpr double kRounding = 4e-16;

std::size_t size(int length)
{
    return static_cast<std::size_t>(length);
}

Samples noise(int length)
{
    std::mt19937_64 generator(static_cast<unsigned>(length) + 1U);
    std::normal_distribution<double> normal;
    Samples samples(size(length));
    for (DoubleComplex& sample : samples) {
        sample = {normal(generator), normal(generator)};
    }
    return samples;
}

// exp(sign * 2 pi i j / length) of each j.
std::vector<Exact> circle(int length, int sign)
{
    std::vector<Exact> turns(size(length));
    for (int j = 0; j < length; ++j) {
        const long double angle = 2.0L * 3.14159265358979323846264L * j / length;
        turns[size(j)] = {std::cos(angle), sign * std::sin(angle)};
    }
    return turns;
}

// The definition, halved as long as it goes: Cooley and Tukey 1965, in extended precision.
std::vector<Exact> exactTransform(const std::vector<Exact>& samples, const std::vector<Exact>& turns)
{
    const std::size_t length = samples.size();
    if (length == 1) {
        return samples;
    }
    std::vector<Exact> even;
    std::vector<Exact> odd;
    for (std::size_t j = 0; j < length; j += 2) {
        even.push_back(samples[j]);
        odd.push_back(samples[j + 1]);
    }
    even = exactTransform(even, turns);
    odd = exactTransform(odd, turns);
    std::vector<Exact> result(length);
    for (std::size_t k = 0; k < length / 2; ++k) {
        const Exact turned = odd[k] * turns[k * (turns.size() / length)];
        result[k] = even[k] + turned;
        result[k + length / 2] = even[k] - turned;
    }
    return result;
}

std::vector<Exact> exactTransform(const Samples& samples, int sign)
{
    std::vector<Exact> exact;
    for (const DoubleComplex& sample : samples) {
        exact.emplace_back(sample.re, sample.im);
    }
    return exactTransform(exact, circle(static_cast<int>(samples.size()), sign));
}

double difference(const DoubleComplex* actual, const std::vector<Exact>& expected)
{
    long double error = 0.0L;
    long double reference = 0.0L;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        error += std::norm(Exact(actual[k].re, actual[k].im) - expected[k]);
        reference += std::norm(expected[k]);
    }
    return static_cast<double>(std::sqrt(error / reference));
}

double largestDifference(const Samples& actual, const std::vector<Exact>& expected)
{
    long double largest = 0.0L;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        largest = std::max(largest, std::norm(Exact(actual[k].re, actual[k].im) - expected[k]));
    }
    return static_cast<double>(std::sqrt(largest));
}

bool sameBits(const DoubleComplex* a, const DoubleComplex* b, std::size_t count)
{
    return std::memcmp(a, b, count * sizeof(DoubleComplex)) == 0;
}

void addLengths(int first, int last)
{
    QTest::addColumn<int>("length");
    for (int length = first; length <= last; length *= 2) {
        QTest::addRow("%d", length) << length;
    }
}

} // namespace

/// What every instruction set owes.
class tst_FftAccuracy : public QObject
{
    Q_OBJECT

private slots:
    void referenceIsDefinition();
    void bothDirectionsAreExactToRounding_data() { addLengths(2, 65536); }
    void bothDirectionsAreExactToRounding();
    void impulseAtAnyPlaceGivesItsToneInEveryBin_data() { addLengths(2, 65536); }
    void impulseAtAnyPlaceGivesItsToneInEveryBin();
    void toneOfAnyBinStandsThereAlone();
    void dataNeedsNoAlignment_data() { addLengths(2, 65536); }
    void dataNeedsNoAlignment();
    void nothingAroundDataIsTouched_data() { addLengths(2, 65536); }
    void nothingAroundDataIsTouched();
};

void tst_FftAccuracy::referenceIsDefinition()
{
    for (const int length : {1, 2, 8, 64}) {
        const Samples samples = noise(length);
        const std::vector<Exact> turns = circle(length, 1);
        const std::vector<Exact> fast = exactTransform(samples, 1);
        for (std::size_t k = 0; k < samples.size(); ++k) {
            Exact sum;
            for (std::size_t j = 0; j < samples.size(); ++j) {
                sum += Exact(samples[j].re, samples[j].im) * turns[j * k % samples.size()];
            }
            QVERIFY(std::abs(sum - fast[k]) < 1e-16L * length);
        }
    }
}

void tst_FftAccuracy::bothDirectionsAreExactToRounding()
{
    QFETCH(const int, length);
    const LogCapture log;
    const Samples samples = noise(length);
    for (const int direction : {kForward, kBackward}) {
        const std::vector<Exact> expected = exactTransform(samples, direction);
        withEachTarget([&] {
            FftEngine engine(length);
            Samples actual = samples;
            engine.transform(actual.data(), direction);
            const double error = difference(actual.data(), expected);
            QVERIFY2(error < kRounding, qPrintable(QString::number(error)));
        });
    }
}

void tst_FftAccuracy::impulseAtAnyPlaceGivesItsToneInEveryBin()
{
    QFETCH(const int, length);
    const LogCapture log;
    const std::vector<Exact> turns = circle(length, 1);
    std::vector<int> places{0, length - 1, length / 3, length / 2 - 1};
    for (int place = 1; place < length; place *= 2) {
        places.push_back(place);
        places.push_back(length - 1 - place);
    }
    withEachTarget([&] {
        FftEngine engine(length);
        for (const int place : places) {
            Samples data(size(length), {0.0, 0.0});
            data[size(place)] = {1.0, 0.0};
            engine.transform(data.data(), kForward);
            std::vector<Exact> expected;
            for (std::size_t k = 0; k < data.size(); ++k) {
                expected.push_back(turns[size(place) * k % data.size()]);
            }
            const double error = largestDifference(data, expected);
            QVERIFY2(error < 8 * kRounding,
                     qPrintable(QStringLiteral("impulse %1: %2").arg(place).arg(error)));
        }
    });
}

void tst_FftAccuracy::toneOfAnyBinStandsThereAlone()
{
    constexpr int kLength = 512;
    const std::vector<Exact> turns = circle(kLength, -1);
    withEachTarget([&] {
        FftEngine engine(kLength);
        for (std::size_t bin = 0; bin < size(kLength); ++bin) {
            Samples data;
            for (std::size_t j = 0; j < size(kLength); ++j) {
                const Exact& turn = turns[bin * j % turns.size()];
                data.push_back({static_cast<double>(turn.real()), static_cast<double>(turn.imag())});
            }
            engine.transform(data.data(), kForward);
            std::vector<Exact> expected(data.size());
            expected[bin] = kLength;
            const double error = largestDifference(data, expected);
            QVERIFY2(error < kLength * kRounding,
                     qPrintable(QStringLiteral("tone %1: %2").arg(bin).arg(error)));
        }
    });
}

void tst_FftAccuracy::dataNeedsNoAlignment()
{
    QFETCH(const int, length);
    const LogCapture log;
    constexpr std::size_t kLine = 64;
    const Samples samples = noise(length);
    withEachTarget([&] {
        FftEngine engine(length);
        Samples expected = samples;
        engine.transform(expected.data(), kForward);
        std::vector<double> memory(2 * samples.size() + kLine / sizeof(double));
        for (std::size_t offset = 0; offset < kLine / sizeof(double); ++offset) {
            auto* const data = reinterpret_cast<DoubleComplex*>(memory.data() + offset);
            std::copy(samples.cbegin(), samples.cend(), data);
            engine.transform(data, kForward);
            QVERIFY2(sameBits(data, expected.data(), expected.size()), qPrintable(QString::number(offset)));
        }
    });
}

void tst_FftAccuracy::nothingAroundDataIsTouched()
{
    QFETCH(const int, length);
    const LogCapture log;
    constexpr std::size_t kAround = 16;
    const Samples samples = noise(length + 2 * static_cast<int>(kAround));
    withEachTarget([&] {
        FftEngine engine(length);
        Samples memory = samples;
        engine.transform(memory.data() + kAround, kForward);
        engine.transform(memory.data() + kAround, kBackward);
        QVERIFY(sameBits(memory.data(), samples.data(), kAround));
        const std::size_t behind = kAround + size(length);
        QVERIFY(sameBits(memory.data() + behind, samples.data() + behind, kAround));
    });
}

QTEST_GUILESS_MAIN(tst_FftAccuracy)
#include "tst_FftAccuracy.moc"
