#include "FFTStreamTest.h"
#include "SpectrumReference.h"

#include <QtTest>
#include <cmath>
#include <limits>

namespace
{

constexpr int kMinimum = std::numeric_limits<int>::min();
constexpr int kMaximum = std::numeric_limits<int>::max();
constexpr qint16 kNoBin = 800;

} // namespace

class tst_FFTStreamPoints : public FFTStreamTest
{
    Q_OBJECT

private slots:
    void pointsAreThoseOfDefinition_data();
    void pointsAreThoseOfDefinition();
    void carrierStandsAsFarFromMiddleBinAsFromCentre_data();
    void carrierStandsAsFarFromMiddleBinAsFromCentre();
    void silenceStandsAtFloor();
    void logarithmIsApproximation_data();
    void logarithmIsApproximation();
    void scaleStepsAt4096();
    void windowIsShiftedByOnePlace();
    void sampleThatIsNoNumberGivesNoLevel();
    void rangeBeyondTransformIsMarked();
    void rangeBelowTransformIsMarked();
    void negativeBinsAreTruncatedTowardZero();
    void extremeRangesReachNothingOutside();
    void narrowFramesSkipBinsAndWideOnesRepeatThem_data();
    void narrowFramesSkipBinsAndWideOnesRepeatThem();
};

void tst_FFTStreamPoints::pointsAreThoseOfDefinition_data()
{
    QTest::addColumn<int>("fftSize");
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<int>("dataSize");
    QTest::newRow("512 whole") << 512 << 0 << 512 << 512;
    QTest::newRow("1024 thinned") << 1024 << 100 << 900 << 321;
    QTest::newRow("2048 repeated") << 2048 << 1000 << 1100 << 300;
    QTest::newRow("4096 part") << 4096 << 2000 << 2253 << 253;
    QTest::newRow("8192 over the edge") << 8192 << 8100 << 8300 << 200;
}

void tst_FFTStreamPoints::pointsAreThoseOfDefinition()
{
    QFETCH(const int, fftSize);
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const int, dataSize);
    Session session;
    session.stream.setDataRange(startIndex, stopIndex, dataSize, fftSize);
    const QVector<DoubleComplex> samples = noise(fftSize);
    const QByteArray text = difference(session.frameOf(samples),
                                       SpectrumReference(samples).frame(startIndex, stopIndex, dataSize));
    QVERIFY2(text.isEmpty(), text.constData());
}

void tst_FFTStreamPoints::carrierStandsAsFarFromMiddleBinAsFromCentre_data()
{
    QTest::addColumn<int>("bins");
    QTest::newRow("at the centre") << 0;
    QTest::newRow("above") << 100;
    QTest::newRow("below") << -100;
    QTest::newRow("at the lowest") << -512;
    QTest::newRow("at the highest") << 511;
}

void tst_FFTStreamPoints::carrierStandsAsFarFromMiddleBinAsFromCentre()
{
    QFETCH(const int, bins);
    Session session;
    session.stream.setDataRange(0, 1024, 1024, 1024);
    QCOMPARE(strongest(session.frameOf(carrier(1024, bins, 1024))), 512 + bins);
}

void tst_FFTStreamPoints::silenceStandsAtFloor()
{
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    // 1e-22: by the approximate logarithm, too, 880 and not one less.
    QCOMPARE(session.frame(), QVector<qint16>(512, 880));
    QCOMPARE(SpectrumReference::point(1e-22F), qint16{880});
}

void tst_FFTStreamPoints::logarithmIsApproximation_data()
{
    QTest::addColumn<double>("amplitude");
    for (const double amplitude : {1e-12, 1e-9, 3.3e-7, 1e-4, 0.01, 0.3, 1.0, 7.0, 4096.0, 1e9, 1e15}) {
        QTest::addRow("%g", amplitude) << amplitude;
    }
}

void tst_FFTStreamPoints::logarithmIsApproximation()
{
    QFETCH(const double, amplitude);
    Session session;
    session.stream.setDataRange(510, 515, 5, 1024);
    QVector<DoubleComplex> samples = carrier(1024, 0, 1024);
    for (DoubleComplex& sample : samples) {
        sample = {sample.re * amplitude, sample.im * amplitude};
    }
    const QVector<qint16> points = session.frameOf(samples);
    const SpectrumReference reference(samples);
    QCOMPARE(points, reference.frame(510, 515, 5));
    // And the approximation is one: within 0.1 dB, and a step of truncation, of the logarithm.
    const double exact = -40.0 * std::log10(static_cast<double>(reference.power(512)) + 1e-22);
    QVERIFY(std::abs(points[2] - exact) < 1.4);
}

void tst_FFTStreamPoints::scaleStepsAt4096()
{
    // A carrier's power grows with the square of the size, the divisor with the size: 3 dB, 12 points a
    // doubling. Below 4096 it is divided by two thirds too, so that step is short by 1.76 dB.
    QVector<int> levels;
    Session session;
    for (const int fftSize : {1024, 2048, 4096, 8192}) {
        session.stream.setDataRange(fftSize / 2, fftSize / 2 + 1, 1, fftSize);
        levels.append(session.frameOf(carrier(fftSize, 0, fftSize)).value(0));
    }
    QVERIFY(std::abs(levels[0] - levels[1] - 12) <= 1);
    QVERIFY(std::abs(levels[1] - levels[2] - 5) <= 1);
    QVERIFY(std::abs(levels[2] - levels[3] - 12) <= 1);
}

