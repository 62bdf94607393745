#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <complex>
#include <limits>
#include <memory>

using Samples::Vector;

namespace
{

constexpr int kTier = 1;

Vector processed(DownConvertor& chain, Vector samples)
{
    const int count = chain.process(static_cast<int>(samples.size()), samples.data());
    samples.resize(static_cast<std::size_t>(count));
    return samples;
}

// What a chain of one stage makes of an impulse at an even position: the coefficients of even offsets.
std::vector<double> impulseResponse(DownConvertor& chain, int bufLen)
{
    Vector samples(static_cast<std::size_t>(bufLen));
    samples[200] = {1.0, 0.0};
    std::vector<double> response;
    for (const DoubleComplex& sample : processed(chain, samples)) {
        if (sample.re != 0.0) {
            response.push_back(sample.re);
        }
    }
    return response;
}

// Taps of the stage that a chain of one puts at `rate`; 3 for the CIC stage, whose four stand side by side.
int tapsOfTheStageAt(float rate, float band, int tier)
{
    DownConvertor chain;
    const float outRate = chain.setup(1'024, rate, rate / 2.0F, band, tier);
    if (outRate != rate / 2.0F) {
        return -1;
    }
    return 2 * static_cast<int>(impulseResponse(chain, 1'024).size()) - 1;
}

// The response of the chain's filters at a frequency of the input, from the tables: the product of the
// stages'.
long double response(double rate, int stages, double band, double frequency)
{
    std::complex<long double> product = 1.0L;
    for (int s = 0; s < stages; ++s) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(kTier, rate, band);
        const std::vector<double> h =
            filter->taps == 0
                ? std::vector<double>{0.125, 0.375, 0.375, 0.125}
                : std::vector<double>(filter->coefficients, filter->coefficients + filter->taps);
        std::complex<long double> sum = 0.0L;
        for (std::size_t k = 0; k < h.size(); ++k) {
            sum += static_cast<long double>(h[k]) *
                   std::polar(1.0L, -Samples::kTwoPi * static_cast<long double>(frequency / rate) *
                                        static_cast<long double>(k));
        }
        product *= sum;
        rate /= 2.0;
    }
    return std::abs(product);
}

// The mean magnitude of what a chain makes of a tone, once it has settled.
double gain(double rate, float band, double frequency, int outputs)
{
    DownConvertor chain;
    constexpr int kBlock = 65'536;
    const float outRate = chain.setup(kBlock, static_cast<float>(rate), 30'000.0F, band, kTier);
    const int settled = outputs / 4;
    const int needed = static_cast<int>(rate / static_cast<double>(outRate)) * outputs;
    Vector input = Samples::tone(frequency / rate, needed);
    input.resize(kBlock);
    const int count = chain.process(kBlock, input.data());
    double sum = 0.0;
    for (int i = settled; i < outputs && i < count; ++i) {
        const DoubleComplex& sample = input[static_cast<std::size_t>(i)];
        sum += std::hypot(sample.re, sample.im);
    }
    return sum / (outputs - settled);
}

} // namespace

class tst_DownConvertor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    // First, while the limit of the log lines still admits all.
    void aBandThatDoesNotFitLogsTheAliasErrorAndTakes51Taps_data();
    void aBandThatDoesNotFitLogsTheAliasErrorAndTakes51Taps();
    void setupLogsTheStageCountAndTheRates();
    void withoutASetupSamplesPassThrough();
    void aRateBelowTwiceTheBandWidthNeedsNoStage();
    void aRateOfTwiceTheBandWidthNeedsExactlyOneStage();
    void theOutputRateLiesBetweenTheBandWidthAndTwiceThat_data();
    void theOutputRateLiesBetweenTheBandWidthAndTwiceThat();
    void theWorkedCaseTakesItsSixStages();
    void everyRowOfATierIsAStage_data();
    void everyRowOfATierIsAStage();
    void thresholdsAreComparedInDoubleOnTheValuesOfFloats();
    void anUnknownTierMakesNoStage_data();
    void anUnknownTierMakesNoStage();
    void setupNeverPassesTwelveStages_data();
    void setupNeverPassesTwelveStages();
    void aNewSetupStartsFromAZeroedHistory();
    void theChainEqualsItsStagesOneByOne();
    void aChainOfHalfBandsIsTheSameHoweverTheStreamIsCut();
    void thePassBandIsFlatAndEqualsTheFiltersResponse_data();
    void thePassBandIsFlatAndEqualsTheFiltersResponse();
    void noAliasReachesTheBandOfInterest_data();
    void noAliasReachesTheBandOfInterest();

private:
    std::unique_ptr<LogCapture> m_log;
};

void tst_DownConvertor::initTestCase()
{
    m_log = std::make_unique<LogCapture>();
}

void tst_DownConvertor::cleanupTestCase()
{
    m_log.reset();
}

void tst_DownConvertor::withoutASetupSamplesPassThrough()
{
    DownConvertor chain;
    const Vector input = Samples::noise(100);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::aRateBelowTwiceTheBandWidthNeedsNoStage()
{
    DownConvertor chain;
    QCOMPARE(chain.setup(1'024, 59'999.0F, 30'000.0F, 8'000.0F, kTier), 59'999.0F);
    const Vector input = Samples::noise(1'024);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::aRateOfTwiceTheBandWidthNeedsExactlyOneStage()
{
    DownConvertor chain;
    QCOMPARE(chain.setup(1'024, 60'000.0F, 30'000.0F, 8'000.0F, kTier), 30'000.0F);
    QCOMPARE(chain.process(1'024, Samples::noise(1'024).data()), 512);
}

void tst_DownConvertor::theOutputRateLiesBetweenTheBandWidthAndTwiceThat_data()
{
    QTest::addColumn<float>("rate");
    QTest::addColumn<float>("bandWidth");
    QTest::addColumn<float>("outRate");
    QTest::addColumn<int>("stages");
    QTest::newRow("2.4 million") << 2'400'000.0F << 30'000.0F << 37'500.0F << 6;
    QTest::newRow("10 million") << 10'000'000.0F << 30'000.0F << 39'062.5F << 8;
    QTest::newRow("2.048 million, wide") << 2'048'000.0F << 256'000.0F << 256'000.0F << 3;
    QTest::newRow("48 thousand, narrow") << 48'000.0F << 1'000.0F << 1'500.0F << 5;
    QTest::newRow("12 stages") << 8'191.0F << 1.0F << 1.999755859375F << 12;
}

void tst_DownConvertor::theOutputRateLiesBetweenTheBandWidthAndTwiceThat()
{
    QFETCH(float, rate);
    QFETCH(float, bandWidth);
    QFETCH(int, stages);
    DownConvertor chain;
    const float outRate = chain.setup(65'536, rate, bandWidth, 8'000.0F, kTier);
    QTEST(outRate, "outRate");
    QVERIFY(outRate >= bandWidth && outRate < 2.0F * bandWidth);
    QCOMPARE(chain.process(65'536, Samples::noise(65'536).data()), 65'536 >> stages);
}

void tst_DownConvertor::theWorkedCaseTakesItsSixStages()
{
    const std::vector<std::pair<double, int>> stages{{2'400'000.0, 0}, {1'200'000.0, 0}, {600'000.0, 0},
                                                     {300'000.0, 7},   {150'000.0, 11},  {75'000.0, 11}};
    for (const auto& [rate, taps] : stages) {
        QCOMPARE(HalfBandTables::choose(kTier, rate, 8'000.0)->taps, taps);
    }
    DownConvertor chain;
    QCOMPARE(chain.setup(32'768, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier), 37'500.0F);
    QCOMPARE(chain.process(32'768, Samples::noise(32'768).data()), 512);
}

void tst_DownConvertor::everyRowOfATierIsAStage_data()
{
    QTest::addColumn<int>("tier");
    QTest::addColumn<double>("fraction"); // of the rate, just within the row
    QTest::addColumn<int>("taps");
    const std::vector<std::vector<std::pair<double, int>>> tiers{{{0.049, 3},
                                                                  {0.119, 7},
                                                                  {0.199, 11},
                                                                  {0.279, 15},
                                                                  {0.299, 19},
                                                                  {0.339, 23},
                                                                  {0.359, 27},
                                                                  {0.379, 31},
                                                                  {0.389, 47},
                                                                  {0.399, 51},
                                                                  {0.404, 55}},
                                                                 {{0.022, 3},
                                                                  {0.049, 7},
                                                                  {0.129, 11},
                                                                  {0.199, 15},
                                                                  {0.249, 19},
                                                                  {0.289, 23},
                                                                  {0.319, 27},
                                                                  {0.339, 31},
                                                                  {0.354, 35},
                                                                  {0.369, 39},
                                                                  {0.379, 43},
                                                                  {0.389, 47},
                                                                  {0.399, 51},
                                                                  {0.404, 55}},
                                                                 {{0.0014, 3},
                                                                  {0.024, 11},
                                                                  {0.048, 15},
                                                                  {0.071, 19},
                                                                  {0.09, 23},
                                                                  {0.107, 27},
                                                                  {0.121, 31},
                                                                  {0.133, 35},
                                                                  {0.143, 39},
                                                                  {0.152, 43},
                                                                  {0.159, 47},
                                                                  {0.166, 51}}};
    for (std::size_t tier = 0; tier < tiers.size(); ++tier) {
        for (const auto& [fraction, taps] : tiers[tier]) {
            QTest::addRow("tier %d, %g", static_cast<int>(tier), fraction)
                << static_cast<int>(tier) << fraction << taps;
        }
    }
}

void tst_DownConvertor::everyRowOfATierIsAStage()
{
    QFETCH(int, tier);
    QFETCH(double, fraction);
    QFETCH(int, taps);
    constexpr float kRate = 1'000'000.0F;
    const auto band = static_cast<float>(fraction * static_cast<double>(kRate));
    QCOMPARE(tapsOfTheStageAt(kRate, band, tier), taps);

    DownConvertor chain;
    chain.setup(1'024, kRate, kRate / 2.0F, band, tier);
    const std::vector<double> response = impulseResponse(chain, 1'024);
    const HalfBandTables::Filter* filter =
        HalfBandTables::choose(tier, static_cast<double>(kRate), static_cast<double>(band));
    for (int i = 0; i < filter->taps; i += 2) {
        QCOMPARE(response[static_cast<std::size_t>(i / 2)], filter->coefficients[i]);
    }
}

void tst_DownConvertor::thresholdsAreComparedInDoubleOnTheValuesOfFloats()
{
    // 1 - 0.8 lies a hair below 0.2, and 1 - 0.7 a hair above 0.3.
    QCOMPARE(tapsOfTheStageAt(40'000.0F, 8'000.0F, 1), 19);
    QCOMPARE(tapsOfTheStageAt(std::nextafter(40'000.0F, 50'000.0F), 8'000.0F, 1), 15);
    QCOMPARE(tapsOfTheStageAt(40'000.0F, 8'000.0F, 0), 15);
    QCOMPARE(tapsOfTheStageAt(30'000.0F, 9'000.0F, 0), 19);
    QCOMPARE(tapsOfTheStageAt(std::nextafter(30'000.0F, 0.0F), 9'000.0F, 0), 23);
    QCOMPARE(tapsOfTheStageAt(32'000.0F, 8'000.0F, 1), 19);
    QCOMPARE(tapsOfTheStageAt(std::nextafter(32'000.0F, 0.0F), 8'000.0F, 1), 23);
}

void tst_DownConvertor::aBandThatDoesNotFitLogsTheAliasErrorAndTakes51Taps_data()
{
    QTest::addColumn<int>("tier");
    QTest::addColumn<float>("band");
    QTest::newRow("tier 0") << 0 << 406'000.0F;
    QTest::newRow("tier 1") << 1 << 406'000.0F;
    QTest::newRow("tier 2") << 2 << 168'000.0F;
    QTest::newRow("a band wider than the rate") << 1 << 2'000'000.0F;
}

void tst_DownConvertor::aBandThatDoesNotFitLogsTheAliasErrorAndTakes51Taps()
{
    QFETCH(int, tier);
    QFETCH(float, band);
    m_log->clear();
    DownConvertor chain;
    QCOMPARE(chain.setup(1'024, 1'000'000.0F, 500'000.0F, band, tier), 500'000.0F);
    QCOMPARE(m_log->texts().constFirst(),
             QStringLiteral("DownConvertor alias error 1e+06 %1").arg(static_cast<double>(band)));
    QCOMPARE(m_log->records().constFirst().type, QtDebugMsg);
    const std::vector<double> response = impulseResponse(chain, 1'024);
    QCOMPARE(static_cast<int>(response.size()), 26);
    QCOMPARE(response[0], 0.0001108893214331032);
}

void tst_DownConvertor::anUnknownTierMakesNoStage_data()
{
    QTest::addColumn<int>("tier");
    QTest::newRow("below 0") << -1;
    QTest::newRow("above 2") << 3;
}

void tst_DownConvertor::anUnknownTierMakesNoStage()
{
    QFETCH(int, tier);
    DownConvertor chain;
    chain.setup(1'024, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier);
    QCOMPARE(chain.setup(1'024, 2'400'000.0F, 30'000.0F, 8'000.0F, tier), 2'400'000.0F);
    const Vector input = Samples::noise(1'024);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::setupNeverPassesTwelveStages_data()
{
    QTest::addColumn<float>("bandWidth");
    QTest::newRow("8,192nd part") << 1.0F;
    QTest::newRow("tiny") << 1e-30F;
    QTest::newRow("zero") << 0.0F;
    QTest::newRow("negative") << -5.0F;
    QTest::newRow("minus infinite") << -std::numeric_limits<float>::infinity();
}

void tst_DownConvertor::setupNeverPassesTwelveStages()
{
    QFETCH(float, bandWidth);
    DownConvertor chain;
    QCOMPARE(chain.setup(8'192, 8'192.0F, bandWidth, 0.0F, kTier), 2.0F);
    QCOMPARE(chain.process(8'192, Samples::noise(8'192).data()), 2);
}

void tst_DownConvertor::setupLogsTheStageCountAndTheRates()
{
    m_log->clear();
    DownConvertor chain;
    chain.setup(32'768, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier);
    QCOMPARE(m_log->texts(), QStringList{QStringLiteral("Decimator 6 2.4e+06 37500 8000")});
    QCOMPARE(m_log->records().constFirst().type, QtDebugMsg);
}

void tst_DownConvertor::aNewSetupStartsFromAZeroedHistory()
{
    DownConvertor chain;
    const Vector input = Samples::noise(1'024);
    chain.setup(1'024, 96'000.0F, 24'000.0F, 8'000.0F, kTier);
    const Vector first = processed(chain, input);
    QVERIFY(!Samples::difference(processed(chain, input), first).isEmpty());
    chain.setup(1'024, 96'000.0F, 24'000.0F, 8'000.0F, kTier);
    COMPARE_SAMPLES(processed(chain, input), first, 0.0);
}

void tst_DownConvertor::theChainEqualsItsStagesOneByOne()
{
    constexpr int kBlock = 32'768;
    DownConvertor chain;
    chain.setup(kBlock, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier);
    std::vector<std::unique_ptr<Dec2>> stages;
    for (int i = 0; i < 3; ++i) {
        stages.push_back(std::make_unique<CCicN3DecimateBy2>());
    }
    const HalfBandTables::Filter* seven = HalfBandTables::choose(kTier, 300'000.0, 8'000.0);
    const HalfBandTables::Filter* eleven = HalfBandTables::choose(kTier, 75'000.0, 8'000.0);
    stages.push_back(std::make_unique<CHalfBandDecimateBy2>(kBlock, 7, seven->coefficients));
    stages.push_back(std::make_unique<CHalfBand11TapDecimateBy2>(kBlock, eleven->coefficients));
    stages.push_back(std::make_unique<CHalfBand11TapDecimateBy2>(kBlock, eleven->coefficients));
    for (std::uint32_t block = 1; block <= 3; ++block) {
        Vector work = Samples::noise(kBlock, block);
        Vector actual = work;
        int count = kBlock;
        for (const std::unique_ptr<Dec2>& stage : stages) {
            count = stage->decimate(count, work.data(), work.data());
        }
        QCOMPARE(chain.process(kBlock, actual.data()), count);
        COMPARE_SAMPLES(Samples::slice(actual, 0, count), Samples::slice(work, 0, count), 0.0);
    }
}

void tst_DownConvertor::aChainOfHalfBandsIsTheSameHoweverTheStreamIsCut()
{
    // 15 and 51 taps: no stage whose history depends on the block's length.
    const auto make = [](DownConvertor& chain) { chain.setup(8'192, 80'000.0F, 20'000.0F, 15'800.0F, 1); };
    const Vector input = Samples::noise(8'192);
    DownConvertor whole;
    make(whole);
    const Vector expected = processed(whole, input);
    QCOMPARE(static_cast<int>(expected.size()), 2'048);
    DownConvertor cut;
    make(cut);
    Vector actual;
    int first = 0;
    for (const int length : {4'096, 1'024, 2'048, 1'024}) {
        const Vector part = processed(cut, Samples::slice(input, first, length));
        actual.insert(actual.end(), part.begin(), part.end());
        first += length;
    }
    COMPARE_SAMPLES(actual, expected, 0.0);
}

void tst_DownConvertor::thePassBandIsFlatAndEqualsTheFiltersResponse_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<float>("band");
    QTest::addColumn<int>("stages");
    QTest::newRow("2.4 million") << 2'400'000.0 << 8'000.0F << 6;
    QTest::newRow("10 million") << 10'000'000.0 << 8'000.0F << 8;
    QTest::newRow("96 thousand, wide") << 96'000.0 << 20'000.0F << 1;
}

void tst_DownConvertor::thePassBandIsFlatAndEqualsTheFiltersResponse()
{
    QFETCH(double, rate);
    QFETCH(float, band);
    QFETCH(int, stages);
    const double half = static_cast<double>(band) / 2.0;
    for (int step = -4; step <= 4; ++step) {
        const double frequency = half * step / 4.0;
        const double measured = gain(rate, band, frequency, 200);
        const auto expected =
            static_cast<double>(response(rate, stages, static_cast<double>(band), frequency));
        QVERIFY2(std::abs(measured - expected) < 1e-9,
                 qPrintable(QStringLiteral("%1 Hz: %2, %3").arg(frequency).arg(measured).arg(expected)));
        QVERIFY2(std::abs(measured - 1.0) < 2e-3, qPrintable(QString::number(measured)));
    }
}

void tst_DownConvertor::noAliasReachesTheBandOfInterest_data()
{
    thePassBandIsFlatAndEqualsTheFiltersResponse_data();
}

void tst_DownConvertor::noAliasReachesTheBandOfInterest()
{
    QFETCH(double, rate);
    QFETCH(float, band);
    QFETCH(int, stages);
    const int images = 1 << stages;
    const double outRate = rate / images;
    double worst = 0.0;
    for (int image = 1; image < images; ++image) {
        for (const double offset : {-0.5, 0.0, 0.5}) {
            const double frequency = image * outRate + offset * static_cast<double>(band);
            const double measured = gain(rate, band, frequency, 100);
            worst = std::max(worst, measured);
            const auto expected =
                static_cast<double>(response(rate, stages, static_cast<double>(band), frequency));
            QVERIFY2(std::abs(measured - expected) < 1e-9, qPrintable(QString::number(frequency)));
        }
    }
    // 80 dB
    QVERIFY2(worst < 1e-4, qPrintable(QString::number(worst)));
}

QTEST_APPLESS_MAIN(tst_DownConvertor)
#include "tst_DownConvertor.moc"
