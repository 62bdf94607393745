#include "Core/Signal/Kernels/CicDecimation.h"
#include "Core/Signal/Kernels/Deinterleave.h"
#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Signal/Kernels/HalfBandDecimation.h"
#include "Core/Signal/Kernels/TableMixing.h"

#include <QtTest>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

using Samples = std::vector<DoubleComplex>;

namespace
{

constexpr int kLongest = 40; // outputs: several vectors of the widest set, and every rest
constexpr DoubleComplex kUntouched{7.0, -7.0};

// No two alike, with bits down to the last place.
Samples samples(int count, double seed = 0.1)
{
    Samples result;
    for (int n = 0; n < count; ++n) {
        result.push_back({std::sin(seed + n), std::cos(seed * 3.0 + n * n)});
    }
    return result;
}

bool sameBits(const Samples& actual, const Samples& expected)
{
    return actual.size() == expected.size() &&
           std::memcmp(actual.data(), expected.data(), expected.size() * sizeof(DoubleComplex)) == 0;
}

const DoubleComplex& at(const Samples& values, int place)
{
    return values[static_cast<std::size_t>(place)];
}

Kernels::MixerTable mixerTable(int length)
{
    const Samples factors = samples(length, 0.7);
    Kernels::MixerTable table(length);
    for (int entry = 0; entry < length; ++entry) {
        table.set(entry, at(factors, entry));
    }
    return table;
}

DoubleComplex product(DoubleComplex sample, DoubleComplex factor)
{
    return {sample.re * factor.re - sample.im * factor.im, factor.im * sample.re + sample.im * factor.re};
}

Samples mixed(Samples values, int length, int entry)
{
    const Samples factors = samples(length, 0.7);
    for (DoubleComplex& sample : values) {
        sample = product(sample, at(factors, entry));
        entry = entry + 1 < length ? entry + 1 : 0;
    }
    return values;
}

// One stage over an even number of samples.
Samples cicOf(const Samples& values, Kernels::CicHistory& history)
{
    Samples outputs;
    for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
        const DoubleComplex even = values[i];
        const DoubleComplex odd = values[i + 1];
        outputs.push_back({((history.odd.re + even.re) * 3.0 + history.even.re + odd.re) * 0.125,
                           ((history.odd.im + even.im) * 3.0 + history.even.im + odd.im) * 0.125});
        history = {even, odd};
    }
    return outputs;
}

bool sameBits(const Kernels::CicHistory& actual, const Kernels::CicHistory& expected)
{
    return std::memcmp(&actual, &expected, sizeof expected) == 0;
}

// Even and odd positions, each with one untouched place after it.
struct Apart
{
    Samples even;
    Samples odd;
};

Apart apart(const Samples& values)
{
    Apart result;
    for (std::size_t n = 0; n < values.size(); ++n) {
        (n % 2 == 0 ? result.even : result.odd).push_back(values[n]);
    }
    result.even.push_back(kUntouched);
    result.odd.push_back(kUntouched);
    return result;
}

} // namespace

/// Each kernel of the chain gives the bits of its plain form, at every length and with every instruction set.
class tst_ChainKernels : public QObject
{
    Q_OBJECT

private slots:
    void mixingGivesPlainBitsFromEveryEntry();
    void cicsGivePlainBitsAndHistories_data();
    void cicsGivePlainBitsAndHistories();
    void positionsAreTakenApart();
    void halfBandsSumInTheirOrder_data();
    void halfBandsSumInTheirOrder();
};

void tst_ChainKernels::mixingGivesPlainBitsFromEveryEntry()
{
    constexpr int kLength = 19; // so that the table ends within a vector, too
    const Kernels::MixerTable table = mixerTable(kLength);
    withEachTarget([&] {
        for (int count = 0; count <= 2 * kLongest; ++count) {
            for (int entry = 0; entry < kLength; ++entry) {
                Samples actual = samples(count);
                Samples expected = mixed(actual, kLength, entry);
                actual.push_back(kUntouched);
                expected.push_back(kUntouched);
                Kernels::mix(actual.data(), count, table, entry);
                QVERIFY2(sameBits(actual, expected), qPrintable(QString::number(count)));
            }
        }
    });
}

void tst_ChainKernels::cicsGivePlainBitsAndHistories_data()
{
    QTest::addColumn<int>("stages");
    QTest::addColumn<bool>("mixer");
    QTest::addColumn<bool>("inPlace");
    for (int stages = 1; stages <= Kernels::CicStages::kMaxStages; ++stages) {
        for (const bool mixer : {false, true}) {
            for (const bool inPlace : {false, true}) {
                QTest::addRow("%d stages, %s, %s", stages, mixer ? "mixed" : "as they are",
                              inPlace ? "in place" : "elsewhere")
                    << stages << mixer << inPlace;
            }
        }
    }
}