void tst_FFTStreamPoints::windowIsShiftedByOnePlace()
{
    // One sample alone shows the window's value there, the same in every bin.
    const auto levelAt = [](int place) {
        Session session;
        session.stream.setDataRange(0, 1, 1, 512);
        QVector<DoubleComplex> samples(512);
        samples[place] = {1.0, 0.0};
        return session.frameOf(samples).value(0);
    };
    // Symmetric around place 256.5: one further than a window of 512 would be.
    for (const int place : {10, 100, 200, 256}) {
        QCOMPARE(levelAt(place), levelAt(513 - place));
    }
    QVERIFY(levelAt(10) != levelAt(511 - 10));
    // Zero at place 1; place 0 lies before the window's start and is a little above it.
    QCOMPARE(levelAt(1), qint16{880});
    QVERIFY(levelAt(0) < levelAt(1));
}

void tst_FFTStreamPoints::sampleThatIsNoNumberGivesNoLevel()
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, 1e300}) {
        Session session;
        session.stream.setDataRange(0, 512, 100, 512);
        QCOMPARE(session.frameOf(QVector<DoubleComplex>(512, {value, 0.0})), QVector<qint16>(100, kNoBin));
    }
}

void tst_FFTStreamPoints::rangeBeyondTransformIsMarked()
{
    Session session;
    session.stream.setDataRange(500, 524, 24, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    QCOMPARE(points.size(), 24);
    QVERIFY(!points.mid(0, 12).contains(kNoBin));
    QCOMPARE(points.mid(12), QVector<qint16>(12, kNoBin));
}

void tst_FFTStreamPoints::rangeBelowTransformIsMarked()
{
    Session session;
    session.stream.setDataRange(-10, 20, 30, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    QCOMPARE(points.size(), 30);
    QCOMPARE(points.mid(0, 10), QVector<qint16>(10, kNoBin));
    QVERIFY(!points.mid(10).contains(kNoBin));
}

void tst_FFTStreamPoints::negativeBinsAreTruncatedTowardZero()
{
    Session session;
    session.stream.setDataRange(-3, 3, 12, 512);
    const QVector<qint16> points = session.frameOf(noise(512));
    // -3, -2.5, ... : what is at -0.5 is bin 0.
    QCOMPARE(points.mid(0, 5), QVector<qint16>(5, kNoBin));
    QVERIFY(points[5] != kNoBin);
    QCOMPARE(points[5], points[6]);
    QCOMPARE(points[6], points[7]);
}

void tst_FFTStreamPoints::extremeRangesReachNothingOutside()
{
    Session session;
    session.stream.setDataRange(kMinimum, kMaximum, 252, 512);
    QVector<qint16> expected(252, kNoBin);
    expected[126] = 880; // bin -0.5, truncated: 0
    QCOMPARE(session.frame(), expected);
    session.stream.setDataRange(kMaximum - 1, kMaximum, 252, 512);
    QCOMPARE(session.frame(), QVector<qint16>(252, kNoBin));
    session.stream.setDataRange(kMinimum, kMinimum + 1, 252, 512);
    QCOMPARE(session.frame(), QVector<qint16>(252, kNoBin));
    session.stream.setDataRange(0, kMaximum, 252, 512);
    QCOMPARE(session.frame().mid(1), QVector<qint16>(251, kNoBin));
    session.stream.setDataRange(kMaximum, kMinimum, 252, 512);
    QCOMPARE(session.tick().size(), 0);
}

void tst_FFTStreamPoints::narrowFramesSkipBinsAndWideOnesRepeatThem_data()
{
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<QVector<int>>("bins");
    QTest::newRow("every bin") << 100 << 106 << QVector<int>{100, 101, 102, 103, 104, 105};
    QTest::newRow("every second") << 100 << 108 << QVector<int>{100, 102, 104, 106};
    QTest::newRow("each twice") << 100 << 103 << QVector<int>{100, 100, 101, 101, 102, 102};
    QTest::newRow("10 in 7") << 100 << 110 << QVector<int>{100, 101, 102, 104, 105, 107, 108};
    QTest::newRow("3 in 5") << 100 << 103 << QVector<int>{100, 100, 101, 101, 102};
    QTest::newRow("one in 300") << 300 << 301 << QVector<int>(300, 300);
    QTest::newRow("all in one") << 0 << 512 << QVector<int>{0};
}

void tst_FFTStreamPoints::narrowFramesSkipBinsAndWideOnesRepeatThem()
{
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const QVector<int>, bins);
    const QVector<DoubleComplex> samples = noise(512);
    Session session;
    session.stream.setDataRange(0, 512, 512, 512);
    const QVector<qint16> all = session.frameOf(samples);
    session.stream.setDataRange(startIndex, stopIndex, bins.size(), 512);
    QVector<qint16> expected;
    for (const int bin : bins) {
        expected.append(all[bin]);
    }
    QCOMPARE(session.frameOf(samples), expected);
}

QTEST_GUILESS_MAIN(tst_FFTStreamPoints)

#include "tst_FFTStreamPoints.moc"
