#include "Core/Losses/Losses.h"
#include "RadioDevice/Driver.h"
#include "RadioDevice/Watchdog.h"

#include "support/LogCapture.h"

#include <QSignalSpy>
#include <QtTest>

namespace
{

int received(const AbstractRadioDevice& device)
{
    const QMutexLocker lock(&device.inBuffer()->mutex);
    return device.inBuffer()->writeIndex;
}

Driver driver()
{
    QFETCH_GLOBAL(Driver, driver);
    return driver;
}

} // namespace

/// The watchdog of the device of every driver: each test runs for each of them.
class tst_DriverWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();

    void watchdogIsContentWithBlockBetweenTwoTicks();
    void watchdogTakesEveryBlockForSignOfLife_data();
    void watchdogTakesEveryBlockForSignOfLife();
    void watchdogTripsAtEachTickWithoutBlock();
    void watchdogEndsWithStop();
    void callbackOfWatchdogMayStopDevice();

private:
    FakeVendor m_vendor;
};

void tst_DriverWatchdog::initTestCase_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& each : drivers()) {
        QTest::newRow(qPrintable(each.name)) << each;
    }
}

void tst_DriverWatchdog::init()
{
    resetFakes(m_vendor);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_DriverWatchdog::watchdogIsContentWithBlockBetweenTwoTicks()
{
    const Watchdog watchdog;
    const auto device = driver().device(Watchdog::kAtOnce);
    QSignalSpy noData(device.get(), &AbstractRadioDevice::noData);
    QVERIFY(device->start(false));
    QTRY_VERIFY(watchdog.isCaught());
    for (int i = 0; i < 3; ++i) {
        const int before = received(*device);
        QTRY_VERIFY(received(*device) != before);
        watchdog.tick();
        QCOMPARE(noData.size(), 0);
    }
    device->stop();
}

void tst_DriverWatchdog::watchdogTakesEveryBlockForSignOfLife_data()
{
    QTest::addColumn<double>("samples");
    QTest::newRow("empty") << 0.0;
    QTest::newRow("of more than the ring holds") << 1'100'000.0;
}

void tst_DriverWatchdog::watchdogTakesEveryBlockForSignOfLife()
{
    QFETCH(double, samples);
    if (!driver().hasLibrary()) {
        QSKIP("Delivers by itself");
    }
    const auto [key, unit] = driver().blockLength;
    m_vendor.set(key, unit * samples);
    const qint64 lost = Losses::process().total(Losses::Cause::LargeBlocks);
    const Watchdog watchdog;
    const auto device = driver().device(Watchdog::kAtOnce);
    QSignalSpy noData(device.get(), &AbstractRadioDevice::noData);
    QVERIFY(device->start(false));
    QTRY_VERIFY(watchdog.isCaught());
    // A tick before a block has come is another's.
    const LogCapture log;
    const auto isContent = [&] {
        noData.clear();
        watchdog.tick();
        return noData.isEmpty();
    };
    QVERIFY(QTest::qWaitFor(isContent));
    QVERIFY(QTest::qWaitFor(isContent));
    QCOMPARE(received(*device), 0);
    device->stop();
    const auto whole = static_cast<qint64>(samples);
    const qint64 newlyLost = Losses::process().total(Losses::Cause::LargeBlocks) - lost;
    QCOMPARE(newlyLost > 0, whole > 0);
    QVERIFY(whole == 0 || newlyLost % whole == 0);
}

void tst_DriverWatchdog::watchdogTripsAtEachTickWithoutBlock()
{
    const Watchdog watchdog;
    const auto device = driver().device(Watchdog::kAtOnce);
    int trips = 0;
    device->setNoDataCallback([&trips] { ++trips; });
    QVERIFY(device->start(false));
    QTRY_VERIFY(watchdog.isCaught());
    m_vendor.set(QStringLiteral("stall"), 1);
    // Two ticks in a row: no block of this thread's comes between, and soon none of another's.
    LogCapture log;
    QTRY_VERIFY((watchdog.tick(), log.clear(), trips = 0, watchdog.tick(), trips == 1));
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY(log.texts(QtWarningMsg).constFirst().endsWith(QLatin1String(" =>\t No IQ data - stop!")));
    QVERIFY(device->running());
    watchdog.tick();
    QCOMPARE(trips, 2);
    device->stop();
}

void tst_DriverWatchdog::watchdogEndsWithStop()
{
    const Watchdog watchdog;
    const auto device = driver().device(Watchdog::kAtOnce);
    QVERIFY(device->start(false));
    QTRY_VERIFY(watchdog.isCaught());
    QVERIFY(watchdog.isActive());
    device->stop();
    QVERIFY(!watchdog.isActive());
}

void tst_DriverWatchdog::callbackOfWatchdogMayStopDevice()
{
    m_vendor.set(QStringLiteral("stall"), 1);
    const Watchdog watchdog;
    const auto device = driver().device(Watchdog::kAtOnce);
    const LogCapture log;
    device->setNoDataCallback([&device] { device->stop(); });
    QVERIFY(device->start(false));
    QTRY_VERIFY(watchdog.isCaught());
    QTRY_VERIFY((watchdog.tick(), watchdog.tick(), !device->running()));
    QVERIFY(!watchdog.isActive());
}

QTEST_GUILESS_MAIN(tst_DriverWatchdog)
#include "tst_DriverWatchdog.moc"
