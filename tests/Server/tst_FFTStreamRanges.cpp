#include "FFTStreamTest.h"
#include "SpectrumReference.h"

#include <QtTest>
#include <limits>

namespace
{

constexpr int kMinimum = std::numeric_limits<int>::min();
constexpr int kMaximum = std::numeric_limits<int>::max();

} // namespace

class tst_FFTStreamRanges : public FFTStreamTest
{
    Q_OBJECT

private slots:
    void sameSizeWithNewRangeIsNotSetAgain();
    void withoutRangeThereAreNoFrames();
    void emptyRangesSendNothing_data();
    void emptyRangesSendNothing();
    void negativeDataSizeSendsNothingAndSizesNothing();
    void sizeBelowOneStopsFramesUntilNext();
    void everyPowerOfTwoFrom2To65536Works_data();
    void everyPowerOfTwoFrom2To65536Works();
    void otherSizesAreRefusedWholeAndStreamGoesOn_data();
    void otherSizesAreRefusedWholeAndStreamGoesOn();
    void refusalsAreLimitedTo50Lines();
};

void tst_FFTStreamRanges::sameSizeWithNewRangeIsNotSetAgain()
{
    Session session;
    session.stream.setDataRange(0, 512, 100, 512);
    QCOMPARE(m_log->texts(), QStringList(QStringLiteral("set fft size 512")));
    session.stream.setDataRange(10, 20, 50, 512);
    QCOMPARE(m_log->texts().size(), 1);
    QCOMPARE(session.frame().size(), 50);
    session.stream.setDataRange(10, 20, 50, 1024);
    QCOMPARE(m_log->texts(QtDebugMsg).last(), QStringLiteral("set fft size 1024"));
    QCOMPARE(m_log->texts().size(), 2);
}

void tst_FFTStreamRanges::withoutRangeThereAreNoFrames()
{
    Session session;
    session.write(noise(1024));
    QCOMPARE(session.tick().size(), 0);
    QCOMPARE(session.ring().lastWriteIndex, 1024);
}

void tst_FFTStreamRanges::emptyRangesSendNothing_data()
{
    QTest::addColumn<int>("startIndex");
    QTest::addColumn<int>("stopIndex");
    QTest::addColumn<int>("dataSize");
    QTest::newRow("no points") << 0 << 512 << 0;
    QTest::newRow("no bins") << 100 << 100 << 100;
    QTest::newRow("backwards") << 200 << 100 << 100;
}

void tst_FFTStreamRanges::emptyRangesSendNothing()
{
    QFETCH(const int, startIndex);
    QFETCH(const int, stopIndex);
    QFETCH(const int, dataSize);
    Session session;
    session.stream.setDataRange(startIndex, stopIndex, dataSize, 512);
    QCOMPARE(session.tick().size(), 0);
}

void tst_FFTStreamRanges::negativeDataSizeSendsNothingAndSizesNothing()
{
    Session session;
    for (const int dataSize : {-1, -252, -1000, kMinimum}) {
        session.stream.setDataRange(0, 512, dataSize, 512);
        QCOMPARE(session.tick().size(), 0);
    }
    session.stream.setDataRange(0, 512, 253, 512);
    QCOMPARE(session.frame().size(), 253);
}

void tst_FFTStreamRanges::sizeBelowOneStopsFramesUntilNext()
{
    Session session;
    for (const int fftSize : {0, -1, -512, kMinimum}) {
        session.stream.setDataRange(0, 512, 100, 512);
        QCOMPARE(session.frame().size(), 100);
        session.stream.setDataRange(0, 512, 100, fftSize);
        QCOMPARE(session.tick().size(), 0);
    }
}

void tst_FFTStreamRanges::everyPowerOfTwoFrom2To65536Works_data()
{
    QTest::addColumn<int>("fftSize");
    for (int fftSize = 2; fftSize <= 65536; fftSize *= 2) {
        QTest::addRow("%d", fftSize) << fftSize;
    }
}

void tst_FFTStreamRanges::everyPowerOfTwoFrom2To65536Works()
{
    QFETCH(const int, fftSize);
    Session session;
    session.stream.setDataRange(0, fftSize, 16, fftSize);
    const QVector<DoubleComplex> samples = noise(fftSize);
    const QByteArray text =
        difference(session.frameOf(samples), SpectrumReference(samples).frame(0, fftSize, 16));
    QVERIFY2(text.isEmpty(), text.constData());
}

void tst_FFTStreamRanges::otherSizesAreRefusedWholeAndStreamGoesOn_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<int>("fftSize");
    QTest::newRow("1 bin") << 100 << 1;
    QTest::newRow("3 bins") << 100 << 3;
    QTest::newRow("1000 bins") << 100 << 1000;
    QTest::newRow("65535 bins") << 100 << 65535;
    QTest::newRow("131072 bins") << 100 << 131072;
    QTest::newRow("2^30 bins") << 100 << (1 << 30);
    QTest::newRow("most bins") << 100 << kMaximum;
    QTest::newRow("65537 points") << 65537 << 512;
    QTest::newRow("most points") << kMaximum << 512;
    QTest::newRow("too many points of no bins") << 65537 << 0;
    QTest::newRow("too many bins for no points") << 0 << 131072;
}

void tst_FFTStreamRanges::otherSizesAreRefusedWholeAndStreamGoesOn()
{
    QFETCH(const int, dataSize);
    QFETCH(const int, fftSize);
    const QVector<DoubleComplex> samples = noise(512);
    Session session;
    session.stream.setDataRange(100, 200, 253, 512);
    session.write(samples);
    const QList<QByteArray> before = session.tick();
    m_log->clear();
    session.stream.setDataRange(0, 512, dataSize, fftSize);
    QCOMPARE(m_log->texts().size(), 1);
    const QString warning = m_log->texts(QtWarningMsg).value(0);
    QVERIFY(warning.startsWith(QLatin1String("[ W ][ Server/FFTStream ] setDataRange :")));
    QVERIFY(warning.contains(
        QStringLiteral("Error data range! Data size: %1, fft size: %2").arg(dataSize).arg(fftSize)));
    m_log->clear();
    session.write(samples);
    QCOMPARE(session.tick(), before);
}

void tst_FFTStreamRanges::refusalsAreLimitedTo50Lines()
{
    Session session;
    for (int i = 0; i < 500; ++i) {
        session.stream.setDataRange(0, 512, 100, 3);
    }
    // A second may pass meanwhile, and what it left out is told.
    QVERIFY(m_log->texts().size() <= 2 * 51);
    m_log->clear();
}

QTEST_GUILESS_MAIN(tst_FFTStreamRanges)

#include "tst_FFTStreamRanges.moc"
