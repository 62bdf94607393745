#include "RtlUsbRig.h"

#include <QSignalSpy>
#include <QtTest>

class tst_RtlUsbSetters : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void closedDeviceStoresAndCallsNothing_data();
    void closedDeviceStoresAndCallsNothing();
    void openDeviceStoresAndCallsTheLibrary_data();
    void openDeviceStoresAndCallsTheLibrary();
    void refusedValueIsReportedAndStays_data();
    void refusedValueIsReportedAndStays();

    void correctionTakesTheNumberAndKeepsWhetherThereIsOne();
    void tunerGainIsHeldBackWhileTunerAgcIsSet();
    void tunerGainIsLoggedWhenItIsSet();

    void samplingModeDecidesTheRanges_data();
    void samplingModeDecidesTheRanges();
    void samplingModeOfAClosedDeviceLeavesTheTables();
    void refusedSamplingModeBuildsTheTablesAllTheSame();
    void frequencyThatStaysValidIsKept();
    void frequencyBelowTheTunerFallsToTheDefault();
    void tunerThatCannotReachTheDefaultKeepsThePresentOne();

    void frequencyGoesToTheDongleUncorrected();
    void frequencyIsTruncated();
    void frequencyOutsideTheRangesIsReplacedByThePresentOne();
    void refusedFrequencyIsLoggedAndThePresentOneKept();
    void frequencyThatIsNoNumberIsAnsweredWithThePresentOne();

    void sampleRateReachesARunningDongle();
    void refusedSampleRateIsReported();
    void sampleRateIsHeldToWhatTheLibraryTakes_data();
    void sampleRateIsHeldToWhatTheLibraryTakes();
    void sampleRateThatIsNoNumberReachesNothing();

private:
    void setters() const;

    FakeVendor m_vendor;
};

void tst_RtlUsbSetters::init()
{
    m_vendor.reset();
}

void tst_RtlUsbSetters::setters() const
{
    QTest::addColumn<QString>("property");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("call"); // without its handle; empty if there is none
    QTest::addColumn<QString>("error");
    const auto row = [](const char* property, const QVariant& value, const char* call, const char* error) {
        QTest::addRow("%s %s", property, qPrintable(value.toString()))
            << QString::fromLatin1(property) << value << QString::fromLatin1(call)
            << QString::fromLatin1(error);
    };
    row("biasTee", true, "", "");
    row("biasTee", false, "", "");
    row("rtlPpm", true, "rtlsdr_set_freq_correction 1", "Error set correction ppm = 1!");
    row("rtlPpm", false, "rtlsdr_set_freq_correction 0", "Error set correction ppm = 0!");
    row("offsetTuning", true, "rtlsdr_set_offset_tuning 1", "Error set offset tuning = 1!");
    row("offsetTuning", false, "rtlsdr_set_offset_tuning 0", "Error set offset tuning = 0!");
    row("rtlAgc", true, "rtlsdr_set_agc_mode 1", "Error RTLUSB set agc rtl2832!");
    row("rtlAgc", false, "rtlsdr_set_agc_mode 0", "Error RTLUSB set agc rtl2832!");
    row("tunerAgc", true, "rtlsdr_set_tuner_gain_mode 1", "Error RTLUSB set agc tuner!");
    row("tunerAgc", false, "rtlsdr_set_tuner_gain_mode 0", "Error RTLUSB set agc tuner!");
    row("tunerGain", 0, "rtlsdr_set_tuner_gain 0", "Error set tuner gain = 0!");
    row("tunerGain", 496, "rtlsdr_set_tuner_gain 496", "Error set tuner gain = 496!");
    row("tunerGain", -10, "rtlsdr_set_tuner_gain -10", "Error set tuner gain = -10!");
    row("tunerGain", 2147483647, "rtlsdr_set_tuner_gain 2147483647", "Error set tuner gain = 2147483647!");
    row("samplingMode", 0, "rtlsdr_set_direct_sampling 0", "Error set sampling mpde = 0!");
    row("samplingMode", 1, "rtlsdr_set_direct_sampling 1", "Error set sampling mpde = 1!");
    row("samplingMode", 2, "rtlsdr_set_direct_sampling 2", "Error set sampling mpde = 2!");
    row("samplingMode", -7, "rtlsdr_set_direct_sampling -7", "Error set sampling mpde = -7!");
}

