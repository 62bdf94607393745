#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include "RadioDevice/AirSpy/ReceiverRig.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <limits>

/// The samples' way from the library's callback to the ring.
class tst_AirSpySamples : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanupTestCase();

    void samplesReachTheRingBitForBit_data();
    void samplesReachTheRingBitForBit();
    void numberOfTheFirstTransferMovesTheBlockSize();
    void blockSizeFollowsEveryTransfer();
    void transferThatIsNoBlockIsDropped_data();
    void transferThatIsNoBlockIsDropped();
    void transferOfAMillionSamplesLeavesTheLastOfThem();
    void transferOfMoreThanIsBelievedIsDropped();
    void nothingIsNoBlock();
    void deliveryTakesNothingFromTheHeap();
    void stalledReceiverCanBeStopped();
    void samplesThatComeBehindAStopAreDropped();
    void samplesThatComeBehindTheReceiverReachNobody();

private:
    using Receiver = AirSpyRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpySamples::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffer"), 64);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_AirSpySamples::cleanupTestCase()
{
    // Ends the deliveries that no stop has ended.
    m_vendor.set(QStringLiteral("unplug"), 1);
}

void tst_AirSpySamples::samplesReachTheRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as they come: re = Q, im = I") << false;
    QTest::newRow("swapped: re = I, im = Q") << true;
}

void tst_AirSpySamples::samplesReachTheRingBitForBit()
{
    QFETCH(bool, swapIQ);
    const auto receiver = m_rig.make();
    receiver->setSwapIQ(swapIQ);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) >= 256);
    const auto samples = m_rig.last(*receiver, 256);
    const auto i = swapIQ ? &DoubleComplex::re : &DoubleComplex::im;
    const auto q = swapIQ ? &DoubleComplex::im : &DoubleComplex::re;
    QCOMPARE(m_rig.countingSamples(samples, i, q), 256);
}

void tst_AirSpySamples::numberOfTheFirstTransferMovesTheBlockSize()
{
    m_vendor.set(QStringLiteral("buffer"), 4096);
    const auto receiver = m_rig.make();
    QCOMPARE(receiver->blockSize(), 2048);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    receiver->stop();
    QCOMPARE(receiver->blockSize(), 4096);
    QCOMPARE(m_rig.written(*receiver) % 4096, 0);
}

void tst_AirSpySamples::blockSizeFollowsEveryTransfer()
{
    const auto receiver = m_rig.make();
    const std::vector<float> samples(200, 0.25F);
    for (const int count : {1, 7, 100, 99}) {
        const int before = m_rig.written(*receiver);
        receiver->deliver(samples.data(), count);
        QCOMPARE(receiver->blockSize(), count);
        QCOMPARE(m_rig.written(*receiver), before + count);
    }
}

void tst_AirSpySamples::transferThatIsNoBlockIsDropped_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("no samples") << QStringLiteral("airspy.count") << QStringLiteral("0");
    QTest::newRow("minus one sample") << QStringLiteral("airspy.count") << QStringLiteral("-1");
    QTest::newRow("the least number") << QStringLiteral("airspy.count") << QStringLiteral("-2147483648");
    QTest::newRow("the most samples") << QStringLiteral("airspy.count") << QStringLiteral("2147483647");
    QTest::newRow("no buffer") << QStringLiteral("airspy.null") << QStringLiteral("samples");
    QTest::newRow("no record") << QStringLiteral("airspy.null") << QStringLiteral("transfer");
}

void tst_AirSpySamples::transferThatIsNoBlockIsDropped()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    m_vendor.set(key, value);
    m_vendor.set(QStringLiteral("airspy.trace"), 1);
    const LogCapture log;
    const auto receiver = m_rig.started();
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspy transfer")).size() >= 3);
    QCOMPARE(m_rig.written(*receiver), 0);
    // Good ones are taken again.
    m_vendor.remove(key);
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    receiver->stop();
    QCOMPARE(receiver->blockSize(), 64);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_AirSpySamples::transferOfAMillionSamplesLeavesTheLastOfThem()
{
    const auto receiver = m_rig.make();
    std::vector<float> samples(2'000'000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(i);
    }
    receiver->deliver(samples.data(), 1'000'000);
    QCOMPARE(m_rig.written(*receiver), 1'000'000 % 262'144);
    const auto last = m_rig.last(*receiver, 262'143);
    QCOMPARE(m_rig.countingSamples(last, &DoubleComplex::im, &DoubleComplex::re), 262'143);
    QCOMPARE(last.back().re, 1'999'999.0);
}

void tst_AirSpySamples::transferOfMoreThanIsBelievedIsDropped()
{
    const auto receiver = m_rig.make();
    const float sample = 0.0F;
    receiver->deliver(&sample, (1 << 20) + 1);
    receiver->deliver(&sample, std::numeric_limits<int>::max());
    QCOMPARE(m_rig.written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void tst_AirSpySamples::nothingIsNoBlock()
{
    const auto receiver = m_rig.make();
    const float sample = 0.0F;
    receiver->deliver(nullptr, 64);
    receiver->deliver(&sample, 0);
    receiver->deliver(&sample, -1);
    QCOMPARE(m_rig.written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void tst_AirSpySamples::deliveryTakesNothingFromTheHeap()
{
    const auto receiver = m_rig.make();
    const std::vector<float> samples(2 * 65'536, 0.5F);
    receiver->deliver(samples.data(), 65'536);
    const AllocationCounter allocations;
    for (int i = 0; i < 100; ++i) {
        receiver->deliver(samples.data(), 65'536);
    }
    QCOMPARE(allocations.count(), 0);
}

void tst_AirSpySamples::stalledReceiverCanBeStopped()
{
    m_vendor.set(QStringLiteral("stall"), 1);
    const auto receiver = m_rig.started();
    receiver->stop();
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(m_rig.written(*receiver), 0);
}

void tst_AirSpySamples::samplesThatComeBehindAStopAreDropped()
{
    const auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    // The library stops nothing and goes on delivering to a gate that is shut.
    m_vendor.set(QStringLiteral("airspy_stop_rx.1"), -1);
    m_vendor.set(QStringLiteral("airspy_close.1"), -1);
    const LogCapture log;
    receiver->stop();
    const int before = m_rig.written(*receiver);
    m_vendor.set(QStringLiteral("airspy.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspy transfer dev1")).size() >= 3);
    QCOMPARE(m_rig.written(*receiver), before);
    // Started again meanwhile, it is served by the new handle alone.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) != before);
}

void tst_AirSpySamples::samplesThatComeBehindTheReceiverReachNobody()
{
    auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    m_vendor.set(QStringLiteral("airspy_stop_rx.1"), -1);
    m_vendor.set(QStringLiteral("airspy_close.1"), -1);
    const LogCapture log;
    receiver.reset();
    QCOMPARE(log.texts(QtWarningMsg).size(), 2);
    m_vendor.set(QStringLiteral("airspy.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspy transfer dev1")).size() >= 3);
}

QTEST_GUILESS_MAIN(tst_AirSpySamples)
#include "tst_AirSpySamples.moc"
