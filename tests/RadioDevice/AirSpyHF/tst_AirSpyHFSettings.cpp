#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpy/ReceiverRig.h"
#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <limits>

/// What the client sets: rate, frequency, preamplifier, gain control and attenuator, open and closed.
class tst_AirSpyHFSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void setterStoresTellsAndReachesTheOpenReceiver_data();
    void setterStoresTellsAndReachesTheOpenReceiver();
    void setterTellsEvenWhatDidNotChange();
    void signalComesBeforeTheCall();
    void setterThatFailsTellsTheClient_data();
    void setterThatFailsTellsTheClient();

    void frequencyIsPassedOnUncorrectedAndTruncated();
    void frequencyInTheGapIsPassedOn();
    void frequencyThatFailsIsLoggedAndStored();
    void frequencyTheLibraryCannotTakeFails_data();
    void frequencyTheLibraryCannotTakeFails();
    void valueThatIsNoNumberIsRefused();
    void rateIsPassedOnTruncated();
    void rateThatFailsIsLoggedAndStored();
    void rateTheLibraryCannotTakeFails();

private:
    using Receiver = AirSpyHFRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpyHFSettings::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("stall"), 1);
}

void tst_AirSpyHFSettings::setterStoresTellsAndReachesTheOpenReceiver_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("value"); // 0 and 1 of a bool
    QTest::addColumn<int>("stored");
    const auto row = [](const char* name, int value, int stored) {
        QTest::addRow("%s %d", name, value) << QString::fromLatin1(name) << value << stored;
    };
    for (const char* name : {"lna", "agc"}) {
        row(name, 1, 1);
        row(name, 0, 0);
    }
    for (int att = 0; att <= 8; ++att) {
        row("att", att, att);
    }
    for (const int att : {-1, 9, 256, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        row("att", att, 0);
    }
}

void tst_AirSpyHFSettings::setterStoresTellsAndReachesTheOpenReceiver()
{
    QFETCH(QString, name);
    QFETCH(int, value);
    QFETCH(int, stored);
    for (const bool open : {false, true}) {
        const auto receiver = open ? m_rig.started() : m_rig.make();
        const QByteArray property = name.toLatin1();
        // From another value, so that it is seen to be stored.
        receiver->QObject::setProperty(property, stored == 0 ? 1 : 0);
        m_vendor.clearCalls();
        const int index = receiver->metaObject()->indexOfProperty(property);
        const QSignalSpy changed(receiver.get(), receiver->metaObject()->property(index).notifySignal());
        QVERIFY(receiver->QObject::setProperty(property, value));
        QCOMPARE(receiver->property(property).toInt(), stored);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.constFirst().constFirst().toInt(), stored);
        const QStringList calls{QStringLiteral("airspyhf_set_hf_%1(dev1, %2) = 0").arg(name).arg(stored)};
        QCOMPARE(m_vendor.calls(), open ? calls : QStringList());
    }
}

void tst_AirSpyHFSettings::setterTellsEvenWhatDidNotChange()
{
    const auto receiver = m_rig.make();
    const QSignalSpy lnaChanged(receiver.get(), &Receiver::lnaChanged);
    const QSignalSpy agcChanged(receiver.get(), &Receiver::agcChanged);
    const QSignalSpy attChanged(receiver.get(), &Receiver::attChanged);
    receiver->setLna(false);
    receiver->setAgc(false);
    receiver->setAtt(0);
    QCOMPARE(lnaChanged.size(), 1);
    QCOMPARE(agcChanged.size(), 1);
    QCOMPARE(attChanged.size(), 1);
}

void tst_AirSpyHFSettings::signalComesBeforeTheCall()
{
    const auto receiver = m_rig.started();
    QList<int> callsAtTheSignal;
    const auto count = [this, &callsAtTheSignal] { callsAtTheSignal.append(m_vendor.calls().size()); };
    connect(receiver.get(), &Receiver::lnaChanged, this, count);
    connect(receiver.get(), &Receiver::agcChanged, this, count);
    connect(receiver.get(), &Receiver::attChanged, this, count);
    receiver->setLna(true);
    receiver->setAgc(true);
    receiver->setAtt(1);
    QCOMPARE(callsAtTheSignal, (QList<int>{0, 1, 2}));
    QCOMPARE(m_vendor.calls().size(), 3);
}

void tst_AirSpyHFSettings::setterThatFailsTellsTheClient_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::newRow("lna") << QStringLiteral("lna") << QStringLiteral("Error Airspy HF+ set LNA!");
    QTest::newRow("agc") << QStringLiteral("agc") << QStringLiteral("Error Airspy HF+ set AGC!");
    QTest::newRow("att") << QStringLiteral("att") << QStringLiteral("Error Airspy HF+ set ATT!");
}