void tst_RtlUsbSetters::closedDeviceStoresAndCallsNothing_data()
{
    setters();
}

void tst_RtlUsbSetters::closedDeviceStoresAndCallsNothing()
{
    QFETCH(QString, property);
    QFETCH(QVariant, value);
    const RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->QObject::setProperty(property.toLatin1().constData(), value));
    QCOMPARE(rig.device->property(property.toLatin1().constData()), value);
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbSetters::openDeviceStoresAndCallsTheLibrary_data()
{
    setters();
}

void tst_RtlUsbSetters::openDeviceStoresAndCallsTheLibrary()
{
    QFETCH(QString, property);
    QFETCH(QVariant, value);
    QFETCH(QString, call);
    RtlUsbRig rig(m_vendor);
    rig.device->setTunerAgc(false);
    rig.open();
    QVERIFY(rig.device->QObject::setProperty(property.toLatin1().constData(), value));
    QCOMPARE(rig.device->property(property.toLatin1().constData()), value);
    QStringList expected;
    if (!call.isEmpty()) {
        expected.append(QStringLiteral("%1(dev1, %2) = 0")
                            .arg(call.section(QLatin1Char(' '), 0, 0), call.section(QLatin1Char(' '), 1)));
    }
    QCOMPARE(rig.calls(), expected);
    QCOMPARE(rig.errors, QStringList());
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbSetters::refusedValueIsReportedAndStays_data()
{
    setters();
}

void tst_RtlUsbSetters::refusedValueIsReportedAndStays()
{
    QFETCH(QString, property);
    QFETCH(QVariant, value);
    QFETCH(QString, call);
    QFETCH(QString, error);
    RtlUsbRig rig(m_vendor);
    rig.device->setTunerAgc(false);
    rig.open();
    if (!call.isEmpty()) {
        m_vendor.set(call.section(QLatin1Char(' '), 0, 0), -9);
    }
    QVERIFY(rig.device->QObject::setProperty(property.toLatin1().constData(), value));
    QCOMPARE(rig.device->property(property.toLatin1().constData()), value);
    QCOMPARE(rig.errors, error.isEmpty() ? QStringList() : QStringList{error});
    QCOMPARE(rig.warnings(), rig.errors);
    QVERIFY(rig.device->running());
}

void tst_RtlUsbSetters::correctionTakesTheNumberAndKeepsWhetherThereIsOne()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setRtlPpm(-42);
    QVERIFY(rig.device->rtlPpm());
    rig.device->setRtlPpm(0);
    QVERIFY(!rig.device->rtlPpm());
    QCOMPARE(rig.calls(), (QStringList{QStringLiteral("rtlsdr_set_freq_correction(dev1, -42) = 0"),
                                       QStringLiteral("rtlsdr_set_freq_correction(dev1, 0) = 0")}));
    m_vendor.set(QStringLiteral("rtlsdr_set_freq_correction"), -2);
    rig.device->setRtlPpm(33);
    QVERIFY(rig.device->rtlPpm());
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error set correction ppm = 33!")});
}

void tst_RtlUsbSetters::tunerGainIsHeldBackWhileTunerAgcIsSet()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QVERIFY(rig.device->tunerAgc());
    rig.device->setTunerGain(300);
    QCOMPARE(rig.device->tunerGain(), 300);
    QCOMPARE(rig.calls(), QStringList());
    QCOMPARE(rig.log.texts(), QStringList());
    // Nor does clearing the flag send it after.
    rig.device->setTunerAgc(false);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_tuner_gain_mode(dev1, 0) = 0")});
}

