#include "RadioDevice/HangRig.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtTest>

/// Libraries whose calls never come back in a start.
class tst_StartHangs : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetFakes(m_rig.vendor); }

    void callOfStartThatHangsFailsIt_data();
    void callOfStartThatHangsFailsIt();
    void startsBesideCallThatIsOutFailAtOnce_data();
    void startsBesideCallThatIsOutFailAtOnce();
    void slowCallsOfStartMayAddUp_data();
    void slowCallsOfStartMayAddUp();
    void openingMayTakeLongerThanOtherCalls_data();
    void openingMayTakeLongerThanOtherCalls();
    void nothingOfSessionFollowsNextOne_data();
    void nothingOfSessionFollowsNextOne();
    void deviceThatIsStoppedAsItStartsStaysStopped_data();
    void deviceThatIsStoppedAsItStartsStaysStopped();

private:
    HangRig m_rig;
};

namespace
{

QString hangOf(const QString& call)
{
    return QStringLiteral("hang.") + call;
}

/// A function's name, without its number or parenthesis.
QString function(const QString& call)
{
    return call.section(QRegularExpression(QStringLiteral("[.(]")), 0, 0);
}

QString texts(const QSignalSpy& errors)
{
    QStringList result;
    for (const QList<QVariant>& arguments : errors) {
        result.append(arguments.constFirst().toString());
    }
    return result.join(QLatin1Char('|'));
}

} // namespace

void tst_StartHangs::callOfStartThatHangsFailsIt_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("error");
    for (const Driver& driver : vendorDrivers()) {
        for (const Driver::Call& call : driver.startCalls) {
            QTest::newRow(call.name) << driver << QString::fromLatin1(call.name)
                                     << QString::fromLatin1(call.error);
        }
    }
}

void tst_StartHangs::callOfStartThatHangsFailsIt()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    QFETCH(QString, error);
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    m_rig.vendor.set(hangOf(call), 1);
    QSignalSpy errors(device.get(), &Worker::errorHappen);
    QSignalSpy stopped(device.get(), &Worker::stopped);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY2(elapsed.elapsed() < HangRig::kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(texts(errors), error);
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY2(m_rig.out(log).first().endsWith(function(call)), qPrintable(m_rig.out(log).first()));
    // Nothing more is asked of that receiver.
    const QStringList calls = m_rig.vendor.calls();
    m_rig.writeAll(*device, driver);
    device->stop();
    QCOMPARE(m_rig.vendor.calls(), calls);
    QCOMPARE(m_rig.out(log).size(), 1);
    // What was opened is closed once the call is back, and the next start comes after that.
    QVERIFY(m_rig.letGo(driver, hangOf(call)));
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(m_rig.received(*device) > 0);
    device->stop();
    QVERIFY(m_rig.vendor.calls(driver.closeCall).size() >= m_rig.opened(driver));
}

void tst_StartHangs::startsBesideCallThatIsOutFailAtOnce_data()
{
    HangRig::addDrivers();
}

