#include "RtlUsbRig.h"

#include "Core/Losses/Losses.h"
#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include "support/AllocationCounter.h"
#include "support/NoThreads.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>
#include <thread>

using namespace std::chrono_literals;

class tst_RtlUsbStreaming : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void samplesReachTheRingBitForBit_data();
    void samplesReachTheRingBitForBit();
    void swapIQTakesEffectWhileRunning();
    void bufferOfAnotherLengthSetsTheBlockSize();
    void lengthsThatFillNoSampleAreCut();
    void emptyBufferEmptiesTheBlock();
    void buffersThatCannotBeAreDropped_data();
    void buffersThatCannotBeAreDropped();
    void steadyStateAllocatesNothing();
    void stoppedDeviceTakesNoBuffer();

    void startWithoutAThreadToReadOnFails();
    void stopRightAfterAStartCancelsUntilTheReadHears();
    void readThatNeverReturnsIsWaitedForNoLongerThanItsDeadline();
    void closeThatNeverReturnsIsWaitedForNoLongerThanItsDeadline();
    void deviceStartsAgainOnceTheReadHasReturned();
    void deviceMayGoBeforeTheReadHasReturned();
    void bufferBehindTheCancelTouchesNoDevice();
    void stalledReadIsStopped();
    void unpluggedDongleEndsTheReadAndWaitsForTheWatchdog();
    void readThatFailsAtOnceEndsQuietly();
    void destructionOfARunningDeviceEndsItsRead();
    void startAndStopLeaveNoThreadBehind();

private:
    FakeVendor m_vendor;
};

void tst_RtlUsbStreaming::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_RtlUsbStreaming::samplesReachTheRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as it comes") << false;
    QTest::newRow("swapped") << true;
}

void tst_RtlUsbStreaming::samplesReachTheRingBitForBit()
{
    QFETCH(bool, swapIQ);
    constexpr int kSamples = 3 * 32'768;
    m_vendor.set(QStringLiteral("stall"), 1);
    RtlUsbRig rig(m_vendor);
    rig.device->setSwapIQ(swapIQ);
    QVERIFY(rig.device->start(false));
    m_vendor.set(QStringLiteral("buffers"), 3);
    m_vendor.set(QStringLiteral("stall"), 0);
    QTRY_COMPARE(rig.written(), kSamples);
    const auto samples = rig.samples(kSamples);
    for (int i = 0; i < kSamples; ++i) {
        // The fake counts bytes: I is even, Q is the one behind it.
        const double first = static_cast<signed char>(2 * i) * 9.765625e-05;
        const double second = static_cast<signed char>(2 * i + 1) * 9.765625e-05;
        const DoubleComplex sample = samples[static_cast<std::size_t>(i)];
        QVERIFY2(sample.re == (swapIQ ? first : second) && sample.im == (swapIQ ? second : first),
                 qPrintable(QString::number(i)));
    }
}

void tst_RtlUsbStreaming::swapIQTakesEffectWhileRunning()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    const unsigned char bytes[] = {1, 2};
    rig.device->onRead(bytes, 2);
    rig.device->setSwapIQ(true);
    rig.device->onRead(bytes, 2);
    const auto samples = rig.samples(2);
    QVERIFY(samples[0].re == 2 * kRtlUsbScale && samples[0].im == 1 * kRtlUsbScale);
    QVERIFY(samples[1].re == 1 * kRtlUsbScale && samples[1].im == 2 * kRtlUsbScale);
}

void tst_RtlUsbStreaming::bufferOfAnotherLengthSetsTheBlockSize()
{
    m_vendor.set(QStringLiteral("stall"), 1);
    m_vendor.set(QStringLiteral("buffer"), 8192);
    m_vendor.set(QStringLiteral("buffers"), 4);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QCOMPARE(rig.device->blockSize(), 32'768);
    m_vendor.set(QStringLiteral("stall"), 0);
    QTRY_COMPARE(rig.written(), 4 * 8192);
    rig.device->stop();
    QCOMPARE(rig.device->blockSize(), 8192);
    const auto samples = rig.samples(4 * 8192);
    QVERIFY(samples[20'001].im == static_cast<signed char>(2 * 20'001) * kRtlUsbScale);
}

void tst_RtlUsbStreaming::lengthsThatFillNoSampleAreCut()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    const unsigned char bytes[] = {1, 2, 3};
    rig.device->onRead(bytes, 3);
    QCOMPARE(rig.written(), 1);
    rig.device->onRead(bytes, 3);
    QCOMPARE(rig.written(), 2);
    QCOMPARE(rig.device->blockSize(), 1);
}

void tst_RtlUsbStreaming::emptyBufferEmptiesTheBlock()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    const unsigned char bytes[] = {1, 2};
    rig.device->onRead(bytes, 0);
    QCOMPARE(rig.device->blockSize(), 0);
    QCOMPARE(rig.written(), 0);
    rig.device->onRead(bytes, 2);
    QCOMPARE(rig.written(), 1);
}

