#include "RadioDevice/Drivers.h"
#include "RadioDevice/Watchdog.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace std::chrono_literals;

/// Libraries whose calls never come back: what each call of a start, of a setter or of a stop then does to
/// its device. Those of the enumerators are in tst_EnumeratorHangs.
class tst_DriverHangs : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void callOfAStartThatHangsFailsIt_data();
    void callOfAStartThatHangsFailsIt();
    void setterThatHangsGivesTheReceiverUp_data();
    void setterThatHangsGivesTheReceiverUp();
    void slowCallsOfAStartShareOneDeadline_data();
    void slowCallsOfAStartShareOneDeadline();
    void deviceMayGoBeforeTheCallThatItLeftBehind_data();
    void deviceMayGoBeforeTheCallThatItLeftBehind();
    void settersOfAReceiverThatAnswersCostLittle_data();
    void settersOfAReceiverThatAnswersCostLittle();

private:
    /// Every handle that was opened is closed again.
    void letGo(const Driver& driver, const QString& hang);
    [[nodiscard]] QStringList opened(const Driver& driver) const;

    FakeVendor m_vendor;
    QTemporaryDir m_folder;
};

namespace
{

constexpr std::chrono::milliseconds kDeadline = 120ms;
constexpr qint64 kLongMs = 1500; // for one deadline and what else there is to do

/// The calls of a start with the defaults, which are those that it can hang in; a later one of a name with
/// its number.
const QMap<QString, QStringList>& startCalls()
{
    static const QMap<QString, QStringList> calls{
        {QStringLiteral("RTL2832U"),
         {QStringLiteral("rtlsdr_open.1"), QStringLiteral("rtlsdr_set_sample_rate.1"),
          QStringLiteral("rtlsdr_get_tuner_type.1"), QStringLiteral("rtlsdr_set_direct_sampling.1"),
          QStringLiteral("rtlsdr_set_center_freq.1"), QStringLiteral("rtlsdr_set_agc_mode.1"),
          QStringLiteral("rtlsdr_set_tuner_gain_mode.1"), QStringLiteral("rtlsdr_reset_buffer.1")}},
        {QStringLiteral("Airspy HF+"),
         {QStringLiteral("airspyhf_open_sn.1"), QStringLiteral("airspyhf_get_samplerates.1"),
          QStringLiteral("airspyhf_get_samplerates.2"), QStringLiteral("airspyhf_set_samplerate.1"),
          QStringLiteral("airspyhf_start.1"), QStringLiteral("airspyhf_set_freq.1"),
          QStringLiteral("airspyhf_set_hf_agc.1"), QStringLiteral("airspyhf_set_hf_lna.1"),
          QStringLiteral("airspyhf_set_hf_att.1")}},
        {QStringLiteral("Airspy R2/mini"),
         {QStringLiteral("airspy_open_sn.1"), QStringLiteral("airspy_get_samplerates.1"),
          QStringLiteral("airspy_get_samplerates.2"), QStringLiteral("airspy_set_samplerate.1"),
          QStringLiteral("airspy_set_sample_type.1"), QStringLiteral("airspy_start_rx.1"),
          QStringLiteral("airspy_set_freq.1"), QStringLiteral("airspy_set_lna_agc.1"),
          QStringLiteral("airspy_set_mixer_agc.1"), QStringLiteral("airspy_set_linearity_gain.1")}},
        {QStringLiteral("RSP"),
         {QStringLiteral("mir_sdr_SetDeviceIdx.1"), QStringLiteral("mir_sdr_DebugEnable.1"),
          QStringLiteral("mir_sdr_DCoffsetIQimbalanceControl.1"), QStringLiteral("mir_sdr_StreamInit.1"),
          QStringLiteral("mir_sdr_SetSyncUpdatePeriod.1"),
          QStringLiteral("mir_sdr_SetSyncUpdateSampleNum.1")}},
    };
    return calls;
}

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

int received(const AbstractRadioDevice& device)
{
    const QMutexLocker lock(&device.inBuffer()->mutex);
    return device.inBuffer()->writeIndex;
}

QStringList leftBehind(const LogCapture& log)
{
    return log.texts(QtWarningMsg).filter(QStringLiteral("doesn't come back, it is left behind:"));
}

void writeAll(AbstractRadioDevice& device, const Driver& driver)
{
    for (const Driver::Property& property : driver.properties) {
        device.QObject::setProperty(property.name, property.other);
        device.QObject::setProperty(property.name, property.byDefault);
    }
}

} // namespace

