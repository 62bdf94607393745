#include "RadioDevice/AirSpy/FamilyReceiverTests.h"

#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>

using namespace std::chrono_literals;

void FamilyReceiverTests::startOpensTheSerialAsUnsignedDecimal()
{
    const auto receiver = make(QStringLiteral("18446744073709551615"));
    QVERIFY(receiver->start(false));
    QCOMPARE(vendor().calls().constFirst(), name("_open_sn(18446744073709551615) = 0"));
}

void FamilyReceiverTests::startTunesToTheCorrectedFrequency()
{
    const auto receiver = make();
    receiver->setPpmCorrection(100);
    receiver->setFrequency(100'000'000.0);
    QVERIFY(receiver->start(false));
    QCOMPARE(vendor().calls(name("_set_freq")), QStringList{name("_set_freq(dev1, 100010001) = 0")});
}

void FamilyReceiverTests::stepThatFailsEndsTheStart()
{
    QFETCH(QString, call);
    QFETCH(QString, text);
    QFETCH(int, calls);
    for (const int result : m_family.failures) {
        vendor().reset();
        vendor().set(call, result);
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
        QStringList made = vendor().calls();
        if (calls > 1) {
            QCOMPARE(made.takeLast(), name("_close(dev1) = 0"));
        }
        QCOMPARE(made.size(), calls);
        QVERIFY(made.constLast().endsWith(QStringLiteral(" = %1").arg(result)));
    }
}

void FamilyReceiverTests::fortyRatesAreReadFor32()
{
    vendor().set(name(".rates.count"), 40);
    const auto receiver = make();
    const LogCapture log;
    QVERIFY(receiver->start(false));
    QCOMPARE(vendor().calls(name("_get_samplerates")).constLast(), name("_get_samplerates(dev1, 32) = 0"));
    QCOMPARE(receiver->supportSampleRates().size(), 32);
    QCOMPARE(log.texts().filter(QStringLiteral("AirSpy sampleRate:")).size(), 32);
}

void FamilyReceiverTests::stopOfAStoppedReceiverMakesNoCall()
{
    const auto receiver = make();
    receiver->stop();
    QVERIFY(QMetaObject::invokeMethod(receiver.get(), "onStop", Qt::DirectConnection));
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(vendor().calls(), QStringList());
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
    vendor().set(QStringLiteral("hang.") + call, 1);
    const QStringList calls = vendor().calls(name("_set_"));
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
    QCOMPARE(vendor().calls(name("_set_")), calls);
    vendor().set(QStringLiteral("hang.") + call, 0);
    QTRY_COMPARE(vendor().calls(name("_close(dev1")).size(), 1);
    // The stick is back, and serves the next client.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) != before);
}

void FamilyReceiverTests::stopThatFailsLateDeliversIntoNothing()
{
    vendor().set(name(".trace"), 1);
    auto receiver = started({300ms, 300ms});
    QTRY_VERIFY(written(*receiver) > 0);
    vendor().set(m_family.stop, -1);
    vendor().set(QStringLiteral("hang.") + m_family.stop, 1);
    vendor().set(QStringLiteral("hang.") + name("_close"), 1);
    {
        const LogCapture log;
        receiver->stop();
        receiver.reset();
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    }
    // It goes on delivering, and is closed in the end.
    vendor().set(QStringLiteral("hang.") + m_family.stop, 0);
    QTRY_COMPARE(vendor().calls(m_family.stop + QStringLiteral("(dev1) = -1")).size(), 1);
    const int transfers = vendor().calls(name(" transfer")).size();
    QTRY_VERIFY(vendor().calls(name(" transfer")).size() > transfers + 3);
    vendor().set(QStringLiteral("hang.") + name("_close"), 0);
    QTRY_COMPARE(vendor().calls(name("_close(dev1")).size(), 1);
}

void FamilyReceiverTests::destructionOfARunningReceiverClosesIt()
{
    auto receiver = started();
    receiver.reset();
    QCOMPARE(vendor().calls(),
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
