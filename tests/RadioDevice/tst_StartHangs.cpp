#include "RadioDevice/HangRig.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

/// Libraries whose calls never come back in a start.
class tst_StartHangs : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_rig.reset(); }

    void callOfAStartThatHangsFailsIt_data();
    void callOfAStartThatHangsFailsIt();
    void slowCallsOfAStartShareOneDeadline_data();
    void slowCallsOfAStartShareOneDeadline();

private:
    HangRig m_rig;
};

namespace
{

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

} // namespace

void tst_StartHangs::callOfAStartThatHangsFailsIt_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        for (const QString& call : startCalls().value(driver.name)) {
            QTest::newRow(qPrintable(call)) << driver << call;
        }
    }
}

void tst_StartHangs::callOfAStartThatHangsFailsIt()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    const QString hang = QStringLiteral("hang.") + call;
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadline);
    m_rig.vendor.set(hang, 1);
    QSignalSpy errors(device.get(), &Worker::errorHappen);
    QSignalSpy stopped(device.get(), &Worker::stopped);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QVERIFY(!errors.isEmpty());
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    QVERIFY2(m_rig.leftBehind(log).first().endsWith(call.section(QLatin1Char('.'), 0, 0)),
             qPrintable(m_rig.leftBehind(log).first()));
    // Nothing more is asked of that receiver.
    const QStringList calls = m_rig.vendor.calls();
    m_rig.writeAll(*device, driver);
    device->stop();
    QCOMPARE(m_rig.vendor.calls(), calls);
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    // The call hangs on, and the next start doesn't wait for it.
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(m_rig.received(*device) > 0);
    device->stop();
    QVERIFY(m_rig.letGo(driver, hang));
}

void tst_StartHangs::slowCallsOfAStartShareOneDeadline_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& driver : m_rig.vendorDrivers()) {
        QTest::newRow(qPrintable(driver.name)) << driver;
    }
}

void tst_StartHangs::slowCallsOfAStartShareOneDeadline()
{
    QFETCH(Driver, driver);
    const QStringList calls = startCalls().value(driver.name);
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadline);
    for (const QString& call : calls) {
        m_rig.vendor.set(QStringLiteral("delay.") + call.section(QLatin1Char('.'), 0, 0), 120);
    }
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QVERIFY(!device->running());
    QCOMPARE(m_rig.leftBehind(log).size(), 1);
    for (const QString& call : calls) {
        m_rig.vendor.remove(QStringLiteral("delay.") + call.section(QLatin1Char('.'), 0, 0));
    }
    QTRY_VERIFY(m_rig.vendor.calls(driver.closeCall).size() >= m_rig.opened(driver));
}

QTEST_GUILESS_MAIN(tst_StartHangs)
#include "tst_StartHangs.moc"
