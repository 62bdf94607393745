#include "Receiving/Spectrum/FrequencyAxis.h"
#include "Receiving/Spectrum/SpectrumScale.h"

#include <QtTest>
#include <cmath>

namespace
{

double brightness(const SpectrumScale::Colour& colour)
{
    return 0.3 * colour.red + 0.59 * colour.green + 0.11 * colour.blue;
}

} // namespace

class tst_SpectrumScale : public QObject
{
    Q_OBJECT

private slots:
    void marksStandAtRoundFrequencies_data();
    void marksStandAtRoundFrequencies();
    void axisOfNoWidthHasNoMarks();
    void rangeHoldsFloorAndPeak();
    void rangeOfNothingIsUsable_data();
    void rangeOfNothingIsUsable();
    void strongerIsBrighter();
    void reductionKeepsStrongest();
};

void tst_SpectrumScale::marksStandAtRoundFrequencies_data()
{
    QTest::addColumn<double>("lowest");
    QTest::addColumn<double>("highest");
    QTest::addColumn<int>("most");
    QTest::addColumn<QString>("texts");
    QTest::newRow("48 kHz") << 14'226'000.0 << 14'274'000.0 << 5
                            << QStringLiteral("14.23 14.24 14.25 14.26 14.27");
    QTest::newRow("48 kHz, narrow") << 14'226'000.0 << 14'274'000.0 << 3 << QStringLiteral("14.24 14.26");
    QTest::newRow("10 MHz") << 95e6 << 105e6 << 6 << QStringLiteral("96 98 100 102 104");
    QTest::newRow("1 kHz") << 7'000'000.0 << 7'001'000.0 << 3 << QStringLiteral("7.0000 7.0005 7.0010");
}

void tst_SpectrumScale::marksStandAtRoundFrequencies()
{
    QFETCH(double, lowest);
    QFETCH(double, highest);
    QFETCH(int, most);
    QFETCH(QString, texts);
    QStringList got;
    for (const FrequencyAxis::Mark& mark : FrequencyAxis{lowest, highest}.marks(most)) {
        QVERIFY(std::abs(mark.frequency - mark.text.toDouble() * 1e6) < 1);
        got.append(mark.text);
    }
    QCOMPARE(got.join(QLatin1Char(' ')), texts);
}

void tst_SpectrumScale::axisOfNoWidthHasNoMarks()
{
    QVERIFY((FrequencyAxis{5, 5}.marks(5).isEmpty()));
    QVERIFY((FrequencyAxis{5, 4}.marks(5).isEmpty()));
    QVERIFY((FrequencyAxis{5, std::nan("")}.marks(5).isEmpty()));
    QVERIFY((FrequencyAxis{1, 2}.marks(0).isEmpty()));
}

void tst_SpectrumScale::rangeHoldsFloorAndPeak()
{
    QVector<float> decibels(500, -87);
    decibels[250] = -23;
    const SpectrumScale::Range range = SpectrumScale::rangeOf(decibels);
    QCOMPARE(range.highest, -20.0);
    QCOMPARE(range.lowest, -100.0);
    QCOMPARE(range.place(-60), 0.5);
    QCOMPARE(range.place(0), 1.0);
    QCOMPARE(range.place(-220), 0.0);
}

void tst_SpectrumScale::rangeOfNothingIsUsable_data()
{
    QTest::addColumn<QVector<float>>("decibels");
    QTest::newRow("empty") << QVector<float>();
    QTest::newRow("no bins") << QVector<float>(10, -200);
    QTest::newRow("silence") << QVector<float>(10, -220);
    QTest::newRow("all the same") << QVector<float>(10, -50);
    QTest::newRow("not numbers") << QVector<float>(10, std::nanf(""));
}

void tst_SpectrumScale::rangeOfNothingIsUsable()
{
    QFETCH(QVector<float>, decibels);
    const SpectrumScale::Range range = SpectrumScale::rangeOf(decibels);
    QVERIFY(range.highest - range.lowest >= 40 && range.highest - range.lowest <= 120);
}

void tst_SpectrumScale::strongerIsBrighter()
{
    double last = -1;
    for (int n = 0; n < 64; ++n) {
        const double now = brightness(SpectrumScale::colour(n / 63.0));
        QVERIFY(now > last);
        last = now;
    }
    QCOMPARE(brightness(SpectrumScale::colour(-1)), brightness(SpectrumScale::colour(0)));
    QCOMPARE(brightness(SpectrumScale::colour(2)), brightness(SpectrumScale::colour(1)));
}

void tst_SpectrumScale::reductionKeepsStrongest()
{
    QCOMPARE(SpectrumScale::reduce({1, 5, 2, 3, 0, 4}, 3), (QVector<float>{5, 3, 4}));
    QCOMPARE(SpectrumScale::reduce({1, 9, 2, 3, 4}, 2), (QVector<float>{9, 4}));
    QCOMPARE(SpectrumScale::reduce({1, 2}, 4), (QVector<float>{1, 1, 2, 2}));
    QVERIFY(SpectrumScale::reduce({}, 4).isEmpty());
}

QTEST_GUILESS_MAIN(tst_SpectrumScale)
#include "tst_SpectrumScale.moc"