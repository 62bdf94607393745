#include "RadioDevice/AirSpyFamily/FamilyReceiverTests.h"

#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QMetaProperty>
#include <QSignalSpy>

using namespace std::chrono_literals;

void FamilyReceiverTests::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffer"), 4096);
}

void FamilyReceiverTests::writeAll(AbstractRadioDevice& receiver)
{
    const QMetaObject& meta = *receiver.metaObject();
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        property.write(&receiver, property.read(&receiver));
    }
}

void FamilyReceiverTests::propertiesComeInOrder()
{
    const auto receiver = make();
    const QMetaObject& meta = *receiver->metaObject();
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QVERIFY2(property.isReadable() && property.isWritable() && property.isResettable(), property.name());
        properties.append(QStringLiteral("%1 %2 %3")
                              .arg(QLatin1String(property.typeName()), QLatin1String(property.name()),
                                   QString::fromLatin1(property.notifySignal().methodSignature())));
    }
    QCOMPARE(properties, m_family.properties);
}

void FamilyReceiverTests::closedReceiverMakesNoCall()
{
    const auto receiver = make();
    receiver->setFrequency(5'000'000.0);
    receiver->setSampleRate(384'000.0);
    writeAll(*receiver);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void FamilyReceiverTests::startOpensSerialAsUnsignedDecimal()
{
    const auto receiver = make(QStringLiteral("18446744073709551615"));
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls().constFirst(), name("_open_sn(18446744073709551615) = 0"));
}

void FamilyReceiverTests::startTunesToCorrectedFrequency()
{
    const auto receiver = make();
    receiver->setPpmCorrection(100);
    receiver->setFrequency(100'000'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls(name("_set_freq")), QStringList{name("_set_freq(dev1, 100010001) = 0")});
}

void FamilyReceiverTests::startThatCannotTuneGoesOn()
{
    for (const int result : m_family.failures) {
        m_vendor.set(name("_set_freq"), result);
        const auto receiver = make();
        const QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
        const LogCapture log;
        QVERIFY(receiver->start(false));
        QVERIFY(receiver->running());
        QVERIFY(errorHappen.isEmpty());
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set lo freq!")));
    }
}

void FamilyReceiverTests::startThatCannotTellFrequencyGoesOn()
{
    const auto receiver = make();
    receiver->setFrequency(-1e9);
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(m_vendor.calls(name("_set_freq")), QStringList());
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t Error set lo freq!")));
}

void FamilyReceiverTests::stepThatFailsEndsStart_data()
{
    QTest::addColumn<QString>("call"); // that fails
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("calls"); // up to the failure
    int calls = 0;
    for (const auto& [call, text] : m_family.startSteps) {
        QTest::newRow(qPrintable(call)) << call << text << ++calls;
    }
}

void FamilyReceiverTests::stepThatFailsEndsStart()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    QFETCH(int, calls);
    for (const int result : m_family.failures) {
        m_vendor.reset();
        m_vendor.set(call, result);
        const auto receiver = make();
        QSignalSpy errorHappen(receiver.get(), &Worker::errorHappen);
        QSignalSpy stopped(receiver.get(), &Worker::stopped);
        QSignalSpy started(receiver.get(), &Worker::started);
        const LogCapture log;
        QVERIFY(receiver->start(false));
        QCOMPARE(receiver->state(), Worker::STOPPED);
        QCOMPARE(started.size(), 0);
        QCOMPARE(stopped.size(), 1);
        QCOMPARE(errorHappen.size(), 1);
        QCOMPARE(errorHappen.constFirst().constFirst().toString(), text + QString::number(result));
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY2(log.texts(QtWarningMsg)
                     .constFirst()
                     .endsWith(QStringLiteral(" =>\t ") + text + QString::number(result)),
                 qPrintable(log.texts(QtWarningMsg).constFirst()));
        // What was opened is closed, with nothing in between.
        QStringList made = m_vendor.calls();
        if (calls > 1) {
            QCOMPARE(made.takeLast(), name("_close(dev1) = 0"));
        }
        QCOMPARE(made.size(), calls);
        QVERIFY(made.constLast().endsWith(QStringLiteral(" = %1").arg(result)));
    }
}