void tst_AirSpyHFSettings::setterThatFailsTellsTheClient()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    for (const int result : {-1, 1}) {
        m_vendor.remove(QStringLiteral("airspyhf_set_hf_") + name);
        const auto receiver = m_rig.started();
        m_vendor.set(QStringLiteral("airspyhf_set_hf_") + name, result);
        QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
        const LogCapture log;
        QVERIFY(receiver->QObject::setProperty(name.toLatin1(), 1));
        QCOMPARE(errorHappen.size(), 1);
        QCOMPARE(errorHappen.constFirst().constFirst().toString(), text);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QStringLiteral(" =>\t ") + text));
        // The value stays, and so does the stream.
        QCOMPARE(receiver->property(name.toLatin1()).toInt(), 1);
        QVERIFY(receiver->running());
    }
}

void tst_AirSpyHFSettings::frequencyIsPassedOnUncorrectedAndTruncated()
{
    const auto receiver = m_rig.started();
    receiver->setPpmCorrection(100);
    QSignalSpy frequencyChanged(receiver.get(), &AbstractRadioDevice::frequencyChanged);
    receiver->setFrequency(10'000'000.75);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_set_freq(dev1, 10000000) = 0")});
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 10'000'000.75 / (1.0 - 1e-4));
}

void tst_AirSpyHFSettings::frequencyInTheGapIsPassedOn()
{
    const auto receiver = m_rig.started();
    receiver->setFrequency(40'000'000.0);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_set_freq(dev1, 40000000) = 0")});
    QCOMPARE(receiver->frequency(), 40'000'000.0);
}

void tst_AirSpyHFSettings::frequencyThatFailsIsLoggedAndStored()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_set_freq"), 1);
    const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
    const LogCapture log;
    receiver->setFrequency(7'000'000.0);
    QCOMPARE(receiver->frequency(), 7'000'000.0);
    QVERIFY(receiver->running());
    QVERIFY(errorHappen.isEmpty());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set frequency! 1")));
}

void tst_AirSpyHFSettings::frequencyTheLibraryCannotTakeFails_data()
{
    QTest::addColumn<double>("frequency");
    QTest::newRow("negative") << -1.0;
    QTest::newRow("beyond 32 bits") << 4'294'967'296.0;
    QTest::newRow("near 64 bits") << 9e18;
}

void tst_AirSpyHFSettings::frequencyTheLibraryCannotTakeFails()
{
    QFETCH(double, frequency);
    const auto receiver = m_rig.started();
    const LogCapture log;
    receiver->setFrequency(frequency);
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(receiver->frequency(), frequency);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set frequency! -1")));
}

void tst_AirSpyHFSettings::valueThatIsNoNumberIsRefused()
{
    const auto receiver = m_rig.started();
    for (const double value : {qQNaN(), qInf(), 1e300}) {
        const LogCapture log;
        receiver->setFrequency(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        receiver->setSampleRate(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    }
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(receiver->frequency(), 15'750'000.0);
    QCOMPARE(receiver->sampleRate(), 768'000.0);
}

void tst_AirSpyHFSettings::rateIsPassedOnTruncated()
{
    const auto receiver = m_rig.started();
    QSignalSpy sampleRateChanged(receiver.get(), &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    receiver->setSampleRate(384'000.25);
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("airspyhf_set_samplerate(dev1, 384000) = 0")});
    QCOMPARE(receiver->sampleRate(), 384'000.25);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(log.texts(QtDebugMsg).constFirst(), QStringLiteral("set samplerate 384000"));
}

void tst_AirSpyHFSettings::rateThatFailsIsLoggedAndStored()
{
    const auto receiver = m_rig.started();
    m_vendor.set(QStringLiteral("airspyhf_set_samplerate"), -1);
    const LogCapture log;
    receiver->setSampleRate(384'000.0);
    QCOMPARE(receiver->sampleRate(), 384'000.0);
    QVERIFY(receiver->running());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set sample rate! -1")));
}

void tst_AirSpyHFSettings::rateTheLibraryCannotTakeFails()
{
    auto receiver = m_rig.started();
    const LogCapture log;
    receiver->setSampleRate(-5.0);
    QCOMPARE(m_vendor.calls(), QStringList());
    // The signal path refuses it as well, on its own thread.
    receiver.reset();
    const QStringList warnings = log.texts(QtWarningMsg).filter(QStringLiteral("set sample rate"));
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings.constFirst().endsWith(QLatin1String(" =>\t Error set sample rate! -1")));
}

QTEST_GUILESS_MAIN(tst_AirSpyHFSettings)
#include "tst_AirSpyHFSettings.moc"
