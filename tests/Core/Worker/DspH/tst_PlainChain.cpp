#include "Core/Signal/Kernels/EachTarget.h"
#include "Core/Worker/DspH/CCicN3DecimateBy2.h"
#include "Core/Worker/DspH/CHalfBand11TapDecimateBy2.h"
#include "Core/Worker/DspH/CHalfBandDecimateBy2.h"
#include "Core/Worker/DspH/DownConvertor.h"
#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"
#include "PlainChain.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <cstring>
#include <memory>

using Samples::Vector;

namespace
{

// The first index where the two differ in a bit, or -1.
int differing(const Vector& actual, const Vector& expected, int count)
{
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (std::memcmp(&actual[at], &expected[at], sizeof(DoubleComplex)) != 0) {
            return i;
        }
    }
    return -1;
}

std::unique_ptr<Dec2> makeStage(int bufLen, const HalfBandTables::Filter& filter)
{
    switch (filter.taps) {
    case 0:
        return std::make_unique<CCicN3DecimateBy2>();
    case 11:
        return std::make_unique<CHalfBand11TapDecimateBy2>(bufLen, filter.coefficients);
    default:
        return std::make_unique<CHalfBandDecimateBy2>(bufLen, filter.taps, filter.coefficients);
    }
}

// Every filter of a tier, by a band that just asks for it.
std::vector<HalfBandTables::Filter> filtersOf(int tier)
{
    std::vector<HalfBandTables::Filter> filters;
    for (double band = 0.0005; band < 0.41; band += 0.0005) {
        const HalfBandTables::Filter* filter = HalfBandTables::choose(tier, 1.0, band);
        if (filter != nullptr && (filters.empty() || filters.back().taps != filter->taps)) {
            filters.push_back(*filter);
        }
    }
    return filters;
}

// Lengths of blocks, one after another: of one vector, of several, with every rest, and across chunks.
const std::vector<int> kCuts{1,   2,   3,   0,   7,     8,     32,    33, 64,    5, 127,
                             256, 511, 512, 513, 1'023, 1'024, 1'025, 18, 2'048, 1, 1'111};
constexpr int kBufLen = 2'048;

} // namespace

/// The classes of the signal path give the bits of the plain loops, with every instruction set.
class tst_PlainChain : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_log = std::make_unique<LogCapture>(); }
    void cleanupTestCase() { m_log.reset(); }

    void stageGivesPlainBitsHoweverStreamIsCut_data();
    void stageGivesPlainBitsHoweverStreamIsCut();
    void tableMixerGivesPlainBitsHoweverStreamIsCut_data();
    void tableMixerGivesPlainBitsHoweverStreamIsCut();
    void rotatingMixerGivesPlainBitsHoweverStreamIsCut();
    void chainGivesPlainBitsThroughRetunes_data();
    void chainGivesPlainBitsThroughRetunes();
    void chainWithoutMixerGivesPlainBits_data();
    void chainWithoutMixerGivesPlainBits();
    void shortBlockMeetsInArrayWhatPlainLoopsLeftThere_data();
    void shortBlockMeetsInArrayWhatPlainLoopsLeftThere();

private:
    std::unique_ptr<LogCapture> m_log;
};

void tst_PlainChain::stageGivesPlainBitsHoweverStreamIsCut_data()
{
    QTest::addColumn<int>("tier");
    QTest::addColumn<bool>("inPlace");
    for (int tier = 0; tier < HalfBandTables::kTiers; ++tier) {
        QTest::addRow("tier %d, in place", tier) << tier << true;
        QTest::addRow("tier %d, into another array", tier) << tier << false;
    }
}

void tst_PlainChain::stageGivesPlainBitsHoweverStreamIsCut()
{
    QFETCH(int, tier);
    QFETCH(bool, inPlace);
    const std::vector<HalfBandTables::Filter> filters = filtersOf(tier);
    QVERIFY(filters.size() > 10);
    withEachTarget([&] {
        for (const HalfBandTables::Filter& filter : filters) {
            const std::unique_ptr<Plain::Stage> plain = Plain::makeStage(kBufLen, filter);
            const std::unique_ptr<Dec2> stage = makeStage(kBufLen, filter);
            for (std::size_t cut = 0; cut < kCuts.size(); ++cut) {
                Vector expectedIn = Samples::noise(kBufLen, static_cast<std::uint32_t>(cut) + 1);
                Vector actualIn = expectedIn;
                Vector expectedOut(kBufLen);
                Vector actualOut(kBufLen);
                Vector& expected = inPlace ? expectedIn : expectedOut;
                Vector& actual = inPlace ? actualIn : actualOut;
                const int outputs = plain->decimate(kCuts[cut], expectedIn.data(), expected.data());
                QCOMPARE(stage->decimate(kCuts[cut], actualIn.data(), actual.data()), outputs);
                // The whole array: also what an overrun leaves in it, and what nobody may touch.
                const int at = differing(actual, expected, kBufLen);
                QVERIFY2(at < 0, qPrintable(QStringLiteral("%1 taps, block %2 of %3 samples, place %4")
                                                .arg(filter.taps)
                                                .arg(cut)
                                                .arg(kCuts[cut])
                                                .arg(at)));
            }
        }
    });
}

