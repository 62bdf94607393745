#include "Core/Worker/DspH/HalfBandTables.h"

#include <QtTest>
#include <cmath>
#include <limits>
#include <vector>

using HalfBandTables::Filter;

namespace
{

// Row by row: the threshold and the taps, 0 for the CIC stage.
struct Row
{
    int tier;
    double threshold;
    int taps;
    int nextTaps; // of the row that is tried next; -1: there is no other
};

const std::vector<Row> kRows{
    // In tier 0 the rows 0.355 (35 taps) and 0.37 (39 taps) come after 0.38 and never match.
    {0, 0.050000000000000044, 0, 7},
    {0, 0.12, 7, 11},
    {0, 0.19999999999999996, 11, 15},
    {0, 0.28, 15, 19},
    {0, 0.30000000000000004, 19, 23},
    {0, 0.33999999999999997, 23, 27},
    {0, 0.36, 27, 31},
    {0, 0.38, 31, 47},
    {0, 0.39, 47, 51},
    {0, 0.4, 51, 55},
    {0, 0.405, 55, -1},
    {1, 0.02300000000000002, 0, 7},
    {1, 0.050000000000000044, 7, 11},
    {1, 0.13, 11, 15},
    {1, 0.19999999999999996, 15, 19},
    {1, 0.25, 19, 23},
    {1, 0.29000000000000004, 23, 27},
    {1, 0.31999999999999995, 27, 31},
    {1, 0.33999999999999997, 31, 35},
    {1, 0.355, 35, 39},
    {1, 0.37, 39, 43},
    {1, 0.38, 43, 47},
    {1, 0.39, 47, 51},
    {1, 0.4, 51, 55},
    {1, 0.405, 55, -1},
    {2, 0.0015, 0, 11},
    {2, 0.025, 11, 15},
    {2, 0.049, 15, 19},
    {2, 0.072, 19, 23},
    {2, 0.091, 23, 27},
    {2, 0.108, 27, 31},
    {2, 0.122, 31, 35},
    {2, 0.134, 35, 39},
    {2, 0.144, 39, 43},
    {2, 0.153, 43, 47},
    {2, 0.16, 47, 51},
    {2, 0.167, 51, -1},
};

void addRows()
{
    QTest::addColumn<int>("index");
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        QTest::addRow("tier %d, %g", kRows[i].tier, kRows[i].threshold) << static_cast<int>(i);
    }
}

const Row& fetchRow(int index)
{
    return kRows[static_cast<std::size_t>(index)];
}

int tapsOf(const Filter* filter)
{
    return filter == nullptr ? -1 : filter->taps;
}

} // namespace

class tst_HalfBandTables : public QObject
{
    Q_OBJECT

private slots:
    void rowServesUpToItsThresholdAndNextOneBeyond_data() { addRows(); }
    void rowServesUpToItsThresholdAndNextOneBeyond();
    void filterIsHalfBand_data() { addRows(); }
    void filterIsHalfBand();
    void filterKeepsItsTiersRippleInPassBand_data() { addRows(); }
    void filterKeepsItsTiersRippleInPassBand();
    void sumsOfTiersStrayFromOneByTheirMeasure();
    void lengthsFrom35OnServeTiersZeroAndOneAlike();
    void tierTwosOwn51TapsAreNotThoseOfTierOne();
    void aliasErrorFilterIs51TapsOfTierOne();
};

void tst_HalfBandTables::rowServesUpToItsThresholdAndNextOneBeyond()
{
    QFETCH(int, index);
    const Row& row = fetchRow(index);
    for (const double band : {8'000.0, 1.0, 123'456.75}) {
        const double rate = band / row.threshold;
        QCOMPARE(tapsOf(HalfBandTables::choose(row.tier, rate, band)), row.taps);
        const double below = std::nextafter(rate, 0.0);
        QCOMPARE(tapsOf(HalfBandTables::choose(row.tier, below, band)), row.nextTaps);
    }
}

