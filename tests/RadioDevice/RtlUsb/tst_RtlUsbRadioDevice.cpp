#include "RtlUsbRig.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <QtTest>

class tst_RtlUsbRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void newDeviceListsItsTwoLimitsAsIfTheyWereRates();
    void newDeviceHasItsConstructionValues();
    void resetGivesDefaultsOfSession();
    void propertiesAreReadWrittenAndResetWithoutSignal();
    void destructionIsLogged();

    void startMakesEveryCallInOrder();
    void startWithoutTunerAgcSetsGain();
    void startOpensDongleOfRecord();
    void startLogsDongleAndItsTuner_data();
    void startLogsDongleAndItsTuner();
    void startBuildsFrequencyTables();
    void startTellsTunedFrequency();
    void startCorrectsWhatIsCorrectedAlready();
    void startRepeatsNeitherCorrectionNorOffsetTuningNorBiasTee();
    void startSurvivesRefusedSetters();

    void sampleRateChangedWhileStoppedIsUsedByNextStart();
    void stopCancelsReadThenCloses();
    void stopOfStoppedDeviceTouchesNoHardware();
    void deviceStartsAgainAfterStop();

private:
    FakeVendor m_vendor;
};

namespace
{

const QString kAnyReset = QStringLiteral("rtlsdr_reset_buffer(dev1) = 0");

} // namespace

void tst_RtlUsbRadioDevice::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffers"), 0);
}

