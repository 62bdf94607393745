#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpy/FamilyReceiverTests.h"
#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>

using namespace std::chrono_literals;

/// The receiver's tables, its start and its stop.
class tst_AirSpyHFRadioDevice : public FamilyReceiverTests
{
    Q_OBJECT

public:
    tst_AirSpyHFRadioDevice()
        // 1 is no success here.
        : FamilyReceiverTests({QStringLiteral("airspyhf"), QStringLiteral("airspyhf_stop"), {-1, 1}, "lna"})
    {
    }

private slots:
    void init();

    void newReceiverHasItsFixedTables();
    void bandsHaveAGap_data();
    void bandsHaveAGap();
    void propertiesComeInOrder();
    void resetGivesTheDefaults();
    void closedReceiverMakesNoCall();

    void startMakesItsCallsInOrder();
    void startAppliesWhatIsStored();
    void stepThatFailsEndsTheStart_data();
    void settingThatFailsIsOnlyLogged_data();
    void settingThatFailsIsOnlyLogged();
    void startThatFailedGivesItsHandleUp();
    void receiverThatFailedStartsOnceItCan();

    void rateOfTheListSurvivesTheStart();
    void rateThatIsNotInTheListBecomesTheFirst();
    void rateOfAMillionBecomesTheFirst();
    void startWithoutAResetTakesTheFirstRate();
    void noRatesLeaveThePresentOne();
    void rateOfZeroIsListedLikeTheOthers();

    void stopMakesItsCallsInOrder();
    void stopThatFailsLeavesTheReceiverOpen_data();
    void stopThatFailsLeavesTheReceiverOpen();
    void receiverLeftOpenIsClosedByTheNextStart();
    void receiverLeftOpenIsClosedWhenItGoes();
    void closeThatFailsIsLogged();
    void closeThatNeverReturnsAfterAnUnplugHoldsNobody();

private:
    FakeVendor& vendor() override { return m_rig.vendor; }
    std::unique_ptr<AbstractRadioDevice> make(const QString& identificator,
                                              const LibraryDeadlines& deadlines) const override
    {
        return m_rig.make(identificator, deadlines);
    }

    using Receiver = AirSpyHFRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpyHFRadioDevice::init()
{
    m_vendor.reset();
}

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

void tst_AirSpyHFRadioDevice::bandsHaveAGap_data()
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

void tst_AirSpyHFRadioDevice::bandsHaveAGap()
{
    QFETCH(double, frequency);
    QFETCH(bool, supported);
    QCOMPARE(m_rig.fresh()->isFrequencySupported(frequency), supported);
}

void tst_AirSpyHFRadioDevice::propertiesComeInOrder()
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
    QCOMPARE(properties, (QStringList{QStringLiteral("bool lna lnaChanged(bool)"),
                                      QStringLiteral("bool agc agcChanged(bool)"),
                                      QStringLiteral("int att attChanged(int)")}));
}

void tst_AirSpyHFRadioDevice::resetGivesTheDefaults()
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

