#include "RtlUsbRig.h"

#include <QSignalSpy>
#include <QtTest>

/// Frequency, the ranges that the sampling mode decides, and rate.
class tst_RtlUsbTuning : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void samplingModeDecidesRanges_data();
    void samplingModeDecidesRanges();
    void samplingModeOfClosedDeviceLeavesTables();
    void refusedSamplingModeStillBuildsTables();
    void frequencyThatStaysValidIsKept();
    void frequencyBelowTunerFallsToDefault();
    void tunerThatCannotReachDefaultKeepsPresentOne();

    void frequencyGoesToDongleUncorrected();
    void frequencyIsTruncated();
    void frequencyOutsideRangesIsReplacedByPresentOne();
    void refusedFrequencyIsLoggedAndPresentOneKept();
    void frequencyThatIsNoNumberIsAnsweredWithPresentOne();

    void sampleRateReachesRunningDongle();
    void refusedSampleRateIsReported();
    void sampleRateIsHeldToWhatLibraryTakes_data();
    void sampleRateIsHeldToWhatLibraryTakes();
    void sampleRateThatIsNoNumberReachesNothing();

private:
    FakeVendor m_vendor;
};

void tst_RtlUsbTuning::init()
{
    m_vendor.reset();
}

void tst_RtlUsbTuning::samplingModeDecidesRanges_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("tuner");
    QTest::addColumn<int>("lowestKhz");
    const int byTuner[] = {50'000, 52'000, 22'000, 22'000, 146'000, 24'000, 24'000, 50'000};
    for (int tuner = 0; tuner < 8; ++tuner) {
        const bool known = tuner >= 1 && tuner <= 6;
        for (const int mode : {-1, 0, 1, 2, 3}) {
            QTest::addRow("mode %d, tuner %d", mode, tuner)
                << mode << tuner << (mode >= 1 && known ? 500 : byTuner[tuner]);
        }
    }
    QTest::newRow("mode 1, tuner -1") << 1 << -1 << 50'000;
}

void tst_RtlUsbTuning::samplingModeDecidesRanges()
{
    QFETCH(int, mode);
    QFETCH(int, tuner);
    QFETCH(int, lowestKhz);
    m_vendor.set(QStringLiteral("rtlsdr_get_tuner_type"), tuner);
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setSamplingMode(mode);
    QCOMPARE(rig.device->supportFrequencies(),
             (QStringList{QString::number(lowestKhz), QStringLiteral("2200000")}));
    const double lowest = 1000.0 * lowestKhz;
    QVERIFY(rig.device->isFrequencySupported(lowest));
    QVERIFY(!rig.device->isFrequencySupported(lowest - 1.0));
    QVERIFY(rig.device->isFrequencySupported(2'200'000'000.0));
    QVERIFY(!rig.device->isFrequencySupported(2'200'000'001.0));
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbTuning::samplingModeOfClosedDeviceLeavesTables()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setSamplingMode(1);
    QCOMPARE(rig.device->supportFrequencies(), QStringList());
    rig.device->setSamplingMode(0);
    rig.open();
    rig.device->stop();
    rig.device->setSamplingMode(1);
    QCOMPARE(rig.device->supportFrequencies().constFirst(), QStringLiteral("24000"));
    QVERIFY(!rig.device->isFrequencySupported(500'000.0));
}

void tst_RtlUsbTuning::refusedSamplingModeStillBuildsTables()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    m_vendor.set(QStringLiteral("rtlsdr_set_direct_sampling"), -1);
    rig.device->setSamplingMode(1);
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error set sampling mpde = 1!")});
    QCOMPARE(rig.device->supportFrequencies().constFirst(), QStringLiteral("500"));
}

void tst_RtlUsbTuning::frequencyThatStaysValidIsKept()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    for (const int mode : {1, 2, 0}) {
        rig.device->setSamplingMode(mode);
        QCOMPARE(rig.device->frequency(), 100'000'000.0);
    }
    QVERIFY(frequencyChanged.isEmpty());
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_set_center_freq")), QStringList());
}

void tst_RtlUsbTuning::frequencyBelowTunerFallsToDefault()
{
    m_vendor.set(QStringLiteral("rtlsdr_get_tuner_type"), 1);
    RtlUsbRig rig(m_vendor);
    rig.device->setSamplingMode(1);
    rig.open();
    rig.device->setFrequency(30'000'000.0);
    QCOMPARE(rig.device->frequency(), 30'000'000.0);
    rig.forget();
    rig.device->setSamplingMode(0);
    QCOMPARE(rig.device->frequency(), 100'000'000.0);
    QCOMPARE(rig.calls(), (QStringList{QStringLiteral("rtlsdr_set_direct_sampling(dev1, 0) = 0"),
                                       QStringLiteral("rtlsdr_set_center_freq(dev1, 100000000) = 0")}));
}

void tst_RtlUsbTuning::tunerThatCannotReachDefaultKeepsPresentOne()
{
    m_vendor.set(QStringLiteral("rtlsdr_get_tuner_type"), 4);
    RtlUsbRig rig(m_vendor);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.open();
    QVERIFY(rig.device->running());
    QCOMPARE(rig.device->frequency(), 100'000'000.0);
    QCOMPARE(frequencyChanged.size(), 2); // of the tables, and of the start's own tuning
    rig.device->setFrequency(146'000'000.0);
    QCOMPARE(rig.device->frequency(), 146'000'000.0);
}

void tst_RtlUsbTuning::frequencyGoesToDongleUncorrected()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setPpmCorrection(100);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(145'000'000.0);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_center_freq(dev1, 145000000) = 0")});
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 145'000'000.0 / (1.0 - 100e-6));
    QVERIFY(std::abs(rig.device->frequency() - 145'000'000.0) < 1e-3);
}

void tst_RtlUsbTuning::frequencyIsTruncated()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setFrequency(145'000'000.99);
    rig.device->setFrequency(2'200'000'000.0);
    QCOMPARE(rig.calls(), (QStringList{QStringLiteral("rtlsdr_set_center_freq(dev1, 145000000) = 0"),
                                       QStringLiteral("rtlsdr_set_center_freq(dev1, 2200000000) = 0")}));
}

void tst_RtlUsbTuning::frequencyOutsideRangesIsReplacedByPresentOne()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    for (const double hertz : {23'999'999.0, 2'200'000'001.0, 0.0, -1.0, 5e9, -1e18}) {
        rig.device->setFrequency(hertz);
        QCOMPARE(rig.device->frequency(), 100'000'000.0);
    }
    QCOMPARE(frequencyChanged.size(), 6);
    QCOMPARE(rig.calls(), QStringList());
    QCOMPARE(rig.errors, QStringList());
    QCOMPARE(rig.log.texts(), QStringList());
}

void tst_RtlUsbTuning::refusedFrequencyIsLoggedAndPresentOneKept()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    m_vendor.set(QStringLiteral("rtlsdr_set_center_freq"), -4);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    rig.device->setFrequency(145'500'000.0);
    QCOMPARE(rig.device->frequency(), 100'000'000.0);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 100'000'000.0);
    QCOMPARE(rig.errors, QStringList());
    QCOMPARE(rig.warnings(), QStringList{QStringLiteral("Error set RTLSDR LO  1.455e+08")});
}