void tst_PlainChain::tableMixerGivesPlainBitsHoweverStreamIsCut_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("512 entries") << 512;
    QTest::newRow("1,024 entries") << 1'024;
}

void tst_PlainChain::tableMixerGivesPlainBitsHoweverStreamIsCut()
{
    QFETCH(int, length);
    constexpr double kRate = 2'400'000.0;
    withEachTarget([&] {
        Plain::TableOscillator plain(length);
        auto mixer =
            length == 512 ? std::make_unique<TableOscillator>() : std::make_unique<TableOscillator>(kRate);
        mixer->setSampleRate(kRate);
        double frequency = -987'654.0;
        for (std::size_t cut = 0; cut < kCuts.size(); ++cut) {
            if (cut % 3 == 0) {
                frequency = -frequency * 0.7;
                plain.setFrequency(frequency, kRate);
                mixer->setFrequency(frequency);
                QCOMPARE(mixer->residual(), plain.residual);
            }
            Vector expected = Samples::noise(kBufLen, static_cast<std::uint32_t>(cut) + 1);
            Vector actual = expected;
            plain.process(expected.data(), kCuts[cut]);
            mixer->process(actual.data(), kCuts[cut]);
            QCOMPARE(differing(actual, expected, kBufLen), -1);
        }
    });
}

void tst_PlainChain::rotatingMixerGivesPlainBitsHoweverStreamIsCut()
{
    constexpr double kRate = 37'500.0;
    withEachTarget([&] {
        Plain::RotatingOscillator plain;
        RotatingOscillator mixer;
        double frequency = -2'222.2;
        for (std::size_t cut = 0; cut < kCuts.size(); ++cut) {
            if (cut % 3 == 0) {
                frequency = -frequency * 0.7;
                plain.setFrequency(frequency, kRate);
                mixer.setFrequencyAndRate(frequency, kRate);
            }
            Vector expected = Samples::noise(kBufLen, static_cast<std::uint32_t>(cut) + 1);
            Vector actual = expected;
            plain.process(expected.data(), kCuts[cut]);
            mixer.process(actual.data(), kCuts[cut]);
            QCOMPARE(differing(actual, expected, kBufLen), -1);
        }
    });
}

