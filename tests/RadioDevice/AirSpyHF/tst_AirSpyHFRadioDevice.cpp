#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpyFamily/FamilyReceiverTests.h"
#include "RadioDevice/AirSpyHF/AirSpyHFFamily.h"
#include "support/LogCapture.h"

#include <QSignalSpy>

using namespace std::chrono_literals;

/// The receiver's tables, its start and its stop.
class tst_AirSpyHFRadioDevice : public OfFamily<FamilyReceiverTests, AirSpyHFRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpyHFRadioDevice()
        : OfFamily(airSpyHFFamily())
    {
    }

private slots:

    void newReceiverHasItsFixedTables();
    void bandsHaveGap_data();
    void bandsHaveGap();
    void resetGivesDefaults();

    void startMakesItsCallsInOrder();
    void startAppliesWhatIsStored();
    void settingThatFailsIsOnlyLogged_data();
    void settingThatFailsIsOnlyLogged();

    void rateThatIsNotInListBecomesFirst();
    void startWithoutResetTakesFirstRate();

    void stopThatFailsLeavesReceiverOpen_data();
    void stopThatFailsLeavesReceiverOpen();
    void receiverLeftOpenIsClosedByNextStart();
    void receiverLeftOpenIsClosedWhenItGoes();
    void closeThatNeverReturnsAfterUnplugHoldsNobody();
};

void tst_AirSpyHFRadioDevice::newReceiverHasItsFixedTables()
{
    const auto receiver = m_rig.fresh();
    QCOMPARE(receiver->type(), 6);
    QCOMPARE(receiver->supportSampleRates(), QStringList{QStringLiteral("768000")});
    QCOMPARE(receiver->supportFrequencies(),
             (QStringList{QStringLiteral("500"), QStringLiteral("31000"), QStringLiteral("60000"),
                          QStringLiteral("260000")}));
    QCOMPARE(receiver->sampleRate(), -1.0);
    QCOMPARE(receiver->frequency(), 0.0);
    QCOMPARE(receiver->blockSize(), 2048);
    QCOMPARE(receiver->lna(), false);
    QCOMPARE(receiver->agc(), false);
    QCOMPARE(receiver->att(), 0);
}

void tst_AirSpyHFRadioDevice::bandsHaveGap_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<bool>("supported");
    QTest::newRow("below") << 499'999.9 << false;
    QTest::newRow("lowest") << 500'000.0 << true;
    QTest::newRow("end of shortwave") << 31'000'000.0 << true;
    QTest::newRow("gap begins") << 31'000'000.1 << false;
    QTest::newRow("gap ends") << 59'999'999.9 << false;
    QTest::newRow("begin of VHF") << 60'000'000.0 << true;
    QTest::newRow("highest") << 260'000'000.0 << true;
    QTest::newRow("above") << 260'000'000.1 << false;
}

void tst_AirSpyHFRadioDevice::bandsHaveGap()
{
    QFETCH(double, frequency);
    QFETCH(bool, supported);
    QCOMPARE(m_rig.fresh()->isFrequencySupported(frequency), supported);
}

void tst_AirSpyHFRadioDevice::resetGivesDefaults()
{
    const auto receiver = m_rig.fresh();
    receiver->setLna(true);
    receiver->setAgc(true);
    receiver->setAtt(8);
    QVERIFY(receiver->reset());
    QCOMPARE(receiver->lna(), false);
    QCOMPARE(receiver->agc(), false);
    QCOMPARE(receiver->att(), 0);
    QCOMPARE(receiver->sampleRate(), 768'000.0);
    // The middle of shortwave.
    QCOMPARE(receiver->frequency(), 15'750'000.0);
}

void tst_AirSpyHFRadioDevice::startMakesItsCallsInOrder()
{
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspyhf_open_sn(7) = 0"),
                                            QStringLiteral("airspyhf_get_samplerates(dev1, 0) = 0"),
                                            QStringLiteral("airspyhf_get_samplerates(dev1, 3) = 0"),
                                            QStringLiteral("airspyhf_set_samplerate(dev1, 768000) = 0"),
                                            QStringLiteral("airspyhf_start(dev1) = 0"),
                                            QStringLiteral("airspyhf_set_freq(dev1, 15750000) = 0"),
                                            QStringLiteral("airspyhf_set_hf_agc(dev1, 0) = 0"),
                                            QStringLiteral("airspyhf_set_hf_lna(dev1, 0) = 0"),
                                            QStringLiteral("airspyhf_set_hf_att(dev1, 0) = 0")}));
}