void tst_RtlUsbRadioDevice::newDeviceListsItsTwoLimitsAsIfTheyWereRates()
{
    const RtlUsbRadioDevice device(QSharedPointer<RtlUsbRadioDevice::DeviceInfo>::create(), nullptr);
    QCOMPARE(device.supportSampleRates().join(QLatin1Char(' ')),
             QStringLiteral("3200000 2880000 2400000 2048000 1800000 1600000 1152000 1024000 960000 300000 "
                            "250000 50000 2200000"));
    QCOMPARE(device.supportFrequencies(), QStringList());
    QVERIFY(device.isFrequencySupported(50'000'000.0));
    QVERIFY(device.isFrequencySupported(2'200'000'000.0));
    QVERIFY(!device.isFrequencySupported(49'999'999.0));
    QVERIFY(!device.isFrequencySupported(2'200'000'001.0));
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RtlUsbRadioDevice::newDeviceHasItsConstructionValues()
{
    const RtlUsbRadioDevice device(QSharedPointer<RtlUsbRadioDevice::DeviceInfo>::create(), nullptr);
    QCOMPARE(device.type(), 5);
    QCOMPARE(device.sampleRate(), -1.0);
    QCOMPARE(device.frequency(), 0.0);
    QVERIFY(!device.biasTee() && !device.rtlPpm() && !device.offsetTuning() && !device.rtlAgc() &&
            !device.tunerAgc());
    QCOMPARE(device.tunerGain(), 0);
    QCOMPARE(device.samplingMode(), 0);
}

void tst_RtlUsbRadioDevice::resetGivesDefaultsOfSession()
{
    const RtlUsbRig rig(m_vendor);
    QCOMPARE(rig.device->sampleRate(), 2'048'000.0);
    QCOMPARE(rig.device->frequency(), 100'000'000.0);
    QVERIFY(!rig.device->biasTee() && !rig.device->rtlPpm());
    QVERIFY(rig.device->offsetTuning() && rig.device->rtlAgc() && rig.device->tunerAgc());
    QCOMPARE(rig.device->tunerGain(), 0);
    QCOMPARE(rig.device->samplingMode(), 0);
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RtlUsbRadioDevice::propertiesAreReadWrittenAndResetWithoutSignal()
{
    const QMetaObject& meta = RtlUsbRadioDevice::staticMetaObject;
    const QStringList expected{QStringLiteral("bool biasTee"),      QStringLiteral("bool rtlPpm"),
                               QStringLiteral("bool offsetTuning"), QStringLiteral("bool rtlAgc"),
                               QStringLiteral("bool tunerAgc"),     QStringLiteral("int tunerGain"),
                               QStringLiteral("int samplingMode")};
    QStringList found;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        found.append(QLatin1String(property.typeName()) + QLatin1Char(' ') + QLatin1String(property.name()));
        QVERIFY(property.isReadable() && property.isWritable() && property.isResettable());
        QVERIFY(!property.hasNotifySignal());
    }
    QCOMPARE(found, expected);
}

void tst_RtlUsbRadioDevice::destructionIsLogged()
{
    RtlUsbRig rig(m_vendor);
    rig.forget();
    rig.device.reset();
    QCOMPARE(rig.log.texts().constFirst(), QStringLiteral("Destruct class .. RtlUsbRadioDevice"));
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RtlUsbRadioDevice::startMakesEveryCallInOrder()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    QCOMPARE(rig.device->blockSize(), 32'768);
    QTRY_COMPARE(m_vendor.calls(), (QStringList{QStringLiteral("rtlsdr_open(0) = 0"),
                                                QStringLiteral("rtlsdr_set_sample_rate(dev1, 2048000) = 0"),
                                                QStringLiteral("rtlsdr_get_tuner_type(dev1) = 5"),
                                                QStringLiteral("rtlsdr_set_direct_sampling(dev1, 0) = 0"),
                                                QStringLiteral("rtlsdr_set_center_freq(dev1, 100000000) = 0"),
                                                QStringLiteral("rtlsdr_set_agc_mode(dev1, 1) = 0"),
                                                QStringLiteral("rtlsdr_set_tuner_gain_mode(dev1, 1) = 0"),
                                                QStringLiteral("rtlsdr_reset_buffer(dev1) = 0"),
                                                QStringLiteral("rtlsdr_read_async(dev1, 0, 65536) = 0")}));
    QCOMPARE(rig.errors, QStringList());
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbRadioDevice::startWithoutTunerAgcSetsGain()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setTunerAgc(false);
    rig.device->setRtlAgc(false);
    rig.device->setTunerGain(496);
    rig.device->setSamplingMode(2);
    QVERIFY(rig.device->start(false));
    const QStringList calls = rig.calls();
    QCOMPARE(calls.mid(3), (QStringList{QStringLiteral("rtlsdr_set_direct_sampling(dev1, 2) = 0"),
                                        QStringLiteral("rtlsdr_set_center_freq(dev1, 100000000) = 0"),
                                        QStringLiteral("rtlsdr_set_agc_mode(dev1, 0) = 0"),
                                        QStringLiteral("rtlsdr_set_tuner_gain_mode(dev1, 0) = 0"),
                                        QStringLiteral("rtlsdr_set_tuner_gain(dev1, 496) = 0"), kAnyReset}));
}

void tst_RtlUsbRadioDevice::startOpensDongleOfRecord()
{
    m_vendor.set(QStringLiteral("devices"), 13);
    RtlUsbRig rig(m_vendor, {}, QStringLiteral("12"));
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.calls().constFirst(), QStringLiteral("rtlsdr_open(12) = 0"));
}

void tst_RtlUsbRadioDevice::startLogsDongleAndItsTuner_data()
{
    QTest::addColumn<int>("tuner");
    QTest::addColumn<QString>("lowest");
    QTest::newRow("unknown") << 0 << QString();
    QTest::newRow("E4000") << 1 << QStringLiteral("52000000");
    QTest::newRow("FC0012") << 2 << QStringLiteral("22000000");
    QTest::newRow("FC0013") << 3 << QStringLiteral("22000000");
    QTest::newRow("FC2580") << 4 << QStringLiteral("146000000");
    QTest::newRow("R820T") << 5 << QStringLiteral("24000000");
    QTest::newRow("R828D") << 6 << QStringLiteral("24000000");
    QTest::newRow("beyond the table") << 7 << QString();
    QTest::newRow("below it") << -1 << QString();
}

void tst_RtlUsbRadioDevice::startLogsDongleAndItsTuner()
{
    QFETCH(int, tuner);
    QFETCH(QString, lowest);
    m_vendor.set(QStringLiteral("rtlsdr_get_tuner_type"), tuner);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    const QStringList lines = rig.log.texts(QtDebugMsg);
    const int at = lines.indexOf(QStringLiteral("Start rtlsdr dongle # 0 ..."));
    QVERIFY(at > 0);
    QCOMPARE(lines.value(at + 1), QStringLiteral("rtl type  %1").arg(tuner));
    if (lowest.isEmpty()) {
        QVERIFY(!lines.value(at + 2).startsWith(QLatin1String("min freq:")));
    } else {
        QCOMPARE(lines.value(at + 2), QStringLiteral("min freq: ") + lowest);
    }
}

void tst_RtlUsbRadioDevice::startBuildsFrequencyTables()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.device->supportFrequencies(),
             (QStringList{QStringLiteral("24000"), QStringLiteral("2200000")}));
    QCOMPARE(rig.device->supportSampleRates().size(), 13);
    // What a start has built outlasts the stop.
    rig.device->stop();
    QCOMPARE(rig.device->supportFrequencies().size(), 2);
}

void tst_RtlUsbRadioDevice::startTellsTunedFrequency()
{
    RtlUsbRig rig(m_vendor);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    QVERIFY(rig.device->start(false));
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 100'000'000.0);
}

void tst_RtlUsbRadioDevice::startCorrectsWhatIsCorrectedAlready()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setPpmCorrection(100);
    rig.device->setFrequency(100'000'000.0);
    QSignalSpy frequencyChanged(rig.device.get(), &AbstractRadioDevice::frequencyChanged);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.calls().contains(QStringLiteral("rtlsdr_set_center_freq(dev1, 100010001) = 0")));
    const double once = 100'000'000.0 / (1.0 - 100e-6);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), once / (1.0 - 100e-6));
    rig.device->stop();
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.calls().contains(QStringLiteral("rtlsdr_set_center_freq(dev2, 100020003) = 0")));
}

