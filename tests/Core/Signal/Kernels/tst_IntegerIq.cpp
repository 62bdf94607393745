#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Signal/Kernels/IntegerIq.h"

#include <QtTest>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

constexpr int kLongest = 67; // samples: several vectors of the widest set, and an odd rest
constexpr double kScales[] = {1.0 / 10'240.0, 1.0 / 102'400.0, 1.0 / 4'096.0, 0.3};

using Samples = std::vector<DoubleComplex>;

// Every value of a number of 8 bits comes, and the limits of any.
template <class Number>
std::vector<Number> numbers(int count)
{
    std::vector<Number> values{std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(), 0,
                               static_cast<Number>(-1)};
    for (int n = 0; static_cast<int>(values.size()) < count; ++n) {
        values.push_back(static_cast<Number>(n * 0x6487));
    }
    values.resize(static_cast<std::size_t>(count));
    return values;
}

// The plain form: the loop that says what is meant.
template <class Number>
Samples plain(const Number* re, const Number* im, int stride, int count, double scale)
{
    Samples samples;
    for (int n = 0; n < count; ++n) {
        samples.push_back({re[stride * n] * scale, im[stride * n] * scale});
    }
    return samples;
}

// `fill` puts `expected.size()` samples where it is told, at any alignment, and nothing after them.
template <class Fill>
void compare(const Samples& expected, Fill fill)
{
    const DoubleComplex untouched{7.0, 7.0};
    Samples samples(expected.size() + 2, untouched);
    fill(samples.data() + 1);
    for (std::size_t n = 0; n < expected.size(); ++n) {
        QVERIFY2(std::memcmp(&samples[n + 1], &expected[n], sizeof untouched) == 0,
                 qPrintable(QStringLiteral("sample %1 of %2").arg(n).arg(expected.size())));
    }
    QCOMPARE(samples.front().im, 7.0);
    QCOMPARE(samples.back().re, 7.0);
}

} // namespace

class tst_IntegerIq : public QObject
{
    Q_OBJECT

private slots:
    void bytesAreScaledPairByPair();
    void bytesOfOffsetBinaryAreScaledPairByPair();
    void shortsAreScaledPairByPair();
    void partsThatLieApartAreBroughtTogether();
    void everyByteHasItsValue();
    void everyByteOfOffsetBinaryHasItsValue();
};

void tst_IntegerIq::bytesAreScaledPairByPair()
{
    withEachTarget([] {
        for (int count = 0; count <= kLongest; ++count) {
            for (const double scale : kScales) {
                const auto values = numbers<std::int8_t>(2 * count + 1);
                compare(plain(values.data(), values.data() + 1, 2, count, scale),
                        [&](DoubleComplex* to) { Kernels::scalePairs(values.data(), count, scale, to); });
                compare(plain(values.data() + 1, values.data(), 2, count, scale), [&](DoubleComplex* to) {
                    Kernels::scaleSwappedPairs(values.data(), count, scale, to);
                });
            }
        }
    });
}

void tst_IntegerIq::bytesOfOffsetBinaryAreScaledPairByPair()
{
    withEachTarget([] {
        for (int count = 0; count <= kLongest; ++count) {
            for (const double scale : kScales) {
                const auto values = numbers<std::uint8_t>(2 * count + 1);
                std::vector<int> meant;
                for (const std::uint8_t value : values) {
                    meant.push_back(value - 128);
                }
                compare(plain(meant.data(), meant.data() + 1, 2, count, scale),
                        [&](DoubleComplex* to) { Kernels::scalePairs(values.data(), count, scale, to); });
                compare(plain(meant.data() + 1, meant.data(), 2, count, scale), [&](DoubleComplex* to) {
                    Kernels::scaleSwappedPairs(values.data(), count, scale, to);
                });
            }
        }
    });
}

void tst_IntegerIq::shortsAreScaledPairByPair()
{
    withEachTarget([] {
        for (int count = 0; count <= kLongest; ++count) {
            for (const double scale : kScales) {
                const auto values = numbers<std::int16_t>(2 * count + 1);
                compare(plain(values.data(), values.data() + 1, 2, count, scale),
                        [&](DoubleComplex* to) { Kernels::scalePairs(values.data(), count, scale, to); });
            }
        }
    });
}

void tst_IntegerIq::partsThatLieApartAreBroughtTogether()
{
    withEachTarget([] {
        for (int count = 0; count <= kLongest; ++count) {
            for (const double scale : kScales) {
                const auto re = numbers<std::int16_t>(count + 1);
                auto im = re;
                std::reverse(im.begin(), im.end());
                compare(plain(re.data(), im.data(), 1, count, scale), [&](DoubleComplex* to) {
                    Kernels::scaleParts(re.data(), im.data(), count, scale, to);
                });
            }
        }
    });
}

void tst_IntegerIq::everyByteHasItsValue()
{
    withEachTarget([] {
        std::vector<std::int8_t> values;
        for (int n = -128; n < 128; ++n) {
            values.push_back(static_cast<std::int8_t>(n));
        }
        Samples samples(128);
        Kernels::scalePairs(values.data(), 128, 1.0, samples.data());
        for (int n = 0; n < 128; ++n) {
            QCOMPARE(samples[static_cast<std::size_t>(n)].re, 2.0 * n - 128.0);
            QCOMPARE(samples[static_cast<std::size_t>(n)].im, 2.0 * n - 127.0);
        }
    });
}

void tst_IntegerIq::everyByteOfOffsetBinaryHasItsValue()
{
    withEachTarget([] {
        std::vector<std::uint8_t> values;
        for (int n = 0; n < 256; ++n) {
            values.push_back(static_cast<std::uint8_t>(n));
        }
        Samples samples(128);
        Kernels::scalePairs(values.data(), 128, 1.0, samples.data());
        for (int n = 0; n < 128; ++n) {
            QCOMPARE(samples[static_cast<std::size_t>(n)].re, 2.0 * n - 128.0);
            QCOMPARE(samples[static_cast<std::size_t>(n)].im, 2.0 * n - 127.0);
        }
    });
}

QTEST_GUILESS_MAIN(tst_IntegerIq)

#include "tst_IntegerIq.moc"