void tst_HalfBandTables::filterIsHalfBand()
{
    QFETCH(int, index);
    const Row& row = fetchRow(index);
    const Filter* filter = HalfBandTables::choose(row.tier, 1.0 / row.threshold, 1.0);
    QVERIFY(filter != nullptr);
    if (filter->taps == 0) {
        QVERIFY(filter->coefficients == nullptr);
        return;
    }
    QCOMPARE(filter->taps % 4, 3);
    const int center = (filter->taps - 1) / 2;
    for (int i = 0; i < filter->taps; ++i) {
        QCOMPARE(filter->coefficients[i], filter->coefficients[filter->taps - 1 - i]);
        if (i == center) {
            QCOMPARE(filter->coefficients[i], 0.5);
        } else {
            QCOMPARE(filter->coefficients[i] == 0.0, i % 2 == 1);
        }
    }
}

void tst_HalfBandTables::filterKeepsItsTiersRippleInPassBand()
{
    QFETCH(int, index);
    const Row& row = fetchRow(index);
    const Filter* filter = HalfBandTables::choose(row.tier, 1.0 / row.threshold, 1.0);
    if (filter->taps == 0) {
        return;
    }
    const std::vector<long double> ripples{7e-4L, 5.5e-5L, 1.1e-7L};
    const long double limit =
        filter->taps >= 35 && row.tier == 0 ? ripples[1] : ripples[static_cast<std::size_t>(row.tier)];
    // The band lies about 0 Hz: half the threshold to either side. Tier 2 holds its ripple to the whole.
    const long double edge = row.tier == 2 ? row.threshold : row.threshold / 2.0L;
    const int center = (filter->taps - 1) / 2;
    long double largest = 0.0L;
    for (int step = 0; step <= 2'000; ++step) {
        const long double w = 6.283185307179586476925286766559L * edge * step / 2'000;
        long double response = 0.0L;
        for (int i = 0; i < filter->taps; ++i) {
            response += static_cast<long double>(filter->coefficients[i]) * std::cos(w * (i - center));
        }
        largest = std::max(largest, std::abs(response - 1.0L));
    }
    QVERIFY2(largest < limit, qPrintable(QString::number(static_cast<double>(largest))));
}

void tst_HalfBandTables::sumsOfTiersStrayFromOneByTheirMeasure()
{
    const std::vector<double> measures{5e-4, 5e-5, 1e-7};
    for (const Row& row : kRows) {
        const Filter* filter = HalfBandTables::choose(row.tier, 1.0 / row.threshold, 1.0);
        if (filter->taps == 0 || (row.tier == 0 && filter->taps >= 35)) {
            continue;
        }
        double sum = 0.0;
        for (int i = 0; i < filter->taps; ++i) {
            sum += filter->coefficients[i];
        }
        const double measure = measures[static_cast<std::size_t>(row.tier)];
        const double stray = std::abs(sum - 1.0);
        QVERIFY2(stray > 0.2 * measure && stray < 1.5 * measure,
                 qPrintable(QStringLiteral("tier %1, %2 taps: %3").arg(row.tier).arg(row.taps).arg(stray)));
    }
}

void tst_HalfBandTables::lengthsFrom35OnServeTiersZeroAndOneAlike()
{
    for (const double threshold : {0.39, 0.4, 0.405}) {
        QCOMPARE(HalfBandTables::choose(0, 1.0 / threshold, 1.0)->coefficients,
                 HalfBandTables::choose(1, 1.0 / threshold, 1.0)->coefficients);
    }
}

void tst_HalfBandTables::tierTwosOwn51TapsAreNotThoseOfTierOne()
{
    const Filter* ofTwo = HalfBandTables::choose(2, 1.0 / 0.167, 1.0);
    const Filter* ofOne = HalfBandTables::choose(1, 1.0 / 0.4, 1.0);
    QCOMPARE(ofTwo->taps, ofOne->taps);
    QVERIFY(ofTwo->coefficients[0] != ofOne->coefficients[0]);
}

void tst_HalfBandTables::aliasErrorFilterIs51TapsOfTierOne()
{
    QCOMPARE(HalfBandTables::aliasErrorFilter().coefficients,
             HalfBandTables::choose(1, 1.0 / 0.4, 1.0)->coefficients);
    QCOMPARE(HalfBandTables::aliasErrorFilter().taps, 51);
}

QTEST_APPLESS_MAIN(tst_HalfBandTables)
#include "tst_HalfBandTables.moc"
