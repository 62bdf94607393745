#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/FamilyReceiverTests.h"
#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QMetaProperty>
#include <QSignalSpy>

using namespace std::chrono_literals;

/// The receiver's tables, its start and its stop.
class tst_AirSpyRadioDevice : public FamilyReceiverTests
{
    Q_OBJECT

public:
    tst_AirSpyRadioDevice()
        // 2 is the first number above those of success.
        : FamilyReceiverTests(
              {QStringLiteral("airspy"), QStringLiteral("airspy_stop_rx"), {-1000, -5, 2}, "biasTee"})
    {
    }

private slots:
    void init();

    void newReceiverHasItsFixedTables();
    void newReceiverHasItsFirstSettings();
    void propertiesComeInOrder();
    void resetGivesTheDefaults();
    void closedReceiverMakesNoCall();

    void startMakesItsCallsInOrder();
    void startAppliesTheGainsOfEachMode_data();
    void startAppliesTheGainsOfEachMode();
    void startLeavesTheBiasTeeAlone();
    void startThatCannotTuneGoesOn();
    void startThatCannotTellTheFrequencyGoesOn();
    void stepThatFailsEndsTheStart_data();
    void resultOfOneIsASuccess();
    void startThatFailedGivesItsHandleUp();
    void receiverThatFailedStartsOnceItCan();

    void listOfRatesIsTheLibrarys();
    void rateOfAClientDoesNotSurviveTheStart();
    void rateBelowAMillionSurvivesTheStart();
    void noRatesLeaveThePresentOne();
    void rateOfZeroIsListedLikeTheOthers();

    void stopMakesItsCallsInOrder();
    void stopThatFailsStillCloses();
    void closeThatFailsIsLogged();
    void failedStartWhoseCloseHangsHoldsNobody();
    void unpluggedReceiverStopsAndStartsAgain();

private:
    FakeVendor& vendor() override { return m_rig.vendor; }
    std::unique_ptr<AbstractRadioDevice> make(const QString& identificator,
                                              const LibraryDeadlines& deadlines) const override
    {
        return m_rig.make(identificator, deadlines);
    }

    using Receiver = AirSpyRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpyRadioDevice::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffer"), 4096);
}

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

void tst_AirSpyRadioDevice::propertiesComeInOrder()
{
    const QMetaObject& meta = Receiver::staticMetaObject;
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QVERIFY2(property.isReadable() && property.isWritable() && property.isResettable(), property.name());
        properties.append(QStringLiteral("%1 %2 %3")
                              .arg(QLatin1String(property.typeName()), QLatin1String(property.name()),
                                   QString::fromLatin1(property.notifySignal().methodSignature())));
    }
    QCOMPARE(properties, (QStringList{QStringLiteral("bool biasTee biasTeeChanged(bool)"),
                                      QStringLiteral("int gainMode gainModeChanged(int)"),
                                      QStringLiteral("int gain gainChanged(int)"),
                                      QStringLiteral("bool lnaAgc lnaAgcChanged(bool)"),
                                      QStringLiteral("int lnaGain lnaGainChanged(int)"),
                                      QStringLiteral("bool mixerAgc mixerAgcChanged(bool)"),
                                      QStringLiteral("int mixerGain mixerGainChanged(int)"),
                                      QStringLiteral("int vgaGain vgaGainChanged(int)")}));
}

void tst_AirSpyRadioDevice::resetGivesTheDefaults()
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

void tst_AirSpyRadioDevice::closedReceiverMakesNoCall()
{
    const auto receiver = m_rig.make();
    receiver->setFrequency(5'000'000.0);
    receiver->setSampleRate(3'000'000.0);
    QCOMPARE(m_vendor.calls(), QStringList());
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

void tst_AirSpyRadioDevice::startAppliesTheGainsOfEachMode_data()
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

void tst_AirSpyRadioDevice::startAppliesTheGainsOfEachMode()
{
    QFETCH(int, mode);
    QFETCH(QStringList, calls);
    const auto receiver = m_rig.make();
    receiver->setGainMode(mode);
    const QSignalSpy gainModeChanged(receiver.get(), &Receiver::gainModeChanged);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls().mid(7), calls);
    QCOMPARE(gainModeChanged.size(), 1);
}

void tst_AirSpyRadioDevice::startLeavesTheBiasTeeAlone()
{
    const auto receiver = m_rig.make();
    receiver->setBiasTee(true);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_rf_bias")), QStringList());
    receiver->setBiasTee(true);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_rf_bias")),
             QStringList{QStringLiteral("airspy_set_rf_bias(dev1, 1) = 0")});
}

void tst_AirSpyRadioDevice::startThatCannotTuneGoesOn()
{
    m_vendor.set(QStringLiteral("airspy_set_freq"), -1000);
    const auto receiver = m_rig.make();
    const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QVERIFY(errorHappen.isEmpty());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set lo freq!")));
}

