#include "DspRig.h"
#include "Samples.h"

#include <QtTest>
#include <atomic>
#include <cmath>
#include <limits>

using Samples::Vector;

/// `DspH` and its rates and widths: what a setup makes of them, and which are refused.
class tst_DspHSetup : public QObject
{
    Q_OBJECT

private slots:
    void setupLogsItsFourLines();
    void setupTellsOutputRate();
    void samePreferredBandWidthRunsNoSetup();
    void newPreferredBandWidthRunsSetupWhileRunning();
    void newInSampleRateRunsSetupWhileRunning();
    void propertiesWrittenBeforeStartWaitForIt();
    void aliasFreeBandWidthTakesEffectAtNextSetup();
    void outSampleRateIsPlainWriteThatNextSetupReplaces();
    void rateThatNoWholeNumberHoldsIsRefusedWithOneWarning_data();
    void rateThatNoWholeNumberHoldsIsRefusedWithOneWarning();
    void bandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten_data();
    void bandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten();
    void largestRatesStayInsideTheirIntegers();
    void outputRateBelowOneHertzKeepsSamplesFinite();
};

void tst_DspHSetup::setupLogsItsFourLines()
{
    const DspRig rig;
    rig.start(2'400'000);
    const QStringList texts = rig.log->texts(QtDebugMsg);
    const int first = texts.indexOf(QStringLiteral("**** SETUP DSPH ****"));
    QVERIFY(first > 0);
    QCOMPARE(
        texts.mid(first - 1, 5),
        (QStringList{QStringLiteral("Decimator 6 2.4e+06 37500 8000"), QStringLiteral("**** SETUP DSPH ****"),
                     QStringLiteral("input sampleRate 2400000"), QStringLiteral("input bufLen 32768"),
                     QStringLiteral("output decimator sampleRate 37500")}));
}

