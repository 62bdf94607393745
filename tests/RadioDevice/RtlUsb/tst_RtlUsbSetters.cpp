#include "RtlUsbRig.h"

#include <QtTest>

class tst_RtlUsbSetters : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void closedDeviceStoresAndCallsNothing_data();
    void closedDeviceStoresAndCallsNothing();
    void openDeviceStoresAndCallsLibrary_data();
    void openDeviceStoresAndCallsLibrary();
    void refusedValueIsReportedAndStays_data();
    void refusedValueIsReportedAndStays();

    void correctionTakesNumberAndKeepsWhetherThereIsOne();
    void tunerGainIsHeldBackWhileTunerAgcIsSet();
    void tunerGainIsLoggedWhenItIsSet();

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

void tst_RtlUsbSetters::openDeviceStoresAndCallsLibrary_data()
{
    setters();
}

void tst_RtlUsbSetters::openDeviceStoresAndCallsLibrary()
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

void tst_RtlUsbSetters::correctionTakesNumberAndKeepsWhetherThereIsOne()
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

QTEST_GUILESS_MAIN(tst_RtlUsbSetters)
#include "tst_RtlUsbSetters.moc"
