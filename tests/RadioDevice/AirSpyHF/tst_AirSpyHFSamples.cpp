#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include "RadioDevice/AirSpy/ReceiverRig.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <QSignalSpy>
#include <limits>

/// The samples' way from the library's callback to the ring.
class tst_AirSpyHFSamples : public QObject
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
    using Receiver = AirSpyHFRadioDevice;

    ReceiverRig<Receiver> m_rig;
    FakeVendor& m_vendor = m_rig.vendor;
};

void tst_AirSpyHFSamples::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffer"), 64);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_AirSpyHFSamples::cleanupTestCase()
{
    // Ends the deliveries that no stop has ended.
    m_vendor.set(QStringLiteral("unplug"), 1);
}

void tst_AirSpyHFSamples::samplesReachTheRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("off") << false;
    QTest::newRow("on, which changes nothing") << true;
}

void tst_AirSpyHFSamples::samplesReachTheRingBitForBit()
{
    QFETCH(bool, swapIQ);
    const auto receiver = m_rig.make();
    receiver->setSwapIQ(swapIQ);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) >= 256);
    const auto samples = m_rig.last(*receiver, 256);
    QCOMPARE(m_rig.countingSamples(samples, &DoubleComplex::im, &DoubleComplex::re), 256);
}

void tst_AirSpyHFSamples::numberOfTheFirstTransferMovesTheBlockSize()
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

void tst_AirSpyHFSamples::blockSizeFollowsEveryTransfer()
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

void tst_AirSpyHFSamples::transferThatIsNoBlockIsDropped_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("no samples") << QStringLiteral("airspyhf.count") << QStringLiteral("0");
    QTest::newRow("minus one sample") << QStringLiteral("airspyhf.count") << QStringLiteral("-1");
    QTest::newRow("the least number") << QStringLiteral("airspyhf.count") << QStringLiteral("-2147483648");
    QTest::newRow("the most samples") << QStringLiteral("airspyhf.count") << QStringLiteral("2147483647");
    QTest::newRow("no buffer") << QStringLiteral("airspyhf.null") << QStringLiteral("samples");
    QTest::newRow("no record") << QStringLiteral("airspyhf.null") << QStringLiteral("transfer");
}

void tst_AirSpyHFSamples::transferThatIsNoBlockIsDropped()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    m_vendor.set(key, value);
    m_vendor.set(QStringLiteral("airspyhf.trace"), 1);
    const LogCapture log;
    const auto receiver = m_rig.started();
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspyhf transfer")).size() >= 3);
    QCOMPARE(m_rig.written(*receiver), 0);
    // Good ones are taken again.
    m_vendor.remove(key);
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    receiver->stop();
    QCOMPARE(receiver->blockSize(), 64);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_AirSpyHFSamples::transferOfAMillionSamplesLeavesTheLastOfThem()
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

void tst_AirSpyHFSamples::transferOfMoreThanIsBelievedIsDropped()
{
    const auto receiver = m_rig.make();
    const float sample = 0.0F;
    receiver->deliver(&sample, (1 << 20) + 1);
    receiver->deliver(&sample, std::numeric_limits<int>::max());
    QCOMPARE(m_rig.written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void tst_AirSpyHFSamples::nothingIsNoBlock()
{
    const auto receiver = m_rig.make();
    const float sample = 0.0F;
    receiver->deliver(nullptr, 64);
    receiver->deliver(&sample, 0);
    receiver->deliver(&sample, -1);
    QCOMPARE(m_rig.written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void tst_AirSpyHFSamples::deliveryTakesNothingFromTheHeap()
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

void tst_AirSpyHFSamples::stalledReceiverCanBeStopped()
{
    m_vendor.set(QStringLiteral("stall"), 1);
    const auto receiver = m_rig.started();
    receiver->stop();
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(m_rig.written(*receiver), 0);
}

void tst_AirSpyHFSamples::samplesThatComeBehindAStopAreDropped()
{
    const auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    // The library stops nothing and goes on delivering to a gate that is shut.
    m_vendor.set(QStringLiteral("airspyhf_stop.1"), -1);
    const LogCapture log;
    receiver->stop();
    const int before = m_rig.written(*receiver);
    m_vendor.set(QStringLiteral("airspyhf.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspyhf transfer dev1")).size() >= 3);
    QCOMPARE(m_rig.written(*receiver), before);
    // Started again meanwhile, it is served by the new handle alone.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(m_rig.written(*receiver) != before);
}

void tst_AirSpyHFSamples::samplesThatComeBehindTheReceiverReachNobody()
{
    auto receiver = m_rig.started();
    QTRY_VERIFY(m_rig.written(*receiver) > 0);
    m_vendor.set(QStringLiteral("airspyhf_stop.1"), -1);
    m_vendor.set(QStringLiteral("airspyhf_close.1"), -1);
    const LogCapture log;
    receiver.reset();
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    m_vendor.set(QStringLiteral("airspyhf.trace"), 1);
    QTRY_VERIFY(m_vendor.calls(QStringLiteral("airspyhf transfer dev1")).size() >= 3);
}

QTEST_GUILESS_MAIN(tst_AirSpyHFSamples)
#include "tst_AirSpyHFSamples.moc"
