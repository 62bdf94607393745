#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"

#include "StageRuns.h"

#include <QtTest>
#include <memory>

using namespace StageRuns;

class tst_CHalfBand11TapDecimateBy2 : public QObject
{
    Q_OBJECT

private slots:
    void elevenTapsEqualDirectConvolutionInFullBlocks();
    void elevenTapsPassDcWithinTheirTablesSum();
    void elevenTapsAtEighteenSamplesGiveNineOutputsFromHead();
    void elevenTapsContinueStreamWhileLastInputsOutlastOutputs();
    void elevenTapsTakeHistoryOfHalfFilledBlockFromOverrun();
    void elevenTapsComputeAsManyOutputsAsBlockLengthAsksFor();
    void elevenTapsStayInsideWorkArray_data();
    void elevenTapsStayInsideWorkArray();
    void elevenTapsCountHistoryBeforeShortBlockAsZeros();
};

void tst_CHalfBand11TapDecimateBy2::elevenTapsEqualDirectConvolutionInFullBlocks()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(4'096);
    CHalfBand11TapDecimateBy2 stage(1'024, h.data());
    COMPARE_SAMPLES(runBlocks(stage, input, {1'024, 1'024, 1'024, 1'024}, true),
                    Samples::convolve(h, input, 2'048, 0), kRounding);
}

void tst_CHalfBand11TapDecimateBy2::elevenTapsPassDcWithinTheirTablesSum()
{
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(256, h.data());
    const Vector output = runBlocks(stage, Vector(256, DoubleComplex{1.0, -1.0}), {256}, true);
    COMPARE_SAMPLES(Samples::slice(output, 6, 122), Vector(122, DoubleComplex{1.0, -1.0}), 1e-4);
}

void tst_CHalfBand11TapDecimateBy2::elevenTapsAtEighteenSamplesGiveNineOutputsFromHead()
{
    const std::vector<double> h = filterOf(11);
    const Vector input = Samples::noise(36);
    CHalfBand11TapDecimateBy2 stage(18, h.data());
    const Vector output = runBlocks(stage, input, {18, 18}, true);
    QCOMPARE(static_cast<int>(output.size()), 18);
    // In place the head overwrites in[8], which is part of the history of ten.
    COMPARE_SAMPLES(Samples::slice(output, 0, 9), Samples::convolve(h, input, 9, 0), kRounding);
    Vector stream = input;
    stream[8] = output[8];
    COMPARE_SAMPLES(Samples::slice(output, 9, 9), Samples::slice(Samples::convolve(h, stream, 18, 0), 9, 9),
                    kRounding);
}

void tst_CHalfBand11TapDecimateBy2::elevenTapsContinueStreamWhileLastInputsOutlastOutputs()
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

void tst_CHalfBand11TapDecimateBy2::elevenTapsTakeHistoryOfHalfFilledBlockFromOverrun()
{
    const std::vector<double> h = filterOf(11);
    CHalfBand11TapDecimateBy2 stage(64, h.data());
    const Vector first = Samples::noise(64, 1); // 32 samples of the block, 32 of what comes after it
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

void tst_CHalfBand11TapDecimateBy2::elevenTapsComputeAsManyOutputsAsBlockLengthAsksFor()
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

void tst_CHalfBand11TapDecimateBy2::elevenTapsStayInsideWorkArray_data()
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

void tst_CHalfBand11TapDecimateBy2::elevenTapsStayInsideWorkArray()
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

void tst_CHalfBand11TapDecimateBy2::elevenTapsCountHistoryBeforeShortBlockAsZeros()
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

QTEST_APPLESS_MAIN(tst_CHalfBand11TapDecimateBy2)
#include "tst_CHalfBand11TapDecimateBy2.moc"