void tst_RtlUsbSetters::tunerGainIsLoggedWhenItIsSet()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setTunerAgc(false);
    rig.device->setTunerGain(11);
    QVERIFY(!rig.log.texts().contains(QStringLiteral("set tuner gain 11")));
    rig.open();
    rig.device->setTunerGain(12);
    QCOMPARE(rig.log.texts(), QStringList{QStringLiteral("set tuner gain 12")});
}

void tst_RtlUsbSetters::samplingModeDecidesTheRanges_data()
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

void tst_RtlUsbSetters::samplingModeDecidesTheRanges()
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

void tst_RtlUsbSetters::samplingModeOfAClosedDeviceLeavesTheTables()
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

void tst_RtlUsbSetters::refusedSamplingModeBuildsTheTablesAllTheSame()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    m_vendor.set(QStringLiteral("rtlsdr_set_direct_sampling"), -1);
    rig.device->setSamplingMode(1);
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error set sampling mpde = 1!")});
    QCOMPARE(rig.device->supportFrequencies().constFirst(), QStringLiteral("500"));
}

void tst_RtlUsbSetters::frequencyThatStaysValidIsKept()
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

void tst_RtlUsbSetters::frequencyBelowTheTunerFallsToTheDefault()
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

void tst_RtlUsbSetters::tunerThatCannotReachTheDefaultKeepsThePresentOne()
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

void tst_RtlUsbSetters::frequencyGoesToTheDongleUncorrected()
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

void tst_RtlUsbSetters::frequencyIsTruncated()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setFrequency(145'000'000.99);
    rig.device->setFrequency(2'200'000'000.0);
    QCOMPARE(rig.calls(), (QStringList{QStringLiteral("rtlsdr_set_center_freq(dev1, 145000000) = 0"),
                                       QStringLiteral("rtlsdr_set_center_freq(dev1, 2200000000) = 0")}));
}

void tst_RtlUsbSetters::frequencyOutsideTheRangesIsReplacedByThePresentOne()
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

void tst_RtlUsbSetters::refusedFrequencyIsLoggedAndThePresentOneKept()
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

void tst_RtlUsbSetters::frequencyThatIsNoNumberIsAnsweredWithThePresentOne()
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

void tst_RtlUsbSetters::sampleRateReachesARunningDongle()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    QSignalSpy sampleRateChanged(rig.device.get(), &AbstractRadioDevice::sampleRateChanged);
    rig.device->setSampleRate(1'024'000.7);
    QCOMPARE(rig.device->sampleRate(), 1'024'000.7);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_sample_rate(dev1, 1024000) = 0")});
}

void tst_RtlUsbSetters::refusedSampleRateIsReported()
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

void tst_RtlUsbSetters::sampleRateIsHeldToWhatTheLibraryTakes_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<QString>("passed");
    QTest::newRow("0") << 0.0 << QStringLiteral("0");
    QTest::newRow("-5") << -5.0 << QStringLiteral("0");
    QTest::newRow("5e9") << 5e9 << QStringLiteral("4294967295");
    QTest::newRow("1e18") << 1e18 << QStringLiteral("4294967295");
}

void tst_RtlUsbSetters::sampleRateIsHeldToWhatTheLibraryTakes()
{
    QFETCH(double, rate);
    QFETCH(QString, passed);
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->setSampleRate(rate);
    QCOMPARE(rig.device->sampleRate(), rate);
    QCOMPARE(rig.calls(), QStringList{QStringLiteral("rtlsdr_set_sample_rate(dev1, %1) = 0").arg(passed)});
}

void tst_RtlUsbSetters::sampleRateThatIsNoNumberReachesNothing()
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

QTEST_GUILESS_MAIN(tst_RtlUsbSetters)
#include "tst_RtlUsbSetters.moc"
