#include "RtlUsbRig.h"

#include "support/NoThreads.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <thread>

using namespace std::chrono_literals;

/// The thread that the library's read runs on, from a start to a stop.
class tst_RtlUsbRead : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void startWithoutThreadToReadOnFails();
    void stopRightAfterStartCancelsUntilReadHears();
    void readThatNeverReturnsIsWaitedForNoLongerThanItsDeadline();
    void closeThatNeverReturnsIsWaitedForNoLongerThanItsDeadline();
    void deviceStartsAgainOnceReadHasReturned();
    void deviceMayGoBeforeReadHasReturned();
    void bufferAfterCancelTouchesNoDevice();
    void stalledReadIsStopped();
    void unpluggedDongleEndsReadAndWaitsForWatchdog();
    void readThatFailsAtOnceEndsQuietly();
    void destructionOfRunningDeviceEndsItsRead();
    void startAndStopLeaveNoThread();

private:
    FakeVendor m_vendor;
};

void tst_RtlUsbRead::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_RtlUsbRead::startWithoutThreadToReadOnFails()
{
    RtlUsbRig rig(m_vendor);
    rig.open(); // which makes the library's thread
    rig.device->stop();
    rig.forget();
    {
        const NoThreads none;
        rig.device->start(false);
    }
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error open device #0")});
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev2) = 0"));
    m_vendor.remove(QStringLiteral("buffers"));
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
}

void tst_RtlUsbRead::stopRightAfterStartCancelsUntilReadHears()
{
    m_vendor.set(QStringLiteral("hang.rtlsdr_read_async"), 1);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    // The read begins once some wishes to end it were lost.
    std::thread letGo([this] {
        const QDeadlineTimer patience(LibraryDeadlines().call);
        while (m_vendor.calls(QStringLiteral("rtlsdr_cancel_async(dev1) = -2")).size() < 3 &&
               !patience.hasExpired()) {
            std::this_thread::yield();
        }
        m_vendor.set(QStringLiteral("hang.rtlsdr_read_async"), 0);
    });
    rig.device->stop();
    letGo.join();
    QCOMPARE(rig.warnings(), QStringList());
    const QStringList calls = m_vendor.calls();
    QCOMPARE(calls.count(QStringLiteral("rtlsdr_cancel_async(dev1) = 0")), 1);
    QCOMPARE(calls.constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbRead::readThatNeverReturnsIsWaitedForNoLongerThanItsDeadline()
{
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 1);
    RtlUsbRig rig(m_vendor, {300ms, 300ms});
    QSignalSpy stopped(rig.device.get(), &Worker::stopped);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    QElapsedTimer timer;
    timer.start();
    rig.device->stop();
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(rig.warnings(),
             QStringList{QStringLiteral("The receiver's library doesn't come back: rtlsdr_cancel_async")});
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")), QStringList());
    // The handle is given up: setters are those of a closed device.
    rig.forget();
    rig.device->setRtlAgc(false);
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_set")), QStringList());
    // It ends as it should once it can.
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")),
                 QStringList{QStringLiteral("rtlsdr_close(dev1) = 0")});
}

void tst_RtlUsbRead::closeThatNeverReturnsIsWaitedForNoLongerThanItsDeadline()
{
    m_vendor.set(QStringLiteral("hang.rtlsdr_close"), 1);
    RtlUsbRig rig(m_vendor, {300ms, 300ms});
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    rig.device->stop();
    QCOMPARE(rig.warnings().size(), 1);
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    m_vendor.set(QStringLiteral("hang.rtlsdr_close"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")).size(), 1);
}

void tst_RtlUsbRead::deviceStartsAgainOnceReadHasReturned()
{
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 1);
    RtlUsbRig rig(m_vendor, {300ms, 300ms});
    QVERIFY(rig.device->start(false));
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async(dev1")).size(), 1);
    rig.device->stop();
    QVERIFY(rig.device->start(false));
    QVERIFY(!rig.device->running());
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error open device #0")});
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close(dev1) = 0")).size(), 1);
    const int before = rig.written();
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    QTRY_VERIFY(rig.written() != before);
    rig.device->stop();
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close(dev2) = 0")).size(), 1);
}

void tst_RtlUsbRead::deviceMayGoBeforeReadHasReturned()
{
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 1);
    m_vendor.set(QStringLiteral("rtlsdr.late"), 20);
    {
        RtlUsbRig rig(m_vendor, {300ms, 300ms});
        QVERIFY(rig.device->start(false));
        QTRY_VERIFY(rig.written() > 0);
        rig.device->stop();
    }
    // Buffers come still, and find no device.
    m_vendor.set(QStringLiteral("rtlsdr.deaf"), 0);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close(dev1) = 0")).size(), 1);
}

void tst_RtlUsbRead::bufferAfterCancelTouchesNoDevice()
{
    m_vendor.set(QStringLiteral("rtlsdr.late"), 5);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    int atStop = 0;
    connect(rig.device.get(), &Worker::stopped, rig.device.get(), [&] { atStop = rig.written(); });
    rig.device->stop();
    // At most the one that was being taken when the stop came; none of the five after it.
    QVERIFY2(rig.written() <= atStop + 32'768, qPrintable(QString::number(rig.written() - atStop)));
}

void tst_RtlUsbRead::stalledReadIsStopped()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    m_vendor.set(QStringLiteral("stall"), 1);
    rig.device->stop();
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbRead::unpluggedDongleEndsReadAndWaitsForWatchdog()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    m_vendor.set(QStringLiteral("unplug"), 1);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async ends")).size(), 1);
    QVERIFY(rig.device->running());
    QCOMPARE(rig.errors, QStringList());
    rig.device->stop();
    QCOMPARE(rig.device->state(), Worker::STOPPED);
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
    // Until it is back there is none to open.
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.errors, QStringList{QStringLiteral("Error open device #0")});
    m_vendor.set(QStringLiteral("unplug"), 0);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
}

void tst_RtlUsbRead::readThatFailsAtOnceEndsQuietly()
{
    m_vendor.set(QStringLiteral("rtlsdr_read_async"), -1);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    rig.device->stop();
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbRead::destructionOfRunningDeviceEndsItsRead()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    rig.device.reset();
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async ends")).size(), 1);
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbRead::startAndStopLeaveNoThread()
{
    const auto threads = [] {
        return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    };
    RtlUsbRig rig(m_vendor);
    rig.device->start(false);
    rig.device->stop();
    QTRY_VERIFY(threads() > 0);
    const int before = threads();
    for (int i = 0; i < 100; ++i) {
        rig.device->start(false);
        rig.device->stop();
    }
    QTRY_VERIFY(threads() <= before);
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_open")).size(), 101);
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_close")).size(), 101);
    QVERIFY2(rig.warnings().isEmpty(), qPrintable(rig.warnings().join(QLatin1Char('\n'))));
}

QTEST_GUILESS_MAIN(tst_RtlUsbRead)
#include "tst_RtlUsbRead.moc"