void tst_StartHangs::startsBesideCallThatIsOutFailAtOnce()
{
    QFETCH(Driver, driver);
    const QString hang = hangOf(function(driver.openCall));
    const LogCapture log;
    auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    m_rig.vendor.set(hang, 1);
    QVERIFY(device->start(false));
    const QString error = QString::fromLatin1(driver.startCalls.first().error);
    device.reset();
    const int threads = HangRig::threads();
    for (int i = 0; i < 8; ++i) {
        // One that is willing to wait.
        device = driver.device();
        QSignalSpy errors(device.get(), &Worker::errorHappen);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(device->start(false));
        QVERIFY2(elapsed.elapsed() < HangRig::kAtOnceMs, qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(device->state(), Worker::STOPPED);
        QVERIFY2(texts(errors).endsWith(error), qPrintable(texts(errors)));
        device.reset();
        QTRY_VERIFY(HangRig::threads() <= threads);
    }
    QCOMPARE(m_rig.out(log).size(), 1);
    QVERIFY(m_rig.letGo(driver, hang));
    // The starts that failed have left nothing to be done.
    device = driver.device();
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    device->stop();
    QCOMPARE(m_rig.vendor.calls(driver.openCall).size(), 2);
    QCOMPARE(m_rig.vendor.calls(driver.closeCall).size(), 2);
}

void tst_StartHangs::slowCallsOfStartMayAddUp_data()
{
    startsBesideCallThatIsOutFailAtOnce_data();
}

void tst_StartHangs::slowCallsOfStartMayAddUp()
{
    QFETCH(Driver, driver);
    const auto device = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    for (const Driver::Call& call : driver.startCalls) {
        m_rig.vendor.set(QStringLiteral("delay.") + function(QString::fromLatin1(call.name)), 100);
    }
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(device->start(false));
    QVERIFY(elapsed.elapsed() > HangRig::kDeadline.count());
    QVERIFY(device->running());
    QTRY_VERIFY(m_rig.received(*device) > 0);
    QCOMPARE(m_rig.out(log), QStringList());
    device->stop();
}

void tst_StartHangs::openingMayTakeLongerThanOtherCalls_data()
{
    startsBesideCallThatIsOutFailAtOnce_data();
}

void tst_StartHangs::openingMayTakeLongerThanOtherCalls()
{
    QFETCH(Driver, driver);
    QCOMPARE(LibraryDeadlines().open.count(), 10'000);
    QCOMPARE(LibraryDeadlines().call.count(), 3'000);
    const auto device =
        driver.device(IQSource::kWatchdogInterval, {4 * HangRig::kDeadline, HangRig::kDeadline});
    m_rig.vendor.set(QStringLiteral("delay.") + function(driver.openCall), 2.0 * HangRig::kDeadline.count());
    const LogCapture log;
    QVERIFY(device->start(false));
    QVERIFY(device->running());
    QTRY_VERIFY(m_rig.received(*device) > 0);
    device->stop();
    QCOMPARE(m_rig.out(log), QStringList());
}

void tst_StartHangs::nothingOfSessionFollowsNextOne_data()
{
    QTest::addColumn<Driver>("driver");
    QTest::addColumn<QString>("call");
    for (const Driver& driver : vendorDrivers()) {
        for (const QString& call : driver.stopCalls) {
            QTest::newRow(qPrintable(call)) << driver << call;
        }
    }
}

void tst_StartHangs::nothingOfSessionFollowsNextOne()
{
    QFETCH(Driver, driver);
    QFETCH(QString, call);
    const LogCapture log;
    auto first = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(first->start(false));
    QVERIFY(first->running());
    m_rig.vendor.set(hangOf(call + QStringLiteral(".1")), 1);
    first->stop();
    first.reset();
    QCOMPARE(m_rig.out(log).size(), 1);
    const auto second = driver.device(IQSource::kWatchdogInterval, HangRig::kDeadlines);
    QVERIFY(second->start(false));
    QVERIFY(!second->running());
    QCOMPARE(m_rig.opened(driver), 1);
    m_rig.vendor.remove(hangOf(call + QStringLiteral(".1")));
    // The call is on its way back; once it isn't out any more the start waits its turn.
    QVERIFY(QTest::qWaitFor([&second] { return second->start(false) && second->running(); }));
    QStringList expected{driver.claimCall,   driver.openCall,  driver.closeCall,
                         driver.releaseCall, driver.claimCall, driver.openCall};
    expected.removeAll({});
    QStringList order;
    for (const QString& made : m_rig.vendor.calls()) {
        const QString function = made.left(made.indexOf(QLatin1Char('(')) + 1);
        if (expected.contains(function)) {
            order.append(function);
        }
    }
    second->stop();
    QCOMPARE(order, expected);
}

void tst_StartHangs::deviceThatIsStoppedAsItStartsStaysStopped_data()
{
    startsBesideCallThatIsOutFailAtOnce_data();
}

void tst_StartHangs::deviceThatIsStoppedAsItStartsStaysStopped()
{
    QFETCH(Driver, driver);
    const auto device = driver.device();
    const auto once = connect(device.get(), &Worker::started, device.get(), [&device] { device->stop(); });
    QVERIFY(device->start(false));
    QCOMPARE(device->state(), Worker::STOPPED);
    QCOMPARE(m_rig.vendor.calls(driver.closeCall).size(), 1);
    QObject::disconnect(once);
    QVERIFY(device->start(false));
    QTRY_VERIFY(m_rig.received(*device) > 0);
    device->stop();
}

QTEST_GUILESS_MAIN(tst_StartHangs)
#include "tst_StartHangs.moc"
