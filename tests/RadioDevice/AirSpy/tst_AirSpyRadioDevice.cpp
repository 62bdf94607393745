#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/AirSpyR2Family.h"
#include "RadioDevice/AirSpyFamily/FamilyReceiverTests.h"
#include "support/LogCapture.h"

#include <QSignalSpy>

using namespace std::chrono_literals;

/// The receiver's tables, its start and its stop.
class tst_AirSpyRadioDevice : public OfFamily<FamilyReceiverTests, AirSpyRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpyRadioDevice()
        : OfFamily(airSpyR2Family())
    {
    }

private slots:

    void newReceiverHasItsFixedTables();
    void newReceiverHasItsFirstSettings();
    void resetGivesDefaults();

    void startMakesItsCallsInOrder();
    void startAppliesGainsOfEachMode_data();
    void startAppliesGainsOfEachMode();
    void startLeavesBiasTeeAlone();
    void resultOfOneIsSuccess();

    void stopThatFailsStillCloses();
    void failedStartWhoseCloseHangsHoldsNobody();
    void unpluggedReceiverStopsAndStartsAgain();
};

void tst_AirSpyRadioDevice::newReceiverHasItsFixedTables()
{
    const auto receiver = m_rig.fresh();
    QCOMPARE(receiver->type(), 7);
    QCOMPARE(receiver->supportSampleRates(), QStringList{QStringLiteral("6000000")});
    QCOMPARE(receiver->supportFrequencies(),
             (QStringList{QStringLiteral("24000"), QStringLiteral("1700000")}));
    QCOMPARE(receiver->sampleRate(), 3'000'000.0);
    QCOMPARE(receiver->frequency(), 0.0);
    QCOMPARE(receiver->blockSize(), 2048);
    QVERIFY(receiver->isFrequencySupported(24'000'000.0));
    QVERIFY(receiver->isFrequencySupported(1'700'000'000.0));
    QVERIFY(!receiver->isFrequencySupported(23'999'999.9));
    QVERIFY(!receiver->isFrequencySupported(1'700'000'000.1));
}

void tst_AirSpyRadioDevice::newReceiverHasItsFirstSettings()
{
    const auto receiver = m_rig.fresh();
    QCOMPARE(receiver->biasTee(), false);
    QCOMPARE(receiver->gainMode(), 0);
    QCOMPARE(receiver->gain(), 0);
    QCOMPARE(receiver->lnaAgc(), true);
    QCOMPARE(receiver->lnaGain(), 5);
    QCOMPARE(receiver->mixerAgc(), true);
    QCOMPARE(receiver->mixerGain(), 5);
    QCOMPARE(receiver->vgaGain(), 5);
}

void tst_AirSpyRadioDevice::resetGivesDefaults()
{
    const auto receiver = m_rig.fresh();
    receiver->setBiasTee(true);
    receiver->setGainMode(2);
    receiver->setLnaAgc(false);
    receiver->setLnaGain(1);
    receiver->setMixerAgc(false);
    receiver->setMixerGain(2);
    receiver->setVgaGain(3);
    QVERIFY(receiver->reset());
    QCOMPARE(receiver->biasTee(), false);
    QCOMPARE(receiver->gainMode(), 0);
    QCOMPARE(receiver->gain(), 12);
    QCOMPARE(receiver->lnaAgc(), true);
    QCOMPARE(receiver->lnaGain(), 5);
    QCOMPARE(receiver->mixerAgc(), true);
    QCOMPARE(receiver->mixerGain(), 5);
    QCOMPARE(receiver->vgaGain(), 5);
    QCOMPARE(receiver->sampleRate(), 6'000'000.0);
    QCOMPARE(receiver->frequency(), 100'000'000.0);
}

void tst_AirSpyRadioDevice::startMakesItsCallsInOrder()
{
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("10000000 2500000"));
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspy_open_sn(7) = 0"),
                                            QStringLiteral("airspy_get_samplerates(dev1, 0) = 0"),
                                            QStringLiteral("airspy_get_samplerates(dev1, 2) = 0"),
                                            QStringLiteral("airspy_set_samplerate(dev1, 10000000) = 0"),
                                            QStringLiteral("airspy_set_sample_type(dev1, 0) = 0"),
                                            QStringLiteral("airspy_start_rx(dev1) = 0"),
                                            QStringLiteral("airspy_set_freq(dev1, 100000000) = 0"),
                                            QStringLiteral("airspy_set_lna_agc(dev1, 0) = 0"),
                                            QStringLiteral("airspy_set_mixer_agc(dev1, 0) = 0"),
                                            QStringLiteral("airspy_set_linearity_gain(dev1, 12) = 0")}));
}