void tst_PlainChain::chainGivesPlainBitsThroughRetunes_data()
{
    QTest::addColumn<int>("bufLen");
    QTest::addColumn<double>("rate");
    QTest::addColumn<double>("bandWidth");
    QTest::addColumn<double>("band");
    QTest::addColumn<int>("tier");
    struct Setup
    {
        const char* name;
        int bufLen;
        double rate;
        double bandWidth;
        double band;
    };
    const std::vector<Setup> setups{
        {"48 thousand", 1'024, 48'000.0, 5'000.0, 2'000.0},
        {"no stage", 1'024, 48'000.0, 30'000.0, 8'000.0},
        {"twelve stages", 1'024, 8'192.0, 1.0, 0.1},
        {"twelve stages, a wide band", 1'024, 8'192.0, 1.0, 1.0},
        {"an odd length", 1'023, 8'192.0, 1.0, 0.5},
        {"a length of no whole chunks", 1'000, 96'000.0, 1'000.0, 100.0},
        {"2.4 million", 32'768, 2'400'000.0, 30'000.0, 8'000.0},
        {"2.4 million, wide", 32'768, 2'400'000.0, 250'000.0, 200'000.0},
        {"2.4 million, alias error", 32'768, 2'400'000.0, 100'000.0, 150'000.0},
        {"2.4 million, a narrow band", 32'768, 2'400'000.0, 30'000.0, 300.0},
        {"10 million", 65'536, 10'000'000.0, 30'000.0, 8'000.0},
        {"38.4 million", 65'536, 38'400'000.0, 30'000.0, 8'000.0},
        {"38.4 million, narrow", 65'536, 38'400'000.0, 5'000.0, 20.0},
    };
    for (const Setup& setup : setups) {
        for (int tier = 0; tier < HalfBandTables::kTiers; ++tier) {
            QTest::addRow("%s, tier %d", setup.name, tier)
                << setup.bufLen << setup.rate << setup.bandWidth << setup.band << tier;
        }
    }
}

namespace
{

struct ChainRow
{
    template <class Chain>
    float setup(Chain& chain) const
    {
        return chain.setup(bufLen, static_cast<float>(rate), static_cast<float>(bandWidth),
                           static_cast<float>(band), tier);
    }

    int bufLen;
    double rate;      // hertz
    double bandWidth; // hertz
    double band;      // hertz
    int tier;
};

ChainRow fetchedRow()
{
    QFETCH(int, bufLen);
    QFETCH(double, rate);
    QFETCH(double, bandWidth);
    QFETCH(double, band);
    QFETCH(int, tier);
    return {bufLen, rate, bandWidth, band, tier};
}

} // namespace

void tst_PlainChain::chainGivesPlainBitsThroughRetunes()
{
    const ChainRow row = fetchedRow();
    withEachTarget([&] {
        Plain::TableOscillator plainMixer;
        Plain::Chain plain;
        TableOscillator mixer;
        DownConvertor chain;
        mixer.setSampleRate(row.rate);
        // Once more, as when the band is changed in a session: the mixer goes on, the stages start again.
        for (int setup = 0; setup < 2; ++setup) {
            const float outRate = row.setup(plain);
            QCOMPARE(row.setup(chain), outRate);
            for (std::uint32_t block = 0; block < 4; ++block) {
                if (block % 2 == 0) {
                    const double frequency = row.rate * (0.123 - 0.2 * block);
                    plainMixer.setFrequency(frequency, row.rate);
                    mixer.setFrequency(frequency);
                }
                Vector expected = Samples::noise(row.bufLen, block + 1);
                Vector actual = expected;
                plainMixer.process(expected.data(), row.bufLen);
                const int count = plain.process(row.bufLen, expected.data());
                QCOMPARE(chain.process(mixer, row.bufLen, actual.data()), count);
                QCOMPARE(differing(actual, expected, count), -1);
            }
        }
    });
}

void tst_PlainChain::chainWithoutMixerGivesPlainBits_data()
{
    chainGivesPlainBitsThroughRetunes_data();
}

void tst_PlainChain::chainWithoutMixerGivesPlainBits()
{
    const ChainRow row = fetchedRow();
    withEachTarget([&] {
        Plain::Chain plain;
        DownConvertor chain;
        row.setup(plain);
        row.setup(chain);
        for (std::uint32_t block = 0; block < 3; ++block) {
            Vector expected = Samples::noise(row.bufLen, block + 1);
            Vector actual = expected;
            const int count = plain.process(row.bufLen, expected.data());
            QCOMPARE(chain.process(row.bufLen, actual.data()), count);
            QCOMPARE(differing(actual, expected, count), -1);
        }
    });
}

void tst_PlainChain::shortBlockMeetsInArrayWhatPlainLoopsLeftThere_data()
{
    QTest::addColumn<int>("tier");
    for (int tier = 0; tier < HalfBandTables::kTiers; ++tier) {
        QTest::addRow("tier %d", tier) << tier;
    }
}

void tst_PlainChain::shortBlockMeetsInArrayWhatPlainLoopsLeftThere()
{
    QFETCH(int, tier);
    withEachTarget([&] {
        Plain::TableOscillator plainMixer;
        Plain::Chain plain;
        TableOscillator mixer;
        DownConvertor chain;
        plainMixer.setFrequency(1'000.0, 96'000.0);
        mixer.setSampleRate(96'000.0);
        mixer.setFrequency(1'000.0);
        plain.setup(kBufLen, 96'000.0F, 6'000.0F, 2'000.0F, tier);
        chain.setup(kBufLen, 96'000.0F, 6'000.0F, 2'000.0F, tier);
        Vector expected = Samples::noise(kBufLen, 9);
        Vector actual = expected;
        for (const int count : {600, 1'024, 1'025, 333, 2'047, 64}) {
            // Only the block is new; what comes after it in the array is left from the previous one.
            const Vector block = Samples::noise(count, static_cast<std::uint32_t>(count));
            std::copy(block.begin(), block.end(), expected.begin());
            std::copy(block.begin(), block.end(), actual.begin());
            plainMixer.process(expected.data(), count);
            const int left = plain.process(count, expected.data());
            QCOMPARE(chain.process(mixer, count, actual.data()), left);
            QCOMPARE(differing(actual, expected, kBufLen), -1);
        }
    });
}

QTEST_APPLESS_MAIN(tst_PlainChain)
#include "tst_PlainChain.moc"