void FamilyReceiverTests::startThatFailedGivesItsHandleUp()
{
    m_vendor.set(m_family.start, -1);
    auto receiver = make();
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
    }
    m_vendor.clearCalls();
    // The library has freed what a client's next write would reach.
    writeAll(*receiver);
    receiver->setFrequency(1e7);
    receiver->stop();
    receiver.reset();
    QCOMPARE(m_vendor.calls(), QStringList());
}

void FamilyReceiverTests::receiverThatFailedStartsOnceItCan()
{
    m_vendor.set(m_family.start + QStringLiteral(".1"), -1);
    const auto receiver = make();
    {
        const LogCapture log;
        QVERIFY(receiver->start(false));
        QVERIFY(!receiver->running());
    }
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QTRY_VERIFY(written(*receiver) > 0);
}

void FamilyReceiverTests::rateOfListSurvivesStart()
{
    m_vendor.set(name(".rates"), QStringLiteral("999000 500000"));
    const auto receiver = make();
    receiver->setSampleRate(500'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 500'000.0);
    QCOMPARE(receiver->supportSampleRates(),
             (QStringList{QStringLiteral("999000"), QStringLiteral("500000")}));
    QCOMPARE(m_vendor.calls(name("_set_samplerate")), QStringList{name("_set_samplerate(dev1, 500000) = 0")});
    receiver->stop();
    m_vendor.set(name(".rates"), QStringLiteral("300000"));
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(), QStringList{QStringLiteral("300000")});
    QCOMPARE(receiver->sampleRate(), 300'000.0);
}

