#include "RadioDevice/HangRig.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <algorithm>

/// Libraries whose calls never come back while the receiver streams.
class tst_SetterHangs : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_rig.reset(); }

    void setterThatHangsEndsTheSession_data();
    void setterThatHangsEndsTheSession();
    void deviceMayGoBeforeTheCallThatIsOut_data();
    void deviceMayGoBeforeTheCallThatIsOut();
    void slowSettersEachHaveADeadlineOfTheirOwn_data();
    void slowSettersEachHaveADeadlineOfTheirOwn();
    void settersOfAReceiverThatAnswersCostLittle_data();
    void settersOfAReceiverThatAnswersCostLittle();

private:
    /// What was asked of the library, without the reading of the RTL2832U.
    [[nodiscard]] QStringList asked() const;

    HangRig m_rig;
};

namespace
{

/// What the client hears where nothing else is told.
constexpr const char* kNoData = "No IQ data - stop!";

struct Setter
{
    const char* property;
    QVariant value;
    const char* call;
    const char* error = ""; ///< That the client hears.
};

/// Every call that a setter makes; the first ones of a row prepare the last.
const QMap<QString, QVector<QVector<Setter>>>& setters()
{
    static const QMap<QString, QVector<QVector<Setter>>> all{
        {QStringLiteral("RTL2832U"),
         {{{"sampleRate", 1.024e6, "rtlsdr_set_sample_rate", "Error set sampleRate! 1.024e+06"}},
          {{"frequency", 433e6, "rtlsdr_set_center_freq", "Error set RTLSDR LO 4.33e+08"}},
          {{"rtlPpm", 5, "rtlsdr_set_freq_correction", "Error set correction ppm = 1!"}},
          {{"offsetTuning", false, "rtlsdr_set_offset_tuning", "Error set offset tuning = 0!"}},
          {{"rtlAgc", false, "rtlsdr_set_agc_mode", "Error RTLUSB set agc rtl2832!"}},
          {{"tunerAgc", false, "rtlsdr_set_tuner_gain_mode", "Error RTLUSB set agc tuner!"}},
          {{"tunerAgc", false, nullptr},
           {"tunerGain", 297, "rtlsdr_set_tuner_gain", "Error set tuner gain = 297!"}},
          {{"samplingMode", 2, "rtlsdr_set_direct_sampling", "Error set sampling mpde = 2!"}}}},
        {QStringLiteral("Airspy HF+"),
         {{{"sampleRate", 912e3, "airspyhf_set_samplerate", "Error set sample rate!-1"}},
          {{"frequency", 7e6, "airspyhf_set_freq", "Error set frequency!-1"}},
          {{"lna", true, "airspyhf_set_hf_lna", "Error Airspy HF+ set LNA!"}},
          {{"agc", true, "airspyhf_set_hf_agc", "Error Airspy HF+ set AGC!"}},
          {{"att", 3, "airspyhf_set_hf_att", "Error Airspy HF+ set ATT!"}}}},
        {QStringLiteral("Airspy R2/mini"),
         {{{"sampleRate", 3e6, "airspy_set_samplerate", "Error set sample rate!-9999"}},
          {{"frequency", 433e6, "airspy_set_freq", "Error set frequency!-9999"}},
          {{"biasTee", true, "airspy_set_rf_bias", kNoData}},
          {{"gain", 7, "airspy_set_linearity_gain", kNoData}},
          {{"gainMode", 1, "airspy_set_sensitivity_gain", kNoData}},
          {{"gainMode", 2, "airspy_set_lna_agc", kNoData}},
          {{"gainMode", 2, "airspy_set_mixer_agc", kNoData}},
          {{"gainMode", 2, nullptr}, {"lnaAgc", false, "airspy_set_lna_gain", kNoData}},
          {{"gainMode", 2, nullptr}, {"mixerAgc", false, "airspy_set_mixer_gain", kNoData}},
          {{"gainMode", 2, nullptr}, {"vgaGain", 11, "airspy_set_vga_gain", kNoData}}}},
        {QStringLiteral("RSP"),
         {{{"frequency", 1001e6, "mir_sdr_SetRf", "Error set rsp lo frequency -1"}},
          {{"frequency", 433e6, "mir_sdr_Reinit", "Error set rsp lo frequency -1"}},
          {{"ant", 6, "mir_sdr_RSPII_AntennaControl", "Error select antenna port ...-1"}}}},
    };
    return all;
}

} // namespace

