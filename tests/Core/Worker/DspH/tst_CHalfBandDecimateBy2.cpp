#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"

#include "StageRuns.h"

#include <QtTest>
#include <new>

using namespace StageRuns;

class tst_CHalfBandDecimateBy2 : public QObject
{
    Q_OBJECT

private slots:
    void halfBandEqualsDirectConvolution_data();
    void halfBandEqualsDirectConvolution();
    void halfBandPassesDcWithinItsTablesSum_data();
    void halfBandPassesDcWithinItsTablesSum();
    void halfBandSumsEvenPositionsInAscendingOrderAndCentreLast();
    void halfBandGivesOneOutputForBlockOfOne();
    void halfBandGivesOneMoreOutputThanHalfOfOddBlock();
    void halfBandGivesNothingForEmptyBlock();
    void halfBandTwoBlocksEqualOneDoubleBlockIfFirstIsEven();
    void halfBandTakesItsHistoryFromArrayAfterOutputsAreThere();
    void halfBandCountsHistoryBeforeShortBlockAsZeros();
    void halfBandLongerThanItsBlocksStaysInsideItsArrays();
    void halfBandTakesBlocksLongerThanChains_data();
    void halfBandTakesBlocksLongerThanChains();
    void halfBandRefusesLengthWhoseDoubleIsNegative();
};

void tst_CHalfBandDecimateBy2::halfBandEqualsDirectConvolution_data()
{
    QTest::addColumn<int>("taps");
    for (int taps = 7; taps <= 55; taps += 4) {
        QTest::addRow("%d taps", taps) << taps;
    }
}

