#include "RadioDevice/AirSpyFamily/FamilySettingsTests.h"

#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>

void FamilySettingsTests::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("stall"), 1);
}

void FamilySettingsTests::setterStoresAndTellsWhatItStored()
{
    QFETCH(QString, name);
    QFETCH(int, value); // 0 and 1 of a bool
    QFETCH(int, stored);
    for (const bool open : {false, true}) {
        const auto receiver = open ? started() : make();
        const QByteArray property = name.toLatin1();
        // From another value, so that it is seen to be stored.
        receiver->QObject::setProperty(property, stored == 0 ? 1 : 0);
        const int index = receiver->metaObject()->indexOfProperty(property);
        const QSignalSpy changed(receiver.get(), receiver->metaObject()->property(index).notifySignal());
        QVERIFY(receiver->QObject::setProperty(property, value));
        QCOMPARE(receiver->property(property).toInt(), stored);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.constFirst().constFirst().toInt(), stored);
        if (!open) {
            QCOMPARE(m_vendor.calls(), QStringList());
        }
    }
}

void FamilySettingsTests::setterTellsEvenWhatDidNotChange()
{
    const auto receiver = make();
    const QMetaObject& meta = *receiver->metaObject();
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        const QSignalSpy changed(receiver.get(), property.notifySignal());
        const QVariant value = property.read(receiver.get());
        QVERIFY(property.write(receiver.get(), value));
        QVERIFY(property.write(receiver.get(), value));
        QCOMPARE(changed.size(), 2);
    }
}

void FamilySettingsTests::frequencyIsPassedOnUncorrectedAndTruncated()
{
    const auto receiver = started();
    receiver->setPpmCorrection(100);
    QSignalSpy frequencyChanged(receiver.get(), &AbstractRadioDevice::frequencyChanged);
    receiver->setFrequency(100'000'000.75);
    QCOMPARE(m_vendor.calls(), QStringList{name("_set_freq(dev1, 100000000) = 0")});
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 100'000'000.75 / (1.0 - 1e-4));
}

void FamilySettingsTests::frequencyOutsideBandsIsPassedOn()
{
    const auto receiver = started();
    QVERIFY(!receiver->isFrequencySupported(m_family.outside));
    receiver->setFrequency(m_family.outside);
    QCOMPARE(m_vendor.calls(),
             QStringList{name("_set_freq(dev1, %1) = 0").arg(static_cast<int>(m_family.outside))});
    QCOMPARE(receiver->frequency(), m_family.outside);
}

void FamilySettingsTests::frequencyThatFailsIsLoggedAndStored()
{
    for (const int result : m_family.failures) {
        m_vendor.remove(name("_set_freq"));
        const auto receiver = started();
        m_vendor.set(name("_set_freq"), result);
        const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
        const LogCapture log;
        receiver->setFrequency(88'000'000.0);
        QCOMPARE(receiver->frequency(), 88'000'000.0);
        QVERIFY(receiver->running());
        QVERIFY(errorHappen.isEmpty());
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg)
                    .constFirst()
                    .endsWith(QStringLiteral(" =>\t Error set frequency! %1").arg(result)));
    }
}

void FamilySettingsTests::frequencyThatLibraryCannotTakeFails_data()
{
    QTest::addColumn<double>("frequency");
    QTest::newRow("negative") << -1.0;
    QTest::newRow("beyond 32 bits") << 4'294'967'296.0;
    QTest::newRow("near 64 bits") << 9e18;
}

void FamilySettingsTests::frequencyThatLibraryCannotTakeFails()
{
    QFETCH(double, frequency);
    const auto receiver = started();
    const LogCapture log;
    receiver->setFrequency(frequency);
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(receiver->frequency(), frequency);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg)
                .constFirst()
                .endsWith(QStringLiteral(" =>\t Error set frequency! %1").arg(m_family.refused)));
}

void FamilySettingsTests::valueThatIsNoNumberIsRefused()
{
    const auto receiver = started();
    for (const double value : {qQNaN(), qInf(), 1e300}) {
        const LogCapture log;
        receiver->setFrequency(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        receiver->setSampleRate(value);
        QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    }
    QCOMPARE(m_vendor.calls(), QStringList());
    QCOMPARE(receiver->frequency(), m_family.frequency);
    QCOMPARE(receiver->sampleRate(), m_family.rate);
}

void FamilySettingsTests::rateIsPassedOnTruncated()
{
    const auto receiver = started();
    QSignalSpy sampleRateChanged(receiver.get(), &AbstractRadioDevice::sampleRateChanged);
    const LogCapture log;
    receiver->setSampleRate(3'000'000.5);
    QCOMPARE(m_vendor.calls(), QStringList{name("_set_samplerate(dev1, 3000000) = 0")});
    QCOMPARE(receiver->sampleRate(), 3'000'000.5);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(log.texts(QtDebugMsg).constFirst(), QStringLiteral("set samplerate 3e+06"));
}

void FamilySettingsTests::rateThatFailsIsLoggedAndStored()
{
    for (const int result : m_family.failures) {
        m_vendor.remove(name("_set_samplerate"));
        const auto receiver = started();
        m_vendor.set(name("_set_samplerate"), result);
        const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
        const LogCapture log;
        receiver->setSampleRate(384'000.0);
        QCOMPARE(receiver->sampleRate(), 384'000.0);
        QVERIFY(receiver->running());
        QVERIFY(errorHappen.isEmpty());
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg)
                    .constFirst()
                    .endsWith(QStringLiteral(" =>\t Error set sample rate! %1").arg(result)));
    }
}

void FamilySettingsTests::rateThatLibraryCannotTakeFails()
{
    auto receiver = started();
    const LogCapture log;
    receiver->setSampleRate(-5.0);
    QCOMPARE(m_vendor.calls(), QStringList());
    // The signal path refuses it as well, on its own thread.
    receiver.reset();
    const QStringList warnings = log.texts(QtWarningMsg).filter(QStringLiteral("set sample rate"));
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings.constFirst().endsWith(
        QStringLiteral(" =>\t Error set sample rate! %1").arg(m_family.refused)));
}
