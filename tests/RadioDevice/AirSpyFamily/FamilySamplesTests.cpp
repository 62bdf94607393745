#include "RadioDevice/AirSpyFamily/FamilySamplesTests.h"

#include "Core/Losses/Losses.h"
#include "support/AllocationCounter.h"
#include "support/LogCapture.h"

#include <limits>

void FamilySamplesTests::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("buffer"), 64);
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void FamilySamplesTests::cleanupTestCase()
{
    // Ends the deliveries that no stop has ended.
    m_vendor.set(QStringLiteral("unplug"), 1);
}

void FamilySamplesTests::samplesReachRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as they come: re = Q, im = I") << false;
    QTest::newRow("swapped, where that has an effect: re = I, im = Q") << true;
}

void FamilySamplesTests::samplesReachRingBitForBit()
{
    QFETCH(bool, swapIQ);
    const auto receiver = make();
    receiver->setSwapIQ(swapIQ);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) >= 256);
    const auto samples = last(*receiver, 256);
    const bool swapped = swapIQ && m_family.swapsIQ;
    const auto i = swapped ? &DoubleComplex::re : &DoubleComplex::im;
    const auto q = swapped ? &DoubleComplex::im : &DoubleComplex::re;
    QCOMPARE(countingSamples(samples, i, q), 256);
}

void FamilySamplesTests::samplesThatComeAfterStopAreDropped()
{
    const auto receiver = started();
    QTRY_VERIFY(written(*receiver) > 0);
    // The library stops nothing and goes on delivering to a gate that is shut.
    m_vendor.set(m_family.stop + QStringLiteral(".1"), -1);
    m_vendor.set(name("_close.1"), -1);
    const LogCapture log;
    receiver->stop();
    const int before = written(*receiver);
    m_vendor.set(name(".trace"), 1);
    QTRY_VERIFY(m_vendor.calls(name(" transfer dev1")).size() >= 3);
    QCOMPARE(written(*receiver), before);
    // Started again meanwhile, it is served by the new handle alone.
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) != before);
}

void FamilySamplesTests::samplesThatComeAfterReceiverReachNobody()
{
    auto receiver = started();
    QTRY_VERIFY(written(*receiver) > 0);
    m_vendor.set(m_family.stop + QStringLiteral(".1"), -1);
    m_vendor.set(name("_close.1"), -1);
    const LogCapture log;
    receiver.reset();
    QCOMPARE(log.texts(QtWarningMsg).size(), m_family.closesAfterFailedStop ? 2 : 1);
    m_vendor.set(name(".trace"), 1);
    QTRY_VERIFY(m_vendor.calls(name(" transfer dev1")).size() >= 3);
}

void FamilySamplesTests::numberOfFirstTransferMovesBlockSize()
{
    m_vendor.set(QStringLiteral("buffer"), 4096);
    const auto receiver = make();
    QCOMPARE(receiver->blockSize(), 2048);
    QVERIFY(receiver->start(false));
    QTRY_VERIFY(written(*receiver) > 0);
    receiver->stop();
    QCOMPARE(receiver->blockSize(), 4096);
    QCOMPARE(written(*receiver) % 4096, 0);
}

void FamilySamplesTests::blockSizeFollowsEveryTransfer()
{
    const auto receiver = make();
    const std::vector<float> samples(200, 0.25F);
    for (const int count : {1, 7, 100, 99}) {
        const int before = written(*receiver);
        deliver(*receiver, samples.data(), count);
        QCOMPARE(receiver->blockSize(), count);
        QCOMPARE(written(*receiver), before + count);
    }
}

void FamilySamplesTests::transferThatIsNoBlockIsDropped_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("minus one sample") << name(".count") << QStringLiteral("-1");
    QTest::newRow("the least number") << name(".count") << QStringLiteral("-2147483648");
    QTest::newRow("the most samples") << name(".count") << QStringLiteral("2147483647");
    QTest::newRow("no buffer") << name(".null") << QStringLiteral("samples");
    QTest::newRow("no record") << name(".null") << QStringLiteral("transfer");
}

void FamilySamplesTests::transferThatIsNoBlockIsDropped()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    m_vendor.set(key, value);
    m_vendor.set(name(".trace"), 1);
    const LogCapture log;
    const auto receiver = started();
    QTRY_VERIFY(m_vendor.calls(name(" transfer")).size() >= 3);
    QCOMPARE(written(*receiver), 0);
    // Good ones are taken again.
    m_vendor.remove(key);
    QTRY_VERIFY(written(*receiver) > 0);
    receiver->stop();
    QCOMPARE(receiver->blockSize(), 64);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void FamilySamplesTests::transferOfOneMillionSamplesLeavesLastOfThem()
{
    const auto receiver = make();
    std::vector<float> samples(2'000'000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(i);
    }
    deliver(*receiver, samples.data(), 1'000'000);
    QCOMPARE(written(*receiver), 1'000'000 % 262'144);
    const auto end = last(*receiver, 262'143);
    QCOMPARE(countingSamples(end, &DoubleComplex::im, &DoubleComplex::re), 262'143);
    QCOMPARE(end.back().re, 1'999'999.0);
}

void FamilySamplesTests::transferOfMoreThanIsBelievedIsDropped()
{
    const auto receiver = make();
    const float sample = 0.0F;
    deliver(*receiver, &sample, (1 << 20) + 1);
    deliver(*receiver, &sample, std::numeric_limits<int>::max());
    QCOMPARE(written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void FamilySamplesTests::nothingIsNoBlock()
{
    const auto receiver = make();
    const float sample = 0.0F;
    const qint64 lost = Losses::process().total(Losses::Cause::UnusableBlocks);
    deliver(*receiver, nullptr, 64);
    deliver(*receiver, &sample, -1);
    QCOMPARE(Losses::process().total(Losses::Cause::UnusableBlocks), lost + 2);
    QCOMPARE(written(*receiver), 0);
    QCOMPARE(receiver->blockSize(), 2048);
}

void FamilySamplesTests::deliveryTakesNothingFromHeap()
{
    const auto receiver = make();
    const std::vector<float> samples(2 * 65'536, 0.5F);
    deliver(*receiver, samples.data(), 65'536);
    const AllocationCounter allocations;
    for (int i = 0; i < 100; ++i) {
        deliver(*receiver, samples.data(), 65'536);
    }
    QCOMPARE(allocations.count(), 0);
}

void FamilySamplesTests::stalledReceiverCanBeStopped()
{
    m_vendor.set(QStringLiteral("stall"), 1);
    const auto receiver = started();
    receiver->stop();
    QCOMPARE(receiver->state(), Worker::STOPPED);
    QCOMPARE(written(*receiver), 0);
}