void tst_RtlUsbStreaming::buffersThatCannotBeAreDropped_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<double>("value");
    QTest::newRow("none at all") << QStringLiteral("rtlsdr.null") << 1.0;
    QTest::newRow("a million samples") << QStringLiteral("rtlsdr.length") << 2'000'000.0;
    QTest::newRow("longer than the ring") << QStringLiteral("rtlsdr.length") << 2.0 * 262'145;
    QTest::newRow("minus two") << QStringLiteral("rtlsdr.length") << 4'294'967'294.0;
    QTest::newRow("the middle of the type") << QStringLiteral("rtlsdr.length") << 2'147'483'648.0;
}

void tst_RtlUsbStreaming::buffersThatCannotBeAreDropped()
{
    QFETCH(QString, key);
    QFETCH(double, value);
    const auto cause =
        key == QStringLiteral("rtlsdr.null") ? Losses::Cause::UnusableBlocks : Losses::Cause::LargeBlocks;
    const qint64 lost = Losses::process().total(cause);
    m_vendor.set(QStringLiteral("stall"), 1);
    m_vendor.set(QStringLiteral("buffer"), 16);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    m_vendor.set(key, value);
    m_vendor.set(QStringLiteral("rtlsdr.count"), 1);
    m_vendor.set(QStringLiteral("stall"), 0);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("delivered")).size() >= 3);
    QCOMPARE(rig.written(), 0);
    QCOMPARE(rig.device->blockSize(), 32'768);
    QVERIFY(Losses::process().total(cause) >= lost + 3);
    // Nor is the stream over.
    m_vendor.remove(key);
    QTRY_VERIFY(rig.written() > 0);
    rig.device->stop();
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RtlUsbStreaming::steadyStateAllocatesNothing()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    const std::vector<unsigned char> bytes(65'536, 0x10);
    rig.device->onRead(bytes.data(), 65'536);
    const AllocationCounter counter;
    for (int i = 0; i < 10; ++i) {
        rig.device->onRead(bytes.data(), 65'536);
    }
    QCOMPARE(counter.count(), 0);
    QCOMPARE(rig.log.texts(), QStringList());
}

void tst_RtlUsbStreaming::stoppedDeviceTakesNoBuffer()
{
    RtlUsbRig rig(m_vendor);
    rig.open();
    rig.device->stop();
    const std::vector<unsigned char> bytes(64, 0x10);
    rig.device->onRead(bytes.data(), 64);
    QCOMPARE(rig.written(), 0);
    QCOMPARE(rig.device->blockSize(), 32);
}

void tst_RtlUsbStreaming::startWithoutAThreadToReadOnFails()
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

void tst_RtlUsbStreaming::stopRightAfterAStartCancelsUntilTheReadHears()
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

void tst_RtlUsbStreaming::readThatNeverReturnsIsWaitedForNoLongerThanItsDeadline()
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

void tst_RtlUsbStreaming::closeThatNeverReturnsIsWaitedForNoLongerThanItsDeadline()
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

void tst_RtlUsbStreaming::deviceStartsAgainOnceTheReadHasReturned()
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

void tst_RtlUsbStreaming::deviceMayGoBeforeTheReadHasReturned()
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

void tst_RtlUsbStreaming::bufferBehindTheCancelTouchesNoDevice()
{
    m_vendor.set(QStringLiteral("rtlsdr.late"), 5);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    int atStop = 0;
    connect(rig.device.get(), &Worker::stopped, rig.device.get(), [&] { atStop = rig.written(); });
    rig.device->stop();
    // At most the one that was being taken when the stop came; none of the five behind it.
    QVERIFY2(rig.written() <= atStop + 32'768, qPrintable(QString::number(rig.written() - atStop)));
}

void tst_RtlUsbStreaming::stalledReadIsStopped()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    m_vendor.set(QStringLiteral("stall"), 1);
    rig.device->stop();
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbStreaming::unpluggedDongleEndsTheReadAndWaitsForTheWatchdog()
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

void tst_RtlUsbStreaming::readThatFailsAtOnceEndsQuietly()
{
    m_vendor.set(QStringLiteral("rtlsdr_read_async"), -1);
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QVERIFY(rig.device->running());
    rig.device->stop();
    QCOMPARE(rig.warnings(), QStringList());
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbStreaming::destructionOfARunningDeviceEndsItsRead()
{
    RtlUsbRig rig(m_vendor);
    QVERIFY(rig.device->start(false));
    QTRY_VERIFY(rig.written() > 0);
    rig.device.reset();
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_read_async ends")).size(), 1);
    QCOMPARE(m_vendor.calls().constLast(), QStringLiteral("rtlsdr_close(dev1) = 0"));
}

void tst_RtlUsbStreaming::startAndStopLeaveNoThreadBehind()
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

QTEST_GUILESS_MAIN(tst_RtlUsbStreaming)
#include "tst_RtlUsbStreaming.moc"
