#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Signal/Kernels/FloatIq.h"

#include <QtTest>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace
{

constexpr int kLongest = 67; // samples: several vectors of the widest set, and an odd rest

// Every kind of float: the bits of 0, 1, 2 ... times a step that visits all exponents and both signs.
float value(int n)
{
    const std::uint32_t bits = static_cast<std::uint32_t>(n) * 0x9E3779B1U;
    float result = 0.0F;
    std::memcpy(&result, &bits, sizeof result);
    return result == result ? result : 0.5F;
}

} // namespace

class tst_FloatIq : public QObject
{
    Q_OBJECT

private slots:
    void everyLengthIsWidenedExactly();
    void orderOfPairMayBeSwapped();
    void nothingPastLastSampleIsWritten();

private:
    void check(int count, bool swap);
};

void tst_FloatIq::check(int count, bool swap)
{
    std::vector<float> samples;
    for (int n = 0; n < 2 * count; ++n) {
        samples.push_back(value(n));
    }
    std::vector<DoubleComplex> block(static_cast<std::size_t>(count) + 1, DoubleComplex{7.0, 7.0});
    swap ? Kernels::widenSwapped(samples.data(), count, block.data())
         : Kernels::widen(samples.data(), count, block.data());
    for (int n = 0; n < count; ++n) {
        const auto at = static_cast<std::size_t>(n);
        const DoubleComplex expected{samples[2 * at + (swap ? 1 : 0)], samples[2 * at + (swap ? 0 : 1)]};
        QVERIFY(std::memcmp(&block[at], &expected, sizeof expected) == 0);
    }
    QCOMPARE(block.back().re, 7.0);
    QCOMPARE(block.back().im, 7.0);
}

void tst_FloatIq::everyLengthIsWidenedExactly()
{
    withEachTarget([this] {
        for (int count = 0; count <= kLongest; ++count) {
            check(count, false);
        }
    });
}

void tst_FloatIq::orderOfPairMayBeSwapped()
{
    withEachTarget([this] {
        for (int count = 0; count <= kLongest; ++count) {
            check(count, true);
        }
    });
}

void tst_FloatIq::nothingPastLastSampleIsWritten()
{
    withEachTarget([] {
        DoubleComplex untouched{3.0, 4.0};
        Kernels::widen(nullptr, 0, &untouched);
        QCOMPARE(untouched.re, 3.0);
    });
}

QTEST_GUILESS_MAIN(tst_FloatIq)

#include "tst_FloatIq.moc"
