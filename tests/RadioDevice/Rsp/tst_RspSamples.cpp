#include "RspRig.h"

#include "RadioDevice/Watchdog.h"
#include "support/AllocationCounter.h"

#include <QSignalSpy>
#include <cmath>

/// The samples' way from the library into the ring.
class tst_RspSamples : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void samplesArriveBitForBit_data();
    void samplesArriveBitForBit();
    void toneAboveMiddleTurnsAsIfIAndQWereExchanged();
    void blockSizeFollowsPackets_data();
    void blockSizeFollowsPackets();
    void packetsMayChangeTheirLengthInMidStream();
    void packetThatCanBeNoBlockIsDropped_data();
    void packetThatCanBeNoBlockIsDropped();
    void packetOfRingsWholeLengthIsTaken();
    void samplesGoOnAfterRestart();
    void deviceStoppedWhileItStartsTakesNoSamples();
    void lateCallbackFindsNoDevice();
    void lateCallbackDoesNotReachNextDevice();
    void unpluggedReceiverIsNoticedByWatchdog_data();
    void unpluggedReceiverIsNoticedByWatchdog();
    void deliveryTakesNothingFromHeap();

private:
    void go();

    FakeVendor m_vendor;
};

namespace
{

constexpr double kScale = 9.765625e-06;

// What the fake's counter gives, cut to 16 bits.
double counted(int value)
{
    return static_cast<short>(static_cast<unsigned short>(value)) * kScale;
}

} // namespace

void tst_RspSamples::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_RspSamples::init()
{
    m_vendor.reset();
    // Nothing comes before a test wants it.
    m_vendor.set(QStringLiteral("stall"), 1);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_RspSamples::go()
{
    m_vendor.remove(QStringLiteral("stall"));
}

void tst_RspSamples::samplesArriveBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("swapIQ false") << false;
    QTest::newRow("swapIQ true") << true;
}

void tst_RspSamples::samplesArriveBitForBit()
{
    QFETCH(bool, swapIQ);
    // More than the counter's 16 bits hold, and not a whole number of the packets of 1,344.
    constexpr int kCount = 50'000;
    m_vendor.set(QStringLiteral("buffer"), 5'000);
    m_vendor.set(QStringLiteral("buffers"), 10);
    RspRig rig(m_vendor);
    rig.device->setSwapIQ(swapIQ);
    rig.open();
    go();
    QTRY_COMPARE(rig.written(), kCount);
    const std::vector<DoubleComplex> samples = rig.samples(kCount);
    for (int n = 0; n < kCount; ++n) {
        const DoubleComplex& sample = samples[static_cast<std::size_t>(n)];
        QVERIFY2(sample.re == counted(2 * n + 1) && sample.im == counted(2 * n),
                 qPrintable(QString::number(n)));
    }
}

void tst_RspSamples::toneAboveMiddleTurnsAsIfIAndQWereExchanged()
{
    m_vendor.set(QStringLiteral("source"), QStringLiteral("tone"));
    m_vendor.set(QStringLiteral("tone.hz"), 256'000); // an eighth of the rate
    m_vendor.set(QStringLiteral("buffers"), 1);
    RspRig rig(m_vendor);
    rig.open();
    go();
    QTRY_COMPARE(rig.written(), 1344);
    const std::vector<DoubleComplex> samples = rig.samples(1344);
    for (int n = 0; n < 1344; ++n) {
        const double radians = 2.0 * M_PI * n / 8.0;
        const DoubleComplex& sample = samples[static_cast<std::size_t>(n)];
        QVERIFY(std::abs(sample.re - 0.16 * std::sin(radians)) < 2.0 * kScale);
        QVERIFY(std::abs(sample.im - 0.16 * std::cos(radians)) < 2.0 * kScale);
    }
}

void tst_RspSamples::blockSizeFollowsPackets_data()
{
    QTest::addColumn<int>("packet");
    for (const int packet : {1, 336, 1'343, 1'344, 1'345, 4'096}) {
        QTest::newRow(qPrintable(QString::number(packet))) << packet;
    }
}

void tst_RspSamples::blockSizeFollowsPackets()
{
    QFETCH(int, packet);
    m_vendor.set(QStringLiteral("rsp.packet"), packet);
    m_vendor.set(QStringLiteral("buffers"), 3);
    RspRig rig(m_vendor);
    rig.open();
    QCOMPARE(rig.device->blockSize(), 1344);
    go();
    QTRY_COMPARE(rig.written(), 3 * packet);
    rig.device->stop();
    QCOMPARE(rig.device->blockSize(), packet);
}

void tst_RspSamples::packetsMayChangeTheirLengthInMidStream()
{
    m_vendor.set(QStringLiteral("buffers"), 1);
    RspRig rig(m_vendor);
    rig.open();
    go();
    QTRY_COMPARE(rig.written(), 1344);
    m_vendor.set(QStringLiteral("buffer"), 100);
    m_vendor.set(QStringLiteral("buffers"), 2);
    QTRY_COMPARE(rig.written(), 1444);
    const std::vector<DoubleComplex> samples = rig.samples(1444);
    QCOMPARE(samples.back().re, counted(2 * 1443 + 1));
    rig.device->stop();
    QCOMPARE(rig.device->blockSize(), 100);
}

void tst_RspSamples::packetThatCanBeNoBlockIsDropped_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("-1 samples") << QStringLiteral("rsp.count") << QStringLiteral("-1");
    QTest::newRow("a million samples") << QStringLiteral("rsp.count") << QStringLiteral("1000000");
    QTest::newRow("one more than the ring holds") << QStringLiteral("rsp.count") << QStringLiteral("262145");
    QTest::newRow("no I") << QStringLiteral("rsp.null") << QStringLiteral("i");
    QTest::newRow("no Q") << QStringLiteral("rsp.null") << QStringLiteral("q");
}

void tst_RspSamples::packetThatCanBeNoBlockIsDropped()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    // The second packet alone is broken: the script is read for each.
    m_vendor.set(QStringLiteral("buffers"), 1);
    RspRig rig(m_vendor);
    rig.open();
    go();
    QTRY_COMPARE(rig.written(), 1344);
    m_vendor.set(key, value);
    m_vendor.set(QStringLiteral("rsp.tell"), 1);
    m_vendor.set(QStringLiteral("buffers"), 2);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("callback")).size(), 1);
    QCOMPARE(rig.device->blockSize(), 1344);
    m_vendor.remove(key);
    m_vendor.set(QStringLiteral("buffers"), 3);
    QTRY_COMPARE(rig.written(), 2 * 1344);
    QCOMPARE(rig.samples(1345).back().re, counted(2 * 2 * 1344 + 1));
    QVERIFY(rig.device->running());
    QCOMPARE(rig.warnings(), QStringList());
}