void tst_CHalfBandDecimateBy2::halfBandEqualsDirectConvolution()
{
    QFETCH(int, taps);
    const std::vector<double> h = filterOf(taps);
    QCOMPARE(static_cast<int>(h.size()), taps);
    const Vector input = Samples::noise(4'096);
    CHalfBandDecimateBy2 stage(4'096, taps, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {4'096}, true), Samples::convolve(h, input, 2'048, 0), kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandPassesDcWithinItsTablesSum_data()
{
    halfBandEqualsDirectConvolution_data();
}

void tst_CHalfBandDecimateBy2::halfBandPassesDcWithinItsTablesSum()
{
    QFETCH(int, taps);
    const std::vector<double> h = filterOf(taps);
    CHalfBandDecimateBy2 stage(256, taps, h.data());
    const Vector output = runBlocks(stage, Vector(256, DoubleComplex{1.0, -1.0}), {256}, true);
    COMPARE_SAMPLES(Samples::slice(output, 28, 100), Vector(100, DoubleComplex{1.0, -1.0}), 1e-4);
}

void tst_CHalfBandDecimateBy2::halfBandSumsEvenPositionsInAscendingOrderAndCentreLast()
{
    const std::vector<double> h = filterOf(7);
    const Vector x = Samples::noise(7);
    CHalfBandDecimateBy2 stage(8, 7, h.data());
    const Vector output = runBlocks(stage, x, {7}, false);
    const double re = h[0] * x[0].re + h[2] * x[2].re + h[4] * x[4].re + h[6] * x[6].re + h[3] * x[3].re;
    const double im = h[0] * x[0].im + h[2] * x[2].im + h[4] * x[4].im + h[6] * x[6].im + h[3] * x[3].im;
    COMPARE_SAMPLES(Samples::slice(output, 3, 1), (Vector{{re, im}}), kExact);
}

void tst_CHalfBandDecimateBy2::halfBandGivesOneOutputForBlockOfOne()
{
    const std::vector<double> h = filterOf(7);
    CHalfBandDecimateBy2 stage(1'024, 7, h.data());
    DoubleComplex sample{1.0, 2.0};
    QCOMPARE(stage.decimate(1, &sample, &sample), 1);
    COMPARE_SAMPLES((Vector{sample}), (Vector{{h[6], h[6] * 2.0}}), kExact);
}

void tst_CHalfBandDecimateBy2::halfBandGivesOneMoreOutputThanHalfOfOddBlock()
{
    const std::vector<double> h = filterOf(15);
    const Vector input = Samples::noise(1'023);
    CHalfBandDecimateBy2 stage(1'024, 15, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {1'023}, true), Samples::convolve(h, input, 512, 0), kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandGivesNothingForEmptyBlock()
{
    const std::vector<double> h = filterOf(7);
    CHalfBandDecimateBy2 stage(16, 7, h.data());
    Vector work = Samples::noise(16);
    const Vector before = work;
    QCOMPARE(stage.decimate(0, work.data(), work.data()), 0);
    COMPARE_SAMPLES(work, before, kExact);
}

void tst_CHalfBandDecimateBy2::halfBandTwoBlocksEqualOneDoubleBlockIfFirstIsEven()
{
    const std::vector<double> h = filterOf(55);
    const Vector input = Samples::noise(2'048);
    CHalfBandDecimateBy2 whole(2'048, 55, h.data());
    const Vector expected = runBlocks(whole, input, {2'048}, false);
    CHalfBandDecimateBy2 halves(2'048, 55, h.data());
    COMPARE_SAMPLES(runBlocks(halves, input, {1'024, 1'024}, true), expected, kExact);
    // 108 samples are the shortest block whose end the outputs do not reach in place.
    CHalfBandDecimateBy2 uneven(2'048, 55, h.data());
    COMPARE_SAMPLES(runBlocks(uneven, input, {108, 1'500, 330, 110}, true), expected, kExact);
}

void tst_CHalfBandDecimateBy2::halfBandTakesItsHistoryFromArrayAfterOutputsAreThere()
{
    const std::vector<double> h = filterOf(55);
    const Vector input = Samples::noise(160);
    CHalfBandDecimateBy2 stage(256, 55, h.data());
    Vector first = Samples::slice(input, 0, 60);
    QCOMPARE(stage.decimate(60, first.data(), first.data()), 30);
    Vector second = Samples::slice(input, 60, 100);
    QCOMPARE(stage.decimate(100, second.data(), second.data()), 50);

    Vector stream = Samples::slice(first, 6, 54); // 24 outputs, then inputs
    stream.insert(stream.end(), input.begin() + 60, input.end());
    Vector expected = Samples::convolve(h, stream, 77, 0);
    COMPARE_SAMPLES(Samples::slice(second, 0, 50), Samples::slice(expected, 27, 50), kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandCountsHistoryBeforeShortBlockAsZeros()
{
    const std::vector<double> h = filterOf(51);
    const Vector input = Samples::noise(264);
    CHalfBandDecimateBy2 stage(256, 51, h.data());
    const Vector output = runBlocks(stage, input, {200, 4, 60}, false);
    // After the block of four the 200 samples are forgotten.
    const Vector tail = Samples::convolve(h, Samples::slice(input, 200, 64), 32, 0);
    COMPARE_SAMPLES(Samples::slice(output, 102, 30), Samples::slice(tail, 2, 30), kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandLongerThanItsBlocksStaysInsideItsArrays()
{
    const std::vector<double> h = filterOf(55);
    CHalfBandDecimateBy2 stage(8, 55, h.data());
    const Vector input = Samples::noise(24);
    const Vector output = runBlocks(stage, input, {8, 8, 8}, true);
    QCOMPARE(static_cast<int>(output.size()), 12);
    COMPARE_SAMPLES(Samples::slice(output, 0, 4), Samples::convolve(h, Samples::slice(input, 0, 8), 4, 0),
                    kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandTakesBlocksLongerThanChains_data()
{
    QTest::addColumn<int>("bufLen");
    for (const int bufLen : {0, 1, 8, 54, 300, 511, 512, 513}) {
        QTest::addRow("%d", bufLen) << bufLen;
    }
}

void tst_CHalfBandDecimateBy2::halfBandTakesBlocksLongerThanChains()
{
    QFETCH(const int, bufLen);
    const std::vector<double> h = filterOf(55);
    CHalfBandDecimateBy2 stage(bufLen, 55, h.data());
    const Vector input = Samples::noise(3'000);
    COMPARE_SAMPLES(runBlocks(stage, input, {600, 1'800, 600}, true), Samples::convolve(h, input, 1'500, 0),
                    kRounding);
}

void tst_CHalfBandDecimateBy2::halfBandRefusesLengthWhoseDoubleIsNegative()
{
    const std::vector<double> h = filterOf(7);
    QVERIFY_EXCEPTION_THROWN(CHalfBandDecimateBy2(-1, 7, h.data()), std::bad_alloc);
    QVERIFY_EXCEPTION_THROWN(CHalfBandDecimateBy2(1 << 30, 7, h.data()), std::bad_alloc);
}

QTEST_APPLESS_MAIN(tst_CHalfBandDecimateBy2)
#include "tst_CHalfBandDecimateBy2.moc"
