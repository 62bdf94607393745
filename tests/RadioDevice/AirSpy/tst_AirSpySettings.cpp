#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/AirSpyR2Family.h"
#include "RadioDevice/AirSpyFamily/FamilySettingsTests.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <limits>

/// What the client sets: rate, frequency, gains and bias tee, with the receiver open and closed.
class tst_AirSpySettings : public OfFamily<FamilySettingsTests, AirSpyRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpySettings()
        : OfFamily(airSpyR2Family())
    {
    }

private slots:
    void setterStoresAndTellsWhatItStored_data();
    void signalComesBeforeCall();
    void setterReachesOpenReceiver_data();
    void setterReachesOpenReceiver();
    void goingFromManualToLinearityTurnsBothAgcsOff();
    void gainCallsThatFailSayNothing();
};

void tst_AirSpySettings::setterStoresAndTellsWhatItStored_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("value"); // 0 and 1 of a bool
    QTest::addColumn<int>("stored");
    const auto row = [](const char* name, int value, int stored) {
        QTest::addRow("%s %d", name, value) << QString::fromLatin1(name) << value << stored;
    };
    row("biasTee", 1, 1);
    row("biasTee", 0, 0);
    for (const int mode : {-1, 0, 1, 2, 3, 1000}) {
        row("gainMode", mode, mode);
    }
    row("gain", -3, 0);
    row("gain", 0, 0);
    row("gain", 21, 21);
    row("gain", 22, 21);
    row("gain", 30, 21);
    row("gain", std::numeric_limits<int>::max(), 21);
    row("gain", std::numeric_limits<int>::min(), 0);
    for (const char* name : {"lnaGain", "mixerGain"}) {
        row(name, -1, 0);
        row(name, 0, 0);
        row(name, 15, 15);
        row(name, 16, 15);
        row(name, 20, 15);
    }
    for (const char* name : {"lnaAgc", "mixerAgc"}) {
        row(name, 1, 1);
        row(name, 0, 0);
    }
    row("vgaGain", 20, 20);
    row("vgaGain", -1, -1);
    row("vgaGain", 1000, 1000);
}

void tst_AirSpySettings::signalComesBeforeCall()
{
    const auto receiver = m_rig.started();
    QList<int> callsAtTheSignal;
    const auto count = [this, &callsAtTheSignal] { callsAtTheSignal.append(m_vendor.calls().size()); };
    connect(receiver.get(), &AirSpyRadioDevice::biasTeeChanged, this, count);
    connect(receiver.get(), &AirSpyRadioDevice::gainModeChanged, this, count);
    receiver->setBiasTee(true);
    QCOMPARE(m_vendor.calls().size(), 1);
    receiver->setGainMode(0);
    QCOMPARE(m_vendor.calls().size(), 4);
    QCOMPARE(callsAtTheSignal, (QList<int>{0, 1}));
}

