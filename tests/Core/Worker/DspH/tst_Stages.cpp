#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"

#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"

#include <QtTest>
#include <limits>
#include <memory>
#include <new>

using Samples::Vector;

namespace
{

constexpr double kExact = 0.0;
constexpr double kRounding = 1e-14;

const std::vector<double> kCic{0.125, 0.375, 0.375, 0.125};

// A filter of tier 1 with so many taps, found by a band that just asks for it; 0: the CIC stage.
std::vector<double> filterOf(int taps)
{
    for (double band = 0.41; band > 0.0; band -= 0.001) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(1, 1.0, band);
        if (filter != nullptr && filter->taps == taps) {
            return {filter->coefficients, filter->coefficients + taps};
        }
    }
    return {};
}

// Blocks of one stream through a stage, each in an array of its own that is exactly as long as the block.
Vector runBlocks(Dec2& stage, const Vector& input, const std::vector<int>& lengths, bool inPlace)
{
    Vector result;
    int first = 0;
    for (const int length : lengths) {
        Vector in = Samples::slice(input, first, length);
        Vector out(in.size());
        const int outputs = stage.decimate(length, in.data(), inPlace ? in.data() : out.data());
        const Vector& written = inPlace ? in : out;
        result.insert(result.end(), written.begin(), written.begin() + outputs);
        first += length;
    }
    return result;
}

} // namespace

class tst_Stages : public QObject
{
    Q_OBJECT

private slots:
    void cicEqualsTheDirectConvolution();
    void cicPassesDcWithAGainOfExactlyOne();
    void cicImpulseAtAnEvenPositionGivesThreeEighthsThenOneEighth();
    void cicImpulseAtAnOddPositionGivesOneEighthThenThreeEighths();
    void cicDropsTheOneSampleOfABlockOfOne();
    void cicTakesNothingOfABlockOfNoneOrFewer_data();
    void cicTakesNothingOfABlockOfNoneOrFewer();
    void cicDropsTheLastSampleOfAnOddBlockWithoutATrace();
    void cicIsTheSameHoweverTheStreamIsCut();

    void halfBandEqualsTheDirectConvolution_data();
    void halfBandEqualsTheDirectConvolution();
    void halfBandPassesDcWithinItsTablesSum_data();
    void halfBandPassesDcWithinItsTablesSum();
    void halfBandSumsEvenPositionsInAscendingOrderAndTheCentreLast();
    void halfBandGivesOneOutputForABlockOfOne();
    void halfBandGivesOneMoreOutputThanHalfOfAnOddBlock();
    void halfBandGivesNothingForAnEmptyBlock();
    void halfBandTwoBlocksEqualOneDoubleBlockIfTheFirstIsEven();
    void halfBandTakesItsHistoryFromTheArrayAfterTheOutputsStandThere();
    void halfBandCountsTheHistoryBeforeAShortBlockAsZeros();
    void halfBandLongerThanItsBlocksStaysInsideItsArrays();
    void halfBandTakesBlocksLongerThanTheChains_data();
    void halfBandTakesBlocksLongerThanTheChains();
    void halfBandRefusesALengthWhoseDoubleIsNegative();

    void elevenTapsEqualTheDirectConvolutionInFullBlocks();
    void elevenTapsPassDcWithinTheirTablesSum();
    void elevenTapsAtEighteenSamplesGiveNineOutputsFromTheHead();
    void elevenTapsContinueAStreamWhileTheLastInputsOutlastTheOutputs();
    void elevenTapsTakeTheHistoryOfAHalfFilledBlockFromTheOverrun();
    void elevenTapsComputeAsManyOutputsAsTheBlockLengthAsksFor();
    void elevenTapsStayInsideTheWorkArray_data();
    void elevenTapsStayInsideTheWorkArray();
    void elevenTapsCountTheHistoryBeforeAShortBlockAsZeros();
};