void tst_AirSpyRadioDevice::startThatCannotTellTheFrequencyGoesOn()
{
    const auto receiver = m_rig.make();
    receiver->setFrequency(-1e9);
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_freq")), QStringList());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set lo freq!")));
}

void tst_AirSpyRadioDevice::stepThatFailsEndsTheStart_data()
{
    QTest::addColumn<QString>("call"); // that fails
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("calls"); // up to the failure
    const auto row = [](const char* call, const char* text, int calls) {
        QTest::newRow(call) << QString::fromLatin1(call) << QString::fromLatin1(text) << calls;
    };
    row("airspy_open_sn", "Error open device!", 1);
    row("airspy_get_samplerates.1", "Error get sample rates count!", 2);
    row("airspy_get_samplerates.2", "Error get sample rates!", 3);
    row("airspy_set_samplerate", "Error set sample rate!", 4);
    row("airspy_set_sample_type", "Error set sample type!", 5);
    row("airspy_start_rx", "Error start rx!", 6);
}

void tst_AirSpyRadioDevice::resultOfOneIsASuccess()
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

void tst_AirSpyRadioDevice::startThatFailedGivesItsHandleUp()
{
    m_vendor.set(QStringLiteral("airspy_start_rx"), -1);
    auto receiver = m_rig.make();
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
    }
    m_vendor.clearCalls();
    // The library has freed what a client's next write would reach.
    receiver->setBiasTee(true);
    receiver->setGainMode(2);
    receiver->setFrequency(1e8);
    receiver->stop();
    receiver.reset();
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_AirSpyRadioDevice::receiverThatFailedStartsOnceItCan()
{
    m_vendor.set(QStringLiteral("airspy_set_sample_type.1"), -1);
    const auto receiver = m_rig.make();
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
        QVERIFY(!receiver->running());
    }
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
}

void tst_AirSpyRadioDevice::listOfRatesIsTheLibrarys()
{
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("10000000 2500000"));
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(),
             (QStringList{QStringLiteral("10000000"), QStringLiteral("2500000")}));
    receiver->stop();
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("3000000"));
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(), QStringList{QStringLiteral("3000000")});
}

void tst_AirSpyRadioDevice::rateOfAClientDoesNotSurviveTheStart()
{
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("6000000 3000000"));
    const auto receiver = m_rig.make();
    receiver->setSampleRate(3'000'000.0);
    QSignalSpy sampleRateChanged(receiver.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 6'000'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 6'000'000.0);
}

void tst_AirSpyRadioDevice::rateBelowAMillionSurvivesTheStart()
{
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("999000 500000"));
    const auto receiver = m_rig.make();
    receiver->setSampleRate(500'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 500'000.0);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_samplerate")),
             QStringList{QStringLiteral("airspy_set_samplerate(dev1, 500000) = 0")});
}

void tst_AirSpyRadioDevice::noRatesLeaveThePresentOne()
{
    m_vendor.set(QStringLiteral("airspy.rates.count"), 0);
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(receiver->supportSampleRates(), QStringList());
    QCOMPARE(receiver->sampleRate(), 6'000'000.0);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspy_set_samplerate")),
             QStringList{QStringLiteral("airspy_set_samplerate(dev1, 6000000) = 0")});
}

void tst_AirSpyRadioDevice::rateOfZeroIsListedLikeTheOthers()
{
    m_vendor.set(QStringLiteral("airspy.rates"), QStringLiteral("0 2500000"));
    const LogCapture log; // the signal path has no use for it
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(), (QStringList{QStringLiteral("0"), QStringLiteral("2500000")}));
    QCOMPARE(receiver->sampleRate(), 0.0);
}

void tst_AirSpyRadioDevice::stopMakesItsCallsInOrder()
{
    const auto receiver = m_rig.started();
    QSignalSpy stopped(receiver.get(), &Worker::stopped);
    receiver->stop();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspy_stop_rx(dev1) = 0"),
                                            QStringLiteral("airspy_close(dev1) = 0")}));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    m_vendor.clearCalls();
    receiver->setBiasTee(true);
    QCOMPARE(m_vendor.calls(), QStringList());
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

void tst_AirSpyRadioDevice::closeThatFailsIsLogged()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspy_close.1"), -9999);
    const LogCapture log;
    receiver->stop();
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t airspy_close failed: -9999")));
    m_vendor.clearCalls();
    receiver->setBiasTee(true);
    QCOMPARE(m_vendor.calls(), QStringList());
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
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
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
    const int before = m_rig.written(*receiver);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) != before);
}

QTEST_GUILESS_MAIN(tst_AirSpyRadioDevice)
#include "tst_AirSpyRadioDevice.moc"