void tst_RtlUsbRadioDevice::startRepeatsNeitherCorrectionNorOffsetTuningNorBiasTee()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setRtlPpm(7);
    rig.device->setOffsetTuning(true);
    rig.device->setBiasTee(true);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->rtlPpm() && rig.device->offsetTuning() && rig.device->biasTee());
    for (const char* name :
         {"rtlsdr_set_freq_correction", "rtlsdr_set_offset_tuning", "rtlsdr_set_bias_tee"}) {
        QCOMPARE(m_vendor.calls(QLatin1String(name)), QStringList());
    }
}

void tst_RtlUsbRadioDevice::startSurvivesRefusedSetters()
{
    for (const char* name : {"rtlsdr_set_direct_sampling", "rtlsdr_set_center_freq", "rtlsdr_set_agc_mode",
                             "rtlsdr_set_tuner_gain_mode", "rtlsdr_set_tuner_gain", "rtlsdr_reset_buffer"}) {
        m_vendor.set(QLatin1String(name), -5);
    }
    RtlUsbRig rig(m_vendor);
    rig.device->setTunerAgc(false);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    const QStringList errors{
        QStringLiteral("Error set sampling mpde = 0!"), QStringLiteral("Error RTLUSB set agc rtl2832!"),
        QStringLiteral("Error RTLUSB set agc tuner!"), QStringLiteral("Error set tuner gain = 0!")};
    QCOMPARE(rig.errors, errors);
    QStringList warnings = errors;
    warnings.insert(1, QStringLiteral("Error set RTLSDR LO  1e+08"));
    QCOMPARE(rig.warnings(), warnings);
}

void tst_RtlUsbRadioDevice::sampleRateChangedWhileStoppedIsUsedByNextStart()
{
    RtlUsbRig rig(m_vendor);
    rig.device->setSampleRate(1'024'000.0);
    QCOMPARE(m_vendor.calls(), QStringList());
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.calls().value(1), QStringLiteral("rtlsdr_set_sample_rate(dev1, 1024000) = 0"));
    rig.device->stop();
    rig.forget();
    rig.device->setSampleRate(2'400'000.9);
    QCOMPARE(m_vendor.calls(), QStringList());
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.calls().value(1), QStringLiteral("rtlsdr_set_sample_rate(dev2, 2400000) = 0"));
}

void tst_RtlUsbRadioDevice::stopCancelsReadThenCloses()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async")).size(), 1);
    QSignalSpy stopped(rig.device.get(), &Worker::stopped);
    // The news goes out before the hardware is touched.
    connect(rig.device.get(), &Worker::stopped, rig.device.get(), [&rig] { rig.forget(); });
    rig.device->stop();
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    const QStringList calls = m_vendor.calls();
    QCOMPARE(calls.constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
    QCOMPARE(calls.count(QStringLiteral("rtlsdr_cancel_async(dev1) = 0")), 1);
    QCOMPARE(calls.count(QStringLiteral("rtlsdr_read_async ends")), 1);
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbRadioDevice::stopOfStoppedDeviceTouchesNoHardware()
{
    RtlUsbRig rig(m_vendor);
    rig.device->stop();
    QCOMPARE(m_vendor.calls(), QStringList());
    rig.device->start(false);
    rig.device->stop();
    rig.forget();
    rig.device->stop();
    QVERIFY(QMetaObject::invokeMethod(rig.device.get(), "onStop", Qt::DirectConnection));
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_RtlUsbRadioDevice::deviceStartsAgainAfterStop()
{
    RtlUsbRig rig(m_vendor);
    for (int i = 1; i <= 3; ++i) {
        rig.forget();
        QVERIFY(rig.device->start(false));
        QVERIFY(rig.device->running());
        rig.device->stop();
        QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")),
                 QStringList{QStringLiteral("rtlsdr_close(dev%1) = 0").arg(i)});
    }
}

QTEST_GUILESS_MAIN(tst_RtlUsbRadioDevice)
#include "tst_RtlUsbRadioDevice.moc"