void tst_Stages::cicEqualsTheDirectConvolution()
{
    const Vector input = Samples::noise(4'096);
    CCicN3DecimateBy2 stage;
    COMPARE_SAMPLES(runBlocks(stage, input, {4'096}, true), Samples::convolve(kCic, input, 2'048, 1),
                    kRounding);
}

void tst_Stages::cicPassesDcWithAGainOfExactlyOne()
{
    CCicN3DecimateBy2 stage;
    const Vector input(64, DoubleComplex{1.0, -0.5});
    const Vector output = runBlocks(stage, input, {64}, true);
    COMPARE_SAMPLES(Samples::slice(output, 1, 31), Vector(31, DoubleComplex{1.0, -0.5}), kExact);
}

void tst_Stages::cicImpulseAtAnEvenPositionGivesThreeEighthsThenOneEighth()
{
    CCicN3DecimateBy2 stage;
    Vector input(8);
    input[2] = {1.0, 0.0};
    const Vector expected{{0.0, 0.0}, {0.375, 0.0}, {0.125, 0.0}, {0.0, 0.0}};
    COMPARE_SAMPLES(runBlocks(stage, input, {8}, true), expected, kExact);
}

void tst_Stages::cicImpulseAtAnOddPositionGivesOneEighthThenThreeEighths()
{
    CCicN3DecimateBy2 stage;
    Vector input(8);
    input[3] = {0.0, 1.0};
    const Vector expected{{0.0, 0.0}, {0.0, 0.125}, {0.0, 0.375}, {0.0, 0.0}};
    COMPARE_SAMPLES(runBlocks(stage, input, {8}, true), expected, kExact);
}

void tst_Stages::cicDropsTheOneSampleOfABlockOfOne()
{
    CCicN3DecimateBy2 stage;
    DoubleComplex sample{5.0, 5.0};
    QCOMPARE(stage.decimate(1, &sample, &sample), 0);
    COMPARE_SAMPLES(runBlocks(stage, Vector(4), {4}, true), Vector(2), kExact);
}

void tst_Stages::cicTakesNothingOfABlockOfNoneOrFewer_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("outputs"); // half of it, rounded down
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("-1") << -1 << -1;
    QTest::newRow("-2") << -2 << -1;
    QTest::newRow("lowest") << std::numeric_limits<int>::min() << std::numeric_limits<int>::min() / 2;
}

void tst_Stages::cicTakesNothingOfABlockOfNoneOrFewer()
{
    QFETCH(const int, count);
    CCicN3DecimateBy2 stage;
    DoubleComplex sample{5.0, 5.0};
    QTEST(stage.decimate(count, &sample, &sample), "outputs");
    QCOMPARE(sample.re, 5.0);
    COMPARE_SAMPLES(runBlocks(stage, Vector(4), {4}, true), Vector(2), kExact);
}

void tst_Stages::cicDropsTheLastSampleOfAnOddBlockWithoutATrace()
{
    const Vector input = Samples::noise(20);
    CCicN3DecimateBy2 odd;
    CCicN3DecimateBy2 even;
    const Vector ofOdd = runBlocks(odd, input, {7, 12}, true);
    Vector without = Samples::slice(input, 0, 6);
    without.insert(without.end(), input.begin() + 7, input.begin() + 19);
    QCOMPARE(static_cast<int>(ofOdd.size()), 9);
    COMPARE_SAMPLES(ofOdd, runBlocks(even, without, {18}, true), kExact);
}

void tst_Stages::cicIsTheSameHoweverTheStreamIsCut()
{
    const Vector input = Samples::noise(1'024);
    CCicN3DecimateBy2 whole;
    CCicN3DecimateBy2 cut;
    COMPARE_SAMPLES(runBlocks(cut, input, {2, 32, 510, 478, 2}, true),
                    runBlocks(whole, input, {1'024}, false), kExact);
}

void tst_Stages::halfBandEqualsTheDirectConvolution_data()
{
    QTest::addColumn<int>("taps");
    for (int taps = 7; taps <= 55; taps += 4) {
        QTest::addRow("%d taps", taps) << taps;
    }
}

void tst_Stages::halfBandEqualsTheDirectConvolution()
{
    QFETCH(int, taps);
    const std::vector<double> h = filterOf(taps);
    QCOMPARE(static_cast<int>(h.size()), taps);
    const Vector input = Samples::noise(4'096);
    CHalfBandDecimateBy2 stage(4'096, taps, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {4'096}, true), Samples::convolve(h, input, 2'048, 0), kRounding);
}

void tst_Stages::halfBandPassesDcWithinItsTablesSum_data()
{
    halfBandEqualsTheDirectConvolution_data();
}

void tst_Stages::halfBandPassesDcWithinItsTablesSum()
{
    QFETCH(int, taps);
    const std::vector<double> h = filterOf(taps);
    CHalfBandDecimateBy2 stage(256, taps, h.data());
    const Vector output = runBlocks(stage, Vector(256, DoubleComplex{1.0, -1.0}), {256}, true);
    COMPARE_SAMPLES(Samples::slice(output, 28, 100), Vector(100, DoubleComplex{1.0, -1.0}), 1e-4);
}

void tst_Stages::halfBandSumsEvenPositionsInAscendingOrderAndTheCentreLast()
{
    const std::vector<double> h = filterOf(7);
    const Vector x = Samples::noise(7);
    CHalfBandDecimateBy2 stage(8, 7, h.data());
    const Vector output = runBlocks(stage, x, {7}, false);
    const double re = h[0] * x[0].re + h[2] * x[2].re + h[4] * x[4].re + h[6] * x[6].re + h[3] * x[3].re;
    const double im = h[0] * x[0].im + h[2] * x[2].im + h[4] * x[4].im + h[6] * x[6].im + h[3] * x[3].im;
    COMPARE_SAMPLES(Samples::slice(output, 3, 1), (Vector{{re, im}}), kExact);
}

void tst_Stages::halfBandGivesOneOutputForABlockOfOne()
{
    const std::vector<double> h = filterOf(7);
    CHalfBandDecimateBy2 stage(1'024, 7, h.data());
    DoubleComplex sample{1.0, 2.0};
    QCOMPARE(stage.decimate(1, &sample, &sample), 1);
    COMPARE_SAMPLES((Vector{sample}), (Vector{{h[6], h[6] * 2.0}}), kExact);
}

void tst_Stages::halfBandGivesOneMoreOutputThanHalfOfAnOddBlock()
{
    const std::vector<double> h = filterOf(15);
    const Vector input = Samples::noise(1'023);
    CHalfBandDecimateBy2 stage(1'024, 15, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {1'023}, true), Samples::convolve(h, input, 512, 0), kRounding);
}

void tst_Stages::halfBandGivesNothingForAnEmptyBlock()
{
    const std::vector<double> h = filterOf(7);
    CHalfBandDecimateBy2 stage(16, 7, h.data());
    Vector work = Samples::noise(16);
    const Vector before = work;
    QCOMPARE(stage.decimate(0, work.data(), work.data()), 0);
    COMPARE_SAMPLES(work, before, kExact);
}

void tst_Stages::halfBandTwoBlocksEqualOneDoubleBlockIfTheFirstIsEven()
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

void tst_Stages::halfBandTakesItsHistoryFromTheArrayAfterTheOutputsStandThere()
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

void tst_Stages::halfBandCountsTheHistoryBeforeAShortBlockAsZeros()
{
    const std::vector<double> h = filterOf(51);
    const Vector input = Samples::noise(264);
    CHalfBandDecimateBy2 stage(256, 51, h.data());
    const Vector output = runBlocks(stage, input, {200, 4, 60}, false);
    // The 200 samples are forgotten behind the block of four.
    const Vector tail = Samples::convolve(h, Samples::slice(input, 200, 64), 32, 0);
    COMPARE_SAMPLES(Samples::slice(output, 102, 30), Samples::slice(tail, 2, 30), kRounding);
}

void tst_Stages::halfBandLongerThanItsBlocksStaysInsideItsArrays()
{
    const std::vector<double> h = filterOf(55);
    CHalfBandDecimateBy2 stage(8, 55, h.data());
    const Vector input = Samples::noise(24);
    const Vector output = runBlocks(stage, input, {8, 8, 8}, true);
    QCOMPARE(static_cast<int>(output.size()), 12);
    COMPARE_SAMPLES(Samples::slice(output, 0, 4), Samples::convolve(h, Samples::slice(input, 0, 8), 4, 0),
                    kRounding);
}

void tst_Stages::halfBandTakesBlocksLongerThanTheChains_data()
{
    QTest::addColumn<int>("bufLen");
    for (const int bufLen : {0, 1, 8, 54, 300, 511, 512, 513}) {
        QTest::addRow("%d", bufLen) << bufLen;
    }
}

void tst_Stages::halfBandTakesBlocksLongerThanTheChains()
{
    QFETCH(const int, bufLen);
    const std::vector<double> h = filterOf(55);
    CHalfBandDecimateBy2 stage(bufLen, 55, h.data());
    const Vector input = Samples::noise(3'000);
    COMPARE_SAMPLES(runBlocks(stage, input, {600, 1'800, 600}, true), Samples::convolve(h, input, 1'500, 0),
                    kRounding);
}

void tst_Stages::halfBandRefusesALengthWhoseDoubleIsNegative()
{
    const std::vector<double> h = filterOf(7);
    QVERIFY_EXCEPTION_THROWN(CHalfBandDecimateBy2(-1, 7, h.data()), std::bad_alloc);
    QVERIFY_EXCEPTION_THROWN(CHalfBandDecimateBy2(1 << 30, 7, h.data()), std::bad_alloc);
}

void tst_Stages::elevenTapsEqualTheDirectConvolutionInFullBlocks()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(4'096);
    CHalfBand11TapDecimateBy2 stage(1'024, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {1'024, 1'024, 1'024, 1'024}, true),
                    Samples::convolve(h, input, 2'048, 0), kRounding);
}

void tst_Stages::elevenTapsPassDcWithinTheirTablesSum()
{
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(256, h.data());
    const Vector output = runBlocks(stage, Vector(256, DoubleComplex{1.0, -1.0}), {256}, true);
    COMPARE_SAMPLES(Samples::slice(output, 6, 122), Vector(122, DoubleComplex{1.0, -1.0}), 1e-4);
}

void tst_Stages::elevenTapsAtEighteenSamplesGiveNineOutputsFromTheHead()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(36);
    CHalfBand11TapDecimateBy2 stage(18, h.data());
    const Vector output = runBlocks(stage, input, {18, 18}, true);
    QCOMPARE(static_cast<int>(output.size()), 18);
    // In place the head stands over in[8], which the history of ten takes up.
    COMPARE_SAMPLES(Samples::slice(output, 0, 9), Samples::convolve(h, input, 9, 0), kRounding);
    Vector stream = input;
    stream[8] = output[8];
    COMPARE_SAMPLES(Samples::slice(output, 9, 9), Samples::slice(Samples::convolve(h, stream, 18, 0), 9, 9),
                    kRounding);
}

void tst_Stages::elevenTapsContinueAStreamWhileTheLastInputsOutlastTheOutputs()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(1'800);
    CHalfBand11TapDecimateBy2 stage(1'024, h.data());
    Vector output;
    for (int block = 0; block < 3; ++block) {
        Vector work = Samples::slice(input, 600 * block, 600);
        work.resize(1'024);
        const int outputs = stage.decimate(600, work.data(), work.data());
        output.insert(output.end(), work.begin(), work.begin() + outputs);
    }
    COMPARE_SAMPLES(output, Samples::convolve(h, input, 900, 0), kRounding);
}

void tst_Stages::elevenTapsTakeTheHistoryOfAHalfFilledBlockFromTheOverrun()
{
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(64, h.data());
    const Vector first = Samples::noise(64, 1); // 32 samples of the block, 32 of what stands behind it
    Vector work = first;
    QCOMPARE(stage.decimate(32, work.data(), work.data()), 16);
    const Vector overrun = Samples::convolve(h, first, 32, 0);
    COMPARE_SAMPLES(Samples::slice(work, 0, 32), overrun, kRounding);

    const Vector second = Samples::noise(64, 2);
    work = second;
    QCOMPARE(stage.decimate(32, work.data(), work.data()), 16);
    Vector stream = Samples::slice(overrun, 22, 10);
    stream.insert(stream.end(), second.begin(), second.end());
    COMPARE_SAMPLES(Samples::slice(work, 0, 16), Samples::slice(Samples::convolve(h, stream, 21, 0), 5, 16),
                    kRounding);
}

void tst_Stages::elevenTapsComputeAsManyOutputsAsTheBlockLengthAsksFor()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(64);
    CHalfBand11TapDecimateBy2 stage(64, h.data());
    Vector out(64, DoubleComplex{9.0, 9.0});
    Vector in = input;
    QCOMPARE(stage.decimate(20, in.data(), out.data()), 10);
    Vector expected = Samples::convolve(h, input, 32, 0);
    expected.resize(64, DoubleComplex{9.0, 9.0});
    COMPARE_SAMPLES(out, expected, kRounding);
}

void tst_Stages::elevenTapsStayInsideTheWorkArray_data()
{
    QTest::addColumn<int>("bufLen");
    QTest::addColumn<int>("count");
    for (const int bufLen : {0, 1, 2, 8, 9, 10, 16, 17, 18, 19, 1'024}) {
        for (const int count : {0, 1, 2, 9, 10, 17, 18, 1'024}) {
            if (count <= bufLen) {
                QTest::addRow("%d of %d", count, bufLen) << bufLen << count;
            }
        }
    }
}

void tst_Stages::elevenTapsStayInsideTheWorkArray()
{
    QFETCH(int, bufLen);
    QFETCH(int, count);
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(bufLen, h.data());
    const Vector input = Samples::noise(bufLen);
    // From the heap and of exactly this size, so that the address sanitizer sees the ends as well.
    const auto work = std::make_unique<DoubleComplex[]>(static_cast<std::size_t>(bufLen));
    std::copy(input.begin(), input.end(), work.get());
    QCOMPARE(stage.decimate(count, work.get(), work.get()), count / 2);
    const Vector output(work.get(), work.get() + count / 2);
    COMPARE_SAMPLES(output, Samples::convolve(h, input, count / 2, 0), kRounding);
}

void tst_Stages::elevenTapsCountTheHistoryBeforeAShortBlockAsZeros()
{
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(64, h.data());
    Vector out(64);
    Vector in = Samples::noise(64, 1);
    stage.decimate(64, in.data(), out.data());
    Vector four = Samples::noise(64, 2);
    stage.decimate(4, four.data(), out.data());
    Vector next = Samples::noise(64, 3);
    stage.decimate(64, next.data(), out.data());
    Vector stream = Samples::slice(four, 0, 4);
    stream.insert(stream.end(), next.begin(), next.end());
    COMPARE_SAMPLES(Samples::slice(out, 0, 32), Samples::slice(Samples::convolve(h, stream, 34, 0), 2, 32),
                    kRounding);
}

QTEST_APPLESS_MAIN(tst_Stages)
#include "tst_Stages.moc"
