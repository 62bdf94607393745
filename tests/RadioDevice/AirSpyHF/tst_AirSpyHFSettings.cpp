#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpyFamily/FamilySettingsTests.h"
#include "RadioDevice/AirSpyHF/AirSpyHFFamily.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <limits>

/// What the client sets: rate, frequency, preamplifier, gain control and attenuator, open and closed.
class tst_AirSpyHFSettings : public OfFamily<FamilySettingsTests, AirSpyHFRadioDevice>
{
    Q_OBJECT

public:
    tst_AirSpyHFSettings()
        : OfFamily(airSpyHFFamily())
    {
    }

private slots:
    void setterStoresAndTellsWhatItStored_data();
    void setterReachesOpenReceiver_data();
    void setterReachesOpenReceiver();
    void signalComesBeforeCall();
    void setterThatFailsTellsClient_data();
    void setterThatFailsTellsClient();
};

void tst_AirSpyHFSettings::setterStoresAndTellsWhatItStored_data()
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

void tst_AirSpyHFSettings::setterReachesOpenReceiver_data()
{
    setterStoresAndTellsWhatItStored_data();
}

void tst_AirSpyHFSettings::setterReachesOpenReceiver()
{
    QFETCH(QString, name);
    QFETCH(int, value);
    QFETCH(int, stored);
    const auto receiver = m_rig.started();
    QVERIFY(receiver->QObject::setProperty(name.toLatin1(), value));
    QCOMPARE(m_vendor.calls(),
             QStringList{QStringLiteral("airspyhf_set_hf_%1(dev1, %2) = 0").arg(name).arg(stored)});
}

void tst_AirSpyHFSettings::signalComesBeforeCall()
{
    const auto receiver = m_rig.started();
    QList<int> callsAtTheSignal;
    const auto count = [this, &callsAtTheSignal] { callsAtTheSignal.append(m_vendor.calls().size()); };
    connect(receiver.get(), &AirSpyHFRadioDevice::lnaChanged, this, count);
    connect(receiver.get(), &AirSpyHFRadioDevice::agcChanged, this, count);
    connect(receiver.get(), &AirSpyHFRadioDevice::attChanged, this, count);
    receiver->setLna(true);
    receiver->setAgc(true);
    receiver->setAtt(1);
    QCOMPARE(callsAtTheSignal, (QList<int>{0, 1, 2}));
    QCOMPARE(m_vendor.calls().size(), 3);
}

void tst_AirSpyHFSettings::setterThatFailsTellsClient_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::newRow("lna") << QStringLiteral("lna") << QStringLiteral("Error Airspy HF+ set LNA!");
    QTest::newRow("agc") << QStringLiteral("agc") << QStringLiteral("Error Airspy HF+ set AGC!");
    QTest::newRow("att") << QStringLiteral("att") << QStringLiteral("Error Airspy HF+ set ATT!");
}

void tst_AirSpyHFSettings::setterThatFailsTellsClient()
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

QTEST_GUILESS_MAIN(tst_AirSpyHFSettings)
#include "tst_AirSpyHFSettings.moc"