void tst_RtlUsbTuning::frequencyThatIsNoNumberIsAnsweredWithPresentOne()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    for (const double hertz : {qQNaN(), qInf(), -qInf(), 1e19, 1e300}) {
        frequencyChanged.clear();
        rig.device->setFrequency(hertz);
        QCOMPARE(frequencyChanged.size(), 1);
        QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 100'000'000.0);
    }
    QCOMPARE(rig.device->frequency(), 100'000'000.0);
    QCOMPARE(rig.calls(), QStringList());
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbTuning::sampleRateReachesRunningDongle()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QSignalSpy sampleRateChanged(rig.device.get(), &AbstractRadioDevice::sampleRateChanged);
    rig.device->setSampleRate(1'024'000.7);
    QCOMPARE(rig.device->sampleRate(), 1'024'000.7);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_sample_rate(dev1, 1024000) = 0")});
}

void tst_RtlUsbTuning::refusedSampleRateIsReported()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    m_vendor.set(QStringLiteral("rtlsdr_set_sample_rate"), -22);
    rig.device->setSampleRate(960'000.0);
    QCOMPARE(rig.device->sampleRate(), 960'000.0);
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error set sampleRate! 960000")});
    QCOMPARE(rig.warnings(), rig.errors);
    QVERIFY(rig.device->running());
}

void tst_RtlUsbTuning::sampleRateIsHeldToWhatLibraryTakes_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<QString>("passed");
    QTest::newRow("0") << 0.0 << QStringLiteral("0");
    QTest::newRow("-5") << -5.0 << QStringLiteral("0");
    QTest::newRow("5e9") << 5e9 << QStringLiteral("4294967295");
    QTest::newRow("1e18") << 1e18 << QStringLiteral("4294967295");
}

void tst_RtlUsbTuning::sampleRateIsHeldToWhatLibraryTakes()
{
    QFETCH(double, rate);
    QFETCH(QString, passed);
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setSampleRate(rate);
    QCOMPARE(rig.device->sampleRate(), rate);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_sample_rate(dev1, %1) = 0").arg(passed)});
}

void tst_RtlUsbTuning::sampleRateThatIsNoNumberReachesNothing()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    for (const double rate : {qQNaN(), qInf(), -qInf(), 1e300}) {
        rig.device->setSampleRate(rate);
    }
    QCOMPARE(rig.device->sampleRate(), 2'048'000.0);
    QCOMPARE(rig.calls(), QStringList());
    QCOMPARE(rig.warnings().size(), 4);
}

QTEST_GUILESS_MAIN(tst_RtlUsbTuning)
#include "tst_RtlUsbTuning.moc"
