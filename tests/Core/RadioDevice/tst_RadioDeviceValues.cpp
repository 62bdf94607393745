#include "TestDevice.h"

#include "support/LogCapture.h"

#include <QSignalSpy>

/// Values of a client that no hardware and no stage could take.
class tst_RadioDeviceValues : public QObject
{
    Q_OBJECT

private slots:
    void sampleRateBelowOneIsRefusedAndPresentOneTold_data();
    void sampleRateBelowOneIsRefusedAndPresentOneTold();
    void sampleRateBelowOneOfDriversListIsSetByReset();
    void sampleRateOfStrangerIsStoredAsWritten_data();
    void sampleRateOfStrangerIsStoredAsWritten();
    void sampleRateThatFitsNothingIsRefused_data();
    void sampleRateThatFitsNothingIsRefused();
    void levelMayBeAnyValue_data();
    void levelMayBeAnyValue();
    void ifThatFitsNothingIsRefused_data();
    void ifThatFitsNothingIsRefused();
    void bandWidthsThatFitNothingAreRefused_data();
    void bandWidthsThatFitNothingAreRefused();
    void textThatIsNoNumberIsRefusedOrZero();
};

void tst_RadioDeviceValues::sampleRateBelowOneIsRefusedAndPresentOneTold_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("0") << 0.0;
    QTest::newRow("negative") << -5.0;
    QTest::newRow("lowest that fits") << std::nextafter(-9223372036854775808.0, 0.0);
    QTest::newRow("fraction") << 0.999;
}

void tst_RadioDeviceValues::sampleRateBelowOneIsRefusedAndPresentOneTold()
{
    QFETCH(double, rate);
    TestDevice device;
    device.setSampleRate(48'000.0);
    QVERIFY(device.start(false));
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(write(device, "sampleRate", rate));
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 48'000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().contains(QStringLiteral("Error set sample rate")));
    QVERIFY(device.dsp()->running());
    device.stop();
}

void tst_RadioDeviceValues::sampleRateBelowOneOfDriversListIsSetByReset()
{
    TestDevice device;
    device.offerRates({QStringLiteral("0"), QStringLiteral("48000")});
    device.setSampleRate(48'000.0);
    device.resetSampleRate();
    QCOMPARE(device.sampleRate(), 0.0);
}

void tst_RadioDeviceValues::sampleRateOfStrangerIsStoredAsWritten_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("1") << 1.0;
    QTest::newRow("1e18") << 1e18;
    QTest::newRow("largest that fits") << std::nextafter(9223372036854775808.0, 0.0);
    QTest::newRow("fraction") << 1.25;
}

void tst_RadioDeviceValues::sampleRateOfStrangerIsStoredAsWritten()
{
    QFETCH(double, rate);
    TestDevice device;
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(device.start(false));
    QVERIFY(write(device, "sampleRate", rate));
    QCOMPARE(device.sampleRate(), rate);
    QCOMPARE(sampleRateChanged.size(), 1);
    device.setBlockSize(device.blockSize());
    device.deliver();
    const auto expected = qRound64(rate);
    QTRY_COMPARE(device.dsp()->getProperty("inSampleRate").toLongLong(), expected);
    device.stop();
    QCOMPARE(device.state(), Worker::STOPPED);
    QTRY_VERIFY(!device.dsp()->running());
}

void tst_RadioDeviceValues::sampleRateThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_RadioDeviceValues::sampleRateThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    TestDevice device;
    device.setSampleRate(48'000.0);
    QSignalSpy sampleRateChanged(&device, &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    QVERIFY(write(device, "sampleRate", value));
    QCOMPARE(device.sampleRate(), 48'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 48'000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RadioDeviceValues::levelMayBeAnyValue_data()
{
    QTest::addColumn<QVariant>("value"); // as it comes out of a datagram
    QTest::addColumn<double>("level");
    QTest::newRow("-1e5, a factor without bound") << QVariant(-1e5) << -1e5;
    QTest::newRow("-1e300") << QVariant(-1e300) << -1e300;
    QTest::newRow("1e300, a factor of nothing") << QVariant(1e300) << 1e300;
    QTest::newRow("infinite") << QVariant(QStringLiteral("inf")) << qInf();
    QTest::newRow("not a number") << QVariant(QStringLiteral("nan")) << qQNaN();
}

void tst_RadioDeviceValues::levelMayBeAnyValue()
{
    QFETCH(const QVariant, value);
    QFETCH(const double, level);
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
    const LogCapture log;
    {
        TestDevice device;
        device.setSampleRate(48'000.0);
        QVERIFY(write(device, "levelCorrection", value));
        QCOMPARE(device.levelCorrection(), level);
        QVERIFY(device.save(QStringLiteral("level")));
    }
    TestDevice device;
    QVERIFY(device.restore(QStringLiteral("level")));
    QCOMPARE(device.levelCorrection(), level);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_RadioDeviceValues::ifThatFitsNothingIsRefused_data()
{
    addRefusedValues();
}

void tst_RadioDeviceValues::ifThatFitsNothingIsRefused()
{
    QFETCH(double, value);
    TestDevice device;
    const LogCapture log;
    device.setIF(1000.0);
    device.setIF(value);
    device.setupDspH(20'000.0, 5000.0); // posted after, so what came before has been handled
    QTRY_COMPARE(device.dsp()->getProperty("preferredBandWidth").toLongLong(), 20'000LL);
    QCOMPARE(device.dsp()->getProperty("ifFreq").toDouble(), 1000.0);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
}

void tst_RadioDeviceValues::bandWidthsThatFitNothingAreRefused_data()
{
    addRefusedValues();
}

void tst_RadioDeviceValues::bandWidthsThatFitNothingAreRefused()
{
    QFETCH(double, value);
    TestDevice device;
    const LogCapture log;
    device.setupDspH(value, 5000.0);
    device.setupDspH(20'000.0, value);
    device.setIF(1000.0);
    QTRY_COMPARE(device.dsp()->getProperty("ifFreq").toDouble(), 1000.0);
    QCOMPARE(device.dsp()->getProperty("preferredBandWidth").toLongLong(), 30'000LL);
    QCOMPARE(device.dsp()->getProperty("aliasFreeBandWidth").toLongLong(), 8000LL);
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
}

void tst_RadioDeviceValues::textThatIsNoNumberIsRefusedOrZero()
{
    // JSON has no such numbers, but a client may write text, which converts.
    TestDevice device;
    device.setFrequency(7e6);
    const LogCapture log;
    QVERIFY(write(device, "frequency", QStringLiteral("nan")));
    QVERIFY(write(device, "frequency", QStringLiteral("inf")));
    QCOMPARE(device.frequency(), 7e6);
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    QVERIFY(!write(device, "frequency", QStringLiteral("seven")));
    QCOMPARE(device.frequency(), 7e6);
}

QTEST_GUILESS_MAIN(tst_RadioDeviceValues)
#include "tst_RadioDeviceValues.moc"