void tst_DriverHangs::init()
{
    m_vendor.reset();
    // The first of an open receiver's rates is the one that a reset sets.
    m_vendor.set(QStringLiteral("airspyhf.rates"), QStringLiteral("768000 912000"));
}

QStringList tst_DriverHangs::opened(const Driver& driver) const
{
    return m_vendor.calls(driver.openCall).filter(QStringLiteral(" = 0"));
}

void tst_DriverHangs::letGo(const Driver& driver, const QString& hang)
{
    m_vendor.remove(hang);
    QTRY_VERIFY(!opened(driver).isEmpty() &&
                m_vendor.calls(driver.closeCall).size() >= opened(driver).size());
    QCOMPARE(m_vendor.calls().filter(QStringLiteral(" closed")), QStringList());
}

void tst_DriverHangs::callOfAStartThatHangsFailsIt_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    for (const Driver& driver : drivers(m_folder.path())) {
        for (const QString& call : startCalls().value(driver.name)) {
            QTest::newRow(qPrintable(call)) << driver << call;
        }
    }
}

void tst_DriverHangs::callOfAStartThatHangsFailsIt()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    const QString hang = QStringLiteral("hang.") + call;
    const auto device = driver.device(IQSource::kWatchdogInterval, kDeadline);
    m_vendor.set(hang, 1);
    QSignalSpy errors(device.get(), &Worker::errorHappen);
    QSignalSpy stopped(device.get(), &Worker::stopped);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY2(elapsed.elapsed() < kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QVERIFY(!errors.isEmpty());
    QCOMPARE(leftBehind(log).size(), 1);
    QVERIFY2(leftBehind(log).first().endsWith(call.section(QLatin1Char('.'), 0, 0)),
             qPrintable(leftBehind(log).first()));
    // Nothing more is asked of that receiver.
    const QStringList calls = m_vendor.calls();
    writeAll(*device, driver);
    device->stop();
    QCOMPARE(m_vendor.calls(), calls);
    QCOMPARE(leftBehind(log).size(), 1);
    // The call hangs on, and the next start doesn't wait for it.
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(received(*device) > 0);
    device->stop();
    letGo(driver, hang);
}

void tst_DriverHangs::setterThatHangsGivesTheReceiverUp_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<int>("setter");
    for (const Driver& driver : drivers(m_folder.path())) {
        const auto& all = setters().value(driver.name);
        for (int i = 0; i < all.size(); ++i) {
            QTest::newRow(all[i].constLast().call) << driver << i;
        }
    }
}