void tst_AirSpySettings::setterReachesOpenReceiver_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("agc");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("value");     // 0 and 1 of a bool
    QTest::addColumn<QString>("calls"); // without the prefix, the handle and the result
    const auto row = [](int mode, bool agc, const char* name, int value, const char* calls) {
        QTest::addRow("%s %d in mode %d, agc %s", name, value, mode, agc ? "on" : "off")
            << mode << agc << QString::fromLatin1(name) << value << QString::fromLatin1(calls);
    };
    for (const int mode : {0, 1, 2, 3}) {
        row(mode, true, "biasTee", 1, "rf_bias 1");
        row(mode, true, "biasTee", 0, "rf_bias 0");
    }
    row(2, true, "gainMode", 0, "lna_agc 0, mixer_agc 0, linearity_gain 12");
    row(0, true, "gainMode", 1, "lna_agc 0, mixer_agc 0, sensitivity_gain 12");
    row(0, true, "gainMode", 2, "lna_agc 1, mixer_agc 1, vga_gain 5");
    row(0, false, "gainMode", 2, "lna_agc 0, lna_gain 5, mixer_agc 0, mixer_gain 5, vga_gain 5");
    row(0, true, "gainMode", 3, "");
    row(0, true, "gain", 30, "lna_agc 0, mixer_agc 0, linearity_gain 21");
    row(1, true, "gain", -3, "lna_agc 0, mixer_agc 0, sensitivity_gain 0");
    row(2, true, "gain", 3, "");
    row(3, true, "gain", 3, "");
    for (const int mode : {0, 1, 3}) {
        row(mode, false, "lnaAgc", 1, "");
        row(mode, false, "lnaGain", 3, "");
        row(mode, false, "mixerAgc", 1, "");
        row(mode, false, "mixerGain", 3, "");
        row(mode, false, "vgaGain", 3, "");
    }
    row(2, false, "lnaAgc", 1, "lna_agc 1");
    row(2, true, "lnaAgc", 0, "lna_agc 0, lna_gain 5");
    row(2, false, "lnaGain", 20, "lna_gain 15");
    row(2, true, "lnaGain", 3, "");
    row(2, false, "mixerAgc", 1, "mixer_agc 1");
    row(2, true, "mixerAgc", 0, "mixer_agc 0, mixer_gain 5");
    row(2, false, "mixerGain", 20, "mixer_gain 15");
    row(2, true, "mixerGain", 3, "");
    row(2, true, "vgaGain", 20, "vga_gain 20");
    row(2, true, "vgaGain", 256, "vga_gain 0");
}

void tst_AirSpySettings::setterReachesOpenReceiver()
{
    QFETCH(int, mode);
    QFETCH(bool, agc);
    QFETCH(QString, name);
    QFETCH(int, value);
    QFETCH(QString, calls);
    const auto receiver = m_rig.started();
    receiver->setGainMode(mode);
    receiver->setLnaAgc(agc);
    receiver->setMixerAgc(agc);
    m_vendor.clearCalls();
    QVERIFY(receiver->QObject::setProperty(name.toLatin1(), value));
    QStringList made = m_vendor.calls();
    made.replaceInStrings(QStringLiteral("airspy_set_"), QString());
    made.replaceInStrings(QStringLiteral("(dev1, "), QStringLiteral(" "));
    made.replaceInStrings(QStringLiteral(") = 0"), QString());
    QCOMPARE(made.join(QStringLiteral(", ")), calls);
}

void tst_AirSpySettings::goingFromManualToLinearityTurnsBothAgcsOff()
{
    const auto receiver = m_rig.started();
    receiver->setGainMode(2);
    QVERIFY(m_vendor.calls().contains(QStringLiteral("airspy_set_lna_agc(dev1, 1) = 0")));
    m_vendor.clearCalls();
    receiver->setGainMode(0);
    QVERIFY(m_vendor.calls().contains(QStringLiteral("airspy_set_lna_agc(dev1, 0) = 0")));
    QVERIFY(m_vendor.calls().contains(QStringLiteral("airspy_set_mixer_agc(dev1, 0) = 0")));
    // The settings themselves stay.
    QCOMPARE(receiver->lnaAgc(), true);
    QCOMPARE(receiver->mixerAgc(), true);
}

void tst_AirSpySettings::gainCallsThatFailSayNothing()
{
    for (const char* call : {"lna_agc", "lna_gain", "mixer_agc", "mixer_gain", "vga_gain", "linearity_gain",
                             "sensitivity_gain", "rf_bias"}) {
        m_vendor.set(QStringLiteral("airspy_set_") + QLatin1String(call), -1000);
    }
    const auto receiver = m_rig.make();
    const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
    const LogCapture log;
    QVERIFY(receiver->start(false));
    for (const int mode : {0, 1, 2}) {
        receiver->setGainMode(mode);
        receiver->setLnaAgc(mode == 0);
        receiver->setMixerAgc(mode == 0);
        receiver->setLnaGain(3);
        receiver->setMixerGain(3);
        receiver->setVgaGain(3);
        receiver->setGain(3);
        receiver->setBiasTee(true);
    }
    QVERIFY(receiver->running());
    QVERIFY(errorHappen.isEmpty());
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

QTEST_GUILESS_MAIN(tst_AirSpySettings)
#include "tst_AirSpySettings.moc"