void tst_AirSpyHFRadioDevice::startAppliesWhatIsStored()
{
    const auto receiver = m_rig.make();
    receiver->setLna(true);
    receiver->setAgc(true);
    receiver->setAtt(8);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls().mid(6), (QStringList{QStringLiteral("airspyhf_set_hf_agc(dev1, 1) = 0"),
                                                   QStringLiteral("airspyhf_set_hf_lna(dev1, 1) = 0"),
                                                   QStringLiteral("airspyhf_set_hf_att(dev1, 8) = 0")}));
}

void tst_AirSpyHFRadioDevice::settingThatFailsIsOnlyLogged_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("text");
    QTest::newRow("agc") << QStringLiteral("airspyhf_set_hf_agc")
                         << QStringLiteral(" =>\t Error set hf agc!");
    QTest::newRow("lna") << QStringLiteral("airspyhf_set_hf_lna")
                         << QStringLiteral(" =>\t Error set hf lna!");
    QTest::newRow("att") << QStringLiteral("airspyhf_set_hf_att")
                         << QStringLiteral(" =>\t Error set hf att!");
}

void tst_AirSpyHFRadioDevice::settingThatFailsIsOnlyLogged()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    m_vendor.set(call, 1);
    const auto receiver = m_rig.make();
    const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QVERIFY(errorHappen.isEmpty());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(text));
    QCOMPARE(m_vendor.calls().size(), 9);
}

void tst_AirSpyHFRadioDevice::rateThatIsNotInListBecomesFirst()
{
    m_vendor.set(QStringLiteral("airspyhf.rates"), QStringLiteral("650000 228000"));
    const auto receiver = m_rig.make();
    QSignalSpy sampleRateChanged(receiver.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 650'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_set_samplerate")),
             QStringList{QStringLiteral("airspyhf_set_samplerate(dev1, 650000) = 0")});
}

void tst_AirSpyHFRadioDevice::startWithoutResetTakesFirstRate()
{
    const auto receiver = m_rig.fresh();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 912'000.0);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_set_freq")),
             QStringList{QStringLiteral("airspyhf_set_freq(dev1, 0) = 0")});
}

void tst_AirSpyHFRadioDevice::stopThatFailsLeavesReceiverOpen_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("-1") << -1;
    QTest::newRow("1") << 1;
}

void tst_AirSpyHFRadioDevice::stopThatFailsLeavesReceiverOpen()
{
    QFETCH(int, result);
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_stop"), result);
    {
        const LogCapture log;
        receiver->stop();
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg)
                    .constFirst()
                    .endsWith(QStringLiteral(" =>\t airspyhf_stop failed: %1").arg(result)));
    }
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_stop(dev1) = %1").arg(result)});
    m_vendor.clearCalls();
    receiver->setLna(true);
    receiver->setFrequency(1e7);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_set_hf_lna(dev1, 1) = 0")});
}

void tst_AirSpyHFRadioDevice::receiverLeftOpenIsClosedByNextStart()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_stop.1"), -1);
    {
        const LogCapture log;
        receiver->stop();
    }
    m_vendor.clearCalls();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(m_vendor.calls().mid(0, 2), (QStringList{QStringLiteral("airspyhf_close(dev1) = 0"),
                                                      QStringLiteral("airspyhf_open_sn(7) = 0")}));
}

void tst_AirSpyHFRadioDevice::receiverLeftOpenIsClosedWhenItGoes()
{
    auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_stop.1"), -1);
    {
        const LogCapture log;
        receiver->stop();
    }
    m_vendor.clearCalls();
    receiver.reset();
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_close(dev1) = 0")});
}

void tst_AirSpyHFRadioDevice::closeThatNeverReturnsAfterUnplugHoldsNobody()
{
    auto receiver = m_rig.started({300ms, 300ms});
    QTRY_VERIFY(written(*receiver) > 0);
    m_vendor.set(QStringLiteral("hang.airspyhf_close"), 1);
    m_vendor.set(QStringLiteral("unplug"), 1);
    {
        const LogCapture log;
        receiver->stop();
        receiver.reset();
        // The stop fails for want of a receiver, and the close hangs.
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
        QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String("airspyhf_stop failed: -1")));
        QVERIFY(log.texts(QtWarningMsg).constLast().endsWith(QLatin1String("airspyhf_close")));
    }
    m_vendor.set(QStringLiteral("unplug"), 0);
    m_vendor.set(QStringLiteral("hang.airspyhf_close"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("airspyhf_close(dev1")).size(), 1);
    const auto next = m_rig.make();
    QVERIFY(next->start(false));
    QTRY_VERIFY(written(*next) > 0);
}

QTEST_GUILESS_MAIN(tst_AirSpyHFRadioDevice)
#include "tst_AirSpyHFRadioDevice.moc"