void tst_AirSpyHFRadioDevice::closedReceiverMakesNoCall()
{
    const auto receiver = m_rig.make();
    receiver->setFrequency(5'000'000.0);
    receiver->setSampleRate(384'000.0);
    QCOMPARE(m_vendor.calls(), QStringList());
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

void tst_AirSpyHFRadioDevice::stepThatFailsEndsTheStart_data()
{
    QTest::addColumn<QString>("call"); // that fails
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("calls"); // up to the failure
    const auto row = [](const char* call, const char* text, int calls) {
        QTest::newRow(call) << QString::fromLatin1(call) << QString::fromLatin1(text) << calls;
    };
    row("airspyhf_open_sn", "Error open device!", 1);
    row("airspyhf_get_samplerates.1", "Error get sample rates count!", 2);
    row("airspyhf_get_samplerates.2", "Error get sample rates!", 3);
    row("airspyhf_set_samplerate", "Error set sample rate!", 4);
    row("airspyhf_start", "Error start rx!", 5);
}

void tst_AirSpyHFRadioDevice::settingThatFailsIsOnlyLogged_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("text");
    QTest::newRow("frequency") << QStringLiteral("airspyhf_set_freq")
                               << QStringLiteral(" =>\t Error set lo freq!");
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

void tst_AirSpyHFRadioDevice::startThatFailedGivesItsHandleUp()
{
    m_vendor.set(QStringLiteral("airspyhf_start"), -1);
    auto receiver = m_rig.make();
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
    }
    m_vendor.clearCalls();
    // The library has freed what a client's next write would reach.
    receiver->setLna(true);
    receiver->setAgc(true);
    receiver->setAtt(1);
    receiver->setFrequency(1e7);
    receiver->stop();
    receiver.reset();
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_AirSpyHFRadioDevice::receiverThatFailedStartsOnceItCan()
{
    m_vendor.set(QStringLiteral("airspyhf_start.1"), -1);
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

void tst_AirSpyHFRadioDevice::rateOfTheListSurvivesTheStart()
{
    const auto receiver = m_rig.make();
    receiver->setSampleRate(384'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 384'000.0);
    QCOMPARE(receiver->supportSampleRates(),
             (QStringList{QStringLiteral("912000"), QStringLiteral("768000"), QStringLiteral("384000")}));
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_set_samplerate")),
             QStringList{QStringLiteral("airspyhf_set_samplerate(dev1, 384000) = 0")});
}

void tst_AirSpyHFRadioDevice::rateThatIsNotInTheListBecomesTheFirst()
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

void tst_AirSpyHFRadioDevice::rateOfAMillionBecomesTheFirst()
{
    m_vendor.set(QStringLiteral("airspyhf.rates"), QStringLiteral("192000 1536000"));
    const auto receiver = m_rig.make();
    receiver->setSampleRate(1'536'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 192'000.0);
}

void tst_AirSpyHFRadioDevice::startWithoutAResetTakesTheFirstRate()
{
    const auto receiver = m_rig.fresh();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 912'000.0);
    QCOMPARE(m_vendor.calls(QStringLiteral("airspyhf_set_freq")),
             QStringList{QStringLiteral("airspyhf_set_freq(dev1, 0) = 0")});
}

void tst_AirSpyHFRadioDevice::noRatesLeaveThePresentOne()
{
    m_vendor.set(QStringLiteral("airspyhf.rates.count"), 0);
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(receiver->supportSampleRates(), QStringList());
    QCOMPARE(receiver->sampleRate(), 768'000.0);
}

void tst_AirSpyHFRadioDevice::rateOfZeroIsListedLikeTheOthers()
{
    m_vendor.set(QStringLiteral("airspyhf.rates"), QStringLiteral("0 192000"));
    const LogCapture log; // the signal path has no use for it
    const auto receiver = m_rig.make();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(), (QStringList{QStringLiteral("0"), QStringLiteral("192000")}));
    QCOMPARE(receiver->sampleRate(), 0.0);
}

void tst_AirSpyHFRadioDevice::stopMakesItsCallsInOrder()
{
    const auto receiver = m_rig.started();
    QSignalSpy stopped(receiver.get(), &Worker::stopped);
    receiver->stop();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("airspyhf_stop(dev1) = 0"),
                                            QStringLiteral("airspyhf_close(dev1) = 0")}));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    m_vendor.clearCalls();
    receiver->setLna(true);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_AirSpyHFRadioDevice::stopThatFailsLeavesTheReceiverOpen_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("-1") << -1;
    QTest::newRow("1") << 1;
}

void tst_AirSpyHFRadioDevice::stopThatFailsLeavesTheReceiverOpen()
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

void tst_AirSpyHFRadioDevice::receiverLeftOpenIsClosedByTheNextStart()
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

void tst_AirSpyHFRadioDevice::closeThatFailsIsLogged()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_close.1"), 1);
    const LogCapture log;
    receiver->stop();
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t airspy_close failed: 1")));
    m_vendor.clearCalls();
    receiver->setLna(true);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void tst_AirSpyHFRadioDevice::closeThatNeverReturnsAfterAnUnplugHoldsNobody()
{
    auto receiver = m_rig.started({300ms, 300ms});
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
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
    QTRY_VERIFY(m_rig.written(*next) > 0);
}

QTEST_GUILESS_MAIN(tst_AirSpyHFRadioDevice)
#include "tst_AirSpyHFRadioDevice.moc"
