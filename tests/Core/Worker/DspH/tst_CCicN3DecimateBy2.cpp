#include "Core/Worker/DspH/CCicN3DecimateBy2.h"

#include "StageRuns.h"

#include <QtTest>
#include <limits>

using namespace StageRuns;

namespace
{

const std::vector<double> kCic{0.125, 0.375, 0.375, 0.125};

} // namespace

class tst_CCicN3DecimateBy2 : public QObject
{
    Q_OBJECT

private slots:
    void cicEqualsDirectConvolution();
    void cicPassesDcWithGainOfExactlyOne();
    void cicImpulseAtEvenPositionGivesThreeEighthsThenOneEighth();
    void cicImpulseAtOddPositionGivesOneEighthThenThreeEighths();
    void cicDropsOneSampleOfBlockOfOne();
    void cicTakesNothingOfBlockOfNoneOrFewer_data();
    void cicTakesNothingOfBlockOfNoneOrFewer();
    void cicDropsLastSampleOfOddBlockWithoutTrace();
    void cicIsAlikeHoweverStreamIsCut();
};

void tst_CCicN3DecimateBy2::cicEqualsDirectConvolution()
{
    const Vector input = Samples::noise(4'096);
    CCicN3DecimateBy2 stage;
    COMPARE_SAMPLES(runBlocks(stage, input, {4'096}, true), Samples::convolve(kCic, input, 2'048, 1),
                    kRounding);
}

void tst_CCicN3DecimateBy2::cicPassesDcWithGainOfExactlyOne()
{
    CCicN3DecimateBy2 stage;
    const Vector input(64, DoubleComplex{1.0, -0.5});
    const Vector output = runBlocks(stage, input, {64}, true);
    COMPARE_SAMPLES(Samples::slice(output, 1, 31), Vector(31, DoubleComplex{1.0, -0.5}), kExact);
}

void tst_CCicN3DecimateBy2::cicImpulseAtEvenPositionGivesThreeEighthsThenOneEighth()
{
    CCicN3DecimateBy2 stage;
    Vector input(8);
    input[2] = {1.0, 0.0};
    const Vector expected{{0.0, 0.0}, {0.375, 0.0}, {0.125, 0.0}, {0.0, 0.0}};
    COMPARE_SAMPLES(runBlocks(stage, input, {8}, true), expected, kExact);
}

void tst_CCicN3DecimateBy2::cicImpulseAtOddPositionGivesOneEighthThenThreeEighths()
{
    CCicN3DecimateBy2 stage;
    Vector input(8);
    input[3] = {0.0, 1.0};
    const Vector expected{{0.0, 0.0}, {0.0, 0.125}, {0.0, 0.375}, {0.0, 0.0}};
    COMPARE_SAMPLES(runBlocks(stage, input, {8}, true), expected, kExact);
}

void tst_CCicN3DecimateBy2::cicDropsOneSampleOfBlockOfOne()
{
    CCicN3DecimateBy2 stage;
    DoubleComplex sample{5.0, 5.0};
    QCOMPARE(stage.decimate(1, &sample, &sample), 0);
    COMPARE_SAMPLES(runBlocks(stage, Vector(4), {4}, true), Vector(2), kExact);
}

void tst_CCicN3DecimateBy2::cicTakesNothingOfBlockOfNoneOrFewer_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("outputs"); // half of it, rounded down
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("-1") << -1 << -1;
    QTest::newRow("-2") << -2 << -1;
    QTest::newRow("lowest") << std::numeric_limits<int>::min() << std::numeric_limits<int>::min() / 2;
}

void tst_CCicN3DecimateBy2::cicTakesNothingOfBlockOfNoneOrFewer()
{
    QFETCH(const int, count);
    CCicN3DecimateBy2 stage;
    DoubleComplex sample{5.0, 5.0};
    QTEST(stage.decimate(count, &sample, &sample), "outputs");
    QCOMPARE(sample.re, 5.0);
    COMPARE_SAMPLES(runBlocks(stage, Vector(4), {4}, true), Vector(2), kExact);
}

void tst_CCicN3DecimateBy2::cicDropsLastSampleOfOddBlockWithoutTrace()
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

void tst_CCicN3DecimateBy2::cicIsAlikeHoweverStreamIsCut()
{
    const Vector input = Samples::noise(1'024);
    CCicN3DecimateBy2 whole;
    CCicN3DecimateBy2 cut;
    COMPARE_SAMPLES(runBlocks(cut, input, {2, 32, 510, 478, 2}, true),
                    runBlocks(whole, input, {1'024}, false), kExact);
}

QTEST_APPLESS_MAIN(tst_CCicN3DecimateBy2)
#include "tst_CCicN3DecimateBy2.moc"