void tst_RspSamples::packetOfRingsWholeLengthIsTaken()
{
    RspRig rig(m_vendor);
    rig.open();
    const int capacity = rig.device->inBuffer()->capacity;
    const std::vector<short> values(static_cast<std::size_t>(capacity), 1'024);
    rig.device->deliver(values.data(), values.data(), static_cast<unsigned>(capacity));
    QCOMPARE(rig.device->blockSize(), capacity);
    QCOMPARE(rig.samples(1).front().re, 0.01);
}

void tst_RspSamples::samplesGoOnAfterRestart()
{
    RspRig rig(m_vendor);
    go();
    for (int i = 0; i < 3; ++i) {
        rig.open();
        const int before = rig.written();
        QTRY_VERIFY(rig.written() != before);
        rig.device->stop();
        const int stopped = rig.written();
        QCoreApplication::processEvents();
        QCOMPARE(rig.written(), stopped);
    }
}

void tst_RspSamples::deviceStoppedWhileItStartsTakesNoSamples()
{
    m_vendor.set(QStringLiteral("rsp.late"), 1);
    go();
    RspRig rig(m_vendor);
    connect(rig.device.get(), &Worker::started, rig.device.get(), [&rig] { rig.device->stop(); });
    rig.device->start(false);
    QVERIFY(!rig.device->running());
    rig.forget();
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("late callback")).size() > 3);
    QCOMPARE(rig.written(), 0);
    m_vendor.remove(QStringLiteral("rsp.late"));
    rig.device.reset();
    RspRig next(m_vendor);
    next.open();
}

void tst_RspSamples::lateCallbackFindsNoDevice()
{
    m_vendor.set(QStringLiteral("rsp.late"), 1);
    RspRig rig(m_vendor);
    rig.open();
    go();
    QTRY_VERIFY(rig.written() > 0);
    rig.device->stop();
    const int stopped = rig.written();
    rig.forget();
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("late callback")).size() > 3);
    QCOMPARE(rig.written(), stopped);
    rig.device.reset();
    m_vendor.clearCalls();
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("late callback")).size() > 3);
    m_vendor.remove(QStringLiteral("rsp.late"));
    RspRig next(m_vendor);
    next.open();
    next.device->stop();
}

void tst_RspSamples::lateCallbackDoesNotReachNextDevice()
{
    m_vendor.set(QStringLiteral("rsp.late"), 1);
    {
        RspRig rig(m_vendor);
        rig.open();
        rig.device->stop();
    }
    m_vendor.set(QStringLiteral("buffers"), 1);
    RspRig next(m_vendor);
    next.open();
    go();
    // Both streams deliver their one packet.
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("late callback")).size(), 1);
    QTRY_COMPARE(next.written(), 1344);
    m_vendor.remove(QStringLiteral("rsp.late"));
    next.device->stop();
    QCOMPARE(next.written(), 1344);
}

void tst_RspSamples::unpluggedReceiverIsNoticedByWatchdog_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("unplug") << QStringLiteral("unplug");
    QTest::newRow("stall") << QStringLiteral("stall");
}

void tst_RspSamples::unpluggedReceiverIsNoticedByWatchdog()
{
    QFETCH(QString, fault);
    go();
    const Watchdog watchdog;
    RspRig rig(m_vendor, {}, Watchdog::kAtOnce);
    QSignalSpy noData(rig.device.get(), &AbstractRadioDevice::noData);
    rig.open();
    QTRY_VERIFY(watchdog.isCaught());
    QTRY_VERIFY(rig.written() > 0);
    m_vendor.set(fault, 1);
    QVERIFY(QTest::qWaitFor([&] { return watchdog.tick(), !noData.isEmpty(); }));
    QCOMPARE(rig.warnings().constFirst(), QStringLiteral("No IQ data - stop!"));
    rig.device->stop();
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("mir_sdr_StreamUninit() = 0"),
                                            QStringLiteral("mir_sdr_ReleaseDeviceIdx(0) = 0")}));
}

void tst_RspSamples::deliveryTakesNothingFromHeap()
{
    RspRig rig(m_vendor);
    rig.open();
    const std::vector<short> values(1'344, 7);
    rig.device->deliver(values.data(), values.data(), 1'344);
    const AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        rig.device->deliver(values.data(), values.data(), 1'344);
        rig.device->deliver(values.data(), values.data(), 1'008);
    }
    QCOMPARE(counter.count(), 0);
    QCOMPARE(rig.written(), 1'344 + 100 * (1'344 + 1'008));
}

QTEST_GUILESS_MAIN(tst_RspSamples)
#include "tst_RspSamples.moc"