void tst_AirSpyRadioDevice::startAppliesGainsOfEachMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("linearity") << 0
                               << QStringList{QStringLiteral("airspy_set_lna_agc(dev1, 0) = 0"),
                                              QStringLiteral("airspy_set_mixer_agc(dev1, 0) = 0"),
                                              QStringLiteral("airspy_set_linearity_gain(dev1, 12) = 0")};
    QTest::newRow("sensitivity") << 1
                                 << QStringList{QStringLiteral("airspy_set_lna_agc(dev1, 0) = 0"),
                                                QStringLiteral("airspy_set_mixer_agc(dev1, 0) = 0"),
                                                QStringLiteral("airspy_set_sensitivity_gain(dev1, 12) = 0")};
    QTest::newRow("manual") << 2
                            << QStringList{QStringLiteral("airspy_set_lna_agc(dev1, 1) = 0"),
                                           QStringLiteral("airspy_set_mixer_agc(dev1, 1) = 0"),
                                           QStringLiteral("airspy_set_vga_gain(dev1, 5) = 0")};
    QTest::newRow("none of them") << 3 << QStringList();
}

void tst_AirSpyRadioDevice::startAppliesGainsOfEachMode()
{
    QFETCH(int, mode);
    QFETCH(QStringList, calls);
    const auto receiver = m_rig.make();
    receiver->setGainMode(mode);
    const QSignalSpy gainModeChanged(receiver.get(), &AirSpyRadioDevice::gainModeChanged);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls().mid(7), calls);
    QCOMPARE(gainModeChanged.size(), 1);
}

void tst_AirSpyRadioDevice::startLeavesBiasTeeAlone()
{
    const auto receiver = m_rig.make();
    receiver->setBiasTee(true);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_rf_bias")), QStringList());
    receiver->setBiasTee(true);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_rf_bias")),
             QStringList{QStringLiteral("airspy_set_rf_bias(dev1, 1) = 0")});
}

void tst_AirSpyRadioDevice::resultOfOneIsSuccess()
{
    for (const char* call :
         {"airspy_open_sn", "airspy_get_samplerates", "airspy_set_samplerate", "airspy_set_sample_type",
          "airspy_start_rx", "airspy_set_freq", "airspy_stop_rx", "airspy_close"}) {
        m_vendor.set(QString::fromLatin1(call), 1);
    }
    const auto receiver = m_rig.make();
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    receiver->setFrequency(1e8);
    receiver->setSampleRate(3e6);
    receiver->stop();
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_AirSpyRadioDevice::stopThatFailsStillCloses()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspy_stop_rx"), -1000);
    const LogCapture log;
    receiver->stop();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspy_stop_rx(dev1) = -1000"),
                                            QStringLiteral("airspy_close(dev1) = 0")}));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(
        log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t airspy_stop_rx failed: -1000")));
}

void tst_AirSpyRadioDevice::failedStartWhoseCloseHangsHoldsNobody()
{
    m_vendor.set(QStringLiteral("airspy_start_rx"), -1);
    m_vendor.set(QStringLiteral("hang.airspy_close"), 1);
    auto receiver = m_rig.make(QStringLiteral("7"), {300ms, 300ms});
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
        QVERIFY(log.texts(QtWarningMsg).constLast().endsWith(QLatin1String("airspy_close")));
    }
    QCOMPARE(receiver->state(), Worker::STOPPED);
    receiver.reset();
    m_vendor.set(QStringLiteral("hang.airspy_close"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("airspy_close")).size(), 1);
}

void tst_AirSpyRadioDevice::unpluggedReceiverStopsAndStartsAgain()
{
    const auto receiver = m_rig.started();
    QTRY_VERIFY(written(*receiver) > 0);
    m_vendor.set(QStringLiteral("unplug"), 1);
    {
        const LogCapture log;
        receiver->setFrequency(1e8);
        receiver->stop();
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
        QVERIFY(receiver->start(false));
        QCOMPARE(log.texts(QtWarningMsg).size(), 3);
        QVERIFY(!receiver->running());
    }
    m_vendor.set(QStringLiteral("unplug"), 0);
    const int before = written(*receiver);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) != before);
}

QTEST_GUILESS_MAIN(tst_AirSpyRadioDevice)
#include "tst_AirSpyRadioDevice.moc"
