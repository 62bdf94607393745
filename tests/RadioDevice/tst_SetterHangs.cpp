#include "RadioDevice/HangRig.h"
#include "RadioDevice/Watchdog.h"

#include <QDir>
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

    void setterThatHangsGivesTheReceiverUp_data();
    void setterThatHangsGivesTheReceiverUp();
    void deviceMayGoBeforeTheCallThatItLeftBehind_data();
    void deviceMayGoBeforeTheCallThatItLeftBehind();
    void settersOfAReceiverThatAnswersCostLittle_data();
    void settersOfAReceiverThatAnswersCostLittle();

private:
    HangRig m_rig;
};

namespace
{

struct Setter
{
    const char* property;
    QVariant value;
    const char* call;
};

/// Every call that a setter makes; the first ones of a row prepare the last.
const QMap<QString, QVector<QVector<Setter>>>& setters()
{
    static const QMap<QString, QVector<QVector<Setter>>> all{
        {QStringLiteral("RTL2832U"),
         {{{"sampleRate", 1.024e6, "rtlsdr_set_sample_rate"}},
          {{"frequency", 433e6, "rtlsdr_set_center_freq"}},
          {{"rtlPpm", 5, "rtlsdr_set_freq_correction"}},
          {{"offsetTuning", false, "rtlsdr_set_offset_tuning"}},
          {{"rtlAgc", false, "rtlsdr_set_agc_mode"}},
          {{"tunerAgc", false, "rtlsdr_set_tuner_gain_mode"}},
          {{"tunerAgc", false, nullptr}, {"tunerGain", 297, "rtlsdr_set_tuner_gain"}},
          {{"samplingMode", 2, "rtlsdr_set_direct_sampling"}}}},
        {QStringLiteral("Airspy HF+"),
         {{{"sampleRate", 912e3, "airspyhf_set_samplerate"}},
          {{"frequency", 7e6, "airspyhf_set_freq"}},
          {{"lna", true, "airspyhf_set_hf_lna"}},
          {{"agc", true, "airspyhf_set_hf_agc"}},
          {{"att", 3, "airspyhf_set_hf_att"}}}},
        {QStringLiteral("Airspy R2/mini"),
         {{{"sampleRate", 3e6, "airspy_set_samplerate"}},
          {{"frequency", 433e6, "airspy_set_freq"}},
          {{"biasTee", true, "airspy_set_rf_bias"}},
          {{"gain", 7, "airspy_set_linearity_gain"}},
          {{"gainMode", 1, "airspy_set_sensitivity_gain"}},
          {{"gainMode", 2, "airspy_set_lna_agc"}},
          {{"gainMode", 2, "airspy_set_mixer_agc"}},
          {{"gainMode", 2, nullptr}, {"lnaAgc", false, "airspy_set_lna_gain"}},
          {{"gainMode", 2, nullptr}, {"mixerAgc", false, "airspy_set_mixer_gain"}},
          {{"gainMode", 2, nullptr}, {"vgaGain", 11, "airspy_set_vga_gain"}}}},
        {QStringLiteral("RSP"),
         {{{"frequency", 1001e6, "mir_sdr_SetRf"}},
          {{"frequency", 433e6, "mir_sdr_Reinit"}},
          {{"ant", 6, "mir_sdr_RSPII_AntennaControl"}}}},
    };
    return all;
}

} // namespace

void tst_SetterHangs::setterThatHangsGivesTheReceiverUp_data()
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

void tst_SetterHangs::setterThatHangsGivesTheReceiverUp()
{
    QFETCH(Driver, driver);
    QFETCH(int, setter);
    QVector<Setter> steps = setters().value(driver.name).at(setter);
    const Setter last = steps.takeLast();
    const Watchdog watchdog;
    const auto device = driver.device(Watchdog::kAtOnce, HangRig::kDeadline);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(watchdog.isCaught());
    for (const Setter& step : steps) {
        device->QObject::setProperty(step.property, step.value);
    }
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const QString hang = QStringLiteral("hang.") + QLatin1String(last.call);
    m_rig.vendor.set(hang, 1);
    QSignalSpy noData(device.get(), &AbstractRadioDevice::noData);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    device->QObject::setProperty(last.property, last.value);
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    QVERIFY2(m_rig.leftBehind(log).first().endsWith(QLatin1String(last.call)),
             qPrintable(m_rig.leftBehind(log).first()));
    // No more samples come, which is what the watch ends a session for.
    QVERIFY(device->running());
    const int before = m_rig.received(*device);
    watchdog.tick();
    watchdog.tick();
    QCOMPARE(noData.size(), 1);
    QCOMPARE(m_rig.received(*device), before);
    // Nothing more is asked of that receiver, not even by the stop.
    const auto asked = [this] {
        QStringList calls = m_rig.vendor.calls();
        calls.erase(std::remove_if(calls.begin(), calls.end(),
                                   [](const QString& call) { return call.contains(QLatin1String("async")); }),
                    calls.end());
        return calls;
    };
    const QStringList calls = asked();
    m_rig.writeAll(*device, driver);
    device->stop();
    QCOMPARE(asked(), calls);
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    QVERIFY(m_rig.letGo(driver, hang));
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) != before);
    device->stop();
}

void tst_SetterHangs::deviceMayGoBeforeTheCallThatItLeftBehind_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        QTest::newRow(qPrintable(driver.name)) << driver;
    }
}

void tst_SetterHangs::deviceMayGoBeforeTheCallThatItLeftBehind()
{
    QFETCH(Driver, driver);
    auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadline);
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const Setter setter = setters().value(driver.name).first().first();
    const QString hang = QStringLiteral("hang.") + QLatin1String(setter.call);
    m_rig.vendor.set(hang, 1);
    const LogCapture log;
    device->QObject::setProperty(setter.property, setter.value);
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    // The library delivers still, and finds no device.
    device.reset();
    QVERIFY(m_rig.letGo(driver, hang));
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
    const int threads = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs).size();
    const LogCapture log; // which has its own limits
    for (int i = 0; i < 3; ++i) {
        m_rig.writeAll(*device, driver);
    }
    // Each call's thread is gone with it.
    QCOMPARE(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs).size(), threads);
    QVERIFY(device->running());
    device->stop();
}

QTEST_GUILESS_MAIN(tst_SetterHangs)
#include "tst_SetterHangs.moc"
