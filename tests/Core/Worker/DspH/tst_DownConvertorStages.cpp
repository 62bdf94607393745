#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <limits>
#include <memory>

using Samples::Vector;

namespace
{

constexpr int kTier = 1;

// What a chain of one stage makes of an impulse at an even position: the coefficients of even offsets.
std::vector<double> impulseResponse(DownConvertor& chain, int bufLen)
{
    Vector samples(static_cast<std::size_t>(bufLen));
    samples[200] = {1.0, 0.0};
    std::vector<double> response;
    samples.resize(static_cast<std::size_t>(chain.process(bufLen, samples.data())));
    for (const DoubleComplex& sample : samples) {
        if (sample.re != 0.0) {
            response.push_back(sample.re);
        }
    }
    return response;
}

// Taps of the stage that a chain of one puts at `rate`; 3 for the CIC stage, whose four are adjacent.
int tapsOfTheStageAt(float rate, float band, int tier)
{
    DownConvertor chain;
    const float outRate = chain.setup(1'024, rate, rate / 2.0F, band, tier);
    if (outRate != rate / 2.0F) {
        return -1;
    }
    return 2 * static_cast<int>(impulseResponse(chain, 1'024).size()) - 1;
}

} // namespace

/// Which stages `DownConvertor` chooses for a rate and a band.
class tst_DownConvertorStages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    // First, while the limit of the log lines still admits all.
    void bandThatDoesNotFitLogsAliasErrorAndTakes51Taps_data();
    void bandThatDoesNotFitLogsAliasErrorAndTakes51Taps();
    void setupLogsStageCountAndRates();
    void rateOfTwiceBandWidthNeedsExactlyOneStage();
    void outputRateLiesBetweenBandWidthAndTwiceThat_data();
    void outputRateLiesBetweenBandWidthAndTwiceThat();
    void workedCaseTakesItsSixStages();
    void everyRowOfTierIsStage_data();
    void everyRowOfTierIsStage();
    void thresholdsAreComparedInDoubleOnValuesOfFloats();
    void setupNeverPassesTwelveStages_data();
    void setupNeverPassesTwelveStages();

private:
    std::unique_ptr<LogCapture> m_log;
};

void tst_DownConvertorStages::initTestCase()
{
    m_log = std::make_unique<LogCapture>();
}

void tst_DownConvertorStages::cleanupTestCase()
{
    m_log.reset();
}

void tst_DownConvertorStages::bandThatDoesNotFitLogsAliasErrorAndTakes51Taps_data()
{
    QTest::addColumn<int>("tier");
    QTest::addColumn<float>("band");
    QTest::newRow("tier 0") << 0 << 406'000.0F;
    QTest::newRow("tier 1") << 1 << 406'000.0F;
    QTest::newRow("tier 2") << 2 << 168'000.0F;
    QTest::newRow("a band wider than the rate") << 1 << 2'000'000.0F;
}

void tst_DownConvertorStages::bandThatDoesNotFitLogsAliasErrorAndTakes51Taps()
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

void tst_DownConvertorStages::setupLogsStageCountAndRates()
{
    m_log->clear();
    DownConvertor chain;
    chain.setup(32'768, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier);
    QCOMPARE(m_log->texts(), QStringList{QStringLiteral("Decimator 6 2.4e+06 37500 8000")});
    QCOMPARE(m_log->records().constFirst().type, QtDebugMsg);
}

void tst_DownConvertorStages::rateOfTwiceBandWidthNeedsExactlyOneStage()
{
    DownConvertor chain;
    QCOMPARE(chain.setup(1'024, 60'000.0F, 30'000.0F, 8'000.0F, kTier), 30'000.0F);
    QCOMPARE(chain.process(1'024, Samples::noise(1'024).data()), 512);
}

void tst_DownConvertorStages::outputRateLiesBetweenBandWidthAndTwiceThat_data()
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

void tst_DownConvertorStages::outputRateLiesBetweenBandWidthAndTwiceThat()
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

void tst_DownConvertorStages::workedCaseTakesItsSixStages()
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

void tst_DownConvertorStages::everyRowOfTierIsStage_data()
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

void tst_DownConvertorStages::everyRowOfTierIsStage()
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

void tst_DownConvertorStages::thresholdsAreComparedInDoubleOnValuesOfFloats()
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

void tst_DownConvertorStages::setupNeverPassesTwelveStages_data()
{
    QTest::addColumn<float>("bandWidth");
    QTest::newRow("8,192nd part") << 1.0F;
    QTest::newRow("tiny") << 1e-30F;
    QTest::newRow("zero") << 0.0F;
    QTest::newRow("negative") << -5.0F;
    QTest::newRow("minus infinite") << -std::numeric_limits<float>::infinity();
}

void tst_DownConvertorStages::setupNeverPassesTwelveStages()
{
    QFETCH(float, bandWidth);
    DownConvertor chain;
    QCOMPARE(chain.setup(8'192, 8'192.0F, bandWidth, 0.0F, kTier), 2.0F);
    QCOMPARE(chain.process(8'192, Samples::noise(8'192).data()), 2);
}

QTEST_APPLESS_MAIN(tst_DownConvertorStages)
#include "tst_DownConvertorStages.moc"
