#include "RadioDevice/AirSpyFamily/AirSpyConversion.h"

#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <cstring>
#include <limits>
#include <vector>

using namespace AirSpyConversion;

class tst_AirSpyConversion : public QObject
{
    Q_OBJECT

private slots:
    void samplesAreWidenedBitForBit_data();
    void samplesAreWidenedBitForBit();
    void conversionTakesNothingFromHeap();
    void hertzAreTruncatedToWhatLibraryTakes_data();
    void hertzAreTruncatedToWhatLibraryTakes();
    void ratesAreDecimalTextsAndLogged();
    void ratesBeyondMostAreNotRead();
    void rateOfZeroIsTextLikeOthers();
    void descriptionHoldsVersionAndSerial_data();
    void descriptionHoldsVersionAndSerial();
    void versionWithoutEndIsCutAtItsSize();
    void versionThatIsNotUtf8IsStillText();
};

void tst_AirSpyConversion::samplesAreWidenedBitForBit_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("swapped");
    for (const int count : {0, 1, 7, 32, 1023, 4096}) {
        QTest::addRow("%d samples", count) << count << false;
        QTest::addRow("%d samples, swapped", count) << count << true;
    }
}

void tst_AirSpyConversion::samplesAreWidenedBitForBit()
{
    QFETCH(int, count);
    QFETCH(bool, swapped);
    // What floats there are: full scale and beyond, none, the smallest, and what is no number.
    const std::vector<float> kinds{1.0F,
                                   -1.0F,
                                   0.0F,
                                   -0.0F,
                                   0.1F,
                                   -3.75F,
                                   std::numeric_limits<float>::denorm_min(),
                                   std::numeric_limits<float>::max(),
                                   std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN()};
    std::vector<float> samples;
    for (int i = 0; i < 2 * count; ++i) {
        samples.push_back(kinds[static_cast<std::size_t>(i * 7 % 10)]);
    }
    // One sample more, which must stay as it is.
    std::vector<DoubleComplex> block(static_cast<std::size_t>(count) + 1, {-9.0, -9.0});
    convert(samples.data(), count, swapped ? Order::IThenQ : Order::QThenI, block.data());
    for (int n = 0; n < count; ++n) {
        const double i = samples[static_cast<std::size_t>(2 * n)];
        const double q = samples[static_cast<std::size_t>(2 * n + 1)];
        const DoubleComplex expected = swapped ? DoubleComplex{i, q} : DoubleComplex{q, i};
        if (std::memcmp(&block[static_cast<std::size_t>(n)], &expected, sizeof expected) != 0) {
            QFAIL(qPrintable(QStringLiteral("Sample %1 differs").arg(n)));
        }
    }
    QCOMPARE(block.back().re, -9.0);
    QCOMPARE(block.back().im, -9.0);
}

void tst_AirSpyConversion::conversionTakesNothingFromHeap()
{
    const std::vector<float> samples(8192, 0.5F);
    std::vector<DoubleComplex> block(4096);
    const AllocationCounter allocations;
    convert(samples.data(), 4096, Order::QThenI, block.data());
    convert(samples.data(), 4096, Order::IThenQ, block.data());
    QCOMPARE(allocations.count(), 0);
}

void tst_AirSpyConversion::hertzAreTruncatedToWhatLibraryTakes_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<qint64>("hertz"); // -1 for nothing
    QTest::newRow("whole") << 100'000'000.0 << qint64(100'000'000);
    QTest::newRow("below the next") << 99.999 << qint64(99);
    QTest::newRow("zero") << 0.0 << qint64(0);
    QTest::newRow("a little less than zero") << -0.75 << qint64(0);
    QTest::newRow("minus one") << -1.0 << qint64(-1);
    QTest::newRow("the most") << 4'294'967'295.5 << qint64(4'294'967'295);
    QTest::newRow("beyond 32 bits") << 4'294'967'296.0 << qint64(-1);
    QTest::newRow("huge") << 1e300 << qint64(-1);
    QTest::newRow("infinite") << qInf() << qint64(-1);
    QTest::newRow("no number") << qQNaN() << qint64(-1);
}

void tst_AirSpyConversion::hertzAreTruncatedToWhatLibraryTakes()
{
    QFETCH(double, value);
    QFETCH(qint64, hertz);
    const auto result = toHertz(value);
    QCOMPARE(result ? qint64(*result) : -1, hertz);
}

void tst_AirSpyConversion::ratesAreDecimalTextsAndLogged()
{
    const Rates rates{10'000'000, 2'500'000, 768'000};
    const LogCapture log;
    QCOMPARE(rateTexts(rates, 3),
             (QStringList{QStringLiteral("10000000"), QStringLiteral("2500000"), QStringLiteral("768000")}));
    QCOMPARE(log.texts(QtDebugMsg), (QStringList{QStringLiteral("AirSpy sampleRate: 10000000"),
                                                 QStringLiteral("AirSpy sampleRate: 2500000"),
                                                 QStringLiteral("AirSpy sampleRate: 768000")}));
}

void tst_AirSpyConversion::ratesBeyondMostAreNotRead()
{
    Rates rates{};
    rates.fill(1);
    const LogCapture log;
    QCOMPARE(rateTexts(rates, 40).size(), 32);
    QCOMPARE(rateTexts(rates, 0xFFFFFFFFU).size(), 32);
}

void tst_AirSpyConversion::rateOfZeroIsTextLikeOthers()
{
    const Rates rates{0, 768'000};
    const LogCapture log;
    QCOMPARE(rateTexts(rates, 2), (QStringList{QStringLiteral("0"), QStringLiteral("768000")}));
}

void tst_AirSpyConversion::descriptionHoldsVersionAndSerial_data()
{
    QTest::addColumn<quint64>("serial");
    QTest::addColumn<QString>("text");
    QTest::newRow("letters") << quint64(0x644064DC2A6A1D0D) << QStringLiteral("v1 S/N: 644064DC2A6A1D0D");
    QTest::newRow("short") << quint64(10) << QStringLiteral("v1 S/N: A");
    QTest::newRow("all bits") << ~quint64(0) << QStringLiteral("v1 S/N: FFFFFFFFFFFFFFFF");
}

void tst_AirSpyConversion::descriptionHoldsVersionAndSerial()
{
    QFETCH(quint64, serial);
    QFETCH(QString, text);
    QCOMPARE(description(Version{'v', '1'}, serial), text);
}

void tst_AirSpyConversion::versionWithoutEndIsCutAtItsSize()
{
    Version version{};
    version.fill('x');
    QCOMPARE(description(version, 1), QString(20, QLatin1Char('x')) + QStringLiteral(" S/N: 1"));
}

void tst_AirSpyConversion::versionThatIsNotUtf8IsStillText()
{
    const Version version{'\xff', 'v', '\xc3'};
    const QString text = description(version, 1);
    QVERIFY(text.contains(QLatin1Char('v')));
    QVERIFY(text.endsWith(QStringLiteral(" S/N: 1")));
    QVERIFY(text.contains(QChar(QChar::ReplacementCharacter)));
}

QTEST_GUILESS_MAIN(tst_AirSpyConversion)
#include "tst_AirSpyConversion.moc"