void tst_DspHSetup::setupTellsOutputRate()
{
    const DspRig rig;
    std::atomic<double> told{0.0};
    connect(
        rig.dsp, &DspH::outSampleRateChanged, this, [&told](double rate) { told = rate; },
        Qt::DirectConnection);
    rig.start(10'000'000);
    QCOMPARE(told.load(), 39'062.0); // of 39,062.5
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 39'062LL);
}

void tst_DspHSetup::samePreferredBandWidthRunsNoSetup()
{
    const DspRig rig;
    rig.start(2'400'000);
    rig.log->clear();
    rig.dsp->setProperty("preferredBandWidth", 30'000LL);
    rig.dsp->setProperty("inSampleRate", 2'400'000LL);
    rig.finishRound();
    QVERIFY(rig.logged(QStringLiteral("SETUP")).isEmpty());
}

void tst_DspHSetup::newPreferredBandWidthRunsSetupWhileRunning()
{
    DspRig rig;
    rig.start(2'400'000);
    rig.dsp->setProperty("preferredBandWidth", 200'000LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 300'000LL);
    rig.write(Vector(32'768));
    QCOMPARE(static_cast<int>(rig.read(4'096).size()), 4'096);
}

void tst_DspHSetup::newInSampleRateRunsSetupWhileRunning()
{
    const DspRig rig;
    rig.start(2'400'000);
    rig.log->clear();
    rig.dsp->setProperty("inSampleRate", 48'000.0);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 48'000LL);
    QCOMPARE(rig.logged(QStringLiteral("input bufLen")), QStringList{QStringLiteral("input bufLen 1024")});
}

void tst_DspHSetup::propertiesWrittenBeforeStartWaitForIt()
{
    const DspRig rig;
    rig.dsp->setProperty("inSampleRate", 2'400'000LL);
    rig.dsp->setProperty("preferredBandWidth", 100'000LL);
    rig.onWorker([] {});
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 0LL);
    QVERIFY(rig.logged(QStringLiteral("SETUP")).isEmpty());
    rig.dsp->start(false);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 150'000LL);
}

void tst_DspHSetup::aliasFreeBandWidthTakesEffectAtNextSetup()
{
    const DspRig rig;
    rig.start(2'400'000);
    rig.log->clear();
    rig.dsp->setProperty("aliasFreeBandWidth", 12'000LL);
    rig.finishRound();
    QVERIFY(rig.logged(QStringLiteral("Decimator")).isEmpty());
    rig.dsp->setProperty("preferredBandWidth", 15'000LL);
    rig.finishRound();
    QCOMPARE(rig.logged(QStringLiteral("Decimator")),
             QStringList{QStringLiteral("Decimator 7 2.4e+06 18750 12000")});
}

void tst_DspHSetup::outSampleRateIsPlainWriteThatNextSetupReplaces()
{
    const DspRig rig;
    rig.start(2'400'000);
    rig.log->clear();
    rig.dsp->setProperty("outSampleRate", 5LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 5LL);
    QVERIFY(rig.log->texts().isEmpty());
    rig.dsp->setProperty("preferredBandWidth", 31'000LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 37'500LL);
}

void tst_DspHSetup::rateThatNoWholeNumberHoldsIsRefusedWithOneWarning_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<double>("value");
    for (const char* name : {"inSampleRate", "preferredBandWidth", "outSampleRate", "aliasFreeBandWidth"}) {
        QTest::addRow("%s, not a number", name)
            << QByteArray(name) << std::numeric_limits<double>::quiet_NaN();
        QTest::addRow("%s, infinite", name) << QByteArray(name) << std::numeric_limits<double>::infinity();
        QTest::addRow("%s, 1e300", name) << QByteArray(name) << 1e300;
        QTest::addRow("%s, -2^63", name) << QByteArray(name) << -0x1p63;
    }
}

void tst_DspHSetup::rateThatNoWholeNumberHoldsIsRefusedWithOneWarning()
{
    QFETCH(QByteArray, name);
    QFETCH(double, value);
    const DspRig rig;
    rig.start(48'000);
    const QVariant before = rig.dsp->getProperty(name.constData());
    QVERIFY(rig.dsp->setProperty(name.constData(), value));
    rig.finishRound();
    QCOMPARE(rig.log->texts(QtWarningMsg).size(), 1);
    QCOMPARE(rig.dsp->getProperty(name.constData()), before);
    QVERIFY(rig.dsp->running());
}

void tst_DspHSetup::bandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten_data()
{
    QTest::addColumn<qlonglong>("bandWidth");
    QTest::newRow("zero") << 0LL;
    QTest::newRow("negative") << -30'000LL;
    QTest::newRow("the least number") << std::numeric_limits<qlonglong>::min();
    QTest::newRow("an 8,192nd of the rate") << 293LL;
    QTest::newRow("one") << 1LL;
}

void tst_DspHSetup::bandWidthThatAsksForMoreThanTwelveStagesStaysAsWritten()
{
    QFETCH(qlonglong, bandWidth);
    DspRig rig;
    rig.start(293 * 8'192);
    rig.dsp->setProperty("preferredBandWidth", bandWidth);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("preferredBandWidth").toLongLong(), bandWidth);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 293LL * 2);
    rig.write(Vector(32'768));
    QCOMPARE(static_cast<int>(rig.read(8).size()), 8);
}

void tst_DspHSetup::largestRatesStayInsideTheirIntegers()
{
    constexpr qlonglong kLargest = std::numeric_limits<qlonglong>::max();
    const DspRig rig;
    rig.dsp->setProperty("preferredBandWidth", kLargest);
    rig.dsp->setProperty("aliasFreeBandWidth", kLargest);
    rig.start(kLargest);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), kLargest);
    rig.dsp->setProperty("preferredBandWidth", 0LL);
    rig.finishRound();
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 1LL << 51);
}

void tst_DspHSetup::outputRateBelowOneHertzKeepsSamplesFinite()
{
    DspRig rig;
    rig.dsp->setProperty("preferredBandWidth", 0LL);
    rig.dsp->setProperty("ifFreq", 30.25);
    rig.start(1'000);
    QCOMPARE(rig.dsp->getProperty("outSampleRate").toLongLong(), 0LL);
    // A block of 1,024 leaves nothing after the CIC stages of so narrow a chain; a wide band of interest
    // keeps the long filters, which give one sample of one.
    rig.dsp->setProperty("aliasFreeBandWidth", 1'000LL);
    rig.dsp->setProperty("inSampleRate", 1'001LL);
    rig.finishRound();
    rig.write(Vector(DspRig::kBlock, DoubleComplex{1.0, 0.0}));
    const Vector output = rig.read(1);
    QCOMPARE(static_cast<int>(output.size()), 1);
    QVERIFY(std::isfinite(output[0].re) && std::isfinite(output[0].im));
}

QTEST_GUILESS_MAIN(tst_DspHSetup)
#include "tst_DspHSetup.moc"