void tst_DriverHangs::setterThatHangsGivesTheReceiverUp()
{
    QFETCH(Driver, driver);
    QFETCH(int, setter);
    QVector<Setter> steps = setters().value(driver.name).at(setter);
    const Setter last = steps.takeLast();
    const Watchdog watchdog;
    const auto device = driver.device(Watchdog::kAtOnce, kDeadline);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(watchdog.isCaught());
    for (const Setter& step : steps) {
        device->QObject::setProperty(step.property, step.value);
    }
    QTRY_VERIFY(received(*device) > 0);
    const QString hang = QStringLiteral("hang.") + QLatin1String(last.call);
    m_vendor.set(hang, 1);
    QSignalSpy noData(device.get(), &AbstractRadioDevice::noData);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    device->QObject::setProperty(last.property, last.value);
    QVERIFY2(elapsed.elapsed() < kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(leftBehind(log).size(), 1);
    QVERIFY2(leftBehind(log).first().endsWith(QLatin1String(last.call)), qPrintable(leftBehind(log).first()));
    // No more samples come, which is what the watch ends a session for.
    QVERIFY(device->running());
    const int before = received(*device);
    watchdog.tick();
    watchdog.tick();
    QCOMPARE(noData.size(), 1);
    QCOMPARE(received(*device), before);
    // Nothing more is asked of that receiver, not even by the stop.
    const auto asked = [this] {
        QStringList calls = m_vendor.calls();
        calls.erase(std::remove_if(calls.begin(), calls.end(),
                                   [](const QString& call) { return call.contains(QLatin1String("async")); }),
                    calls.end());
        return calls;
    };
    const QStringList calls = asked();
    writeAll(*device, driver);
    device->stop();
    QCOMPARE(asked(), calls);
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(leftBehind(log).size(), 1);
    letGo(driver, hang);
    QVERIFY(device->start(false));
    QTRY_VERIFY(received(*device) != before);
    device->stop();
}

void tst_DriverHangs::slowCallsOfAStartShareOneDeadline_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : drivers(m_folder.path())) {
        if (!driver.openCall.isEmpty()) {
            QTest::newRow(qPrintable(driver.name)) << driver;
        }
    }
}

void tst_DriverHangs::slowCallsOfAStartShareOneDeadline()
{
    QFETCH(Driver, driver);
    const QStringList calls = startCalls().value(driver.name);
    const auto device = driver.device(IQSource::kWatchdogInterval, 300ms);
    for (const QString& call : calls) {
        m_vendor.set(QStringLiteral("delay.") + call.section(QLatin1Char('.'), 0, 0), 120);
    }
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY2(elapsed.elapsed() < 1200, qPrintable(QString::number(elapsed.elapsed())));
    QVERIFY(!device->running());
    QCOMPARE(leftBehind(log).size(), 1);
    for (const QString& call : calls) {
        m_vendor.remove(QStringLiteral("delay.") + call.section(QLatin1Char('.'), 0, 0));
    }
    QTRY_VERIFY(m_vendor.calls(driver.closeCall).size() >= opened(driver).size());
}

void tst_DriverHangs::deviceMayGoBeforeTheCallThatItLeftBehind_data()
{
    slowCallsOfAStartShareOneDeadline_data();
}

void tst_DriverHangs::deviceMayGoBeforeTheCallThatItLeftBehind()
{
    QFETCH(Driver, driver);
    auto device = driver.device(IQSource::kWatchdogInterval, kDeadline);
    QVERIFY(device->start(false));
    QTRY_VERIFY(received(*device) > 0);
    const Setter setter = setters().value(driver.name).first().first();
    const QString hang = QStringLiteral("hang.") + QLatin1String(setter.call);
    m_vendor.set(hang, 1);
    const LogCapture log;
    device->QObject::setProperty(setter.property, setter.value);
    QCOMPARE(leftBehind(log).size(), 1);
    // The library delivers still, and finds no device.
    device.reset();
    letGo(driver, hang);
}

void tst_DriverHangs::settersOfAReceiverThatAnswersCostLittle_data()
{
    slowCallsOfAStartShareOneDeadline_data();
}

void tst_DriverHangs::settersOfAReceiverThatAnswersCostLittle()
{
    QFETCH(Driver, driver);
    const auto device = driver.device();
    QVERIFY(device->start(false));
    const int threads = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs).size();
    const LogCapture log; // which has its own limits
    for (int i = 0; i < 3; ++i) {
        writeAll(*device, driver);
    }
    // Each call's thread is gone with it.
    QCOMPARE(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs).size(), threads);
    QVERIFY(device->running());
    device->stop();
}

QTEST_GUILESS_MAIN(tst_DriverHangs)
#include "tst_DriverHangs.moc"