void tst_SetterHangs::setterThatHangsEndsTheSession_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<int>("setter");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        const auto& all = setters().value(driver.name);
        for (int i = 0; i < all.size(); ++i) {
            QTest::newRow(all[i].constLast().call) << driver << i;
        }
    }
}

void tst_SetterHangs::setterThatHangsEndsTheSession()
{
    QFETCH(Driver, driver);
    QFETCH(int, setter);
    QVector<Setter> steps = setters().value(driver.name).at(setter);
    const Setter last = steps.takeLast();
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QStringList heard;
    connect(device.get(), &Worker::errorHappen, device.get(),
            [&heard](const QString& text) { heard.append(text); });
    device->setNoDataCallback([&heard] { heard.append(QLatin1String(kNoData)); });
    QSignalSpy stopped(device.get(), &Worker::stopped);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    for (const Setter& step : steps) {
        device->QObject::setProperty(step.property, step.value);
    }
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const QString hang = QStringLiteral("hang.") + QLatin1String(last.call);
    m_rig.vendor.set(hang, 1);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    device->QObject::setProperty(last.property, last.value);
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY2(m_rig.out(log).first().endsWith(QLatin1String(last.call)), qPrintable(m_rig.out(log).first()));
    const int before = m_rig.received(*device);
    // The session ends with the next turn of the event loop, and the client hears why.
    QTRY_COMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(heard, QStringList{QString::fromLatin1(last.error)});
    QCOMPARE(m_rig.received(*device), before);
    // Nothing more is asked of that receiver while the call is out.
    const QStringList calls = asked();
    m_rig.writeAll(*device, driver);
    QVERIFY(device->start(false));
    QVERIFY(!device->running());
    QCOMPARE(asked(), calls);
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY(m_rig.letGo(driver, hang));
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) != before);
    device->stop();
}

QStringList tst_SetterHangs::asked() const
{
    QStringList calls = m_rig.vendor.calls();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const QString& call) { return call.contains(QLatin1String("async")); }),
                calls.end());
    return calls;
}

void tst_SetterHangs::deviceMayGoBeforeTheCallThatIsOut_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        QTest::newRow(qPrintable(driver.name)) << driver;
    }
}

void tst_SetterHangs::deviceMayGoBeforeTheCallThatIsOut()
{
    QFETCH(Driver, driver);
    auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const Setter setter = setters().value(driver.name).first().first();
    const QString hang = QStringLiteral("hang.") + QLatin1String(setter.call);
    m_rig.vendor.set(hang, 1);
    const LogCapture log;
    device->QObject::setProperty(setter.property, setter.value);
    QCOMPARE(m_rig.out(log).size(), 1);
    // The library delivers still, and finds no device.
    device.reset();
    QVERIFY(m_rig.letGo(driver, hang));
}

void tst_SetterHangs::slowSettersEachHaveADeadlineOfTheirOwn_data()
{
    deviceMayGoBeforeTheCallThatIsOut_data();
}

void tst_SetterHangs::slowSettersEachHaveADeadlineOfTheirOwn()
{
    QFETCH(Driver, driver);
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(device->start(false));
    for (const QVector<Setter>& steps : setters().value(driver.name)) {
        m_rig.vendor.set(QStringLiteral("delay.") + QLatin1String(steps.constLast().call), 100);
    }
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    m_rig.writeAll(*device, driver);
    // The one setter that makes several calls.
    device->QObject::setProperty("gainMode", 2);
    // The RSP has no other that asks its library.
    for (int i = 0; i < 4; ++i) {
        device->QObject::setProperty("frequency", i % 2 == 0 ? driver.properties.at(1).other
                                                             : driver.properties.at(1).byDefault);
    }
    QVERIFY(elapsed.elapsed() > HangRig::kDeadline.count());
    QCOMPARE(m_rig.out(log), QStringList());
    QCoreApplication::processEvents();
    QVERIFY(device->running());
    device->stop();
}

void tst_SetterHangs::settersOfAReceiverThatAnswersCostLittle_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        QTest::newRow(qPrintable(driver.name)) << driver;
    }
}

void tst_SetterHangs::settersOfAReceiverThatAnswersCostLittle()
{
    QFETCH(Driver, driver);
    const auto device = driver.device();
    QVERIFY(device->start(false));
    const int threads = HangRig::threads();
    const LogCapture log; // which has its own limits
    for (int i = 0; i < 3; ++i) {
        m_rig.writeAll(*device, driver);
    }
    QCOMPARE(HangRig::threads(), threads);
    QVERIFY(device->running());
    device->stop();
}

QTEST_GUILESS_MAIN(tst_SetterHangs)
#include "tst_SetterHangs.moc"
