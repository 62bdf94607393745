#include "RadioDevice/HangRig.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <algorithm>

/// Libraries whose calls never come back while the receiver streams.
class tst_SetterHangs : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetFakes(m_rig.vendor); }

    void setterThatHangsEndsSession_data();
    void setterThatHangsEndsSession();
    void deviceMayGoBeforeCallThatIsOut_data();
    void deviceMayGoBeforeCallThatIsOut();
    void slowSettersEachHaveDeadlineOfTheirOwn_data();
    void slowSettersEachHaveDeadlineOfTheirOwn();
    void settersOfReceiverThatAnswersCostLittle_data();
    void settersOfReceiverThatAnswersCostLittle();

private:
    /// What was asked of the library, without the reading of the RTL2832U.
    [[nodiscard]] QStringList asked() const;

    HangRig m_rig;
};

void tst_SetterHangs::setterThatHangsEndsSession_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<int>("setter");
    for (const Driver& driver : vendorDrivers()) {
        const auto& all = driver.setterCalls;
        for (int i = 0; i < all.size(); ++i) {
            QTest::newRow(all[i].constLast().call) << driver << i;
        }
    }
}

void tst_SetterHangs::setterThatHangsEndsSession()
{
    QFETCH(Driver, driver);
    QFETCH(int, setter);
    QVector<Driver::Setter> steps = driver.setterCalls.at(setter);
    const Driver::Setter last = steps.takeLast();
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QStringList heard;
    connect(device.get(), &Worker::errorHappen, device.get(),
            [&heard](const QString& text) { heard.append(text); });
    device->setNoDataCallback([&heard] { heard.append(QStringLiteral("No IQ data - stop!")); });
    QSignalSpy stopped(device.get(), &Worker::stopped);
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    for (const Driver::Setter& step : steps) {
        device->QObject::setProperty(step.property, step.value);
    }
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const QString hang = QStringLiteral("hang.") + QLatin1String(last.call);
    m_rig.vendor.set(hang, 1);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    device->QObject::setProperty(last.property, last.value);
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY2(m_rig.out(log).first().endsWith(QLatin1String(last.call)), qPrintable(m_rig.out(log).first()));
    const int before = m_rig.received(*device);
    // The session ends with the next turn of the event loop, and the client hears why.
    QTRY_COMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(heard, QStringList{QString::fromLatin1(last.error)});
    QCOMPARE(m_rig.received(*device), before);
    // Nothing more is asked of that receiver while the call is out.
    const QStringList calls = asked();
    m_rig.writeAll(*device, driver);
    QVERIFY(device->start(false));
    QVERIFY(!device->running());
    QCOMPARE(asked(), calls);
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY(m_rig.letGo(driver, hang));
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) != before);
    device->stop();
}

QStringList tst_SetterHangs::asked() const
{
    QStringList calls = m_rig.vendor.calls();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const QString& call) { return call.contains(QLatin1String("async")); }),
                calls.end());
    return calls;
}

void tst_SetterHangs::deviceMayGoBeforeCallThatIsOut_data()
{
    HangRig::addDrivers();
}

void tst_SetterHangs::deviceMayGoBeforeCallThatIsOut()
{
    QFETCH(Driver, driver);
    auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) > 0);
    const Driver::Setter setter = driver.setterCalls.first().first();
    const QString hang = QStringLiteral("hang.") + QLatin1String(setter.call);
    m_rig.vendor.set(hang, 1);
    const LogCapture log;
    device->QObject::setProperty(setter.property, setter.value);
    QCOMPARE(m_rig.out(log).size(), 1);
    // The library delivers still, and finds no device.
    device.reset();
    QVERIFY(m_rig.letGo(driver, hang));
}

void tst_SetterHangs::slowSettersEachHaveDeadlineOfTheirOwn_data()
{
    deviceMayGoBeforeCallThatIsOut_data();
}

void tst_SetterHangs::slowSettersEachHaveDeadlineOfTheirOwn()
{
    QFETCH(Driver, driver);
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(device->start(false));
    for (const QVector<Driver::Setter>& steps : driver.setterCalls) {
        m_rig.vendor.set(QStringLiteral("delay.") + QLatin1String(steps.constLast().call), 100);
    }
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    m_rig.writeAll(*device, driver);
    // The one setter that makes several calls.
    device->QObject::setProperty("gainMode", 2);
    // Some receivers have no other that asks their library.
    for (int i = 0; i < 4; ++i) {
        device->QObject::setProperty("frequency", i % 2 == 0 ? driver.properties.at(1).other
                                                             : driver.properties.at(1).byDefault);
    }
    QVERIFY(elapsed.elapsed() > HangRig::kDeadline.count());
    QCOMPARE(m_rig.out(log), QStringList());
    QCoreApplication::processEvents();
    QVERIFY(device->running());
    device->stop();
}

void tst_SetterHangs::settersOfReceiverThatAnswersCostLittle_data()
{
    HangRig::addDrivers();
}

void tst_SetterHangs::settersOfReceiverThatAnswersCostLittle()
{
    QFETCH(Driver, driver);
    const auto device = driver.device();
    QVERIFY(device->start(false));
    const int threads = HangRig::threads();
    const LogCapture log; // which has its own limits
    for (int i = 0; i < 3; ++i) {
        m_rig.writeAll(*device, driver);
    }
    QCOMPARE(HangRig::threads(), threads);
    QVERIFY(device->running());
    device->stop();
}

QTEST_GUILESS_MAIN(tst_SetterHangs)
#include "tst_SetterHangs.moc"