void tst_ChainKernels::cicsGivePlainBitsAndHistories()
{
    QFETCH(int, stages);
    QFETCH(bool, mixer);
    QFETCH(bool, inPlace);
    constexpr int kLength = 19;
    const Kernels::MixerTable table = mixerTable(kLength);
    withEachTarget([&] {
        std::array<Kernels::CicHistory, Kernels::CicStages::kMaxStages> actualHistories;
        std::array<Kernels::CicHistory, Kernels::CicStages::kMaxStages> expectedHistories;
        const std::array<Kernels::CicHistory*, Kernels::CicStages::kMaxStages> pointers{&actualHistories[0],
                                                                                        &actualHistories[1]};
        int entry = 3;
        for (int outputs = 0; outputs <= kLongest; ++outputs) {
            const int count = outputs << stages;
            Samples in = samples(count);
            Samples expected = mixer ? mixed(in, kLength, entry) : in;
            for (int s = 0; s < stages; ++s) {
                expected = cicOf(expected, expectedHistories[static_cast<std::size_t>(s)]);
            }
            expected.push_back(kUntouched);
            in.push_back(kUntouched);
            Samples elsewhere(static_cast<std::size_t>(outputs) + 1, kUntouched);
            Samples& out = inPlace ? in : elsewhere;
            if (mixer) {
                Kernels::mixAndCics(in.data(), outputs, table, entry, {pointers.data(), stages}, out.data());
            } else {
                Kernels::cics(in.data(), outputs, {pointers.data(), stages}, out.data());
            }
            if (inPlace) {
                out[static_cast<std::size_t>(outputs)] = kUntouched;
                out.resize(static_cast<std::size_t>(outputs) + 1);
            }
            QVERIFY2(sameBits(out, expected), qPrintable(QString::number(outputs)));
            QVERIFY(sameBits(actualHistories[0], expectedHistories[0]));
            QVERIFY(sameBits(actualHistories[1], expectedHistories[1]));
            entry = (entry + count) % kLength;
        }
    });
}

void tst_ChainKernels::positionsAreTakenApart()
{
    withEachTarget([] {
        for (int count = 0; count <= 2 * kLongest; ++count) {
            const Samples in = samples(count);
            const Apart expected = apart(in);
            Samples even(expected.even.size(), kUntouched);
            Samples odd(expected.odd.size(), kUntouched);
            Kernels::deinterleave(in.data(), count, even.data(), odd.data());
            QVERIFY2(sameBits(even, expected.even), qPrintable(QString::number(count)));
            QVERIFY2(sameBits(odd, expected.odd), qPrintable(QString::number(count)));
        }
    });
}

void tst_ChainKernels::halfBandsSumInTheirOrder_data()
{
    QTest::addColumn<int>("taps");
    QTest::addColumn<bool>("centreInTheMiddle");
    for (int taps = 3; taps <= 55; taps += 4) {
        QTest::addRow("%d taps, the centre last", taps) << taps << false;
    }
    QTest::addRow("11 taps, the centre in the middle") << 11 << true;
}

void tst_ChainKernels::halfBandsSumInTheirOrder()
{
    QFETCH(int, taps);
    QFETCH(bool, centreInTheMiddle);
    const int centre = (taps - 1) / 2;
    std::vector<double> h;
    for (const DoubleComplex& value : samples(taps, 0.3)) {
        h.push_back(value.re);
    }
    // The order of the terms, by their places.
    std::vector<int> order;
    for (int k = 0; k < taps; k += 2) {
        order.push_back(k);
    }
    order.insert(centreInTheMiddle ? order.begin() + 3 : order.end(), centre);
    withEachTarget([&] {
        for (int outputs = 0; outputs <= kLongest; ++outputs) {
            const Samples x = samples(outputs == 0 ? 0 : 2 * outputs + taps - 2);
            Samples expected;
            for (int i = 0; i < outputs; ++i) {
                const double first = h[static_cast<std::size_t>(order[0])];
                DoubleComplex sum{first * at(x, 2 * i + order[0]).re, first * at(x, 2 * i + order[0]).im};
                for (std::size_t term = 1; term < order.size(); ++term) {
                    const double factor = h[static_cast<std::size_t>(order[term])];
                    sum.re += factor * at(x, 2 * i + order[term]).re;
                    sum.im += factor * at(x, 2 * i + order[term]).im;
                }
                expected.push_back(sum);
            }
            expected.push_back(kUntouched);
            const Apart in = apart(x);
            Samples out(static_cast<std::size_t>(outputs) + 1, kUntouched);
            if (centreInTheMiddle) {
                Kernels::halfBand11(in.even.data(), in.odd.data(), h.data(), outputs, out.data());
            } else {
                Kernels::halfBand(in.even.data(), in.odd.data(), h.data(), taps, outputs, out.data());
            }
            QVERIFY2(sameBits(out, expected), qPrintable(QString::number(outputs)));
        }
    });
}

QTEST_APPLESS_MAIN(tst_ChainKernels)

#include "tst_ChainKernels.moc"
