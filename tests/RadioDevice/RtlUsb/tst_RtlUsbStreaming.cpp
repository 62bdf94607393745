#include "RtlUsbRig.h"

#include "Core/Losses/Losses.h"
#include "RadioDevice/RtlUsb/RtlUsbConversion.h"

#include "support/AllocationCounter.h"

#include <QtTest>

class tst_RtlUsbStreaming : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void samplesReachRingBitForBit_data();
    void samplesReachRingBitForBit();
    void swapIQTakesEffectWhileRunning();
    void bufferOfAnotherLengthSetsBlockSize();
    void lengthsThatFillNoSampleAreCut();
    void emptyBufferEmptiesBlock();
    void buffersThatCannotBeAreDropped_data();
    void buffersThatCannotBeAreDropped();
    void steadyStateAllocatesNothing();
    void stoppedDeviceTakesNoBuffer();

private:
    FakeVendor m_vendor;
};

void tst_RtlUsbStreaming::init()
{
    m_vendor.reset();
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
}

void tst_RtlUsbStreaming::samplesReachRingBitForBit_data()
{
    QTest::addColumn<bool>("swapIQ");
    QTest::newRow("as it comes") << false;
    QTest::newRow("swapped") << true;
}

void tst_RtlUsbStreaming::samplesReachRingBitForBit()
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
        // The fake counts bytes: I is even, Q is the one after it.
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

void tst_RtlUsbStreaming::bufferOfAnotherLengthSetsBlockSize()
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

void tst_RtlUsbStreaming::emptyBufferEmptiesBlock()
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

QTEST_GUILESS_MAIN(tst_RtlUsbStreaming)
#include "tst_RtlUsbStreaming.moc"
