#include "Core/Worker/DspH/DownConvertor.h"

#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/HalfBandTables.h"
#include "Samples.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <complex>
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

/// What the chain of `DownConvertor` makes of samples.
class tst_DownConvertor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void withoutSetupSamplesPassThrough();
    void rateBelowTwiceBandWidthNeedsNoStage();
    void unknownTierMakesNoStage_data();
    void unknownTierMakesNoStage();
    void newSetupStartsFromZeroedHistory();
    void chainEqualsItsStagesOneByOne();
    void chainOfHalfBandsIsAlikeHoweverStreamIsCut();
    void passBandIsFlatAndEqualsFiltersResponse_data();
    void passBandIsFlatAndEqualsFiltersResponse();
    void noAliasReachesBandOfInterest_data();
    void noAliasReachesBandOfInterest();

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

void tst_DownConvertor::withoutSetupSamplesPassThrough()
{
    DownConvertor chain;
    const Vector input = Samples::noise(100);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::rateBelowTwiceBandWidthNeedsNoStage()
{
    DownConvertor chain;
    QCOMPARE(chain.setup(1'024, 59'999.0F, 30'000.0F, 8'000.0F, kTier), 59'999.0F);
    const Vector input = Samples::noise(1'024);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::unknownTierMakesNoStage_data()
{
    QTest::addColumn<int>("tier");
    QTest::newRow("below 0") << -1;
    QTest::newRow("above 2") << 3;
}

void tst_DownConvertor::unknownTierMakesNoStage()
{
    QFETCH(int, tier);
    DownConvertor chain;
    chain.setup(1'024, 2'400'000.0F, 30'000.0F, 8'000.0F, kTier);
    QCOMPARE(chain.setup(1'024, 2'400'000.0F, 30'000.0F, 8'000.0F, tier), 2'400'000.0F);
    const Vector input = Samples::noise(1'024);
    COMPARE_SAMPLES(processed(chain, input), input, 0.0);
}

void tst_DownConvertor::newSetupStartsFromZeroedHistory()
{
    DownConvertor chain;
    const Vector input = Samples::noise(1'024);
    chain.setup(1'024, 96'000.0F, 24'000.0F, 8'000.0F, kTier);
    const Vector first = processed(chain, input);
    QVERIFY(!Samples::difference(processed(chain, input), first).isEmpty());
    chain.setup(1'024, 96'000.0F, 24'000.0F, 8'000.0F, kTier);
    COMPARE_SAMPLES(processed(chain, input), first, 0.0);
}

void tst_DownConvertor::chainEqualsItsStagesOneByOne()
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

void tst_DownConvertor::chainOfHalfBandsIsAlikeHoweverStreamIsCut()
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

void tst_DownConvertor::passBandIsFlatAndEqualsFiltersResponse_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<float>("band");
    QTest::addColumn<int>("stages");
    QTest::newRow("2.4 million") << 2'400'000.0 << 8'000.0F << 6;
    QTest::newRow("10 million") << 10'000'000.0 << 8'000.0F << 8;
    QTest::newRow("96 thousand, wide") << 96'000.0 << 20'000.0F << 1;
}

void tst_DownConvertor::passBandIsFlatAndEqualsFiltersResponse()
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

void tst_DownConvertor::noAliasReachesBandOfInterest_data()
{
    passBandIsFlatAndEqualsFiltersResponse_data();
}

void tst_DownConvertor::noAliasReachesBandOfInterest()
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