void FamilyReceiverTests::rateOfMillionBecomesFirst()
{
    m_vendor.set(name(".rates"), QStringLiteral("192000 1536000"));
    const auto receiver = make();
    receiver->setSampleRate(1'536'000.0);
    QSignalSpy sampleRateChanged(receiver.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->sampleRate(), 192'000.0);
    QCOMPARE(sampleRateChanged.size(), 1);
    QCOMPARE(sampleRateChanged.constFirst().constFirst().toDouble(), 192'000.0);
}

void FamilyReceiverTests::noRatesLeavePresentOne()
{
    m_vendor.set(name(".rates.count"), 0);
    const auto receiver = make();
    QVERIFY(receiver->start(false));
    QVERIFY(receiver->running());
    QCOMPARE(receiver->supportSampleRates(), QStringList());
    QCOMPARE(receiver->sampleRate(), m_family.rate);
    QCOMPARE(m_vendor.calls(name("_set_samplerate")),
             QStringList{name("_set_samplerate(dev1, %1) = 0").arg(static_cast<int>(m_family.rate))});
}

void FamilyReceiverTests::rateOfZeroIsListedLikeOthers()
{
    m_vendor.set(name(".rates"), QStringLiteral("0 192000"));
    const LogCapture log; // the signal path has no use for it
    const auto receiver = make();
    QVERIFY(receiver->start(false));
    QCOMPARE(receiver->supportSampleRates(), (QStringList{QStringLiteral("0"), QStringLiteral("192000")}));
    QCOMPARE(receiver->sampleRate(), 0.0);
}

void FamilyReceiverTests::fortyRatesAreReadFor32()
{
    m_vendor.set(name(".rates.count"), 40);
    const auto receiver = make();
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QCOMPARE(m_vendor.calls(name("_get_samplerates")).constLast(), name("_get_samplerates(dev1, 32) = 0"));
    QCOMPARE(receiver->supportSampleRates().size(), 32);
    QCOMPARE(log.texts().filter(QStringLiteral("AirSpy sampleRate:")).size(), 32);
}

void FamilyReceiverTests::stopMakesItsCallsInOrder()
{
    const auto receiver = started();
    QSignalSpy stopped(receiver.get(), &Worker::stopped);
    receiver->stop();
    QCOMPARE(m_vendor.calls(),
             (QStringList{m_family.stop + QStringLiteral("(dev1) = 0"), name("_close(dev1) = 0")}));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    m_vendor.clearCalls();
    writeAll(*receiver);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void FamilyReceiverTests::stopOfStoppedReceiverMakesNoCall()
{
    const auto receiver = make();
    receiver->stop();
    QVERIFY(QMetaObject::invokeMethod(receiver.get(), "onStop", Qt::DirectConnection));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(m_vendor.calls(), QStringList());
}

void FamilyReceiverTests::stopThatHangsIsWaitedForNoLongerThanItsDeadline_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("stop") << m_family.stop;
    QTest::newRow("close") << name("_close");
}

void FamilyReceiverTests::stopThatHangsIsWaitedForNoLongerThanItsDeadline()
{
    QFETCH(QString, call);
    auto receiver = started({300ms, 300ms});
    m_vendor.set(QStringLiteral("hang.") + call, 1);
    const QStringList calls = m_vendor.calls(name("_set_"));
    QElapsedTimer elapsed;
    elapsed.start();
    {
        const LogCapture log;
        receiver->stop();
        QVERIFY(elapsed.elapsed() < 2000);
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(call));
    }
    QCOMPARE(receiver->state(), Worker::STOPPED);
    const int before = written(*receiver);
    receiver->QObject::setProperty(m_family.setting, true);
    QCOMPARE(m_vendor.calls(name("_set_")), calls);
    m_vendor.set(QStringLiteral("hang.") + call, 0);
    QTRY_COMPARE(m_vendor.calls(name("_close(dev1")).size(), 1);
    // The stick is back, and serves the next client.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) != before);
}

void FamilyReceiverTests::stopThatFailsLateDeliversIntoNothing()
{
    m_vendor.set(name(".trace"), 1);
    auto receiver = started({300ms, 300ms});
    QTRY_VERIFY(written(*receiver) > 0);
    m_vendor.set(m_family.stop, -1);
    m_vendor.set(QStringLiteral("hang.") + m_family.stop, 1);
    m_vendor.set(QStringLiteral("hang.") + name("_close"), 1);
    {
        const LogCapture log;
        receiver->stop();
        receiver.reset();
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    }
    // It goes on delivering, and is closed in the end.
    m_vendor.set(QStringLiteral("hang.") + m_family.stop, 0);
    QTRY_COMPARE(m_vendor.calls(m_family.stop + QStringLiteral("(dev1) = -1")).size(), 1);
    const int transfers = m_vendor.calls(name(" transfer")).size();
    QTRY_VERIFY(m_vendor.calls(name(" transfer")).size() > transfers + 3);
    m_vendor.set(QStringLiteral("hang.") + name("_close"), 0);
    QTRY_COMPARE(m_vendor.calls(name("_close(dev1")).size(), 1);
}

void FamilyReceiverTests::closeThatFailsIsLogged()
{
    for (const int result : m_family.failures) {
        m_vendor.reset();
        const auto receiver = started();
        m_vendor.set(name("_close.1"), result);
        const LogCapture log;
        receiver->stop();
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QVERIFY(log.texts(QtWarningMsg)
                    .constFirst()
                    .endsWith(QStringLiteral(" =>\t airspy_close failed: %1").arg(result)));
        m_vendor.clearCalls();
        writeAll(*receiver);
        QCOMPARE(m_vendor.calls(), QStringList());
    }
}

void FamilyReceiverTests::destructionOfRunningReceiverClosesIt()
{
    auto receiver = started();
    receiver.reset();
    QCOMPARE(m_vendor.calls(),
             (QStringList{m_family.stop + QStringLiteral("(dev1) = 0"), name("_close(dev1) = 0")}));
}

void FamilyReceiverTests::destructionIsLogged()
{
    auto receiver = make();
    const QString className = QLatin1String(receiver->metaObject()->className());
    const LogCapture log;
    receiver.reset();
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Destruct class .. ") + className);
}
