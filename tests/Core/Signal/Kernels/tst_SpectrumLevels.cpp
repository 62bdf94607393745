#include "Core/Signal/Kernels/AlternatingWindow.h"
#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Signal/Kernels/SpectrumLevels.h"

#include <QtTest>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace
{

constexpr int kLongest = 67; // bins: several vectors of the widest set, and an odd rest
constexpr double kScale = 20.0 / (32768 << 12);

using Bins = std::vector<DoubleComplex>;
using Points = std::vector<std::int16_t>;

// The plain form, one bin after the other.
float log2approx(float x)
{
    int exponent = 0;
    const float m = std::frexp(std::fabs(x), &exponent);
    return ((1.2314959F * m - 4.118525F) * m + 6.0219703F) * m - 3.1339645F + static_cast<float>(exponent);
}

std::int16_t plainLevel(const DoubleComplex& bin, double scale)
{
    const double power = bin.re * bin.re + bin.im * bin.im;
    const auto x = static_cast<float>(power * scale + 1e-22);
    if (!std::isfinite(x)) {
        return 800;
    }
    return static_cast<std::int16_t>(static_cast<double>(log2approx(x) * 0.30103F) * -40.0);
}

void compareLevels(const Bins& bins, double scale)
{
    const std::int16_t untouched = 12345;
    Points points(bins.size() + 2, untouched);
    Kernels::levels(bins.data(), static_cast<int>(bins.size()), scale, points.data() + 1);
    for (std::size_t n = 0; n < bins.size(); ++n) {
        const std::int16_t expected = plainLevel(bins[n], scale);
        if (points[n + 1] != expected) {
            const QString text = QStringLiteral("bin %1 of %2: %3 for %4, from %5 and %6");
            QFAIL(qPrintable(text.arg(n)
                                 .arg(bins.size())
                                 .arg(points[n + 1])
                                 .arg(expected)
                                 .arg(bins[n].re, 0, 'g', 17)
                                 .arg(bins[n].im, 0, 'g', 17)));
        }
    }
    QCOMPARE(points.front(), untouched);
    QCOMPARE(points.back(), untouched);
}

const std::vector<double>& specialValues()
{
    using Limits = std::numeric_limits<double>;
    static const std::vector<double> values{0.0,
                                            -0.0,
                                            1.0,
                                            -1.0,
                                            Limits::denorm_min(),
                                            -Limits::denorm_min(),
                                            Limits::min(),
                                            Limits::min() / 3,
                                            1e-160,
                                            1e-11,
                                            1e19,
                                            2.1e19,
                                            3e23,
                                            1.5e22,
                                            -1e30,
                                            1e150,
                                            1e160,
                                            Limits::max(),
                                            -Limits::max(),
                                            Limits::infinity(),
                                            -Limits::infinity(),
                                            Limits::quiet_NaN(),
                                            -Limits::quiet_NaN(),
                                            Limits::signaling_NaN()};
    return values;
}

// Magnitudes of every order that a bin can have, and then some.
Bins noise(std::size_t count)
{
    std::mt19937_64 generator(count);
    std::uniform_real_distribution<double> exponent(-60.0, 60.0);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    Bins bins(count);
    for (DoubleComplex& bin : bins) {
        const double magnitude = std::exp2(exponent(generator));
        bin = {magnitude * part(generator), magnitude * part(generator)};
    }
    return bins;
}

// Bins whose scaled power, as a float, is at or next to each value that turns one point into the next.
Bins steps()
{
    Bins bins;
    float x = 1e-22F;
    int last = plainLevel({std::sqrt(double{x}), 0.0}, 1.0);
    while (x < 1e38F) {
        const float next = x * 1.0002F;
        const int level = plainLevel({std::sqrt(double{next}), 0.0}, 1.0);
        if (level != last) {
            float at = x;
            for (int n = 0; n < 12; ++n) {
                at = std::nextafter(at, next);
                bins.push_back({std::sqrt(double{at}), 0.0});
            }
            last = level;
        }
        x = next;
    }
    return bins;
}

} // namespace

class tst_SpectrumLevels : public QObject
{
    Q_OBJECT

private slots:
    void levelsAtEveryLengthAreThoseOfPlainForm();
    void levelsOfSpecialValuesAreThoseOfPlainForm();
    void levelsNextToStepAreThoseOfPlainForm();
    void oneSpecialValueLeavesItsNeighboursAsTheyAre();
    void levelsOfManyBinsAreThoseOfPlainForm();
    void samplesAtEveryLengthAreWindowedAsByPlainForm();
};

void tst_SpectrumLevels::levelsAtEveryLengthAreThoseOfPlainForm()
{
    withEachTarget([] {
        for (std::size_t count = 0; count <= kLongest; ++count) {
            compareLevels(noise(count), kScale);
        }
        compareLevels(noise(252), kScale);
        compareLevels(noise(251), 20.0 / (2 << 12) / 0.6666666666666666);
    });
}

void tst_SpectrumLevels::levelsOfSpecialValuesAreThoseOfPlainForm()
{
    Bins bins;
    for (const double re : specialValues()) {
        for (const double im : specialValues()) {
            bins.push_back({re, im});
        }
    }
    withEachTarget([&bins] {
        for (const double scale : {kScale, 1.0, 1e-300}) {
            compareLevels(bins, scale);
        }
    });
}

void tst_SpectrumLevels::levelsNextToStepAreThoseOfPlainForm()
{
    const Bins bins = steps();
    QVERIFY(bins.size() > 2'000 * 12);
    withEachTarget([&bins] { compareLevels(bins, 1.0); });
}

void tst_SpectrumLevels::oneSpecialValueLeavesItsNeighboursAsTheyAre()
{
    withEachTarget([] {
        for (std::size_t place = 0; place < 32; ++place) {
            for (const double value : specialValues()) {
                Bins bins = noise(35);
                bins[place].im = value;
                compareLevels(bins, kScale);
            }
        }
    });
}

void tst_SpectrumLevels::levelsOfManyBinsAreThoseOfPlainForm()
{
    const Bins bins = noise(500'000);
    withEachTarget([&bins] { compareLevels(bins, kScale); });
}

void tst_SpectrumLevels::samplesAtEveryLengthAreWindowedAsByPlainForm()
{
    withEachTarget([] {
        for (std::size_t count = 0; count <= kLongest; ++count) {
            Bins block = noise(count);
            std::vector<float> window;
            for (std::size_t n = 0; n < count; ++n) {
                window.push_back(n % 7 == 3 ? -0.0F : 0.37F * static_cast<float>(n));
                block[n].re = n % 5 == 2 ? specialValues()[n % specialValues().size()] : block[n].re;
            }
            Bins expected = block;
            for (std::size_t k = 0; k < count; ++k) {
                const double factor = k % 2 == 0 ? window[k] : -window[k];
                expected[k].re *= factor;
                expected[k].im *= factor;
            }
            block.push_back({7.0, 7.0});
            Kernels::alternateAndWindow(window.data(), static_cast<int>(count), block.data());
            for (std::size_t k = 0; k < count; ++k) {
                if (!std::isnan(expected[k].re)) {
                    QVERIFY(std::memcmp(&block[k].re, &expected[k].re, sizeof(double)) == 0);
                } else {
                    QVERIFY(std::isnan(block[k].re));
                }
                QVERIFY(std::memcmp(&block[k].im, &expected[k].im, sizeof(double)) == 0);
            }
            QCOMPARE(block.back().re, 7.0);
        }
    });
}

QTEST_GUILESS_MAIN(tst_SpectrumLevels)

#include "tst_SpectrumLevels.moc"
